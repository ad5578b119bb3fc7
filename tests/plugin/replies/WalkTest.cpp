// SPDX-License-Identifier: MIT
// The walk over a reply's envelope, the same for all kinds of replies.
#include "plugin/replies/ReplyTest.h"

#include <functional>
#include <set>

using namespace kinloom_test;
using namespace W;

namespace {

class ReplyWalk : public ReplyTest {
protected:
    struct Kind {
        const char* name;
        std::function<WSTATUS(const STRING&)> parse;
    };
    struct ListOutcome {
        WSTATUS status;
        std::vector<STRING> uids;
        unsigned int count;
        std::int32_t containerCount;
    };
    struct ListKind {
        const char* name;
        STRING one; ///< elements that make one record
        bool below; ///< whether they stand in "data"
        std::function<ListOutcome(const STRING&)> parse;

        /// A reply with the record and what stands before and behind its "data".
        STRING reply(const STRING& before, const STRING& behind) const
        {
            return "<rsp>" + before + (below ? "<data>" + one + "</data>" : one + "<data/>") + behind + "</rsp>";
        }
    };

    std::vector<Kind> kinds()
    {
        return {
            {"contents", [this](const STRING& body) { return contents(body).status; }},
            {"groups", [this](const STRING& body) { return groups(body).status; }},
            {"comments", [this](const STRING& body) { return comments(body).status; }},
            {"galleries", [this](const STRING& body) { return galleries(body).status; }},
            {"slot",
             [this](const STRING& body) {
                 WContent slot;
                 return oai->parseString(body, slot);
             }},
        };
    }

    template <class Record> ListOutcome outcome(const STRING& body)
    {
        const ListResult<Record> result = parseList<Record>(*oai, body);
        return {result.status, result.uids(), result.count, result.records.getCount()};
    }

    std::vector<ListKind> lists()
    {
        return {
            {"contents", "<content contentId='1'/>", true, [this](const STRING& body) { return outcome<WContent>(body); }},
            {"groups", "<group groupId='1'/>", true, [this](const STRING& body) { return outcome<WGroup>(body); }},
            {"comments", "<comment commentId='1'/>", false, [this](const STRING& body) { return outcome<WComment>(body); }},
            {"galleries", "<group><gallery id='1'/></group>", false,
             [this](const STRING& body) { return outcome<WKLGallery>(body); }},
        };
    }

    void expectAll(const STRING& body, WSTATUS expected)
    {
        for (const Kind& kind : kinds()) {
            SCOPED_TRACE(STRING(kind.name) + ": " + body.substr(0, 200));
            EXPECT_EQ(kind.parse(body), expected);
            if (expected < 0)
                expectOneReport(expected);
            else
                expectNoReport();
        }
    }
};

const STRING NO_RECORDS = "<rsp><data/></rsp>";

} // namespace

TEST_F(ReplyWalk, RefusesWhatIsNotXml)
{
    for (const char* const body :
         {"", " ", "not xml", "503 come back later", "<", "<rsp", "<rsp>", "<rsp></rsq>", "<rsp/><rsp/>",
          "<rsp><data></rsp></data>", "<rsp a=1><data/></rsp>", "<rsp>&nothing;<data/></rsp>", "<rsp a='1' a='2'><data/></rsp>",
          "x<rsp><data/></rsp>", "<rsp><data/></rsp>x", " <?xml version='1.0'?><rsp><data/></rsp>"})
        expectAll(body, -16);
}

TEST_F(ReplyWalk, RefusesARootOfAnyOtherName)
{
    for (const char* const name : {"rsp2", "RSP", "rs", "response", "data", "result", "html"})
        expectAll("<" + STRING(name) + "><result><stat>ok</stat></result><data/></" + name + ">", -16);
}

TEST_F(ReplyWalk, RefusesAnEnvelopeWithoutChildren)
{
    expectAll("<rsp/>", -16);
    expectAll("<rsp></rsp>", -16);
    expectAll("<rsp a='1' stat='ok'/>", -16);
}

TEST_F(ReplyWalk, TakesAnEnvelopeWithAChildOfAnyKind)
{
    for (const char* const child : {"<unknown/>", "<unknown/><other>text<data/></other>", "\n", "text", "<!-- nothing -->",
                                    "<![CDATA[nothing]]>", "<?nothing at all?>"})
        expectAll("<rsp>" + STRING(child) + "</rsp>", 0);
}

