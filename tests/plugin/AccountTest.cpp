// SPDX-License-Identifier: MIT
// The device's account: registration, sign-in, and what the service does not offer.
#include "plugin/support/Clock.h"
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

/// authKL or registerKL, signed out.
class Account : public FacadeTest {
protected:
    WSTATUS authenticate() { return oai->authKL(Callback<>::call, &recorder); }
    WSTATUS registerDevice() { return oai->registerKL(Callback<>::call, &recorder); }

    /// Answers the next request so, and returns what the callback reports.
    WSTATUS outcomeOf(WSTATUS started, const fake::Answer& answer)
    {
        EXPECT_EQ(started, 0);
        EXPECT_TRUE(fake::answer(fake::requestCount() - 1, answer));
        EXPECT_TRUE(recorder.waitFor(1));
        settle();
        const WSTATUS status = recorder.only().status;
        recorder.clear();
        return status;
    }
    WSTATUS authOutcome(const fake::Answer& answer)
    {
        fake::answerAll(fake::held());
        return outcomeOf(authenticate(), answer);
    }
    WSTATUS registerOutcome(const fake::Answer& answer)
    {
        fake::answerAll(fake::held());
        return outcomeOf(registerDevice(), answer);
    }
    STRING emptySignature() const
    {
        STRING signature;
        KLService::getAPISignature("", "", signature);
        return signature;
    }
    void raiseChallenge() { service().setException(provider(), EXCEPTION_CAPTCHA, "u", "s", HttpResponse()); }
};

const STRING RESULT_FAIL = documents::FAIL;

} // namespace

// --- What is sent

TEST_F(Account, SendsTheSignIn)
{
    const StoppedClock clock(2010, 5, 5);
    ASSERT_EQ(authenticate(), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, KLService::getBaseURL() + "/openapi/service/kinloom/auth");
    EXPECT_EQ(seen.body, "");
    EXPECT_THAT(seen.header,
                ElementsAre(Pair("Authorization", " auth_identifier=\"KL_AUTH_V1\", app_id=\"app-7\", app_type=\"dtv\", "
                                                  "token=\"token-of-tv\", token_type=\"user\", duid=\"duid-0001\", signature=\"" +
                                                      emptySignature() + "\""),
                            Pair("DATE", "Wed, 5 May 2010 7:4:9 GMT")));
}

TEST_F(Account, SendsTheRegistration)
{
    const StoppedClock clock(2010, 6, 20);
    ASSERT_EQ(registerDevice(), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, KLService::getBaseURL() + "/openapi/service/kinloom/register");
    EXPECT_EQ(seen.body, "");
    EXPECT_EQ(seen.field("Authorization"),
              " auth_identifier=\"KL_AUTH_V1\", app_id=\"app-7\", app_type=\"dtv\", token=\"token-of-tv\", token_type=\"user\", "
              "duid=\"duid-0001\", signature=\"" +
                  emptySignature() + "\"");
    EXPECT_EQ(seen.field("DATE"), ", 20  2010 7:4:9 GMT");
}

TEST_F(Account, SignsWithTheSessionAndSendsTheOptions)
{
    signIn();
    configure("app-8", "token-8", "duid-8");
    STRING signature;
    KLService::getAPISignature(APP_ID, AUTH_TOKEN, signature);
    ASSERT_EQ(authenticate(), 0);
    EXPECT_EQ(fake::request(0).field("Authorization"),
              " auth_identifier=\"KL_AUTH_V1\", app_id=\"app-8\", app_type=\"dtv\", token=\"token-8\", token_type=\"user\", "
              "duid=\"duid-8\", signature=\"" +
                  signature + "\"");
}

