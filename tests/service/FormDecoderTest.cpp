// SPDX-License-Identifier: MIT
#include "wire/FormDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace kinloomd;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(FormDecoder, DecodesEscapesAndBlanks)
{
    EXPECT_EQ(decodeFormText("a+b%20c%2B%C3%A9"), "a b c+\xC3\xA9");
    EXPECT_EQ(decodeFormText("%4a%4A"), "JJ");
}

TEST(FormDecoder, LeavesMalformedEscapesAsTheyAre)
{
    EXPECT_EQ(decodeFormText("100%"), "100%");
    EXPECT_EQ(decodeFormText("%4"), "%4");
    EXPECT_EQ(decodeFormText("%zz%4g"), "%zz%4g");
    EXPECT_EQ(decodeFormText("%%41"), "%A");
}

TEST(FormDecoder, KeepsRawBytes) { EXPECT_EQ(decodeFormText("Fr\xC3\xBCh \xFF\"<>"), "Fr\xC3\xBCh \xFF\"<>"); }

TEST(FormDecoder, LeavesPlusSignsOfPathsAlone) { EXPECT_EQ(decodePathText("a+b%20c"), "a+b c"); }

TEST(FormDecoder, SplitsPairs)
{
    EXPECT_THAT(decodeForm("a=1&b=2=3&c=").pairs(), ElementsAre(Pair("a", "1"), Pair("b", "2=3"), Pair("c", "")));
    EXPECT_THAT(decodeForm("").pairs(), IsEmpty());
}

TEST(FormDecoder, PassesOverEmptyPairs)
{
    EXPECT_THAT(decodeForm("&a=1&&b=2&").pairs(), ElementsAre(Pair("a", "1"), Pair("b", "2")));
    EXPECT_THAT(decodeForm("&&&").pairs(), IsEmpty());
}

TEST(FormDecoder, TakesAPieceWithoutEqualsSignForTheRestOfAValue)
{
    EXPECT_THAT(decodeForm("group_name=Tom & Jerry&group_desc=x").pairs(),
                ElementsAre(Pair("group_name", "Tom & Jerry"), Pair("group_desc", "x")));
    EXPECT_THAT(decodeForm("a=1 && 2").pairs(), ElementsAre(Pair("a", "1 && 2")));
    EXPECT_THAT(decodeForm("alone").pairs(), IsEmpty());
}

TEST(FormDecoder, FindsTheFirstPairOfAName)
{
    const Parameters parameters = decodeForm("a=1&a=2");
    EXPECT_EQ(parameters.get("a"), "1");
    EXPECT_EQ(parameters.get("b"), "");
    EXPECT_FALSE(parameters.find("b").has_value());
}

} // namespace