TEST_F(ReplyWalk, GivesNoRecordsForUnknownChildrenOnly)
{
    for (const ListKind& list : lists()) {
        const ListOutcome outcome = list.parse("<rsp><unknown/><other/></rsp>");
        SCOPED_TRACE(list.name);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(outcome.uids.empty());
        EXPECT_EQ(outcome.count, ListResult<WContent>::UNTOUCHED);
        EXPECT_EQ(outcome.containerCount, -1);
    }
}

TEST_F(ReplyWalk, SkipsUnknownChildrenAroundTheOthers)
{
    for (const ListKind& list : lists()) {
        SCOPED_TRACE(list.name);
        const ListOutcome outcome = list.parse(
            list.reply("<x/>text<result><y/><stat>ok</stat></result><!-- c --><result2><stat>fail</stat></result2>", "<z/>"));
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.uids, std::vector<STRING>{"1"});
        EXPECT_EQ(outcome.count, 1u);
        EXPECT_EQ(outcome.containerCount, 1);
    }
    expectNoReport();
}

TEST_F(ReplyWalk, ReportsAFailedReply)
{
    expectAll("<rsp><result><stat>fail</stat></result></rsp>", -16);
    expectAll("<rsp><result><stat>fail</stat><err><code>104</code><desc>no</desc></err></result><data/></rsp>", -16);
    expectAll("<rsp><result code='24' desc='challenge'><stat>fail</stat></result></rsp>", -16);
    expectAll("<rsp><result><stat>ok</stat></result><result><stat>fail</stat></result></rsp>", -16);
}

TEST_F(ReplyWalk, GivesNoRecordsWhenAFailurePrecedesThem)
{
    for (const ListKind& list : lists()) {
        SCOPED_TRACE(list.name);
        const ListOutcome outcome = list.parse(list.reply("<result><stat>fail</stat></result>", ""));
        EXPECT_EQ(outcome.status, -16);
        EXPECT_TRUE(outcome.uids.empty());
        EXPECT_EQ(outcome.count, ListResult<WContent>::UNTOUCHED);
        EXPECT_EQ(outcome.containerCount, -1);
        expectOneReport();
    }
}

TEST_F(ReplyWalk, NeverReadsAFailureBehindTheData)
{
    for (const ListKind& list : lists()) {
        SCOPED_TRACE(list.name);
        const ListOutcome outcome = list.parse(list.reply("", "<result><stat>fail</stat></result>"));
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.uids, std::vector<STRING>{"1"});
    }
    expectNoReport();
}

TEST_F(ReplyWalk, TakesAVerdictFromTheFirstStatElementOnly)
{
    for (const char* const result : {"<result/>", "<result stat='fail'/>", "<result><stat/></result>",
                                     "<result><stat>FAIL</stat></result>", "<result><stat> fail</stat></result>",
                                     "<result><stat>failed</stat></result>", "<result><stat>ok</stat><stat>fail</stat></result>",
                                     "<result><stat/><stat>fail</stat></result>", "<result><stat><![CDATA[fail]]></stat></result>",
                                     "<result><x><stat>fail</stat></x></result>", "<result>fail</result>", "<stat>fail</stat>"})
        expectAll("<rsp>" + STRING(result) + "<data/></rsp>", 0);
}

TEST_F(ReplyWalk, ReadsTheFirstDataOnly)
{
    const ListResult<WContent> result =
        contents("<rsp><data><content contentId='1'/></data><data><content contentId='2'/></data></rsp>");
    EXPECT_EQ(result.uids(), std::vector<STRING>{"1"});
    EXPECT_EQ(result.count, 1u);

    EXPECT_EQ(contents("<rsp><data/><data><content contentId='2'/></data></rsp>").size(), 0u);
    EXPECT_EQ(groups("<rsp><data/><data><group groupId='2'/></data></rsp>").size(), 0u);
}

TEST_F(ReplyWalk, LooksForDataInTheEnvelopeOnly)
{
    EXPECT_EQ(contents("<rsp><x><data><content contentId='1'/></data></x></rsp>").size(), 0u);
    EXPECT_EQ(contents("<rsp><data><data><content contentId='1'/></data></data></rsp>").size(), 0u);
    EXPECT_EQ(contents("<rsp><content contentId='1'/><data/></rsp>").size(), 0u);
    EXPECT_EQ(groups("<rsp><group groupId='1'/><data/></rsp>").size(), 0u);
}

TEST_F(ReplyWalk, SetsTheCountsToZeroWhenTheDataHoldsNoRecord)
{
    for (const char* const data : {"<data>\n</data>", "<data><x/></data>", "<data><!-- c --></data>", "<data><![CDATA[x]]></data>",
                                   "<data><content/></data>"}) {
        SCOPED_TRACE(data);
        const ListResult<WContent> result = contents("<rsp>" + STRING(data) + "</rsp>");
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.count, 0u);
        EXPECT_EQ(result.records.getCount(), 0);
    }
}