TEST_F(Account, RefusesAnEmptyOption)
{
    const STRING options[][3] = {{"", AUTH_TOKEN, DUID}, {APP_ID, "", DUID}, {APP_ID, AUTH_TOKEN, ""}, {"", "", ""}};
    for (const auto& [appID, authToken, duid] : options) {
        configure(appID, authToken, duid);
        log->clear();
        EXPECT_EQ(authenticate(), -1);
        EXPECT_EQ(registerDevice(), -1);
        EXPECT_THAT(facadeLog(), ElementsAre(-1, -1));
    }
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_F(Account, LeavesAPendingCancelAloneWhenItRefuses)
{
    signIn();
    ASSERT_EQ(cancel(), 0);
    configure(APP_ID, AUTH_TOKEN, "");
    EXPECT_EQ(authenticate(), -1);
    EXPECT_TRUE(oai->isCancelRequested());
    configure(APP_ID, AUTH_TOKEN, DUID);
    raiseChallenge();
    EXPECT_EQ(registerDevice(), -9);
    EXPECT_TRUE(oai->isCancelRequested());
}

TEST_F(Account, RefusesWhileAServiceExceptionIsPending)
{
    raiseChallenge();
    EXPECT_EQ(authenticate(), -9);
    EXPECT_EQ(registerDevice(), -9);
    EXPECT_THAT(facadeLog(), ElementsAre(-9, -9));
    EXPECT_EQ(fake::requestCount(), 0u);
    service().flushException(service().getException());
    EXPECT_EQ(authenticate(), 0);
}

TEST_F(Account, LooksAtTheOptionsBeforeTheException)
{
    raiseChallenge();
    configure(APP_ID, AUTH_TOKEN, "");
    EXPECT_EQ(authenticate(), -1);
    EXPECT_EQ(registerDevice(), -1);
}

TEST_F(Account, RefusesAnOptionWithALineBreak)
{
    for (const STRING& evil : {STRING("a\r\nX: 1"), STRING("a\n"), STRING("\r"), STRING("a\0b", 3)}) {
        configure(evil, AUTH_TOKEN, DUID);
        EXPECT_LT(authenticate(), 0);
        configure(APP_ID, evil, DUID);
        EXPECT_LT(registerDevice(), 0);
        configure(APP_ID, AUTH_TOKEN, evil);
        EXPECT_LT(authenticate(), 0);
    }
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_EQ(oai->countCMD(), 0u);
}

// --- The reply to a sign-in

TEST_F(Account, SignsInWhenTheServiceAgrees)
{
    EXPECT_EQ(authOutcome(fake::reply(documents::OK)), 0);
    EXPECT_TRUE(service().isLoggedIn());
    EXPECT_EQ(service().getAppID(), APP_ID);
    EXPECT_EQ(service().getAuthToken(), AUTH_TOKEN);
    EXPECT_EQ(service().getDUID(), DUID);
    EXPECT_EQ(log->text(), "");
}

TEST_F(Account, IsSignedInWithTheOptionsOfTheMomentOfTheReply)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(authenticate(), 0);
    configure("app-8", "token-8", "duid-8");
    finish(0, fake::reply(documents::OK));
    EXPECT_EQ(service().getAuthToken(), "token-8");
}

TEST_F(Account, ReportsSuccessForAReplyThatSaysFailAndStaysSignedOut)
{
    EXPECT_EQ(authOutcome(fake::reply(RESULT_FAIL)), 0);
    EXPECT_FALSE(service().isLoggedIn());
    EXPECT_THAT(facadeLog(), ElementsAre(-208));
}

TEST_F(Account, ReportsSuccessForA200ThatCannotBeReadAndStaysSignedOut)
{
    EXPECT_EQ(authOutcome(fake::reply(documents::NOT_XML)), 0);
    EXPECT_FALSE(service().isLoggedIn());
    EXPECT_THAT(facadeLog(), ElementsAre(-16));
}

TEST_F(Account, StaysSignedInWhenALaterSignInSaysFail)
{
    signIn();
    EXPECT_EQ(authOutcome(fake::reply(RESULT_FAIL)), 0);
    EXPECT_TRUE(service().isLoggedIn());
}

