// SPDX-License-Identifier: MIT
// Calls that are made again: the rules, the loop with a clock and a chance of the test's own, and lanes against a service.
#include "ClientFixture.h"

#include "core/Retrying.h"
#include "support/RawServer.h"

#include <deque>
#include <limits>

using namespace test;
using namespace kinloom;
using namespace std::chrono_literals;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

CallFailure refused(unsigned int code, long retryAfter = -1)
{
    CallFailure failure{FailureKind::FAILED, W::WSTATUS_FAILED, "cannot do it", "http://there", ""};
    failure.httpCode = code;
    failure.retryAfter = retryAfter;
    return failure;
}

CallFailure broken(W::WSTATUS status, FailureKind kind = FailureKind::FAILED)
{
    return {kind, status, "cannot do it", "http://there", ""};
}

TEST(Retries, AreForWhatMayComeTwice)
{
    struct {
        Operation operation;
        bool twice;
    } const cases[] = {
        {ListGroups(), true},   {CreateGroup(), false},    {DeleteGroup(), false}, {ReadFeed(), true},
        {ViewContent(), true},  {DeleteContent(), false},  {AskMimeType(), true},  {UploadPhoto(), true},
        {DownloadFile(), true}, {CreateComment(), false},  {ViewComment(), true},  {DeleteComment(), false},
        {SignIn(), true},       {RegisterDevice(), false}, {AskPerson(), true},
    };
    static_assert(std::size(cases) == std::variant_size_v<Operation>);
    for (const auto& entry : cases)
        EXPECT_EQ(mayComeTwice(entry.operation), entry.twice) << entry.operation.index();
}

TEST(Retries, AreForWhatPasses)
{
    for (const unsigned int code : {429U, 502U, 503U, 504U})
        EXPECT_TRUE(mayPass(refused(code))) << code;
    for (const unsigned int code : {0U, 200U, 400U, 401U, 403U, 404U, 408U, 409U, 413U, 500U, 501U, 505U})
        EXPECT_FALSE(mayPass(refused(code))) << code;
    CallFailure inside = refused(500);
    inside.status = W::WSTATUS_CONNECTION_LOST;
    EXPECT_FALSE(mayPass(inside)) << "the plugin reports a service that failed so";
    inside.httpCode = 200;
    EXPECT_TRUE(mayPass(inside)) << "the body was cut off";
    EXPECT_TRUE(mayPass(broken(W::WSTATUS_CONNECTION_LOST)));
    EXPECT_TRUE(mayPass(broken(W::WSTATUS_UNREACHABLE)));
    EXPECT_TRUE(mayPass(broken(W::WSTATUS_CONNECTION_LOST, FailureKind::REFUSED))) << "of the place for an upload";
    for (const W::WSTATUS status : {W::WSTATUS_TIMED_OUT, W::WSTATUS_FILE_ERROR, W::WSTATUS_LIMIT_EXCEEDED, W::WSTATUS_REJECTED})
        EXPECT_FALSE(mayPass(broken(status))) << status;
    for (const FailureKind kind : {FailureKind::INVALID, FailureKind::CANCELLED, FailureKind::INTERRUPTED, FailureKind::LANE_DIED})
        EXPECT_FALSE(mayPass(broken(W::WSTATUS_CONNECTION_LOST, kind))) << nameOf(kind);
}

TEST(Retries, WaitUpToALimitThatDoubles)
{
    const Retries retries;
    const auto longest = [&](unsigned int number) { return waitBefore(number, refused(503), retries, 1); };
    EXPECT_EQ(longest(1), 500ms);
    EXPECT_EQ(longest(2), 1s);
    EXPECT_EQ(longest(3), 2s);
    EXPECT_EQ(longest(6), 16s);
    EXPECT_EQ(longest(7), 20s);
    EXPECT_EQ(longest(std::numeric_limits<unsigned int>::max()), 20s);
    EXPECT_EQ(waitBefore(3, refused(503), retries, 0), 0s) << "any length is as likely as any other";
    EXPECT_EQ(waitBefore(3, refused(503), retries, 0.25), 500ms);
}

