// SPDX-License-Identifier: MIT
// Callbacks that call back into the plugin.
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <cstdio>
#include <future>

using namespace W;
using namespace kinloom_test;

namespace {

class Reentrancy : public SignedInTest {
protected:
    void TearDown() override
    {
        SignedInTest::TearDown();
        std::remove(resourceFile(folder).c_str());
    }
    WSTATUS view(Recorder& to) { return oai->viewContent(contentWith("c1"), Callback<WContent>::call, &to); }
    TempFolder folder;
};

class EachCallback : public Reentrancy, public testing::WithParamInterface<OperationCase> {
protected:
    WSTATUS start() { return GetParam().start(*oai, &recorder, folder); }
    /// Starts the operation and answers it, with a cancel when its callback can be reached by one only.
    void run(std::size_t waiting)
    {
        ASSERT_EQ(start(), 0);
        if (!GetParam().callsBack) {
            ASSERT_EQ(cancel(), 0);
        }
        finish(waiting + (GetParam().asksFirst ? 1 : 0), fake::reply(GetParam().goodReply()));
        EXPECT_EQ(recorder.count(), 1u);
    }
};

} // namespace

TEST_P(EachCallback, MayStartEveryOperation)
{
    holdQueuedRequests();
    Recorder others;
    recorder.onCall([&](const Call&) {
        for (const OperationCase& operation : operations())
            EXPECT_EQ(operation.start(*oai, &others, folder), 0) << operation;
    });
    run(0);
    EXPECT_EQ(fake::heldCount(), operations().size());
    EXPECT_EQ(others.count(), 0u);
}

TEST_P(EachCallback, MayCancelAndAskForProgress)
{
    holdQueuedRequests();
    recorder.onCall([&](const Call&) {
        double done = -1;
        double total = -1;
        EXPECT_EQ(oai->progressStatus(provider(), done, total, nullptr), 0);
        EXPECT_EQ(cancel(), 0);
        EXPECT_EQ(cancel(), -14);
    });
    run(0);
    EXPECT_TRUE(oai->isCancelRequested());
}