TEST_F(ReplyWalk, LeavesTheCountsAloneWhenTheDataIsEmpty)
{
    for (const char* const data : {"<data/>", "<data></data>", "<data contentId='1' groupId='1'/>"}) {
        SCOPED_TRACE(data);
        const ListResult<WContent> listed = contents("<rsp>" + STRING(data) + "</rsp>");
        EXPECT_EQ(listed.status, 0);
        EXPECT_EQ(listed.count, ListResult<WContent>::UNTOUCHED);
        EXPECT_EQ(listed.records.getCount(), -1);
        EXPECT_EQ(groups("<rsp>" + STRING(data) + "</rsp>").count, ListResult<WGroup>::UNTOUCHED);
    }
}

TEST_F(ReplyWalk, AppendsToWhatTheContainerHolds)
{
    WContainer<WContent> list;
    list.data().emplace_back().setUID("old");
    unsigned int count = 9;
    ASSERT_EQ(oai->parseString(dataReply("<content contentId='1'/><content contentId='2'/>"), list, count), 0);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(list.getCount(), 2);
    ASSERT_EQ(list.getData().size(), 3u);
    EXPECT_EQ(list.getData().front().getUID(), "old");
    EXPECT_EQ(list.getData().back().getUID(), "2");
}

TEST_F(ReplyWalk, HandsOutNothingOfAReplyThatTurnsOutMalformed)
{
    for (const ListKind& list : lists()) {
        SCOPED_TRACE(list.name);
        const ListOutcome outcome = list.parse(list.reply("", "<broken>"));
        EXPECT_EQ(outcome.status, -16);
        EXPECT_TRUE(outcome.uids.empty());
        EXPECT_EQ(outcome.containerCount, -1);
        expectOneReport();
    }
}

TEST_F(ReplyWalk, SeesElementsOnlyInTheEnvelope)
{
    // Nodes that are no elements but bear, or may be taken to bear, the names that are looked for.
    expectAll("<rsp><![CDATA[<result><stat>fail</stat></result>]]><?result fail?><?data x?><!--data--><data/></rsp>", 0);
    const ListResult<WContent> listed =
        contents("<rsp><?data x?><data><?content contentId='9'?><![CDATA[content]]><content contentId='1'/></data></rsp>");
    EXPECT_EQ(listed.uids(), std::vector<STRING>{"1"});
    const ListResult<WComment> commented = comments("<rsp><!--comment--><?comment x?><comment commentId='1'/><data/></rsp>");
    EXPECT_EQ(commented.uids(), std::vector<STRING>{"1"});
}

// Elements go by their names, whatever their namespace; an attribute with a prefix is none of the service's.
TEST_F(ReplyWalk, ReadsNamesInNamespaces)
{
    const STRING body = "<k:rsp xmlns:k='urn:k' xmlns='urn:d'><k:result><k:stat>ok</k:stat></k:result><data><k:content "
                        "contentId='1' k:contentId='2' contentType='photo'><contentDesc>d</contentDesc></k:content></data></k:rsp>";
    const WContent record = content(body);
    EXPECT_EQ(record.getUID(), "1");
    EXPECT_EQ(record.getType(), "photo");
    EXPECT_EQ(record.getDescription(), "d");
}

TEST_F(ReplyWalk, RefusesAPrefixWithoutANamespace) { expectAll("<rsp><k:data/></rsp>", -16); }

TEST_F(ReplyWalk, ReportsWithTheLineOfEachEntryPoint)
{
    std::set<int> lines;
    for (const Kind& kind : kinds()) {
        EXPECT_EQ(kind.parse("<rsp/>"), -16);
        ASSERT_EQ(log->entries().size(), 1u);
        EXPECT_EQ(log->entries().front().name, "WSTATUS_FAILED");
        EXPECT_EQ(log->entries().front().source, "src/WKLOAI");
        lines.insert(log->entries().front().line);
        log->clear();
    }
    EXPECT_EQ(lines.size(), kinds().size());
}

// --- The upload slot

TEST_F(ReplyWalk, ReadsAnUploadSlotInBothShapes)
{
    for (const Shape shape : SHAPES) {
        SCOPED_TRACE(nameOf(shape));
        WContent slot;
        EXPECT_EQ(
            oai->parseString(
                test::reply({Element("data", {{"contentId", "c77"}, {"uploadUrl", "http://u.example/s?a=1&b=2"}})}, shape), slot),
            0);
        EXPECT_EQ(slot.getUID(), "c77");
        EXPECT_EQ(slot.getResourceURL(), "http://u.example/s?a=1&b=2");
    }
}