TEST(Retries, NeverComeBeforeTheServiceWantsThem)
{
    const Retries retries;
    EXPECT_EQ(waitBefore(1, refused(429, 3), retries, 0), 3s);
    EXPECT_EQ(waitBefore(7, refused(429, 3), retries, 1), 3s + 500ms);
    EXPECT_EQ(waitBefore(1, refused(429, 0), retries, 0), 0s);
    EXPECT_EQ(nextTry(refused(503, 60), retries, 0, 0), std::nullopt) << "none are wanted";
    Retries four;
    four.count = 4;
    EXPECT_EQ(nextTry(refused(503, 60), four, 0, 0), 60s);
    EXPECT_EQ(nextTry(refused(503, 61), four, 0, 0), std::nullopt);
    EXPECT_EQ(nextTry(refused(503), four, 3, 0), 0s);
    EXPECT_EQ(nextTry(refused(503), four, 4, 0), std::nullopt);
}

/// A lane whose calls end as the test has laid down, and then well.
class ScriptedEngine : public LaneEngine {
public:
    explicit ScriptedEngine(std::deque<CallFailure> failures) : m_failures(std::move(failures)) {}

    void run(const Operation&, CallState& state) override
    {
        ++runs;
        const Driving driving(state, [this] { ++woken; });
        if (during)
            during(state);
        if (state.wish() != CallState::Wish::NONE) {
            state.finish(state.granted());
            return;
        }
        if (m_failures.empty()) {
            state.finish(CallValue(Nothing()));
            return;
        }
        state.finish(m_failures.front());
        m_failures.pop_front();
    }

    std::function<void(CallState&)> during;
    int runs = 0;
    int woken = 0;

private:
    std::deque<CallFailure> m_failures;
};

/// One call through the loop.
class RetryLoop : public testing::Test {
protected:
    RetryLoop()
    {
        options.retries.count = 4;
        options.retries.waiting = [this](const RetryWait& wait) { told.push_back(wait.number * 10 + wait.count); };
        tools.random = [] { return 1.0; };
        tools.wait = [this](CallState&, std::chrono::milliseconds time) {
            waits.push_back(time);
            return true;
        };
    }

    CallResult run(std::deque<CallFailure> failures, const Operation& operation = ListGroups())
    {
        ScriptedEngine engine(std::move(failures));
        engine.during = during;
        engine.hasReached = hasReached;
        state = std::make_shared<CallState>("cannot do it", "http://there", options);
        CallState::listen(state);
        runAgainAndAgain(engine, operation, *state, tools);
        runs = engine.runs;
        EXPECT_TRUE(state->ended());
        return state->result();
    }
    static bool good(const CallResult& result) { return std::holds_alternative<CallValue>(result); }
    static FailureKind kindOf(const CallResult& result) { return std::get<CallFailure>(result).kind; }

    CallOptions options;
    RetryTools tools;
    std::function<void(CallState&)> during;
    std::shared_ptr<CallState> state;
    bool hasReached = false;
    int runs = 0;
    std::vector<std::chrono::milliseconds> waits;
    std::vector<unsigned int> told;
};

TEST_F(RetryLoop, EndsWithTheFirstThatGoesWell)
{
    EXPECT_TRUE(good(run({refused(503), broken(W::WSTATUS_CONNECTION_LOST), refused(429, 7)})));
    EXPECT_EQ(runs, 4);
    EXPECT_THAT(waits, ElementsAre(500ms, 1s, 7500ms));
    EXPECT_THAT(told, ElementsAre(14U, 24U, 34U)) << "each wait is told of";
}

TEST_F(RetryLoop, EndsWithTheLastFailureWhenAllTriesAreUsedUp)
{
    const CallResult result = run({refused(503), refused(503), refused(503), refused(503), refused(502), refused(503)});
    EXPECT_EQ(std::get<CallFailure>(result).httpCode, 502U);
    EXPECT_EQ(runs, 5);
    EXPECT_THAT(waits, SizeIs(4));
}

TEST_F(RetryLoop, EndsAtOnceWithWhatDoesNotPass)
{
    EXPECT_EQ(std::get<CallFailure>(run({refused(404)})).httpCode, 404U);
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(std::get<CallFailure>(run({refused(503, 61)})).retryAfter, 61);
    EXPECT_EQ(runs, 1);
    EXPECT_THAT(waits, IsEmpty());
}

