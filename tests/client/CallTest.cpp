// SPDX-License-Identifier: MIT
// One call, from all its sides, without a lane.
#include "core/CallState.h"
#include "core/Turn.h"
#include "support/Wait.h"

#include <gmock/gmock.h>
#include <thread>

using namespace kinloom;

namespace {

std::shared_ptr<CallState> makeCall(CallOptions options = {})
{
    auto state = std::make_shared<CallState>("cannot do it", "http://there", std::move(options));
    CallState::listen(state);
    return state;
}

FailureKind kindOf(const CallState& state) { return std::get<CallFailure>(state.result()).kind; }

TEST(CallState, EndsOnceAndTellsOnce)
{
    const auto state = makeCall();
    int told = 0;
    state->onEnd([&] { ++told; });
    EXPECT_FALSE(state->ended());
    EXPECT_TRUE(state->finish(CallValue(std::string("first"))));
    EXPECT_FALSE(state->finish(CallValue(std::string("second"))));
    EXPECT_EQ(std::get<std::string>(std::get<CallValue>(state->result())), "first");
    state->onEnd([&] { told += 10; });
    EXPECT_EQ(told, 11) << "who comes late is told at once";
}

TEST(CallState, NobodyDrivesEndsAtOnceWhenCancelled)
{
    const auto state = makeCall();
    state->want(CallState::Wish::CANCEL);
    EXPECT_TRUE(state->ended());
    EXPECT_EQ(kindOf(*state), FailureKind::CANCELLED);
    EXPECT_FALSE(state->drive([] {}));
}

TEST(CallState, DriverIsWokenAndDecides)
{
    const auto state = makeCall();
    int woken = 0;
    ASSERT_TRUE(state->drive([&] { ++woken; }));
    state->want(CallState::Wish::INTERRUPT);
    state->want(CallState::Wish::CANCEL);
    EXPECT_EQ(woken, 2);
    EXPECT_FALSE(state->ended());
    EXPECT_EQ(state->wish(), CallState::Wish::INTERRUPT) << "the first wish holds";
    state->rest();
    state->finish(state->granted());
    EXPECT_EQ(kindOf(*state), FailureKind::INTERRUPTED);
}

TEST(Interruption, RingsForCallsBeforeAndAfter)
{
    Interruption bell;
    CallOptions options;
    options.interruption = bell;
    const auto before = makeCall(options);
    Interruption(bell).ring();
    const auto after = makeCall(options);
    EXPECT_EQ(kindOf(*before), FailureKind::INTERRUPTED);
    EXPECT_EQ(kindOf(*after), FailureKind::INTERRUPTED);
    EXPECT_TRUE(bell.requested());
}

TEST(Interruption, IsNotHeardByCallsThatAreGone)
{
    Interruption bell;
    CallOptions options;
    options.interruption = bell;
    makeCall(options);
    const auto over = makeCall(options);
    over->finish(CallValue(Nothing()));
    bell.ring();
    EXPECT_TRUE(std::holds_alternative<CallValue>(over->result()));
}

TEST(Turn, GoesRoundInOrderOfArrival)
{
    Turn turn;
    const auto first = makeCall();
    ASSERT_TRUE(turn.take(*first));
    std::mutex mutex;
    std::vector<int> order;
    std::vector<std::thread> threads;
    std::vector<std::shared_ptr<CallState>> calls;
    for (int i = 0; i < 5; ++i) {
        calls.push_back(makeCall());
        threads.emplace_back([&, i] {
            ASSERT_TRUE(turn.take(*calls[static_cast<std::size_t>(i)]));
            const std::lock_guard<std::mutex> lock(mutex);
            order.push_back(i);
            turn.give();
        });
        ASSERT_TRUE(test::comesTrue([&] { return turn.waiting() == static_cast<std::size_t>(i + 1); }));
    }
    turn.give();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 3, 4));
}

TEST(Turn, WhoIsNotWantedAnyMoreLeavesTheLine)
{
    Turn turn;
    const auto first = makeCall();
    const auto second = makeCall();
    const auto third = makeCall();
    ASSERT_TRUE(turn.take(*first));
    std::thread waiting([&] { EXPECT_FALSE(turn.take(*second)); });
    ASSERT_TRUE(test::comesTrue([&] { return turn.waiting() == 1; }));
    std::thread behind([&] { EXPECT_TRUE(turn.take(*third)); });
    ASSERT_TRUE(test::comesTrue([&] { return turn.waiting() == 2; }));
    second->want(CallState::Wish::CANCEL);
    waiting.join();
    turn.give();
    behind.join();
}

} // namespace
