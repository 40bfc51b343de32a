#pragma once

#include <QString>

class ITCXMLNode;

// Reads an XML file into a tree of ITCXMLNode by walking Qt's QXmlStreamReader. Only elements
// and their attributes are kept. A UTF-8 byte order mark and any line ends are taken as XML
// allows them.
class IXMLDomParser {
public:
    // Elements nested deeper than this are refused: a configuration is a few levels deep, and a
    // bound keeps building and freeing the tree off the end of the stack.
    static constexpr int kMaxDepth = 64;

    // Reads the whole document. False where the file cannot be opened or is not well-formed
    // XML to its end; results is then the empty node and getErrorMessage() says what went wrong.
    // True otherwise, with results the root element where it is named rootName, else the empty
    // node.
    bool parseFile(const QString& file, const QString& rootName, ITCXMLNode& results);
    // What the last parseFile found wrong, worded to follow the file's name: "at line 3, column
    // 1: Premature end of document." or "at opening: No such file or directory". Empty after a
    // parse that succeeded.
    QString getErrorMessage() const { return mErrorMessage; }

private:
    QString mErrorMessage;
};