TEST_F(RetryLoop, WhatOneTryMayHaveDoneStaysUnsettledWhateverBecomesOfTheNext)
{
    CallFailure cut = broken(W::WSTATUS_CONNECTION_LOST);
    cut.unsettled = true;
    EXPECT_TRUE(std::get<CallFailure>(run({cut, refused(404)}, UploadPhoto())).unsettled);
    EXPECT_FALSE(std::get<CallFailure>(run({refused(503), refused(404)}, UploadPhoto())).unsettled);
    tools.wait = [](CallState&, std::chrono::milliseconds) { return false; };
    EXPECT_TRUE(std::get<CallFailure>(run({cut}, UploadPhoto())).unsettled) << "given up while it waits";
}

TEST_F(RetryLoop, LeavesAloneWhatMayNotComeTwice)
{
    EXPECT_FALSE(good(run({refused(503)}, CreateGroup())));
    EXPECT_EQ(runs, 1);
    options.retries.count = 0;
    EXPECT_FALSE(good(run({refused(503)})));
    EXPECT_EQ(runs, 1);
}

TEST_F(RetryLoop, DoesNotWaitForAServiceThatWasNeverThere)
{
    EXPECT_FALSE(good(run({broken(W::WSTATUS_UNREACHABLE)}, SignIn())));
    EXPECT_EQ(runs, 1);
    CallFailure signIn = broken(W::WSTATUS_UNREACHABLE);
    signIn.attempt = "cannot sign in";
    EXPECT_FALSE(good(run({signIn}, UploadPhoto()))) << "which signs in first";
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(good(run({refused(503)}, SignIn())));
    EXPECT_THAT(told, SizeIs(1));
}

TEST_F(RetryLoop, WaitsForAServiceThatWasThereBefore)
{
    EXPECT_TRUE(good(run({broken(W::WSTATUS_UNREACHABLE)}, UploadPhoto()))) << "the sign-in went well";
    CallFailure signIn = broken(W::WSTATUS_UNREACHABLE);
    signIn.attempt = "cannot sign in";
    CallFailure later = refused(503);
    later.attempt = signIn.attempt;
    EXPECT_TRUE(good(run({later, signIn, signIn}, UploadPhoto())));
    CallFailure lost = signIn;
    lost.status = W::WSTATUS_CONNECTION_LOST;
    EXPECT_TRUE(good(run({lost, signIn}, UploadPhoto())));
    hasReached = true; // by an earlier call
    EXPECT_TRUE(good(run({signIn}, UploadPhoto())));
}

TEST_F(RetryLoop, PassesAnInterruptionOnToTheTryThatRuns)
{
    Interruption bell;
    options.interruption = bell;
    during = [&](CallState&) { bell.ring(); };
    EXPECT_EQ(kindOf(run({})), FailureKind::INTERRUPTED);
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(kindOf(run({})), FailureKind::INTERRUPTED);
    EXPECT_EQ(runs, 0) << "one that was interrupted before is not begun";
}

TEST_F(RetryLoop, EndsAWaitThatIsInterruptedOrCancelled)
{
    tools = realRetryTools();
    tools.random = [] { return 1.0; };
    Interruption bell;
    options.interruption = bell;
    options.retries.waiting = [&](const RetryWait&) { bell.ring(); };
    EXPECT_EQ(kindOf(run({refused(503, 60)})), FailureKind::INTERRUPTED);
    EXPECT_EQ(runs, 1);

    options.interruption.reset();
    std::thread person;
    options.retries.waiting = [&](const RetryWait&) {
        person = std::thread([&] { AnyCall(state).cancel(); }); // while it waits, or just before
    };
    EXPECT_EQ(kindOf(run({refused(503, 60)})), FailureKind::CANCELLED);
    person.join();
}

TEST_F(RetryLoop, ProgressIsThatOfTheCall)
{
    std::vector<double> seen;
    options.progress = [&](double done, double) { seen.push_back(done); };
    during = [n = 0.0](CallState& once) mutable { once.report({++n, 10}); };
    EXPECT_TRUE(good(run({refused(503)})));
    EXPECT_THAT(seen, ElementsAre(1, 2));
    EXPECT_EQ(state->progress().done, 2);
}

TEST(RealRetryTools, WaitTheirTimeAndDrawEveryChance)
{
    CallState state("", "", {});
    EXPECT_TRUE(realRetryTools().wait(state, 1ms));
    std::set<double> drawn;
    for (int i = 0; i < 100; ++i)
        drawn.insert(realRetryTools().random());
    EXPECT_THAT(drawn, SizeIs(testing::Gt(90)));
    EXPECT_THAT(drawn, Each(testing::AllOf(testing::Ge(0.0), testing::Lt(1.0))));
}