TEST_P(EachCallback, MayFlush)
{
    holdQueuedRequests();
    Recorder others;
    ASSERT_EQ(view(others), 0);
    recorder.onCall([&](const Call&) {
        service().flushHttpRequests();
        EXPECT_EQ(fake::heldCount(), 0u);
    });
    run(1);
    EXPECT_EQ(others.count(), 0u);
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_P(EachCallback, MayWaitForAnotherThreadThatUsesThePlugin)
{
    // No lock is held around a callback: another thread gets through while it waits.
    holdQueuedRequests();
    Recorder others;
    recorder.onCall([&](const Call&) {
        std::async(std::launch::async, [&] {
            double done = -1;
            double total = -1;
            EXPECT_EQ(view(others), 0);
            EXPECT_EQ(oai->progressStatus(provider(), done, total, nullptr), 0);
            EXPECT_EQ(cancel(), 0);
            EXPECT_GE(oai->countCMD(), 1u);
        }).get();
    });
    run(0);
    EXPECT_EQ(fake::heldCount(), 1u);
}

TEST_P(EachCallback, MayAskAgainForTheSame)
{
    holdQueuedRequests();
    std::size_t rounds = 0;
    recorder.onCall([&](const Call&) {
        if (++rounds < 5) {
            EXPECT_EQ(start(), 0);
            if (!GetParam().callsBack) {
                // Another routine each time: the one that was called is forgotten when it returns.
                EXPECT_EQ(cancel(rounds % 2 == 0 ? onCancelled : onCancelledOther), 0);
            }
        }
    });
    ASSERT_EQ(start(), 0);
    if (!GetParam().callsBack) {
        ASSERT_EQ(cancel(), 0);
    }
    for (std::size_t round = 0; round < 5; ++round)
        finish(fake::requestCount() - 1, fake::reply(GetParam().goodReply()));
    EXPECT_EQ(recorder.count(), 5u);
    EXPECT_EQ(oai->countCMD(), 0u);
    EXPECT_EQ(fake::liveRequests(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Every, EachCallback, testing::ValuesIn(operations()),
                         [](const auto& test) { return STRING(test.param.name); });

TEST_F(Reentrancy, LetsACancelCallbackStartAndCancelAgain)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(view(recorder), 0);
    ASSERT_EQ(cancel(), 0);
    std::atomic<int> cancelled{0};
    recorder.onCall([&](const Call& call) {
        EXPECT_TRUE(call.isCancel);
        if (++cancelled < 4) {
            EXPECT_EQ(view(recorder), 0);
            // Another routine each time: the one that was called is forgotten when it returns.
            EXPECT_EQ(cancel(cancelled % 2 == 0 ? onCancelled : onCancelledOther), 0);
        }
    });
    for (std::size_t round = 0; round < 4; ++round)
        finish(round, fake::reply(documents::contents(1)));
    EXPECT_EQ(cancelled, 4);
}

TEST_F(Reentrancy, SparesTheRequestThatIsCompleting)
{
    // A 404 drops all others; the one that brought it still reports, and its callback may queue anew.
    fake::answerAll(fake::held());
    Recorder dropped;
    Recorder later;
    ASSERT_EQ(view(dropped), 0);
    recorder.onCall([&](const Call& call) {
        EXPECT_EQ(call.status, -205);
        EXPECT_EQ(view(later), 0);
    });
    ASSERT_EQ(view(recorder), 0);
    finish(1, fake::reply(404));
    EXPECT_EQ(recorder.count(), 1u);
    EXPECT_EQ(dropped.count(), 0u);
    EXPECT_EQ(fake::heldCount(), 1u);
    recorder.onCall(nullptr);
    finish(2, fake::reply(documents::contents(1)));
    EXPECT_EQ(later.count(), 1u);
}

TEST_F(Reentrancy, FollowsPagesFromInsideTheCallback)
{
    // As a host does that shows a long list: each page asks for the next.
    static constexpr UINT32 TOTAL = 95;
    static constexpr UINT32 PAGE = 10;
    static WKLOAI* s_oai;
    static std::vector<STRING> s_names;
    static UINT32 s_index;
    static std::promise<void>* s_done;
    struct Pages {
        static VOID next(WSTATUS status, const WContentProvider&, const WContainer<WGroup>& groups, const WPerson& person, VOID*)
        {
            UINT32 shown = 0;
            for (const WGroup& group : groups.getData())
                if (shown++ < PAGE)
                    s_names.push_back(group.getUID());
            s_index += PAGE;
            if (groups.getData().size() > PAGE && status >= 0)
                s_oai->retrieveGroupList(person, next, s_index, PAGE, KL_SORT_ALPHABETICAL, KL_INCLUDE_NONE, nullptr);
            else
                s_done->set_value();
        }
    };
    std::promise<void> done;
    s_oai = oai;
    s_names.clear();
    s_index = 0;
    s_done = &done;
    fake::answerWith([](const fake::Seen& seen) {
        const UINT32 index = static_cast<UINT32>(std::stoul(seen.url.substr(seen.url.find("search_index=") + 13)));
        STRING groups;
        for (UINT32 i = index; i < std::min<UINT32>(TOTAL, index + PAGE + 1); ++i)
            groups += "<group groupId=\"g" + std::to_string(i) + "\"/>";
        return fake::reply("<rsp><data>" + groups + "</data></rsp>");
    });
    ASSERT_EQ(oai->retrieveGroupList(personWith(""), Pages::next, 0, PAGE, KL_SORT_ALPHABETICAL, KL_INCLUDE_NONE, nullptr), 0);
    ASSERT_EQ(done.get_future().wait_for(fake::PATIENCE), std::future_status::ready);
    ASSERT_EQ(s_names.size(), TOTAL);
    for (UINT32 i = 0; i < TOTAL; ++i)
        EXPECT_EQ(s_names[i], "g" + std::to_string(i));
}
