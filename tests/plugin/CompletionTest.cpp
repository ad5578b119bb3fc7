// SPDX-License-Identifier: MIT
// The one way in which every request completes: each branch, for each kind of command.
#include "plugin/support/Allocation.h"
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

using namespace W;
using namespace kinloom_test;
using testing::IsEmpty;
using testing::Not;

namespace {

class Completion : public SignedInTest, public testing::WithParamInterface<OperationCase> {
protected:
    /// Completes a command that is in the facade's list.
    void complete(SESSION_STATUS status, UINT32 code, const STRING& payload, Recorder* to)
    {
        const std::unique_ptr<KLServiceCMD> command = GetParam().make(oai, to, file);
        oai->addCMD(command.get());
        HttpResponse response;
        response.setHttpResponseCode(static_cast<HTTP_RESPONSE_CODE>(code));
        response.setPayload(payload);
        cbFnRequestCompleted(status, response, command.get());
        EXPECT_EQ(oai->countCMD(), 0u) << "the command stays in the list";
    }
    void reply(UINT32 code, const STRING& payload) { complete(SESSION_DONE, code, payload, &recorder); }
    STRING goodReply() const { return GetParam().goodReply(); }

    /// Expects one call of the command's own callback, or none if it never has any.
    void expectResult(WSTATUS status)
    {
        if (!GetParam().callsBack) {
            EXPECT_EQ(recorder.count(), 0u);
            return;
        }
        const Call call = recorder.only();
        EXPECT_FALSE(call.isCancel);
        EXPECT_EQ(call.status, GetParam().alwaysSucceeds ? 0 : status);
        if (GetParam().key != CMD_EXCEPTION_RESOLVE) { // its callback has no provider
            EXPECT_EQ(call.provider, &provider());
        }
        recorder.clear();
    }

    /// Expects what a cancel that was pending ends in.
    void expectCancel()
    {
        const Call call = recorder.only();
        EXPECT_EQ(call.isCancel, !GetParam().reportsOwnCancel);
        EXPECT_EQ(call.status, 0);
        EXPECT_FALSE(oai->isCancelRequested());
        recorder.clear();
    }

    void expectFlush(bool flushes)
    {
        if (flushes || GetParam().flushesAlways)
            EXPECT_THAT(fake::flushes(), Not(IsEmpty()));
        else
            EXPECT_THAT(fake::flushes(), IsEmpty());
    }

    TempFolder folder;
    const STRING file = folder.write("file.jpg", "bytes");
};

constexpr SESSION_STATUS FAILURES[] = {
    SESSION_NOT_CREATED, SESSION_TOO_LARGE,  SESSION_CUT_OFF,        SESSION_UNREACHABLE,
    SESSION_TIMED_OUT,   SESSION_FILE_ERROR, SESSION_PROTOCOL_ERROR, static_cast<SESSION_STATUS>(0xFFFFFFFF),
};

} // namespace

TEST_P(Completion, ReportsAFailedTransferAndReadsNothing)
{
    for (const SESSION_STATUS failure : FAILURES) {
        log->clear();
        complete(failure, 200, documents::NOT_XML, &recorder); // reading it would be logged
        expectResult(KLService::getWlibSTATUS(failure));
        EXPECT_EQ(log->text(), "");
    }
    expectFlush(false);
}

TEST_P(Completion, ReadsAReplyWith200)
{
    reply(200, goodReply());
    expectResult(GetParam().ofSuccess);
    expectFlush(GetParam().flushesOnSuccess);
}

TEST_P(Completion, ReportsAReplyWith200ThatCannotBeRead)
{
    for (const STRING& payload : {STRING("503 come back later"), STRING("<rsp>"), STRING("<rss><a/></rss>"), STRING("<rsp/>")}) {
        reply(200, payload);
        expectResult(GetParam().ofBadReply);
    }
    expectFlush(GetParam().flushesOnSuccess);
}

TEST_P(Completion, LogsAReplyThatCannotBeReadOnce)
{
    reply(200, documents::NOT_XML);
    EXPECT_EQ(facadeLog(), std::vector<WSTATUS>(GetParam().readsDocument ? 1 : 0, -16));
}

