// SPDX-License-Identifier: MIT
// What a reply takes in memory, the caller's copy of it included.
#include "WKLOAI/ReadingFor.h"
#include "WKLOAI/WKLOAI.h"
#include "WKLOAI/replies/Parser.h"
#include "WKLOAI/replies/Replies.h"
#include "plugin/replies/AllocationMeter.h"
#include "plugin/replies/Hostile.h"
#include "replies/Samples.h"
#include "support/CaptureStdout.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace W;
using test::AllocationMeter;
using test::Layout;
using test::Shape;

namespace {

class ReplyMemory : public testing::Test {
protected:
    void SetUp() override
    {
        if (!AllocationMeter::isAvailable())
            GTEST_SKIP() << "sanitizers keep their own accounts";
    }

    struct Outcome {
        WSTATUS status;
        std::size_t peak;
        double ratio; ///< of the peak to the body
    };

    template <class Record> Outcome parse(const STRING& body)
    {
        const test::CaptureStdout reports;
        const AllocationMeter meter;
        WContainer<Record> records;
        unsigned int count = 0;
        const WSTATUS status = oai.parseString(body, records, count);
        return {status, meter.peak(), static_cast<double>(meter.peak()) / static_cast<double>(body.size())};
    }

    /// The largest peak of all kinds of replies.
    std::size_t worst(const STRING& body)
    {
        return std::max(
            {parse<WContent>(body).peak, parse<WGroup>(body).peak, parse<WComment>(body).peak, parse<WKLGallery>(body).peak});
    }

    WKLOAI oai;
};

/// What any reply may take, the caller's copy included: eight times its size; a short one what a page of 20,000 records takes.
std::size_t limitFor(const STRING& body)
{
    constexpr std::size_t PAGE = 20'000 * 4096;
    constexpr std::size_t OWN = 1u << 20; // the parser's buffers, and pieces of memory that are larger than what is in them
    return std::max(8 * body.size(), PAGE + OWN + body.size());
}

/// Whether a body of that kind holds nothing but records, each a few bytes in the reply and a thousand in memory.
bool isAllRecords(const STRING& name)
{
    for (const char* const records :
         {"contentId elements", "groupId elements", "contents without anything", "groups", "comments as records",
          "comments of one content", "galleries", "contents of one gallery", "thumbnails"})
        if (name.find(records) == 0)
            return true;
    return false;
}

} // namespace

TEST_F(ReplyMemory, IsBoundedForAnyBody)
{
    for (const test::Growth& growth : test::growths())
        for (const std::size_t size : {std::size_t{1} << 20, std::size_t{4} << 20}) {
            const STRING body = growth.make(size);
            // Only records may take more than eight times a short body.
            const bool mayTakeMore = size == 1u << 20 || isAllRecords(growth.name);
            EXPECT_LT(worst(body), mayTakeMore ? limitFor(body) : 8 * body.size()) << growth.name << " of " << size;
        }
}

TEST_F(ReplyMemory, IsBelowEightTimesALongBodyOfRecords)
{
    for (const test::Growth& growth : test::growths()) {
        if (!isAllRecords(growth.name))
            continue;
        const STRING body = growth.make(12u << 20);
        EXPECT_LT(worst(body), 8 * body.size()) << growth.name;
    }
}

TEST_F(ReplyMemory, IsBelowEightTimesTheBodyInOtherEncodings)
{
    for (const char* const encoding : {"iso-8859-1", "windows-1252", "koi8-r"}) {
        const STRING declaration = "<?xml version='1.0' encoding='" + STRING(encoding) + "'?>";
        for (const STRING& text : {STRING(4u << 20, '\xC0'), test::repeated("<a>\xC0</a>", 4u << 20)}) {
            const STRING body = declaration + "<rsp><data>" + text + "</data></rsp>";
            EXPECT_LT(worst(body), 8 * body.size()) << encoding;
        }
    }
    STRING wide = "\xFF\xFE";
    for (const char c : test::repeated("<a/>", 4u << 20))
        wide += {c, '\0'};
    EXPECT_LT(worst(wide), 8 * wide.size());
}