TEST_F(Account, ReadsThePayloadOfAnAuthReplyWith500)
{
    EXPECT_EQ(authOutcome(fake::reply(RESULT_FAIL, 500)), -208);
    EXPECT_FALSE(service().isLoggedIn());
    EXPECT_EQ(authOutcome(fake::reply(documents::NOT_XML, 500)), -16);
    EXPECT_EQ(authOutcome(fake::reply(500)), -16);
    EXPECT_EQ(authOutcome(fake::reply("<rsp/>", 500)), -16);
    EXPECT_EQ(authOutcome(fake::reply("<other><result/></other>", 500)), -16);
    EXPECT_EQ(authOutcome(fake::reply("<rsp><data/></rsp>", 500)), 0);
    EXPECT_EQ(authOutcome(fake::reply("<rsp><result><stat>perhaps</stat></result></rsp>", 500)), 0);
    EXPECT_FALSE(service().isLoggedIn());
    EXPECT_EQ(authOutcome(fake::reply(documents::OK, 500)), 0);
    EXPECT_TRUE(service().isLoggedIn());
}

TEST_F(Account, MapsAnAuthReplyWith403)
{
    EXPECT_EQ(authOutcome(fake::reply("Error=208\n", 403)), -205);
    EXPECT_EQ(authOutcome(fake::reply("Error=24\n", 403)), -205);
    EXPECT_EQ(service().getException(), nullptr);
    EXPECT_FALSE(service().isLoggedIn());
}

TEST_F(Account, SurvivesA403WithABodyThatIsTooShort)
{
    for (const STRING& body : {STRING(), STRING("x"), STRING("four")}) {
        EXPECT_EQ(authOutcome(fake::reply(body, 403)), -205);
        EXPECT_EQ(registerOutcome(fake::reply(body, 403)), -16);
    }
}

TEST_F(Account, MapsTheOtherCodesOfAnAuthReply)
{
    EXPECT_EQ(authOutcome(fake::reply(documents::OK, 201)), 0);
    EXPECT_EQ(authOutcome(fake::reply(documents::OK, 401)), -202);
    EXPECT_EQ(authOutcome(fake::reply(documents::OK, 404)), -205);
    EXPECT_EQ(authOutcome(fake::reply(documents::OK, 409)), -203);
    EXPECT_EQ(authOutcome(fake::reply(documents::OK, 503)), -16);
    EXPECT_FALSE(service().isLoggedIn());
}

TEST_F(Account, ReportsATransferThatFails)
{
    EXPECT_EQ(authOutcome(fake::failure(SESSION_UNREACHABLE)), WSTATUS_UNREACHABLE);
    EXPECT_EQ(registerOutcome(fake::failure(SESSION_TIMED_OUT)), WSTATUS_TIMED_OUT);
    EXPECT_THAT(fake::flushes(), IsEmpty());
}

TEST_F(Account, DropsTheOtherRequestsWithEveryReply)
{
    signIn();
    TempFolder folder;
    for (const UINT32 code : {200u, 403u, 404u, 500u}) {
        for (const bool registers : {false, true}) {
            fake::reset();
            fake::answerAll(fake::held());
            Recorder other;
            ASSERT_EQ(operationNamed("viewContent").start(*oai, &other, folder), 0);
            ASSERT_EQ(registers ? registerDevice() : authenticate(), 0);
            finish(1, fake::reply(documents::OK, code));
            EXPECT_EQ(fake::heldCount(), 0u) << code;
            EXPECT_EQ(oai->countCMD(), 0u) << code;
            EXPECT_EQ(other.count(), 0u) << code;
            EXPECT_EQ(recorder.count(), 1u) << code;
            recorder.clear();
        }
    }
}

