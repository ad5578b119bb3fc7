// SPDX-License-Identifier: MIT
// Many calls at a time.
#include "ClientFixture.h"

#include "core/Descriptor.h"

#include <atomic>
#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

using namespace test;
using namespace kinloom;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class LanesTest : public ClientTest {};

TEST_F(LanesTest, EightLanesWithRefusedCallsAndAKilledHelperLoseNothing)
{
    constexpr std::size_t LANES = 8;
    constexpr std::size_t CALLS = 50 * LANES;
    const std::set<pid_t> before = childrenOf(getpid());
    Lanes lanes(settings(), LANES);

    // One lane's helper has a call that the service holds; it is the only one by then.
    setFault("group.list:delay=60000*1");
    const auto held = lanes.submit(ListGroups());
    ASSERT_TRUE(reaches("group.list", 1));
    std::set<pid_t> helpers = childrenOf(getpid());
    for (const pid_t pid : before)
        helpers.erase(pid);
    ASSERT_THAT(helpers, SizeIs(1));

    std::atomic<std::size_t> ends{0};
    std::vector<Call<std::vector<W::WGroup>>> good;
    std::vector<Call<W::WContent>> refused;
    for (std::size_t i = 0; i < CALLS; ++i) {
        if (i % 10 == 9) {
            refused.push_back(lanes.submit(ViewContent{"123456789"}));
            refused.back().onEnd([&] { ++ends; });
        } else {
            good.push_back(lanes.submit(ListGroups()));
            good.back().onEnd([&] { ++ends; });
        }
        if (i == CALLS / 2) {
            ASSERT_EQ(kill(*helpers.begin(), SIGKILL), 0);
        }
    }
    EXPECT_EQ(kindOf(held.outcome()), FailureKind::LANE_DIED);
    for (const auto& call : good)
        EXPECT_TRUE(call.outcome().ok()) << call.outcome().failure().text();
    for (const auto& call : refused) {
        ASSERT_FALSE(call.outcome());
        EXPECT_EQ(call.outcome().failure().status, W::WSTATUS_REJECTED) << call.outcome().failure().text();
    }
    EXPECT_TRUE(comesTrue([&] { return ends == CALLS; })) << "each tells of its end once";
    EXPECT_EQ(hits("group.list"), good.size() + 1) << "none was made twice";
    EXPECT_EQ(hits("view"), refused.size());
}

TEST_F(LanesTest, EndOfThePoolEndsCallsThreadsAndHelpers)
{
    const std::set<pid_t> before = childrenOf(getpid());
    std::vector<Call<std::vector<W::WGroup>>> calls;
    {
        Lanes lanes(settings(), 3);
        setFault("group.list:delay=60000");
        for (int i = 0; i < 10; ++i)
            calls.push_back(lanes.submit(ListGroups()));
        EXPECT_TRUE(reaches("group.list", 3));
    }
    for (const auto& call : calls) {
        ASSERT_TRUE(call.ended());
        EXPECT_EQ(kindOf(call.outcome()), FailureKind::CANCELLED);
    }
    EXPECT_EQ(childrenOf(getpid()), before) << "nor a process that nobody waited for";
}

TEST_F(LanesTest, UrgentCallsGoFirstAndOthersKeepTheirOrder)
{
    Lanes lanes(settings(), 1);
    setFault("group.list:delay=60000*1");
    auto first = lanes.submit(ListGroups());
    ASSERT_TRUE(reaches("group.list", 1));
    std::mutex mutex;
    std::vector<std::string> order;
    std::vector<Call<W::WGroup>> calls;
    const auto submit = [&](const std::string& name, bool urgent) {
        CallOptions options;
        options.urgent = urgent;
        calls.push_back(lanes.submit(CreateGroup{name, ""}, options));
        calls.back().onEnd([&, name] {
            const std::lock_guard<std::mutex> lock(mutex);
            order.push_back(name);
        });
    };
    submit("a", false);
    submit("b", false);
    submit("c", true);
    submit("d", true);
    calls[1].cancel();
    EXPECT_TRUE(calls[1].ended()) << "one that has not begun ends at once";
    first.cancel();
    for (const auto& call : calls)
        call.wait();
    EXPECT_EQ(kindOf(first.outcome()), FailureKind::CANCELLED);
    EXPECT_TRUE(comesTrue([&] {
        const std::lock_guard<std::mutex> lock(mutex);
        return order.size() == 4;
    }));
    EXPECT_THAT(order, testing::ElementsAre("b", "c", "d", "a"));
}

TEST_F(LanesTest, CallThatIsOutOfPatienceTakesNoOtherAlong)
{
    Lanes lanes(settings(), 2);
    setFault("group.list:delay=1000*1\nview:delay=60000*1");
    CallOptions impatient;
    impatient.patience = std::chrono::milliseconds(300);
    const auto beside = lanes.submit(ListGroups());
    const auto outcome = lanes.submit(ViewContent{"1"}, impatient).outcome();
    EXPECT_EQ(kindOf(outcome), FailureKind::TIMED_OUT);
    EXPECT_TRUE(beside.outcome().ok());
}

TEST_F(LanesTest, CancelOfATransferHasItsProgressBeforeAndLeavesNoFile)
{
    Lanes lanes(settings(), 1);
    const std::string group = lanes.submit(CreateGroup{"Summer", ""}).outcome().value().getUID();
    const std::string picture = makePicture(files.file("picture.gif"));
    const std::string id = lanes.submit(UploadPhoto{group, picture, "image/gif", ""}).outcome().value().getUID();
    const std::string url = lanes.submit(ViewContent{id}).outcome().value().getResourceURL();
    setFault("media:stall-after=10*1");
    auto transfer = lanes.submit(DownloadFile{url, files.path(), "half.gif", "half"});
    EXPECT_TRUE(comesTrue([&] { return transfer.progress().done >= 10; }));
    transfer.cancel();
    EXPECT_EQ(kindOf(transfer.outcome()), FailureKind::CANCELLED);
    EXPECT_FALSE(exists(files.file("half.gif")));
    EXPECT_TRUE(lanes.submit(DownloadFile{url, files.path(), "whole.gif", "whole"}).outcome().ok());
    EXPECT_EQ(readFile(files.file("whole.gif")), readFile(picture));
}

TEST_F(LanesTest, AnEventLoopNeedsNoThreadToWait)
{
    const client::Descriptor bell(eventfd(0, EFD_CLOEXEC)); // outlives the lanes, whose threads ring it
    Lanes lanes(settings(), 2);
    auto call = lanes.submit(ListGroups());
    call.onEnd([&] { eventfd_write(bell.get(), 1); });
    pollfd event{bell.get(), POLLIN, 0};
    EXPECT_EQ(poll(&event, 1, static_cast<int>(PATIENCE.count())), 1);
    EXPECT_TRUE(call.ended());
    EXPECT_TRUE(call.outcome().ok());
}

TEST_F(LanesTest, AWaitThatRunsOutLeavesTheCallAsItIs)
{
    Lanes lanes(settings(), 1);
    setFault("group.list:delay=60000*1");
    auto call = lanes.submit(ListGroups());
    EXPECT_FALSE(call.waitFor(std::chrono::milliseconds(1)));
    EXPECT_FALSE(call.ended());
    call.cancel();
    EXPECT_EQ(kindOf(call.outcome()), FailureKind::CANCELLED);
}

} // namespace