TEST_P(Completion, MapsEveryOtherCodeAndDropsTheOtherRequests)
{
    for (const UINT32 code : {0u,   100u, 201u, 202u, 204u, 206u, 301u, 304u, 400u, 401u, 403u, 404u,
                              409u, 410u, 412u, 418u, 429u, 500u, 501u, 502u, 503u, 504u, 999u}) {
        if (GetParam().readsRefusals && (code == 403 || code == 500))
            continue; // the account's own business
        fake::reset();
        reply(code, goodReply());
        expectResult(KLService::getWlibSTATUS(KLService::getKLSTATUS(static_cast<HTTP_RESPONSE_CODE>(code))));
        expectFlush(GetParam().flushesOnFailure);
    }
}

TEST_P(Completion, DoesNotReadAReplyWith200WhileACancelIsPending)
{
    ASSERT_EQ(cancel(), 0);
    log->clear();
    reply(200, documents::NOT_XML);
    expectCancel();
    EXPECT_EQ(log->text(), "");
    expectFlush(GetParam().flushesOnFailure);
}

TEST_P(Completion, ReportsACancelWhateverTheCode)
{
    for (const UINT32 code : {200u, 201u, 403u, 404u, 500u, 503u}) {
        if (!service().isLoggedIn())
            signIn(); // some completions sign out
        ASSERT_EQ(cancel(), 0) << code;
        reply(code, "");
        expectCancel();
    }
}

TEST_P(Completion, ReportsACancelOfAFailedTransfer)
{
    ASSERT_EQ(cancel(), 0);
    complete(SESSION_CANCELLED, 0, "", &recorder);
    expectCancel();
    expectFlush(false);
}

TEST_P(Completion, ReportsItsResultAgainAfterACancel)
{
    ASSERT_EQ(cancel(), 0);
    reply(200, goodReply());
    expectCancel();
    folder.write("file.jpg", "bytes"); // a cancelled download takes its file away
    configure(APP_ID, AUTH_TOKEN, DUID);
    reply(200, goodReply());
    expectResult(GetParam().ofSuccess);
}

TEST_P(Completion, ReportsToNobodyWithoutACallback)
{
    complete(SESSION_DONE, 200, goodReply(), nullptr);
    complete(SESSION_DONE, 404, "", nullptr);
    complete(SESSION_TIMED_OUT, 0, "", nullptr);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_P(Completion, ClearsACancelWithoutACallbackAndTellsNobody)
{
    ASSERT_EQ(cancel(), 0);
    complete(SESSION_DONE, 200, goodReply(), nullptr);
    EXPECT_FALSE(oai->isCancelRequested());
    EXPECT_TRUE(oai->hasCancelCallback()); // it waits for the next cancel
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_P(Completion, EndsACancelThatHasNoCallbackInSilence)
{
    ASSERT_EQ(cancel(nullptr), 0);
    reply(200, goodReply());
    EXPECT_EQ(recorder.count(), 0u);
    EXPECT_FALSE(oai->isCancelRequested());
}

TEST_P(Completion, SurvivesTheFailureOfEachAllocation)
{
    const STRING payload = goodReply();
    bool failed = true;
    for (long after = 0; failed; ++after) {
        ASSERT_LT(after, 5000);
        recorder.clear();
        const std::unique_ptr<KLServiceCMD> command = GetParam().make(oai, &recorder, file);
        oai->addCMD(command.get());
        HttpResponse response;
        response.setHttpResponseCode(HTTP_OK);
        response.setPayload(payload);
        {
            const FailingAllocation failing(after);
            EXPECT_NO_THROW(cbFnRequestCompleted(SESSION_DONE, response, command.get())) << after;
            failed = failing.happened();
        }
        EXPECT_EQ(oai->countCMD(), 0u) << after;
        EXPECT_EQ(recorder.count(), GetParam().callsBack ? 1u : 0u) << after;
    }
}

INSTANTIATE_TEST_SUITE_P(Every, Completion, testing::ValuesIn(commands()),
                         [](const auto& test) { return STRING(test.param.command); });
