// IXMLDomParser and ITCXMLNode: the tree of elements and attributes that the store's
// configuration is read from, and what a file that is no well-formed XML gives.

#include "IXMLDomParser.h"
#include "ITCXMLNode.h"

#include "QStringPrinter.h"
#include "TemporaryStoreRoot.h"

#include <QFile>
#include <gtest/gtest.h>

namespace {

class IXMLDomParserTest : public ::testing::Test {
protected:
    // Writes content into a file of the test's root and parses it with the root name "dataBase".
    bool parse(const QByteArray& content, ITCXMLNode& root)
    {
        const QString name = mRoot.filePath(QStringLiteral("document.xml"));
        QFile file(name);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size()) {
            ADD_FAILURE() << "cannot write " << name.toStdString();
            return false;
        }
        file.close();
        return mParser.parseFile(name, QStringLiteral("dataBase"), root);
    }

    TemporaryStoreRoot mRoot;
    IXMLDomParser mParser;
};

} // namespace

TEST_F(IXMLDomParserTest, GivesTheRootWithItsChildrenAndAttributesInDocumentOrder)
{
    ITCXMLNode root;
    ASSERT_TRUE(parse("<?xml version=\"1.0\"?>\n"
                      "<!-- a comment -->\n"
                      "<dataBase version=\"2\">\n"
                      "  text that is not kept\n"
                      "  <dbName value=\"logger.db\" unit=\"file\"/>\n"
                      "  <memory><cyclicMean value=\"20\"/></memory>\n"
                      "  <dbName value=\"second.db\"/>\n"
                      "</dataBase>\n",
                      root));
    EXPECT_TRUE(mParser.getErrorMessage().isEmpty());
    ASSERT_FALSE(root.isEmpty());
    EXPECT_EQ(root.getName(), QStringLiteral("dataBase"));
    EXPECT_EQ(root.getAttributeCount(), 1);
    EXPECT_EQ(root.getAttributeValue(QStringLiteral("version")), QStringLiteral("2"));

    ASSERT_EQ(root.getChildCount(), 3);
    EXPECT_EQ(root.getChildNode(0).getName(), QStringLiteral("dbName"));
    EXPECT_EQ(root.getChildNode(1).getName(), QStringLiteral("memory"));
    EXPECT_EQ(root.getChildNode(2).getName(), QStringLiteral("dbName"));

    const ITCXMLNode dbName = root.getChildNode(QStringLiteral("dbName"));
    ASSERT_EQ(dbName.getAttributeCount(), 2);
    EXPECT_EQ(dbName.getAttributeName(0), QStringLiteral("value"));
    EXPECT_EQ(dbName.getAttributeValue(0), QStringLiteral("logger.db"));
    EXPECT_EQ(dbName.getAttributeName(1), QStringLiteral("unit"));
    EXPECT_EQ(dbName.getAttributeValue(1), QStringLiteral("file"));
    EXPECT_TRUE(dbName.hasAttribute(QStringLiteral("unit")));
    EXPECT_EQ(dbName.getAttributeValue(QStringLiteral("value")), QStringLiteral("logger.db"));
    EXPECT_EQ(dbName.getChildCount(), 0);

    const ITCXMLNode memory = root.getChildNode(QStringLiteral("memory"));
    ASSERT_EQ(memory.getChildCount(), 1);
    EXPECT_EQ(memory.getChildNode(0).getAttributeValue(QStringLiteral("value")), QStringLiteral("20"));
}

TEST_F(IXMLDomParserTest, WhatIsNotThereIsTheEmptyNodeOrAnEmptyText)
{
    ITCXMLNode root;
    ASSERT_TRUE(parse("<dataBase><dbName value=\"logger.db\"/></dataBase>", root));
    EXPECT_TRUE(root.getChildNode(QStringLiteral("fileDir")).isEmpty());
    EXPECT_TRUE(root.getChildNode(-1).isEmpty());
    EXPECT_TRUE(root.getChildNode(1).isEmpty());
    const ITCXMLNode dbName = root.getChildNode(0);
    EXPECT_FALSE(dbName.hasAttribute(QStringLiteral("unit")));
    EXPECT_TRUE(dbName.getAttributeValue(QStringLiteral("unit")).isNull());
    EXPECT_TRUE(dbName.getAttributeName(1).isNull());
    EXPECT_TRUE(dbName.getAttributeValue(-1).isNull());

    const ITCXMLNode empty;
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_TRUE(empty.getName().isNull());
    EXPECT_EQ(empty.getChildCount(), 0);
    EXPECT_EQ(empty.getAttributeCount(), 0);
    EXPECT_TRUE(empty.getChildNode(0).isEmpty());
    EXPECT_TRUE(empty.getChildNode(QStringLiteral("dbName")).isEmpty());
    EXPECT_FALSE(empty.hasAttribute(QStringLiteral("value")));
}

