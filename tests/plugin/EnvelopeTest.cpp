// SPDX-License-Identifier: MIT
// The extractors that every reply is read with.
#include "KLService/KLService.h"

#include <gtest/gtest.h>
#include <libxml++/libxml++.h>
#include <stdexcept>

using namespace W;

namespace {

/// A parsed document and its root.
class Parsed {
public:
    explicit Parsed(const STRING& text) { m_parser.parse_memory(text); }
    xmlpp::Node* root() { return m_parser.get_document()->get_root_node(); }

private:
    xmlpp::DomParser m_parser;
};

STRING statusOf(const STRING& text) { return KLService::getReponseStatus(Parsed(text).root()); }

struct Error {
    STRING code;
    STRING description;
};

Error errorOf(const STRING& text)
{
    Error error{"left over", ""};
    error.description = KLService::extractErrorString(Parsed(text).root(), error.code);
    return error;
}

STRING entryOf(const STRING& text, const STRING& name) { return KLService::getEntryContent(name, Parsed(text).root()); }

/// The first child of a document's root, of whatever kind.
struct FirstChild {
    explicit FirstChild(const STRING& text) : document(text), node(document.root()->get_children().front()) {}
    Parsed document;
    xmlpp::Node* node;
};

} // namespace

TEST(Envelope, ReadsTheStatus)
{
    EXPECT_EQ(statusOf("<result><stat>ok</stat></result>"), "ok");
    EXPECT_EQ(statusOf("<result><other/>text<stat>fail</stat></result>"), "fail");
}

TEST(Envelope, ReadsAnEmptyStatusFromAStatWithoutText)
{
    EXPECT_EQ(statusOf("<result><stat/></result>"), "");
    EXPECT_EQ(statusOf("<result><stat><b>ok</b></stat></result>"), "");
    EXPECT_EQ(statusOf("<result/>"), "");
}

TEST(Envelope, ReadsTheFirstStatOnly) { EXPECT_EQ(statusOf("<result><stat/><stat>ok</stat></result>"), ""); }

TEST(Envelope, ReadsNoStatusFromAnAttribute) { EXPECT_EQ(statusOf("<result stat=\"ok\"/>"), ""); }

TEST(Envelope, ReadsNothingFromNoNode)
{
    EXPECT_EQ(KLService::getReponseStatus(nullptr), "");
    STRING status = "left over";
    EXPECT_EQ(KLService::extractRespInfo(nullptr, status), "");
    EXPECT_EQ(status, "");
    STRING code = "left over";
    EXPECT_EQ(KLService::extractErrorString(nullptr, code), "");
    EXPECT_EQ(code, "");
    EXPECT_EQ(KLService::getEntryContent("any", nullptr), "");
}

TEST(Envelope, ReadsStatusAndDescription)
{
    Parsed document("<result><desc>all went well</desc><stat>ok</stat></result>");
    STRING status;
    EXPECT_EQ(KLService::extractRespInfo(document.root(), status), "all went well");
    EXPECT_EQ(status, "ok");
}

TEST(Envelope, ForgetsAnEarlierStatusWhenThereIsNone)
{
    Parsed document("<result><desc>well</desc></result>");
    STRING status = "left over";
    EXPECT_EQ(KLService::extractRespInfo(document.root(), status), "well");
    EXPECT_EQ(status, "");
}

TEST(Envelope, ReadsAnErrorFromAttributes)
{
    const Error error = errorOf(R"(<result code="104" desc="no such group"/>)");
    EXPECT_EQ(error.code, "104");
    EXPECT_EQ(error.description, "no such group");
}

TEST(Envelope, ReadsAnErrorFromChildren)
{
    const Error error = errorOf("<result><code>104</code><desc>no such group</desc></result>");
    EXPECT_EQ(error.code, "104");
    EXPECT_EQ(error.description, "no such group");
}

TEST(Envelope, PrefersTheErrorsAttributesToItsChildren)
{
    const Error error = errorOf(R"(<result code="104" desc="short"><code>105</code><desc>long</desc></result>)");
    EXPECT_EQ(error.code, "104");
    EXPECT_EQ(error.description, "short");
}

TEST(Envelope, MixesTheErrorsAttributesAndChildren)
{
    const Error error = errorOf("<result code=\"104\"><desc>from a child</desc></result>");
    EXPECT_EQ(error.code, "104");
    EXPECT_EQ(error.description, "from a child");
}

TEST(Envelope, ReadsTheErrorsChildWhenTheAttributeIsEmpty)
{
    const Error error = errorOf(R"(<result code="" desc=""><code>105</code><desc>from a child</desc></result>)");
    EXPECT_EQ(error.code, "105");
    EXPECT_EQ(error.description, "from a child");
}

TEST(Envelope, ReadsAnEmptyErrorFromAnElementWithoutOne)
{
    const Error error = errorOf("<result/>");
    EXPECT_EQ(error.code, "");
    EXPECT_EQ(error.description, "");
}

TEST(Envelope, ReadsNothingFromATextNode)
{
    FirstChild text("<result>plain</result>");
    EXPECT_EQ(KLService::getReponseStatus(text.node), "");
    EXPECT_EQ(KLService::getEntryContent("plain", text.node), "");
    STRING code;
    EXPECT_EQ(KLService::extractErrorString(text.node, code), "");
}

TEST(Envelope, ReadsAPlainErrorUpToTheNewline)
{
    EXPECT_EQ(KLService::extractErrorString(STRING("Error=Bad request\n")), "Bad request");
    EXPECT_EQ(KLService::extractErrorString(STRING("Status: 403\nError=Bad request\nMore=1\n")), "Bad request");
}

