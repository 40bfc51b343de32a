#include "IXMLDomParser.h"

#include "ITCXMLNode.h"

#include <QFile>
#include <QXmlStreamReader>

#include <memory>
#include <vector>

bool IXMLDomParser::parseFile(const QString& file, const QString& rootName, ITCXMLNode& results)
{
    results = ITCXMLNode();
    mErrorMessage.clear();

    QFile input(file);
    if (!input.open(QIODevice::ReadOnly)) {
        mErrorMessage = QStringLiteral("at opening: ") + input.errorString();
        return false;
    }

    // The elements from the root down to the one being read; each new element becomes a child
    // of the last.
    std::vector<std::shared_ptr<ITCXMLNode::Element>> open;
    ITCXMLNode root;
    QXmlStreamReader reader(&input);
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (static_cast<int>(open.size()) >= kMaxDepth) {
                reader.raiseError(QStringLiteral("elements nested deeper than %1").arg(kMaxDepth));
                break;
            }
            auto element = std::make_shared<ITCXMLNode::Element>();
            element->name = reader.name().toString();
            const QXmlStreamAttributes attributes = reader.attributes();
            for (const QXmlStreamAttribute& attribute : attributes)
                element->attributes.append(
                    qMakePair(attribute.name().toString(), attribute.value().toString()));
            const ITCXMLNode node(element);
            if (open.empty())
                root = node;
            else
                open.back()->children.append(node);
            open.push_back(element);
        } else if (token == QXmlStreamReader::EndElement) {
            open.pop_back();
        }
    }
    if (reader.hasError()) {
        mErrorMessage = QStringLiteral("at line %1, column %2: %3")
                            .arg(reader.lineNumber())
                            .arg(reader.columnNumber())
                            .arg(reader.errorString());
        return false;
    }
    if (root.getName() == rootName)
        results = root;
    return true;
}
