// SPDX-License-Identifier: MIT
// What a reply takes in memory, the caller's copy of it included.
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
        double ratio; ///< of the peak to the body
    };

    template <class Record> Outcome parse(const STRING& body)
    {
        const test::CaptureStdout reports;
        const AllocationMeter meter;
        WContainer<Record> records;
        unsigned int count = 0;
        const WSTATUS status = oai.parseString(body, records, count);
        return {status, static_cast<double>(meter.peak()) / static_cast<double>(body.size())};
    }

    /// The largest peak of all kinds of replies.
    double worst(const STRING& body)
    {
        return std::max(
            {parse<WContent>(body).ratio, parse<WGroup>(body).ratio, parse<WComment>(body).ratio, parse<WKLGallery>(body).ratio});
    }

    WKLOAI oai;
};

/// Whether a body of that kind holds nothing but records, each a few bytes in the reply and a thousand in memory. Short ones may
/// take more than their length warrants.
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

TEST_F(ReplyMemory, IsBelowEightTimesTheBodyForAnyBody)
{
    for (const test::Growth& growth : test::growths())
        for (const std::size_t size : {std::size_t{1} << 20, std::size_t{4} << 20}) {
            if (size == 1u << 20 && isAllRecords(growth.name))
                continue;
            EXPECT_LT(worst(growth.make(size)), 8) << growth.name << " of " << size;
        }
}

TEST_F(ReplyMemory, IsBelowEightTimesTheBodyInOtherEncodings)
{
    for (const char* const encoding : {"iso-8859-1", "windows-1252", "koi8-r"}) {
        const STRING declaration = "<?xml version='1.0' encoding='" + STRING(encoding) + "'?>";
        EXPECT_LT(worst(declaration + "<rsp><data>" + STRING(4u << 20, '\xC0') + "</data></rsp>"), 8) << encoding;
        EXPECT_LT(worst(declaration + "<rsp><data>" + test::repeated("<a>\xC0</a>", 4u << 20) + "</data></rsp>"), 8) << encoding;
    }
    STRING wide = "\xFF\xFE";
    for (const char c : test::repeated("<a/>", 4u << 20))
        wide += {c, '\0'};
    EXPECT_LT(worst(wide), 8);
}

TEST_F(ReplyMemory, IsAbsoluteForShortReplies)
{
    for (const test::Growth& growth : test::growths()) {
        const STRING body = growth.make(100'000);
        EXPECT_LT(worst(body) * static_cast<double>(body.size()), 20u << 20) << growth.name;
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

TEST_F(ReplyMemory, IsNoReasonToRefuseAShortReplyOfSmallRecords)
{
    STRING contents;
    for (int i = 0; i < 10'000; ++i)
        contents += "<content contentId='" + std::to_string(i) + "'/>";
    EXPECT_EQ(parse<WContent>("<rsp><data>" + contents + "</data></rsp>").status, 0);
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
        return replies::parseReply(oai.reading(), body, records, count);
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
