// SPDX-License-Identifier: MIT
#include "operations/Faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using namespace kinloomd;
using ::testing::ElementsAre;
using ::testing::Pair;

TEST(FaultRule, ReadsEveryKind)
{
    EXPECT_EQ(parseFault("group.list:status=503").fault.status, 503U);
    EXPECT_EQ(parseFault("auth:delay=250").fault.delay, std::chrono::milliseconds(250));
    EXPECT_EQ(parseFault("media:stall-after=10").fault.stallAfter, 10);
    EXPECT_EQ(parseFault("media:cut-after=0").fault.cutAfter, 0);
    EXPECT_TRUE(parseFault("feeds:reset").fault.reset);
    EXPECT_TRUE(parseFault("any:garbage").fault.garbage);
}

TEST(FaultRule, ReadsHowOftenAndSeveralThingsAtOnce)
{
    const FaultRule rule = parseFault("group.list:delay=5,status=503*2");
    EXPECT_EQ(rule.operation, "group.list");
    EXPECT_EQ(rule.fault.delay, std::chrono::milliseconds(5));
    EXPECT_EQ(rule.fault.status, 503U);
    EXPECT_EQ(rule.times, 2);
    EXPECT_LT(parseFault("group.list:reset").times, 0);
}

class BrokenFaultSpec : public ::testing::TestWithParam<const char*> {};

TEST_P(BrokenFaultSpec, IsRefusedWithASentence)
{
    try {
        parseFault(GetParam());
        FAIL() << "was read";
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(error.what()).find(GetParam()), std::string::npos) << error.what();
    }
}

INSTANTIATE_TEST_SUITE_P(Specs, BrokenFaultSpec,
                         ::testing::Values("", "group.list", "group.list:", "nothing:reset", "group.list:explode", "auth:status",
                                           "auth:status=", "auth:status=99", "auth:status=600", "auth:status=5x", "auth:delay=-1",
                                           "auth:delay=3600001", "auth:reset=1", "auth:reset*", "auth:reset*0", "auth:reset*x",
                                           "auth:reset,", "auth:cut-after=1 "));

TEST(Faults, HitTheirOperationAsOftenAsTheyShould)
{
    Faults faults;
    faults.add(parseFault("auth:status=503*2"));
    faults.add(parseFault("auth:status=500"));
    EXPECT_FALSE(faults.take("group.list"));
    EXPECT_EQ(faults.take("auth")->status, 503U);
    EXPECT_EQ(faults.take("auth")->status, 503U);
    EXPECT_EQ(faults.take("auth")->status, 500U);
    EXPECT_EQ(faults.take("auth")->status, 500U);
    faults.clear();
    EXPECT_FALSE(faults.take("auth"));
}

TEST(Faults, ForAnyOperationHitAll)
{
    Faults faults;
    faults.add(parseFault("any:reset*2"));
    EXPECT_TRUE(faults.take("auth"));
    EXPECT_TRUE(faults.take("media"));
    EXPECT_FALSE(faults.take("auth"));
    EXPECT_TRUE(faults.list().empty());
}

TEST(Faults, CountHitsWithAndWithoutFault)
{
    Faults faults;
    faults.take("auth");
    faults.take("auth");
    faults.take("media");
    EXPECT_THAT(faults.hits(), ElementsAre(Pair("auth", 2), Pair("media", 1)));
    faults.clearHits();
    EXPECT_TRUE(faults.hits().empty());
}

} // namespace
