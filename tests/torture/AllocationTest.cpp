// SPDX-License-Identifier: MIT
// Without memory the plugin refuses, or reports a failure once; it neither crashes nor leaks nor calls back twice.
#include "FailingAllocator.h"

#include "WKLOAI/WKLOAI.h"
#include "plugin/support/Documents.h"
#include "plugin/support/Operations.h"
#include "whost/FakeClient.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <new>

namespace {

using namespace W;
using namespace kinloom_test;

class Allocation : public testing::TestWithParam<OperationCase> {
protected:
    static void SetUpTestSuite() { torture::installXmlAllocator(); }

    void SetUp() override
    {
        fake::reset();
        configure("application-with-a-long-name", "token-of-a-considerable-length", "device-with-a-long-identifier");
        signIn();
    }

    void TearDown() override { std::remove(resourceFile(folder).c_str()); }

    void signIn()
    {
        if (oai.service()->isLoggedIn())
            return;
        fake::answerAll(fake::reply(documents::OK));
        Recorder recorder; // without a callback nobody would be signed in
        ASSERT_EQ(operationNamed("authKL").start(oai, &recorder, folder), 0);
        ASSERT_TRUE(fake::waitUntilIdle());
        ASSERT_TRUE(oai.service()->isLoggedIn());
    }

    const TempFolder folder{};
    WKLOAI oai;
};

constexpr std::size_t MOST = 5000; // far more allocations than any operation makes

TEST_P(Allocation, FailingGivesOneAnswerAndLeavesNothing)
{
    const OperationCase& operation = GetParam();
    const Arguments arguments = operation.longArgumentsIn(folder); // made beforehand: what a caller allocates does not count
    std::size_t number = 0;
    for (bool reached = true; reached; ++number) {
        ASSERT_LT(number, MOST);
        signIn();
        fake::answerAll(fake::reply(operation.richReply()));
        Recorder recorder;
        torture::failAllocation(number);
        WSTATUS status = 0;
        {
            const torture::Scope plugin(torture::Scope::PLUGIN);
            status = operation.startWith(oai, arguments, &recorder);
        }
        ASSERT_TRUE(fake::waitUntilIdle());
        reached = torture::endFailing();

        SCOPED_TRACE(number);
        EXPECT_LE(status, 0);
        EXPECT_EQ(recorder.count(), status == 0 && operation.callsBack ? 1u : 0u);
        if (status == 0 && !reached && operation.callsBack) {
            EXPECT_GE(recorder.only().status, 0) << "with all its memory it works";
        }
        EXPECT_EQ(oai.countCMD(), 0u);
        EXPECT_EQ(fake::liveRequests(), 0u);
        if (HasFailure())
            return;
    }
    EXPECT_GT(number, 10u) << "the allocations were not counted";
}

INSTANTIATE_TEST_SUITE_P(Operation, Allocation, testing::ValuesIn(operations()),
                         [](const auto& test) { return STRING(test.param.name); });

TEST(AllocationOfThePlugin, FailingLeavesNothingBehind)
{
    fake::reset();
    std::size_t number = 0;
    for (bool reached = true; reached; ++number) {
        ASSERT_LT(number, MOST);
        torture::failAllocation(number);
        {
            const torture::Scope plugin(torture::Scope::PLUGIN);
            try {
                destroyPlugin(createPlugin());
            } catch (const std::bad_alloc&) { // what createPlugin does without memory
            }
        }
        reached = torture::endFailing();
    }
    EXPECT_GT(number, 1u);
}

} // namespace