std::string nameOfPlace(const testing::TestParamInfo<Lane::Place>& info)
{
    return info.param == Lane::Place::HERE ? "Here" : "InAHelper";
}

/// Lanes that try again, with waits that are over at once.
class RetryingLane : public ClientTest, public testing::WithParamInterface<Lane::Place> {
protected:
    RetryingLane()
    {
        options.retries.count = 4;
        options.retries.first = options.retries.longest = 0ms;
        options.retries.waiting = [this](const RetryWait& wait) { codes.push_back(wait.failure.httpCode); };
    }

    CallOptions options;
    std::vector<unsigned int> codes;
    Lane lane{settings(), GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Places, RetryingLane, testing::Values(Lane::Place::HERE, Lane::Place::HELPER), nameOfPlace);

TEST_P(RetryingLane, GetsThroughWhatPasses)
{
    setFault("auth:status=503*1");
    EXPECT_TRUE(lane.call(ListGroups(), options).ok());
    setFault("group.list:status=429*1\ngroup.list:status=502*1\ngroup.list:status=504*1");
    EXPECT_TRUE(lane.call(ListGroups(), options).ok());
    EXPECT_THAT(codes, ElementsAre(503U, 429U, 502U, 504U));
}

TEST_P(RetryingLane, DoesNotWaitForAServiceThatWasNeverThere)
{
    Settings nowhere = settings();
    leadTo(nowhere.client, "http://127.0.0.1:1");
    Lane lost(nowhere, GetParam());
    EXPECT_EQ(lost.call(ListGroups(), options).failure().status, W::WSTATUS_UNREACHABLE);
    EXPECT_THAT(codes, IsEmpty());
}

TEST_P(RetryingLane, WaitsForItsServiceOnceItWasThere)
{
    ASSERT_TRUE(lane.call(ListGroups(), options).ok());
    service.kill();
    EXPECT_FALSE(lane.call(ListGroups(), options).ok());
    EXPECT_THAT(codes, SizeIs(4));
}

TEST_P(RetryingLane, UploadsOnceThoughItTriesOften)
{
    const std::string group = createGroup(lane, "Summer");
    const std::string picture = makePicture(files.file("p.gif"));
    setFault("upload:status=503*1\nupload:reset*1\nupload.file:status=503*1\nupload.file:reset*1");
    const auto content = lane.call(UploadPhoto{group, picture, "image/gif", ""}, options);
    ASSERT_TRUE(content.ok()) << content.failure().text();
    ReadFeed feed;
    feed.group = group;
    feed.before = "0";
    EXPECT_THAT(lane.call(feed).value(), SizeIs(1));
}

TEST_P(RetryingLane, CreatesNoGroupAndNoCommentTwice)
{
    ASSERT_TRUE(lane.call(ListGroups(), options).ok());
    setFault("group.create:status=503*1");
    EXPECT_FALSE(lane.call(CreateGroup{"Summer", ""}, options).ok());
    EXPECT_EQ(hits("group.create"), 1U);
    EXPECT_THAT(codes, IsEmpty());
}

TEST_P(RetryingLane, WaitsAsLongAsItIsAskedTo)
{
    RawServer server;
    server.onRequest([&](const RawRequest& request) {
        if (request.target().find("/auth") != std::string::npos)
            return RawReply::ok("<rsp><result><stat>ok</stat></result></rsp>", {"Content-Type: text/xml"});
        return RawReply::status(503, "<rsp><result><desc>Later, please</desc></result></rsp>", {"Retry-After: 60"});
    });
    Settings there = settings();
    there.client.connectTo = {routeTo(server.url(""))};
    Lane busy(there, GetParam());
    Interruption bell;
    options.interruption = bell;
    std::chrono::milliseconds asked{0};
    std::string words;
    options.retries.waiting = [&](const RetryWait& wait) {
        asked = wait.time;
        words = wait.failure.cause;
        bell.ring();
    };
    EXPECT_EQ(kindOf(busy.call(ListGroups(), options)), FailureKind::INTERRUPTED);
    EXPECT_EQ(asked, 60s);
    EXPECT_EQ(words, "Later, please");
}

} // namespace
