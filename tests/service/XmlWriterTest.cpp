// SPDX-License-Identifier: MIT
#include "wire/XmlWriter.h"

#include "ServiceClient.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd;
using kinloomd_test::Xml;

const std::string PROLOGUE = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

TEST(XmlWriter, WritesFieldsAsElements)
{
    XmlWriter xml(ReplyShape::ELEMENTS);
    xml.open("a");
    xml.field("b", "1");
    xml.open("c");
    xml.close();
    xml.field("d", 2);
    xml.close();
    EXPECT_EQ(xml.finish(), PROLOGUE + "<a><b>1</b><c/><d>2</d></a>\n");
}

TEST(XmlWriter, WritesFieldsAsAttributes)
{
    XmlWriter xml(ReplyShape::ATTRIBUTES);
    xml.open("a");
    xml.field("b", "1");
    xml.field("d", -2);
    xml.open("c");
    xml.close();
    xml.element("e", "x");
    xml.close();
    EXPECT_EQ(xml.finish(), PROLOGUE + "<a b=\"1\" d=\"-2\"><c/><e>x</e></a>\n");
}

TEST(XmlWriter, LeavesEmptyOptionalFieldsOut)
{
    XmlWriter xml(ReplyShape::ELEMENTS);
    xml.open("a");
    xml.optionalField("b", "");
    xml.optionalField("c", "x");
    xml.close();
    EXPECT_EQ(xml.finish(), PROLOGUE + "<a><c>x</c></a>\n");
}

class HostileText : public ::testing::TestWithParam<std::string> {};

TEST_P(HostileText, ComesBackAsItWentInInBothShapes)
{
    for (const ReplyShape shape : {ReplyShape::ELEMENTS, ReplyShape::ATTRIBUTES}) {
        XmlWriter xml(shape);
        xml.open("a");
        xml.field("b", GetParam());
        xml.close();
        const std::string document = xml.finish();
        EXPECT_EQ(document.find("<![CDATA["), std::string::npos);
        const Xml parsed(document);
        ASSERT_TRUE(parsed.wellFormed()) << document;
        EXPECT_EQ(parsed.text("/a/b|/a/@b"), GetParam());
        EXPECT_EQ(parsed.count("//*") + parsed.count("//@*"), 2U) << document;
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, HostileText,
                         ::testing::Values("", "plain", "<b>&amp;\"'</b>", "]]>", "<![CDATA[x]]>", "</b></a><a>", "\" x=\"1", "-->",
                                           "tab\tline\nreturn\r\r\nend", "&#0;&lt;", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
                                           "\xEF\xBF\xBD"));

TEST(XmlWriter, NeverEmitsWhatXmlForbids)
{
    std::string everything;
    for (int c = 0; c < 256; ++c)
        everything += static_cast<char>(c);
    for (const ReplyShape shape : {ReplyShape::ELEMENTS, ReplyShape::ATTRIBUTES}) {
        XmlWriter xml(shape);
        xml.open("a");
        xml.field("b", everything);
        xml.close();
        EXPECT_TRUE(Xml(xml.finish()).wellFormed());
    }
}

} // namespace