TEST_F(Account, SignsOutWhenNobodyWaitsForTheSignIn)
{
    signIn();
    service().setUserID("user");
    ASSERT_EQ(oai->authKL(nullptr, nullptr), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_FALSE(service().isLoggedIn());
    EXPECT_EQ(service().getUserID(), "");
}

TEST_F(Account, SignsOutWhenNobodyWaitsForASignInThatWentWell)
{
    fake::answerNext(fake::reply(documents::OK));
    ASSERT_EQ(oai->authKL(nullptr, nullptr), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_FALSE(service().isLoggedIn());
}

TEST_F(Account, ReadsNeitherA200NorA500WhileACancelIsPending)
{
    for (const UINT32 code : {200u, 500u}) {
        signIn();
        fake::answerAll(fake::held());
        ASSERT_EQ(authenticate(), 0);
        ASSERT_EQ(cancel(), 0);
        configure("app-8", "token-8", "duid-8");
        finish(0, fake::reply(documents::OK, code));
        EXPECT_TRUE(recorder.only().isCancel);
        EXPECT_EQ(service().getAuthToken(), AUTH_TOKEN); // as before
        recorder.clear();
        configure(APP_ID, AUTH_TOKEN, DUID);
    }
}

// --- The reply to a registration

TEST_F(Account, RegistersWithAnyReplyOf200)
{
    EXPECT_EQ(registerOutcome(fake::reply(documents::OK)), 0);
    EXPECT_EQ(registerOutcome(fake::reply(RESULT_FAIL)), 0);
    EXPECT_EQ(registerOutcome(fake::reply(documents::NOT_XML)), 0);
    EXPECT_FALSE(service().isLoggedIn());
    EXPECT_THAT(facadeLog(), ElementsAre(-16, -16));
}

TEST_F(Account, MapsARegisterReplyWith500AndDoesNotReadIt)
{
    EXPECT_EQ(registerOutcome(fake::reply(RESULT_FAIL, 500)), -107);
    EXPECT_EQ(registerOutcome(fake::reply(documents::NOT_XML, 500)), -107);
    EXPECT_EQ(log->text(), "");
}

TEST_F(Account, ReportsTheServicesCodeOfARegisterReplyWith403)
{
    EXPECT_EQ(registerOutcome(fake::reply("Error=100\n", 403)), -1);
    EXPECT_EQ(registerOutcome(fake::reply("Status\nError=206\nmore", 403)), -202);
    EXPECT_EQ(registerOutcome(fake::reply("Error=201", 403)), -200);
    EXPECT_EQ(registerOutcome(fake::reply("Error=500\n", 403)), -16);
    EXPECT_EQ(registerOutcome(fake::reply("Error=24\n", 403)), -16);
    EXPECT_EQ(registerOutcome(fake::reply("Code:107\n", 403)), -1); // the code stands behind five bytes
    EXPECT_EQ(service().getException(), nullptr);
}

TEST_F(Account, LeavesTheSessionAloneWhenItRegisters)
{
    signIn();
    configure("app-8", "token-8", "duid-8");
    EXPECT_EQ(registerOutcome(fake::reply(documents::OK)), 0);
    EXPECT_EQ(service().getAuthToken(), AUTH_TOKEN);
    ASSERT_EQ(oai->registerKL(nullptr, nullptr), 0);
    EXPECT_TRUE(fake::answerHeld(fake::reply(documents::OK)));
    settle();
    EXPECT_TRUE(service().isLoggedIn());
}

// --- The verdict of a reply

TEST_F(Account, ReadsTheVerdictOfASignIn)
{
    const std::pair<STRING, WSTATUS> cases[] = {
        {documents::OK, 0},
        {documents::FAIL, -208},
        {"<rsp><data/><result><stat>fail</stat></result></rsp>", -208}, // "data" does not end the walk
        {"<rsp><result><stat>other</stat></result><result><stat>fail</stat></result></rsp>", -208},
        {"<rsp><result/></rsp>", 0},
        {"<rsp><unknown/></rsp>", 0},
        {"<rsp></rsp>", -16},
        {"<rsp>text</rsp>", -16},
        {"<other><result><stat>ok</stat></result></other>", -16},
        {"", -16},
        {"not xml", -16},
        {"<rsp><result><stat>ok</stat></result>", -16},
    };
    for (const auto& [payload, status] : cases) {
        EXPECT_EQ(oai->parseAuthStatus(payload, nullptr), status) << payload;
        EXPECT_EQ(oai->parseLoginStatus(payload, nullptr), status) << payload;
        EXPECT_EQ(oai->parseRegisterStatus(payload, nullptr), status == -208 ? -16 : status) << payload;
    }
}

TEST_F(Account, StoresTheCredentialAtTheFirstOk)
{
    EXPECT_EQ(oai->parseAuthStatus("<rsp><result><stat>ok</stat></result><result><stat>fail</stat></result></rsp>", nullptr), -208);
    EXPECT_TRUE(service().isLoggedIn());
}

TEST_F(Account, StoresNoCredentialForARegistration)
{
    EXPECT_EQ(oai->parseRegisterStatus(documents::OK, nullptr), 0);
    EXPECT_FALSE(service().isLoggedIn());
}

TEST_F(Account, StoresTheCredentialForALogin)
{
    EXPECT_EQ(oai->parseLoginStatus(documents::OK, nullptr), 0);
    EXPECT_TRUE(service().isLoggedIn());
}

// --- What is not offered

TEST_F(Account, RefusesWhatTheServiceDoesNotOffer)
{
    for (const bool signedIn : {false, true}) {
        if (signedIn)
            signIn();
        log->clear();
        std::list<WException*> exceptions;
        WCaptchaException exception;
        EXPECT_EQ(oai->login("user", "password", Callback<STRING, STRING>::call, &recorder), -15);
        EXPECT_EQ(oai->login("", "", nullptr, nullptr), -15);
        EXPECT_EQ(oai->logout(Callback<>::call, &recorder), -15);
        EXPECT_EQ(oai->unregisterKL(Callback<>::call, &recorder), -15);
        EXPECT_EQ(oai->retrieveExceptions(exceptions), -15);
        EXPECT_EQ(oai->resolveException(&exception, onResolved, &recorder), -15);
        EXPECT_EQ(oai->resolveException(nullptr, nullptr, nullptr), -15);
        EXPECT_THAT(facadeLog(), ElementsAre(-15, -15, -15, -15, -15, -15, -15));
        EXPECT_THAT(exceptions, IsEmpty());
        EXPECT_EQ(service().isLoggedIn(), signedIn);
    }
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(Account, RefusesALogoutAndKeepsAPendingCancel)
{
    signIn();
    ASSERT_EQ(cancel(), 0);
    EXPECT_EQ(oai->logout(Callback<>::call, &recorder), -15);
    EXPECT_TRUE(oai->isCancelRequested());
}

// --- Completions that only a host reaches which uses the service itself

TEST_F(Account, ReportsALogoutThatWasMadeThroughTheService)
{
    signIn();
    auto command = std::make_unique<KLLogoutCMD>(provider());
    command->setCMDKey(CMD_LOGOUT);
    command->callback = Callback<>::call;
    command->userData = &recorder;
    command->owner = oai;
    fake::answerNext(fake::failure(SESSION_UNREACHABLE)); // nothing listens there
    ASSERT_EQ(service().logout(command.release()), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(recorder.only().status, 0);
    EXPECT_FALSE(service().isLoggedIn());
}

TEST_F(Account, ClearsTheSessionWhenALogoutCompletes)
{
    signIn();
    KLLogoutCMD command(provider());
    command.setCMDKey(CMD_LOGOUT);
    command.owner = oai; // and no callback
    cbFnRequestCompleted(SESSION_DONE, HttpResponse(), &command);
    EXPECT_FALSE(service().isLoggedIn());
    EXPECT_THAT(fake::flushes(), IsEmpty());
}

TEST_F(Account, ReportsALoginWithTheSessionsUserAndToken)
{
    service().setUserID("user-1");
    KLLoginCMD command(provider());
    command.setCMDKey(CMD_LOGIN);
    command.callback = Callback<STRING, STRING>::call;
    command.userData = &recorder;
    command.owner = oai;
    HttpResponse response;
    response.setHttpResponseCode(HTTP_OK);
    response.setPayload(documents::OK);
    cbFnRequestCompleted(SESSION_DONE, response, &command);
    EXPECT_EQ(recorder.only().status, 0);
    EXPECT_TRUE(service().isLoggedIn());
}

TEST_F(Account, FlushesTheExceptionThatWasResolved)
{
    raiseChallenge();
    KLExceptionResolveCMD command(provider());
    command.setCMDKey(CMD_EXCEPTION_RESOLVE);
    command.callback = onResolved;
    command.userData = &recorder;
    command.owner = oai;
    command.exception = service().getException();
    HttpResponse response;
    response.setHttpResponseCode(HTTP_OK);
    response.setPayload(documents::OK);
    cbFnRequestCompleted(SESSION_DONE, response, &command);
    EXPECT_EQ(recorder.only().status, 0);
    EXPECT_EQ(recorder.only().value<WException*>(), command.exception);
    EXPECT_EQ(service().getException(), nullptr);
    EXPECT_TRUE(service().isLoggedIn());
}
