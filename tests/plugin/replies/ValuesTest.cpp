// SPDX-License-Identifier: MIT
// From texts to numbers and dates.
#include "plugin/replies/ReplyTest.h"

using namespace kinloom_test;
using namespace W;

namespace {

class ReplyValues : public ReplyTest {
protected:
    UINT32 countOf(const STRING& text, Shape shape)
    {
        return group(test::replyWithData({Element("group", {{"photoCount", text}})}, shape)).getPhotoCount();
    }
    WSize sizeOf(const STRING& text, Shape shape)
    {
        return content(test::replyWithData({Element("content", {{"contentId", "1"}},
                                                    {Element("contentDetail", {{"width", text}, {"height", "5"}})})},
                                           shape))
            .getResolution();
    }
    STRING dateOf(const STRING& text, Shape shape)
    {
        return content(test::replyWithData({Element("content", {{"contentId", "1"}, {"contentRegisterTime", text}})}, shape))
            .getRegisterTime()
            .toString();
    }
};

} // namespace

TEST_F(ReplyValues, ReadLeadingNumbers)
{
    static constexpr struct {
        const char* text;
        long long number; ///< as a signed number of 64 bits, before it is stored in fewer
    } NUMBERS[] = {
        {"0", 0},
        {"7", 7},
        {"0012", 12},
        {"12abc", 12},
        {"12 34", 12},
        {"12.9", 12},
        {"1e3", 1},
        {"0x10", 0},
        {" 12", 12},
        {"\t\n 12", 12},
        {"+12", 12},
        {"-1", -1},
        {" -12x", -12},
        {"+-1", 0},
        {"- 1", 0},
        {"abc", 0},
        {" ", 0},
        {"-", 0},
        {"\xC2\xA0"
         "12",
         0},                 // a no-break space is no blank
        {"\xEF\xBC\x91", 0}, // nor is a full-width digit a digit
        {"2147483647", 2147483647},
        {"2147483648", 2147483648},
        {"4294967295", 4294967295},
        {"4294967296", 4294967296},
        {"9223372036854775807", INT64_MAX},
        {"9223372036854775808", INT64_MAX}, // beyond that the largest number stands
        {"99999999999999999999999", INT64_MAX},
        {"-9223372036854775809", INT64_MIN},
    };
    for (const auto& row : NUMBERS)
        for (const Shape shape : SHAPES) {
            SCOPED_TRACE(STRING(row.text) + " in " + nameOf(shape));
            EXPECT_EQ(countOf(row.text, shape), static_cast<UINT32>(row.number));
            EXPECT_EQ(sizeOf(row.text, shape), WSize(static_cast<std::int32_t>(row.number), 5));
        }
}

TEST_F(ReplyValues, ReadAnEmptyNumberAsZeroWhereItIsStored)
{
    for (const Shape shape : SHAPES) {
        EXPECT_EQ(countOf("", shape), 0u);
        EXPECT_EQ(sizeOf("", shape), WSize()) << "half a resolution is none";
    }
}

TEST_F(ReplyValues, ReadDatesAsTheHostDoes)
{
    for (const char* const text : {"2010-05-05T07:04:09Z", "2010-05-05T07:04:09+09:00", "2010-05-05T07:04:09.123456789Z",
                                   "2010-05-05 07:04:09", "2010-05-05", " 2010-05-05T07:04:09Z ", "2010-13-05T07:04:09Z",
                                   "2010-05-05T25:04:09Z", "20100505", "yesterday", "0", "", "2010-05-05T07:04:09Zx"})
        for (const Shape shape : SHAPES) {
            const STRING expected = WDateTime::fromString(text, WDateTime::FORMAT_ISO8601, WDateTime::ZONE_UTC).toString();
            EXPECT_EQ(dateOf(text, shape), expected) << text << " in " << nameOf(shape);
        }
}

TEST_F(ReplyValues, ReadADateWithoutZoneInUtc)
{
    EXPECT_EQ(dateOf("2010-05-05T07:04:09", Shape::ELEMENTS), "2010-05-05T07:04:09Z");
    EXPECT_EQ(dateOf("2010-05-05T07:04:09+02:00", Shape::ELEMENTS), "2010-05-05T05:04:09Z");
}

TEST_F(ReplyValues, LeaveAnUnreadableDateUnset)
{
    for (const char* const text : {"", "soon", "2010-99-99"})
        EXPECT_EQ(dateOf(text, Shape::ATTRIBUTES), "") << text;
}

TEST_F(ReplyValues, KeepOtherTextsAsTheyAre)
{
    // Sizes, durations, formats, flags and types are the service's words; URLs are not looked at either.
    for (const char* const text :
         {" 12 ", "twelve", "12 MB", "\xF0\x9F\x8E\x82", "javascript:alert(1)", "../../etc/passwd", "a\nb"}) {
        const WContent record = content(
            test::replyWithData({Element("content", {{"contentId", "1"}},
                                         {Element("contentDetail", {{"size", text}, {"format", text}, {"contentUrl", text}})})},
                                Shape::ATTRIBUTES));
        EXPECT_EQ(record.getSize(), text);
        EXPECT_EQ(record.getFormat(), text);
        EXPECT_EQ(record.getResourceURL(), text);
    }
}