TEST_F(IXMLDomParserTest, AnotherRootParsesButGivesTheEmptyNode)
{
    ITCXMLNode root;
    EXPECT_TRUE(parse("<configuration><dbName value=\"logger.db\"/></configuration>", root));
    EXPECT_TRUE(root.isEmpty());
    EXPECT_TRUE(mParser.getErrorMessage().isEmpty());
}

TEST_F(IXMLDomParserTest, AByteOrderMarkAndCarriageReturnsAreRead)
{
    ITCXMLNode root;
    ASSERT_TRUE(parse("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<dataBase>\r\n"
                      "  <dbName value=\"m\xC3\xA4ssung.db\"/>\r\n</dataBase>\r\n",
                      root))
        << mParser.getErrorMessage().toStdString();
    EXPECT_EQ(root.getName(), QStringLiteral("dataBase"));
    EXPECT_EQ(root.getChildNode(QStringLiteral("dbName")).getAttributeValue(QStringLiteral("value")),
              QString::fromUtf8("m\xC3\xA4ssung.db"));
}

TEST_F(IXMLDomParserTest, AnEmptyFileSaysThatTheDocumentEndedEarly)
{
    ITCXMLNode root;
    EXPECT_FALSE(parse("", root));
    EXPECT_TRUE(root.isEmpty());
    EXPECT_EQ(mParser.getErrorMessage(), QStringLiteral("at line 1, column 0: Premature end of document."));
}

TEST_F(IXMLDomParserTest, TextThatIsNoXmlSaysWhereItWentWrong)
{
    ITCXMLNode root;
    EXPECT_FALSE(parse("dropSchema=false\n", root));
    EXPECT_TRUE(root.isEmpty());
    EXPECT_EQ(mParser.getErrorMessage(), QStringLiteral("at line 1, column 1: Start tag expected."));
}

TEST_F(IXMLDomParserTest, ATruncatedDocumentIsRefusedAndGivesNoRoot)
{
    ITCXMLNode root;
    EXPECT_FALSE(parse("<dataBase>\n  <dbName value=\"logger.db\"/>\n  <memory>\n", root));
    EXPECT_TRUE(root.isEmpty());
    EXPECT_EQ(mParser.getErrorMessage(), QStringLiteral("at line 4, column 0: Premature end of document."));
}

TEST_F(IXMLDomParserTest, ContentAfterTheRootIsRefused)
{
    ITCXMLNode root;
    EXPECT_FALSE(parse("<dataBase/>\n<dataBase/>\n", root));
    EXPECT_TRUE(root.isEmpty());
    EXPECT_EQ(mParser.getErrorMessage(),
              QStringLiteral("at line 2, column 11: Extra content at end of document."));
}

TEST_F(IXMLDomParserTest, AMissingFileSaysThatItCannotBeOpened)
{
    ITCXMLNode root;
    EXPECT_FALSE(
        mParser.parseFile(mRoot.filePath(QStringLiteral("missing.xml")), QStringLiteral("dataBase"), root));
    EXPECT_TRUE(root.isEmpty());
    EXPECT_EQ(mParser.getErrorMessage(), QStringLiteral("at opening: No such file or directory"));
}

TEST_F(IXMLDomParserTest, ElementsNestedDeeperThanTheBoundAreRefused)
{
    QByteArray deep = "<dataBase>";
    for (int level = 1; level < IXMLDomParser::kMaxDepth; ++level)
        deep += "<a>";
    ITCXMLNode root;
    ASSERT_TRUE(parse(deep + QByteArray("</a>").repeated(IXMLDomParser::kMaxDepth - 1) + "</dataBase>", root))
        << mParser.getErrorMessage().toStdString();

    const QByteArray deeper = deep + "<b>";
    EXPECT_FALSE(parse(
        deeper + "</b>" + QByteArray("</a>").repeated(IXMLDomParser::kMaxDepth - 1) + "</dataBase>", root));
    EXPECT_TRUE(root.isEmpty());
    EXPECT_EQ(mParser.getErrorMessage(),
              QStringLiteral("at line 1, column %1: elements nested deeper than 64").arg(deeper.size()));
}

TEST_F(IXMLDomParserTest, AParseAfterAFailureStartsAfresh)
{
    ITCXMLNode root;
    EXPECT_FALSE(parse("<dataBase>", root));
    EXPECT_FALSE(mParser.getErrorMessage().isEmpty());
    EXPECT_TRUE(parse("<dataBase/>", root));
    EXPECT_TRUE(mParser.getErrorMessage().isEmpty());
    EXPECT_EQ(root.getName(), QStringLiteral("dataBase"));
}
