// SPDX-License-Identifier: MIT
// Nothing is lost and nothing is kept, however requests end. The leak check sees what the counts do not.
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <cstdio>

using namespace W;
using namespace kinloom_test;

namespace {

constexpr std::size_t MANY = 10'000;

class Ownership : public SignedInTest {
protected:
    void TearDown() override
    {
        SignedInTest::TearDown();
        std::remove(resourceFile(folder).c_str());
    }
    WSTATUS view() { return oai->viewContent(contentWith("c1"), Callback<WContent>::call, &recorder); }
    void expectNothingLeft()
    {
        EXPECT_EQ(oai->countCMD(), 0u);
        EXPECT_EQ(fake::liveRequests(), 0u);
    }
    TempFolder folder;
};

} // namespace

TEST_F(Ownership, LeavesNothingOfManyFlushedRequests)
{
    fake::answerAll(fake::held());
    for (std::size_t i = 0; i < MANY; ++i)
        ASSERT_EQ(view(), 0);
    EXPECT_EQ(oai->countCMD(), MANY);
    service().flushHttpRequests();
    expectNothingLeft();
    EXPECT_EQ(recorder.count(), 0u);
}

// A flush that looked for each of them among all the others would not end in time.
TEST_F(Ownership, LeavesNothingOfDownloadsFlushedAmongManyOthers)
{
    fake::answerAll(fake::held());
    for (std::size_t i = 0; i < 4 * MANY; ++i)
        ASSERT_EQ(operationNamed("download").start(*oai, &recorder, folder), 0);
    for (std::size_t i = 0; i < 4 * MANY; ++i)
        ASSERT_EQ(view(), 0);
    service().flushHttpRequests();
    expectNothingLeft();
}

TEST_F(Ownership, LeavesNothingOfRequestsFlushedOneByOne)
{
    fake::answerAll(fake::held());
    for (std::size_t i = 0; i < 1000; ++i) {
        ASSERT_EQ(view(), 0);
        service().flushHttpRequests();
        ASSERT_EQ(oai->countCMD(), 0u);
    }
    expectNothingLeft();
}

TEST_F(Ownership, LeavesNothingOfManyRefusedRequests)
{
    fake::refuseAll(-3);
    for (std::size_t i = 0; i < 1000; ++i)
        for (const OperationCase& operation : operations())
            ASSERT_EQ(operation.start(*oai, &recorder, folder), -3);
    expectNothingLeft();
    fake::refuseAll(0);
}

TEST_F(Ownership, LeavesNothingOfManyCompletedRequests)
{
    fake::answerAll(fake::reply(documents::contents(1)));
    for (std::size_t i = 0; i < MANY; ++i)
        ASSERT_EQ(view(), 0);
    ASSERT_TRUE(fake::waitForCompletions(MANY));
    EXPECT_EQ(recorder.count(), MANY);
    expectNothingLeft();
}

TEST_F(Ownership, LeavesNothingOfRequestsThatOneFailureDrops)
{
    fake::answerAll(fake::held());
    for (std::size_t i = 0; i < 1000; ++i)
        ASSERT_EQ(view(), 0);
    finish(500, fake::reply(503));
    EXPECT_EQ(recorder.only().status, -16);
    expectNothingLeft();
}

TEST_F(Ownership, KeepsWhatIsQueuedAfterAFlush)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(view(), 0);
    service().flushHttpRequests();
    ASSERT_EQ(view(), 0);
    EXPECT_EQ(oai->countCMD(), 1u);
    finish(1, fake::reply(documents::contents(1)));
    EXPECT_EQ(recorder.only().status, 0);
}

TEST_F(Ownership, UnlinksARefusedCommandBeforeItsAddressIsUsedAgain)
{
    // A command may get the address of one that was just refused: its entry must not be taken for the other's.
    fake::answerAll(fake::held());
    for (int i = 0; i < 500; ++i) {
        fake::refuseNext(-3);
        ASSERT_EQ(view(), -3);
        ASSERT_EQ(view(), 0);
        ASSERT_EQ(oai->countCMD(), static_cast<std::size_t>(i + 1));
    }
}

TEST_F(Ownership, CopiesEverythingThatACallerHandsOver)
{
    fake::answerAll(fake::held());
    auto content = std::make_unique<WContent>(contentWith("c1"));
    auto comment = std::make_unique<WComment>(commentWith("mine", "as written"));
    ASSERT_EQ(oai->createComment(*content, *comment, Callback<WComment, STRING>::call, &recorder), 0);
    comment->setComment("changed");
    content.reset();
    comment.reset();
    finish(0, fake::reply(documents::comments(1)));
    EXPECT_EQ(recorder.only().value<WComment>(0).getComment(), "as written");
}

TEST_F(Ownership, FreesWhatACallbackThatThrowsLeaves)
{
    // Such a callback breaks the contract; the clean-up takes place all the same.
    recorder.onCall([](const Call&) { throw std::runtime_error("no"); });
    fake::answerNext(fake::reply(documents::contents(1)));
    ASSERT_EQ(view(), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    expectNothingLeft();
    recorder.onCall(nullptr);
}