TEST_F(ReplyWalk, LeavesASlotAloneWithoutData)
{
    WContent slot;
    slot.setUID("before");
    slot.setResourceURL("url");
    EXPECT_EQ(oai->parseString(envelope("<x/>"), slot), 0);
    EXPECT_EQ(slot.getUID(), "before");
    EXPECT_EQ(slot.getResourceURL(), "url");
}

TEST_F(ReplyWalk, EmptiesASlotWhoseDataSaysNothing)
{
    WContent slot;
    slot.setUID("before");
    EXPECT_EQ(oai->parseString(envelope("<data/>"), slot), 0);
    EXPECT_EQ(slot.getUID(), "");
}

TEST_F(ReplyWalk, GoesOnBehindTheDataOfASlot)
{
    WContent slot;
    EXPECT_EQ(oai->parseString(envelope("<data contentId='1'/><data contentId='2' uploadUrl='u'/>"), slot), 0);
    EXPECT_EQ(slot.getUID(), "2");
    EXPECT_EQ(oai->parseString(envelope("<data contentId='3'/><result><stat>fail</stat></result>"), slot), -16);
    expectOneReport();
}

// --- The user's identity

namespace {

class IdentityReply : public ReplyTest {
protected:
    /// \return the user that the session then holds.
    STRING userAfter(const STRING& body, WSTATUS expected)
    {
        service().setUserID("before");
        EXPECT_EQ(oai->parseString(body), expected) << body;
        if (expected < 0)
            expectOneReport();
        else
            expectNoReport();
        return service().getUserID();
    }
};

} // namespace

TEST_F(IdentityReply, StoresTheUserInTheSession)
{
    EXPECT_EQ(userAfter("<rsp><stat>ok</stat><userId>u7</userId></rsp>", 0), "u7");
    EXPECT_EQ(userAfter("<rsp userId='u8'><stat>ok</stat></rsp>", 0), "u8");
    EXPECT_EQ(userAfter("<rsp userId='u8'><userId>u9</userId><stat>ok</stat></rsp>", 0), "u8");
}

TEST_F(IdentityReply, StoresAnEmptyUserWhenThereIsNone) { EXPECT_EQ(userAfter("<rsp><stat>ok</stat></rsp>", 0), ""); }

TEST_F(IdentityReply, RefusesAFailedReplyWhateverItsFirstChildIs)
{
    for (const char* const first : {"<err><code>104</code></err>", "<warning desc='w'/>", "<x/>", "text", ""})
        EXPECT_EQ(userAfter("<rsp>" + STRING(first) + "<stat>fail</stat><userId>u</userId></rsp>", -16), "before") << first;
}

TEST_F(IdentityReply, RefusesAnyOtherVerdict)
{
    for (const char* const body :
         {"<rsp><userId>u</userId></rsp>", "<rsp stat='ok'><userId>u</userId></rsp>", "<rsp/>", "<rsp><stat/></rsp>",
          "<rsp><stat>OK</stat></rsp>", "<rsp><result><stat>ok</stat></result></rsp>", "<other><stat>ok</stat></other>", "",
          "<rsp><stat>ok</stat>"})
        EXPECT_EQ(userAfter(body, -16), "before") << body;
}

// --- Texts

TEST(ReplyText, EscapesEveryAmpersandOnce)
{
    WKLOAI oai;
    EXPECT_EQ(oai.TestString("a & b && c"), "a &amp; b &amp;&amp; c");
    EXPECT_EQ(oai.TestString("&amp;"), "&amp;amp;");
    EXPECT_EQ(oai.TestString(""), "");
    EXPECT_EQ(oai.TestString("none"), "none");
}

TEST(ReplyText, ReplacesATextEverywhere)
{
    WKLOAI oai;
    EXPECT_EQ(oai.TestString("one two one", "one", "three"), "three two three");
    EXPECT_EQ(oai.TestString("aXbX", "X", ""), "ab");
    EXPECT_EQ(oai.TestString("text", "", "x"), "text");
}

TEST(ReplyText, SearchesOnBehindTheFirstCharacterOfAReplacement)
{
    WKLOAI oai;
    EXPECT_EQ(oai.TestString("abb", "ab", "aa"), "aaa");
    EXPECT_EQ(oai.TestString("abaa", "aba", "xab"), "xxab");
    EXPECT_EQ(oai.TestString("aaa", "aa", "a"), "aa");
}
