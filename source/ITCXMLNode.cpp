#include "ITCXMLNode.h"

QString ITCXMLNode::getName() const
{
    return mElement ? mElement->name : QString();
}

int ITCXMLNode::getChildCount() const
{
    return mElement ? mElement->children.size() : 0;
}

ITCXMLNode ITCXMLNode::getChildNode(int index) const
{
    if (index < 0 || index >= getChildCount())
        return ITCXMLNode();
    return mElement->children.at(index);
}

ITCXMLNode ITCXMLNode::getChildNode(const QString& name) const
{
    for (int index = 0; index < getChildCount(); ++index) {
        if (mElement->children.at(index).getName() == name)
            return mElement->children.at(index);
    }
    return ITCXMLNode();
}

int ITCXMLNode::getAttributeCount() const
{
    return mElement ? mElement->attributes.size() : 0;
}

QString ITCXMLNode::getAttributeName(int index) const
{
    if (index < 0 || index >= getAttributeCount())
        return QString();
    return mElement->attributes.at(index).first;
}

QString ITCXMLNode::getAttributeValue(int index) const
{
    if (index < 0 || index >= getAttributeCount())
        return QString();
    return mElement->attributes.at(index).second;
}

bool ITCXMLNode::hasAttribute(const QString& name) const
{
    return attributeIndex(name) >= 0;
}

QString ITCXMLNode::getAttributeValue(const QString& name) const
{
    return getAttributeValue(attributeIndex(name));
}

int ITCXMLNode::attributeIndex(const QString& name) const
{
    for (int index = 0; index < getAttributeCount(); ++index) {
        if (mElement->attributes.at(index).first == name)
            return index;
    }
    return -1;
}
