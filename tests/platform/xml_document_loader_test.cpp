#include "platform/xml_document_loader.h"

#include "qt_printers.h"

#include <QDomElement>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct TextCase {
    const char* xml;
    const char* text; // of the root's first element child
};

class XmlText : public ::testing::TestWithParam<TextCase> {};

TEST_P(XmlText, KeepsTheTextOfElementsAsWritten) {
    QString error;
    const auto document = XmlDocumentLoader::loadData(GetParam().xml, &error);
    ASSERT_TRUE(document) << error.toStdString();
    EXPECT_EQ(document->documentElement().firstChildElement().text(),
              QString::fromUtf8(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(XmlDocumentLoader, XmlText,
                         ::testing::Values(TextCase{"<r><d>   </d></r>", "   "},
                                           TextCase{"<r><d>\n\t</d></r>", "\n\t"},
                                           TextCase{"<r><d> a b </d></r>", " a b "},
                                           TextCase{"<r><d> &amp; </d></r>", " & "},
                                           TextCase{"<r><d>a &amp; b</d></r>", "a & b"},
                                           TextCase{"<r><d> <![CDATA[ x ]]> </d></r>", "  x  "},
                                           TextCase{"<r><d> <!-- c --> </d></r>", ""},
                                           TextCase{"<r><d> <e/> </d></r>", ""},
                                           TextCase{"<r><d> t <e/> </d></r>", " t "},
                                           TextCase{"<r><d></d></r>", ""},
                                           TextCase{"<r><d/></r>", ""}));

TEST(XmlDocumentLoader, DropsLayoutBetweenElementsAndKeepsComments) {
    QString error;
    const auto document =
        XmlDocumentLoader::loadData("<?xml version='1.0'?>\n<!-- head -->\n<r>\n  <a x='1'/>\n  "
                                    "<!-- note -->\n  <b>t</b>\n</r>\n",
                                    &error);
    ASSERT_TRUE(document) << error.toStdString();
    const QDomElement root = document->documentElement();
    ASSERT_EQ(root.childNodes().size(), 3);
    EXPECT_EQ(root.childNodes().at(0).toElement().attribute(u"x"_s), u"1"_s);
    EXPECT_TRUE(root.childNodes().at(1).isComment());
    EXPECT_EQ(root.childNodes().at(1).nodeValue(), u" note "_s);
    EXPECT_EQ(root.childNodes().at(2).toElement().text(), u"t"_s);
}

TEST(XmlDocumentLoader, ReportsWhereADocumentBreaks) {
    QString error;
    EXPECT_FALSE(XmlDocumentLoader::loadData("<r>\n<a></r>", &error));
    EXPECT_TRUE(error.contains(u"line 2"_s)) << error.toStdString();
    error.clear();
    EXPECT_FALSE(XmlDocumentLoader::loadData("", &error));
    EXPECT_FALSE(error.isEmpty());
    error.clear();
    EXPECT_FALSE(XmlDocumentLoader::loadFile(u"/nonexistent/catalogue.xml"_s, &error));
    EXPECT_FALSE(error.isEmpty());
}

} // namespace