TEST_F(ReplyMemory, IsAbsoluteForShortReplies)
{
    for (const test::Growth& growth : test::growths()) {
        const STRING body = growth.make(100'000);
        EXPECT_LT(worst(body), 36u << 20) << growth.name;
    }
}

TEST_F(ReplyMemory, IsFarFromTheLimitForTheServicesReplies)
{
    for (const Shape shape : test::SHAPES)
        for (const Layout layout : {Layout::COMPACT, Layout::INDENTED})
            for (const std::size_t count : {std::size_t{1000}, std::size_t{5000}}) {
                SCOPED_TRACE(STRING(nameOf(shape)) + " " + std::to_string(count));
                const auto expectSmall = [](const Outcome& outcome) {
                    EXPECT_EQ(outcome.status, 0);
                    EXPECT_LT(outcome.ratio, 4.5);
                };
                expectSmall(parse<WContent>(test::feedReply(count, shape, layout)));
                expectSmall(parse<WContent>(test::viewReply(count, 2, shape, layout)));
                expectSmall(parse<WContent>(test::viewReply(1, count, shape, layout)));
                expectSmall(parse<WGroup>(test::groupsReply(count, shape, layout)));
                expectSmall(parse<WComment>(test::commentsReply(count, shape, layout)));
                expectSmall(parse<WKLGallery>(test::galleryReply(count, shape, layout)));
            }
}

TEST_F(ReplyMemory, IsNoReasonToRefuseALongReply)
{
    const STRING body = test::feedReply(100'000, Shape::ATTRIBUTES);
    ASSERT_GT(body.size(), 100'000'000u);
    const Outcome outcome = parse<WContent>(body);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_LT(outcome.ratio, 4.5);
}

// The largest page that a service gives, of records that are as small as they can be.
TEST_F(ReplyMemory, IsNoReasonToRefuseTwentyThousandRecordsOfAnyKind)
{
    const auto page = [](const STRING& before, const STRING& record, const STRING& after) {
        STRING body = before;
        for (int i = 0; i < 20'000; ++i)
            body += record;
        return "<rsp>" + body + after + "</rsp>";
    };
    const auto expectAll = [this](auto record, const STRING& body, const char* what) {
        const test::CaptureStdout reports;
        WContainer<decltype(record)> records;
        unsigned int count = 0;
        EXPECT_EQ(oai.parseString(body, records, count), 0) << what;
        EXPECT_EQ(count, 20'000u) << what;
        EXPECT_EQ(records.getData().size(), 20'000u) << what;
    };
    const STRING full = "<comment commentId='1'/><eventLink><contentLink ID='1'/></eventLink>";
    expectAll(WContent(), page("<data>", "<content contentId='1'/>", "</data>"), "contents");
    expectAll(WContent(), page("<data>", "<content><contentId>1</contentId></content>", "</data>"), "contents of elements");
    expectAll(WContent(), page("<data><group>", "<content id='1' galleryID='1'/>", "</group></data>"), "contents of a group");
    expectAll(WContent(), page("<data><group>", "<content id='1' galleryID='1'>" + full + "</content>", "</group></data>"),
              "full contents");
    expectAll(WContent(), page("<data><group>", "<content id='1' messageBoardID='1'/>", "</group></data>"), "messages");
    expectAll(WContent(), page("<data><group>", "<content id='1' calendarID='1'/>", "</group></data>"), "events");
    expectAll(WGroup(), page("<data>", "<group/>", "</data>"), "groups");
    expectAll(WGroup(), page("<data><user>", "<group/>", "</user></data>"), "groups of a user");
    expectAll(WComment(), page("", "<comment commentId='1'/>", "<data/>"), "comments");
    expectAll(WComment(), page("", "<comment><commentId>1</commentId></comment>", "<data/>"), "comments of elements");
    expectAll(WKLGallery(), page("<group>", "<gallery id='1'/>", "</group><data/>"), "galleries");
    expectAll(WKLGallery(), page("<group>", "<gallery id='1'><content id='1'>" + full + "</content></gallery>", "</group><data/>"),
              "full galleries");
}

TEST_F(ReplyMemory, IsNoReasonToRefuseTwentyThousandRecordsInOne)
{
    const auto expectAll = [this](const STRING& before, const STRING& record, const STRING& after, auto&& countIn) {
        STRING body = "<rsp><data><group><content id='1' galleryID='1'>" + before;
        for (int i = 0; i < 20'000; ++i)
            body += record;
        body += after + "</content></group></data></rsp>";
        WContainer<WContent> records;
        unsigned int count = 0;
        ASSERT_EQ(oai.parseString(body, records, count), 0) << record;
        ASSERT_EQ(records.getData().size(), 1u);
        EXPECT_EQ(countIn(records.getData().front()), 20'000u) << record;
    };
    const auto comments = [](const WContent& content) { return content.getComments().size(); };
    const auto events = [](const WContent& content) { return content.getEvents().size(); };
    const auto thumbnails = [](const WContent& content) { return content.getThumbnails().size(); };
    expectAll("", "<comment commentId='1'/>", "", comments);
    expectAll("", "<comment><commentId>1</commentId></comment>", "", comments);
    expectAll("<eventLink>", "<contentLink ID='1'/>", "</eventLink>", events);
    expectAll("<eventLink>", "<contentLink><ID>1</ID></contentLink>", "</eventLink>", events);
    expectAll("<thumbnail>", "<contentThumbnail_116X87/>", "</thumbnail>", thumbnails);

    // A plain content has no comments of its own; those in it are passed over.
    STRING plain = "<rsp><data><content contentId='1'>";
    for (int i = 0; i < 20'000; ++i)
        plain += "<comment><commentId>1</commentId></comment>";
    EXPECT_EQ(parse<WContent>(plain + "</content></data></rsp>").status, 0);

    // The contents of one gallery.
    STRING gallery = "<rsp><group><gallery id='1'>";
    for (int i = 0; i < 20'000; ++i)
        gallery += "<content id='1'/>";
    gallery += "</gallery></group><data/></rsp>";
    WContainer<WKLGallery> galleries;
    unsigned int count = 0;
    ASSERT_EQ(oai.parseString(gallery, galleries, count), 0);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(galleries.getData().front().getContents().size(), 20'000u);
}

TEST_F(ReplyMemory, IsReturned)
{
    const STRING body = test::feedReply(1000, Shape::ELEMENTS);
    const STRING withCatalog = "<?oasis-xml-catalog catalog='" + STRING(10'000, 'x') + "'?><rsp><data/></rsp>";
    // The first of its kind leaves something of libxml2's own behind.
    parse<WContent>(body);
    parse<WContent>(withCatalog);
    replies::freeKeptParser();
    const AllocationMeter meter;
    for (int round = 0; round < 3; ++round) {
        parse<WContent>(body);
        parse<WContent>(body.substr(0, body.size() / 2));
        parse<WGroup>("<!DOCTYPE a>" + body);
        parse<WContent>(body);
        parse<WContent>(withCatalog);
    }
    replies::freeKeptParser();
    EXPECT_EQ(meter.inUse(), 0u);
}

TEST_F(ReplyMemory, HoldsNoCopyOfAReplyThatIsParsedWhereItLies)
{
    const STRING body = "<rsp><data><contents/></data><!--" + STRING(1'000'000, ' ') + "--></rsp>";
    const auto peakOf = [](auto&& parseList) {
        replies::freeKeptParser();
        WContainer<WContent> records;
        unsigned int count = 0;
        const AllocationMeter meter;
        EXPECT_EQ(parseList(records, count), 0);
        return meter.peak();
    };
    const std::size_t copied =
        peakOf([&](WContainer<WContent>& records, unsigned int& count) { return oai.parseString(body, records, count); });
    const std::size_t inPlace = peakOf([&](WContainer<WContent>& records, unsigned int& count) {
        return replies::parseReply(readingFor(oai), body, records, count);
    });
    EXPECT_LE(inPlace + body.size(), copied);
}

TEST_F(ReplyMemory, IsTakenInFewPieces)
{
    const STRING small = test::feedReply(1000, Shape::ELEMENTS);
    const STRING large = test::feedReply(2000, Shape::ELEMENTS);
    const auto allocations = [this](const STRING& body) {
        const AllocationMeter meter;
        parse<WContent>(body);
        return meter.allocations();
    };
    const std::size_t perRecord = (allocations(large) - allocations(small)) / 1000;
    EXPECT_LT(perRecord, 20u) << "a tree of nodes takes three times as many";
}
