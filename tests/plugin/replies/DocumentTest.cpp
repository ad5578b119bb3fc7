// SPDX-License-Identifier: MIT
// What stands between a body and its nodes: the guard, the encodings, the budget and the tree.
#include "WKLOAI/replies/Document.h"
#include "KLService/Xml.h"
#include "W/WTypes.h"
#include "WKLOAI/replies/Encoding.h"
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/Guard.h"

#include <gtest/gtest.h>
#include <stdexcept>

using namespace W;
using namespace W::replies;

namespace {

const xmlChar* nameOf(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

/// The children of a node, in a line.
STRING childrenOf(const xmlNode* node)
{
    STRING line;
    const xmlNode* before = nullptr;
    for (const xmlNode* child = node->children; child; before = child, child = child->next) {
        EXPECT_EQ(child->prev, before);
        EXPECT_EQ(child->parent, node);
        line += line.empty() ? "" : " ";
        line += child->type == XML_TEXT_NODE ? STRING("'") + xml::text(child->content) + "'" : STRING(xml::name(child));
    }
    EXPECT_EQ(node->last, before);
    return line;
}

std::optional<STRING> decoded(const STRING& body)
{
    STRING storage;
    const std::optional<std::string_view> text = inUtf8(body, storage);
    return text ? std::optional<STRING>(STRING(*text)) : std::nullopt;
}

} // namespace

// --- The guard

TEST(ReplyGuard, TakesOrdinaryReplies)
{
    EXPECT_TRUE(isParsable(""));
    EXPECT_TRUE(isParsable("<rsp/>"));
    EXPECT_TRUE(isParsable("<?xml version='1.0'?>\n<!-- c --><?p i?><rsp><data a='b'/></rsp>"));
    EXPECT_TRUE(isParsable("not xml at all, which is for the parser to say"));
}

TEST(ReplyGuard, RefusesADocumentTypeBeforeTheRoot)
{
    for (const char* const before :
         {"", " \t\r\n", "<?xml version='1.0'?>", "<!-- <a> -->", "<?p <a>?>", "<!----><!---->\n<?a?><?b?>"})
        EXPECT_FALSE(isParsable(before + STRING("<!DOCTYPE a><a/>"))) << before;
}

TEST(ReplyGuard, LooksForADocumentTypeBeforeTheRootOnly)
{
    for (const char* const text : {"<a><!DOCTYPE a></a>", "<a/><!DOCTYPE a>", "<!-- <!DOCTYPE a> --><a/>", "<!--<!DOCTYPE a>",
                                   "x<!DOCTYPE a>", "<!DOCTYP a>", "<!doctype a>", "<![CDATA[<!DOCTYPE a>]]>"})
        EXPECT_TRUE(isParsable(text)) << text;
}

TEST(ReplyGuard, RefusesADocumentTypeInAnInstruction)
{
    // Where a broken one ends, the parser decides.
    EXPECT_FALSE(isParsable("<?<!DOCTYPE a><a/>"));
    EXPECT_FALSE(isParsable("<?xml version='1.0'><!DOCTYPE a>?><a/>"));
}

TEST(ReplyGuard, BoundsTheAttributesOfATag)
{
    const auto tag = [](std::size_t attributes, const STRING& attribute) {
        STRING text = "<rsp><a";
        for (std::size_t i = 0; i < attributes; ++i)
            text += attribute;
        return text + "/></rsp>" + STRING(5000, ' ');
    };
    for (const char* const attribute : {" a=''", " abc=\"def\"", "\na =\n'>'", "\ta\t=\t\"'=\"", R"( a='"="="=')"}) {
        EXPECT_TRUE(isParsable(tag(MAX_ATTRIBUTES, attribute))) << attribute;
        EXPECT_FALSE(isParsable(tag(MAX_ATTRIBUTES + 1, attribute))) << attribute;
    }
    EXPECT_FALSE(isParsable(tag(100'000, " a=''").substr(0, 400'000))) << "a tag that does not end";
}

TEST(ReplyGuard, FindsALongTagWhereverItStands)
{
    STRING tag = "<a";
    for (std::size_t i = 0; i <= MAX_ATTRIBUTES; ++i)
        tag += " a=''";
    for (std::size_t before = 0; before < 3000; before += 7) {
        EXPECT_FALSE(isParsable("<r>" + STRING(before, ' ') + tag + "/></r>")) << before;
        EXPECT_FALSE(isParsable("<r>" + STRING(before, '<') + tag + "/></r>")) << before;
    }
}

TEST(ReplyGuard, TakesLongTextsForNoTags)
{
    STRING text;
    for (int i = 0; i < 1000; ++i)
        text += " a='b' c=\"d\"";
    for (const char* const open : {"<a>", "<a><!--", "<a><![CDATA[ < ", "<a><?p ", "</a>", "<a b='>'>", "<a b='x' >"})
        EXPECT_TRUE(isParsable(open + text)) << open;
}

TEST(ReplyGuard, BoundsTheLengthOfATag)
{
    EXPECT_TRUE(isParsable("<a b='" + STRING(MAX_TAG - 100, 'x') + "'/>"));
    EXPECT_FALSE(isParsable("<a b='" + STRING(MAX_TAG, 'x') + "'/>"));
    EXPECT_TRUE(isParsable("<a>" + STRING(2 * MAX_TAG, 'x') + "</a>"));
}

TEST(ReplyGuard, BoundsTheLengthOfABody)
{
    const STRING body(MAX_BODY + 1, ' ');
    EXPECT_TRUE(isParsable(std::string_view(body).substr(1)));
    EXPECT_FALSE(isParsable(body));
}

// --- Encodings

TEST(ReplyEncoding, HandsUtf8OverAsItIs)
{
    STRING storage;
    for (const char* const body : {"<rsp/>", "<?xml version='1.0'?><rsp/>", "<?xml version='1.0' encoding='UTF-8'?><rsp/>",
                                   "<?xml version='1.0' encoding=\"utf8\" standalone='yes'?><rsp/>", "", "<", "<rsp>\xFF</rsp>"}) {
        const STRING text = body;
        const std::optional<std::string_view> same = inUtf8(text, storage);
        ASSERT_TRUE(same) << body;
        EXPECT_EQ(same->data(), text.data()) << "without a copy";
        EXPECT_EQ(same->size(), text.size());
    }
}

TEST(ReplyEncoding, DropsAMark)
{
    EXPECT_EQ(decoded("\xEF\xBB\xBF<rsp/>"), "<rsp/>");
    EXPECT_EQ(decoded(STRING("\xFF\xFE<\0", 4)), "<");
    EXPECT_EQ(decoded("\xEF\xBB\xBF<?xml encoding='x'?>"), "<?xml encoding='x'?>") << "the mark has said it";
}

TEST(ReplyEncoding, HidesNothingInAnother)
{
    // A text that looks like yet another encoding when it is decoded.
    EXPECT_FALSE(decoded("\xEF\xBB\xBF\xEF\xBB\xBF<rsp/>"));
    EXPECT_FALSE(decoded(STRING("\xEF\xBB\xBF\xFE\xFF\0<", 7)));
    EXPECT_FALSE(decoded(STRING("\xFE\xFF\0\0\0<\0\0\0?", 10)));
    EXPECT_FALSE(decoded(STRING("\xEF\xBB\xBF\0<\0?", 7)));
    EXPECT_FALSE(decoded("\x4C\x6F\xA7\x94"));
    EXPECT_FALSE(decoded(STRING("<a>\0", 4)));
}

TEST(ReplyEncoding, RefusesUnknownNames)
{
    for (const char* const name : {"UTF-7", "IBM037", "EBCDIC-US", "UTF-16", "UCS-2", "x", " utf-8", "utf-8 ", "utf-8//TRANSLIT",
                                   "iso-8859-", "iso-8859-1x", "iso-8859-99", "windows-12 52", "../gconv", "HTML"})
        EXPECT_FALSE(decoded("<?xml version='1.0' encoding='" + STRING(name) + "'?><rsp/>")) << name;
}

TEST(ReplyEncoding, RefusesWhatIsNotValidInIt)
{
    EXPECT_FALSE(decoded("<?xml version='1.0' encoding='EUC-KR'?><a>\xB1</a>"));
    EXPECT_FALSE(decoded("<?xml version='1.0' encoding='Shift_JIS'?><a>\x82"));
    EXPECT_FALSE(decoded("<?xml version='1.0' encoding='US-ASCII'?><a>\xE9</a>"));
}

// --- The budget

TEST(ReplyBudget, IsBelowEightTimesALongReply)
{
    const std::size_t size = 20'000'000;
    Budget budget(size);
    EXPECT_EQ(budget.left(), 6 * size);
    budget.spendOnRecord(budget.left());
    EXPECT_THROW(budget.spendOnRecord(1), std::length_error);
    EXPECT_THROW(budget.spendOnText(1), std::length_error);
    EXPECT_THROW(budget.spendOnTree(1), std::length_error);
}

TEST(ReplyBudget, IsGenerousToShortReplies)
{
    EXPECT_EQ(Budget(100).left(), 20'000u * 4096u);
    Budget forTree(100);
    forTree.spendOnTree(20'000u * 1024u);
    EXPECT_THROW(forTree.spendOnTree(1), std::length_error);
    EXPECT_NO_THROW(forTree.spendOnRecord(20'000u * 3072u));
    EXPECT_THROW(forTree.spendOnRecord(1), std::length_error);
    // But not to texts: one may be repeated in each of many records.
    Budget forTexts(100);
    forTexts.spendOnText(16u << 20);
    EXPECT_THROW(forTexts.spendOnText(1), std::length_error);
    EXPECT_NO_THROW(forTexts.spendOnRecord(20u << 20));
}

TEST(ReplyBudget, TakesBackWhatATreeReturns)
{
    Budget budget(100);
    for (int round = 0; round < 100; ++round) {
        budget.spendOnTree(1u << 20);
        budget.refundFromTree(1u << 20);
    }
    EXPECT_EQ(budget.left(), 20'000u * 4096u);
}

TEST(ReplyBudget, HasNoLimitForOthersDocuments)
{
    EXPECT_NO_THROW(Budget().spendOnRecord(std::size_t{1} << 40));
    EXPECT_NO_THROW(Budget().spendOnText(std::size_t{1} << 40));
    EXPECT_NO_THROW(Budget().spendOnTree(std::size_t{1} << 40));
}

// --- The tree

namespace {

class ReplyTree : public testing::Test {
protected:
    Budget budget{0};
    Tree tree{budget, 0};
};

} // namespace

TEST_F(ReplyTree, LinksElementsAndAttributes)
{
    tree.open(nameOf("root"));
    tree.attribute(nameOf("a"), "1");
    tree.attribute(nameOf("b"), "");
    tree.open(nameOf("x"));
    tree.close();
    tree.open(nameOf("y"));
    tree.close();
    const xmlNode* const root = tree.close();
    EXPECT_EQ(root, tree.root());
    EXPECT_EQ(childrenOf(root), "x y");
    EXPECT_STREQ(xml::entry(root, "a").text(), "1");
    EXPECT_STREQ(xml::entry(root, "b").text(), "");
    EXPECT_FALSE(xml::attribute(root, "c").exists());
    EXPECT_EQ(root->parent, nullptr);
}

TEST_F(ReplyTree, KeepsTheFirstRunOfTextOnly)
{
    tree.open(nameOf("root"));
    tree.text("one ");
    tree.text("run");
    tree.open(nameOf("x"));
    tree.text("inner");
    tree.close();
    tree.text("another run");
    tree.other();
    tree.text("and another");
    EXPECT_EQ(childrenOf(tree.close()), "'one run' x");
    EXPECT_EQ(childrenOf(tree.root()->last), "'inner'");
}

TEST_F(ReplyTree, EndsARunOfTextWithACommentToo)
{
    tree.open(nameOf("root"));
    tree.text("one");
    tree.other();
    tree.text("two");
    EXPECT_EQ(childrenOf(tree.close()), "'one'");
}

TEST_F(ReplyTree, LeavesOneNodeForWhatIsNotKept)
{
    tree.open(nameOf("root"));
    tree.other();
    tree.other();
    tree.other();
    EXPECT_EQ(childrenOf(tree.root()), "comment");
    tree.text("text");
    tree.other();
    EXPECT_EQ(childrenOf(tree.close()), "comment 'text'");
    EXPECT_FALSE(xml::isElement(tree.root()->children));
}

TEST_F(ReplyTree, IgnoresWhatStandsOutsideTheRoot)
{
    tree.other();
    tree.text("x");
    EXPECT_EQ(tree.root(), nullptr);
    tree.open(nameOf("root"));
    tree.close();
    tree.other();
    tree.text("x");
    EXPECT_EQ(childrenOf(tree.root()), "");
}

TEST_F(ReplyTree, ForgetsAnElementAndAllInIt)
{
    tree.open(nameOf("root"));
    for (int i = 0; i < 10'000; ++i) {
        tree.open(nameOf("record"));
        tree.attribute(nameOf("a"), STRING(50, 'x'));
        tree.text(STRING(200, 'y'));
        tree.open(nameOf("inner"));
        tree.close();
        tree.forget(tree.close());
    }
    EXPECT_EQ(childrenOf(tree.root()), "comment") << "the root is not empty for that";
    EXPECT_GT(budget.left(), (16u << 20) - (64u << 10)) << "and takes no memory";
    tree.open(nameOf("last"));
    tree.attribute(nameOf("a"), "b");
    tree.close();
    EXPECT_EQ(childrenOf(tree.close()), "comment last");
    EXPECT_STREQ(xml::entry(tree.root()->last, "a").text(), "b");
}

TEST_F(ReplyTree, KeepsWhatStandsBesideAForgottenElement)
{
    tree.open(nameOf("root"));
    tree.text("text");
    tree.open(nameOf("kept"));
    tree.text("kept text");
    tree.close();
    tree.open(nameOf("record"));
    tree.forget(tree.close());
    tree.text("more");
    tree.open(nameOf("also"));
    tree.close();
    EXPECT_EQ(childrenOf(tree.close()), "'text' kept also");
    EXPECT_STREQ(xml::childText(tree.root(), "kept"), "kept text");
}

TEST_F(ReplyTree, ReturnsTheMemoryOfALargeElement)
{
    tree.open(nameOf("root"));
    const std::size_t before = budget.left();
    tree.open(nameOf("record"));
    for (int i = 0; i < 2000; ++i) {
        tree.open(nameOf("x"));
        tree.close();
    }
    EXPECT_LT(budget.left(), before);
    tree.forget(tree.close());
    EXPECT_EQ(budget.left(), before);
}

TEST_F(ReplyTree, HoldsTextsOfAnyLength)
{
    tree.open(nameOf("root"));
    STRING expected;
    for (int i = 0; i < 50'000; ++i) {
        const STRING piece(static_cast<std::size_t>(i % 37), static_cast<char>('a' + i % 26));
        tree.text(piece);
        expected += piece;
    }
    tree.close();
    EXPECT_EQ(STRING(xml::firstText(tree.root())), expected);
}

TEST_F(ReplyTree, RefusesMoreNodesThanItsBudgetHas)
{
    tree.open(nameOf("root"));
    const auto grow = [this] {
        for (int i = 0; i < 1'000'000; ++i) {
            tree.open(nameOf("x"));
            tree.close();
        }
    };
    EXPECT_THROW(grow(), std::length_error);
}

TEST_F(ReplyTree, ResolvesTheAmpersandsOfAnAttribute)
{
    tree.open(nameOf("root"));
    tree.attribute(nameOf("a"), "x&#38;y&#38;#38;z&#38;");
    tree.close();
    EXPECT_STREQ(xml::entry(tree.root(), "a").text(), "x&y&#38;z&");
}

// --- Documents

namespace {

/// Notes what ends, and has some of it forgotten.
class Notes : public ElementSink {
public:
    explicit Notes(const char* toForget = "") : m_toForget(toForget) {}
    bool ended(const xmlNode* element, std::size_t depth) override
    {
        line += STRING(xml::name(element)) + std::to_string(depth) + " ";
        if (xml::isElement(element, "throw"))
            throw std::runtime_error("as asked");
        return xml::isElement(element, m_toForget);
    }
    STRING line;

private:
    const char* m_toForget;
};

} // namespace

TEST(ReplyDocument, TellsOfEachElementThatEnds)
{
    Budget budget(0);
    Notes notes("b");
    const Document document("<a><b><c/></b><d/>text<b/></a>", budget, &notes);
    EXPECT_EQ(notes.line, "c2 b1 d1 b1 a0 ");
    EXPECT_EQ(childrenOf(document.root()), "comment d 'text'");
}

TEST(ReplyDocument, PassesOnWhatTheSinkThrows)
{
    Budget budget(0);
    Notes notes;
    EXPECT_THROW(Document("<a><throw/><b/></a>", budget, &notes), std::runtime_error);
    EXPECT_EQ(notes.line, "throw1 ") << "and tells nothing more";
}

TEST(ReplyDocument, StopsAtTheFirstError)
{
    Budget budget(0);
    Notes notes;
    EXPECT_THROW(Document("<a><b/>&x;" + STRING(100'000, '&') + "<c/></a>", budget, &notes), std::exception);
    EXPECT_EQ(notes.line, "b1 ");
}

TEST(ReplyDocument, RefusesTooManyNamespaces)
{
    const auto nested = [](int each) {
        STRING text;
        for (int depth = 0; depth < 10; ++depth) {
            text += "<a";
            for (int i = 0; i < each; ++i)
                text += " xmlns:n" + std::to_string(100 * depth + i) + "='urn:n'";
            text += ">";
        }
        for (int depth = 0; depth < 10; ++depth)
            text += "</a>";
        return text;
    };
    Budget budget(0);
    EXPECT_NO_THROW(Document(nested(25), budget));
    EXPECT_THROW(Document(nested(26), budget), std::length_error);
}

// --- Fields

TEST(ReplyFieldNames, AreFoundAndNothingElseIs)
{
    static constexpr FieldNames NAMES({"size", "format", "width", "height", "contentUrl", "contentDesc", "a", "b"});
    EXPECT_EQ(NAMES.find("size"), 0);
    EXPECT_EQ(NAMES.find("contentUrl"), 4);
    EXPECT_EQ(NAMES.find("b"), 7);
    for (const char* const name : {"", "siz", "sizes", "Size", "c", "contentUrx", "xontentUrl", "contentDes"})
        EXPECT_EQ(NAMES.find(name), -1) << name;
}