TEST(Envelope, ReadsAPlainErrorToTheEndWithoutANewline) { EXPECT_EQ(KLService::extractErrorString(STRING("Error=208")), "208"); }

TEST(Envelope, RunsOnToTheNextLineWhenThePlainErrorIsEmpty)
{
    EXPECT_EQ(KLService::extractErrorString(STRING("Error=\nUrl=http://x\nrest")), "\nUrl=http://x");
    EXPECT_EQ(KLService::extractErrorString(STRING("Error=\n")), "\n");
    EXPECT_EQ(KLService::extractErrorString(STRING("Error=")), "");
}

TEST(Envelope, ReadsFromTheFifthByteWithoutAPlainError)
{
    EXPECT_EQ(KLService::extractErrorString(STRING("0123456789\nmore")), "56789");
    // The newline is looked for from the sixth byte on.
    EXPECT_EQ(KLService::extractErrorString(STRING("01234\n6789\nmore")), "\n6789");
    EXPECT_EQ(KLService::extractErrorString(STRING("01234")), "");
    EXPECT_EQ(KLService::extractErrorString(STRING("012345")), "5");
}

TEST(Envelope, ThrowsForAPlainErrorOfFewerThanFiveBytes)
{
    for (const STRING& body : {STRING(), STRING("0"), STRING("0123")})
        EXPECT_THROW(KLService::extractErrorString(body), std::out_of_range) << body;
}

TEST(Envelope, ReadsAShortBodyOffTheWireAsEmpty)
{
    for (const STRING& body : {STRING(), STRING("0"), STRING("0123")})
        EXPECT_EQ(KLService::plainErrorCode(body), "") << body;
    EXPECT_EQ(KLService::plainErrorCode("Error=208\n"), "208");
}

TEST(Envelope, ReadsAFieldFromTheAttributeFirst)
{
    EXPECT_EQ(entryOf("<g groupId=\"a\"><groupId>b</groupId></g>", "groupId"), "a");
    EXPECT_EQ(entryOf("<g><groupId>b</groupId></g>", "groupId"), "b");
    EXPECT_EQ(entryOf("<g/>", "groupId"), "");
}

TEST(Envelope, HidesAFieldsChildBehindAnEmptyAttribute)
{
    EXPECT_EQ(entryOf("<g groupId=\"\"><groupId>b</groupId></g>", "groupId"), "");
}

TEST(Envelope, ReadsTheFirstChildOfAFieldOnly)
{
    EXPECT_EQ(entryOf("<g><groupId/><groupId>b</groupId></g>", "groupId"), "");
    EXPECT_EQ(entryOf("<g><groupId>a</groupId><groupId>b</groupId></g>", "groupId"), "a");
}

TEST(Envelope, LooksForFieldsAmongElementsOnly)
{
    EXPECT_EQ(entryOf("<g><!-- groupId --><?groupId no?><![CDATA[groupId]]><groupId>a</groupId></g>", "groupId"), "a");
    EXPECT_EQ(entryOf("<g><![CDATA[x]]></g>", "x"), "");
    EXPECT_EQ(entryOf("<g><deep><groupId>a</groupId></deep></g>", "groupId"), "");
}

TEST(Envelope, DecodesWhatAFieldEscapes)
{
    EXPECT_EQ(entryOf("<g n=\"a &amp; b &lt;c&gt; &quot;d&quot; &#233;\"/>", "n"), "a & b <c> \"d\" \xC3\xA9");
    EXPECT_EQ(entryOf("<g><n>a &amp; b &#x1F600;</n></g>", "n"), "a & b \xF0\x9F\x98\x80");
}

// --- Attributes with a prefix, and with references

TEST(Envelope, TakesNoAttributeWithAPrefixForOneWithout)
{
    const STRING open = "<e xmlns:k='urn:k' k:code='1' k:desc='one' xml:id='x2'";
    EXPECT_EQ(errorOf(open + "/>").code, "");
    EXPECT_EQ(errorOf(open + "/>").description, "");
    EXPECT_EQ(errorOf(open + "><code>3</code><desc>three</desc></e>").code, "3");
    EXPECT_EQ(errorOf(open + "><code>3</code><desc>three</desc></e>").description, "three");
    EXPECT_EQ(errorOf(open + " code='4' desc='four'/>").code, "4");
    EXPECT_EQ(errorOf(open + " code='4' desc='four'/>").description, "four");

    EXPECT_EQ(entryOf(open + "/>", "code"), "");
    EXPECT_EQ(entryOf(open + "/>", "id"), "");
    EXPECT_EQ(entryOf(open + " id='5'/>", "id"), "5");
    EXPECT_EQ(entryOf(open + "><id>6</id></e>", "id"), "6");
    // It is not called by its prefix and name either.
    EXPECT_EQ(entryOf(open + "/>", "k:code"), "");
}

TEST(Envelope, ReadsAllOfAValueWithReferences)
{
    const STRING type = "<!DOCTYPE e [<!ENTITY sea 'the &#x26;#38; sea'><!ENTITY all 'all of &sea;'><!ENTITY none ''>]>";
    EXPECT_EQ(entryOf(type + "<e a='from &sea; on'/>", "a"), "from the & sea on");
    EXPECT_EQ(entryOf(type + "<e a='&sea;'/>", "a"), "the & sea");
    EXPECT_EQ(entryOf(type + "<e a='&all;!'/>", "a"), "all of the & sea!");
    EXPECT_EQ(entryOf(type + "<e a='&none;'><a>child</a></e>", "a"), "");
    EXPECT_EQ(errorOf(type + "<e code='&sea;' desc='x&sea;x'/>").code, "the & sea");
    EXPECT_EQ(errorOf(type + "<e code='&sea;' desc='x&sea;x'/>").description, "xthe & seax");
}
