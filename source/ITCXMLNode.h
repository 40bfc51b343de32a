#pragma once

#include <QPair>
#include <QString>
#include <QVector>

#include <memory>

class IXMLDomParser;

// One element of a parsed XML document: its name, its attributes in document order and its
// child elements in document order. Text, comments and processing instructions are not kept.
//
// A node is a handle: copies share the element, which lives as long as any handle to it. The
// empty node (default constructed) stands for "not found"; every question to it answers empty,
// 0 or false, and every child or attribute that is not there is the empty node or an empty text.
// Only IXMLDomParser builds nodes; once built, a tree is not changed, so handles may be read from
// any thread.
class ITCXMLNode {
public:
    ITCXMLNode() = default;

    bool isEmpty() const { return !mElement; }
    QString getName() const;

    int getChildCount() const;
    // The child at that position, the empty node outside 0 .. getChildCount() - 1.
    ITCXMLNode getChildNode(int index) const;
    // The first child of that name, the empty node where there is none.
    ITCXMLNode getChildNode(const QString& name) const;

    int getAttributeCount() const;
    // Name and value of the attribute at that position; empty outside the range.
    QString getAttributeName(int index) const;
    QString getAttributeValue(int index) const;
    bool hasAttribute(const QString& name) const;
    // The value of the attribute of that name; empty where there is none.
    QString getAttributeValue(const QString& name) const;

private:
    friend class IXMLDomParser;

    struct Element {
        QString name;
        QVector<QPair<QString, QString>> attributes;
        QVector<ITCXMLNode> children;
    };

    explicit ITCXMLNode(std::shared_ptr<Element> element) : mElement(std::move(element)) {}
    // The position of the first attribute of that name, -1 where there is none.
    int attributeIndex(const QString& name) const;

    std::shared_ptr<Element> mElement;
};
