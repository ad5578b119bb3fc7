// SPDX-License-Identifier: MIT
// The session's credentials.
#include "KLService/Session.h"

#include "plugin/support/Service.h"

#include <libxml++/libxml++.h>
#include <thread>

using namespace kinloom_test;
using testing::IsEmpty;
using W::KLService;
using W::STRING;

namespace {

class Session : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        configure(APP_ID, AUTH_TOKEN, DUID);
    }
    void signIn(const STRING& result = "<result><stat>ok</stat></result>")
    {
        xmlpp::DomParser parser;
        parser.parse_memory(result);
        service->setUserCredential(parser.get_document()->get_root_node(), kinloomProvider());
    }
    void expectEmpty()
    {
        EXPECT_FALSE(service->isLoggedIn());
        EXPECT_EQ(service->getUserID(), "");
        EXPECT_EQ(service->getAppID(), "");
        EXPECT_EQ(service->getAuthToken(), "");
        EXPECT_EQ(service->getAppToken(), "");
        EXPECT_EQ(service->getDUID(), "");
    }
};

} // namespace

TEST_F(Session, StartsEmpty) { expectEmpty(); }

TEST_F(Session, IsFilledFromTheProvidersOptions)
{
    signIn();
    EXPECT_TRUE(service->isLoggedIn());
    EXPECT_EQ(service->getAppID(), APP_ID);
    EXPECT_EQ(service->getAuthToken(), AUTH_TOKEN);
    EXPECT_EQ(service->getDUID(), DUID);
    EXPECT_EQ(service->getUserID(), "");
    EXPECT_EQ(service->getAppToken(), "");
}

TEST_F(Session, TakesTheOptionsAsTheyAreWhenTheReplyComes)
{
    configure("app-8", "token-8", "duid-8");
    signIn();
    EXPECT_EQ(service->getAppID(), "app-8");
    configure("app-9", "token-9", "duid-9");
    EXPECT_EQ(service->getAppID(), "app-8");
    signIn();
    EXPECT_EQ(service->getAuthToken(), "token-9");
}

TEST_F(Session, IsLeftAloneByAResultWithoutChildren)
{
    signIn("<result/>");
    expectEmpty();
    signIn();
    configure("app-8", "token-8", "duid-8");
    signIn("<result stat=\"ok\"/>");
    EXPECT_EQ(service->getAuthToken(), AUTH_TOKEN);
}

TEST_F(Session, IsFilledByAnyChildOfTheResult)
{
    signIn("<result>text</result>");
    EXPECT_TRUE(service->isLoggedIn());
}

TEST_F(Session, IsClearedWithoutANode)
{
    signIn();
    service->setUserID("user");
    service->setUserCredential(nullptr, kinloomProvider());
    expectEmpty();
}

TEST_F(Session, KeepsTheUserThroughASignIn)
{
    service->setUserID("user");
    EXPECT_FALSE(service->isLoggedIn());
    signIn();
    EXPECT_EQ(service->getUserID(), "user");
}

TEST_F(Session, KeepsReferencesGoodThroughTheNextChanges)
{
    service->setUserID("the first of many users");
    const STRING& first = service->getUserID();
    for (std::size_t i = 1; i < KLService::KEPT_SESSIONS; ++i)
        service->setUserID("user " + KLService::int2str(static_cast<unsigned int>(i)));
    EXPECT_EQ(first, "the first of many users");
}

TEST_F(Session, ForgetsStatesThatAreLongPast)
{
    service->setUserID("the first of many users");
    const std::weak_ptr<const W::Session> first = service->session();
    const std::shared_ptr<const W::Session> held = service->session();
    for (std::size_t i = 0; i < KLService::KEPT_SESSIONS; ++i)
        service->setUserID("user " + KLService::int2str(static_cast<unsigned int>(i)));
    EXPECT_EQ(first.use_count(), 1) << "whoever works with a state keeps it";
    EXPECT_EQ(held->userID, "the first of many users");
}

TEST_F(Session, IsSignedInByItsTokenAlone)
{
    configure("", "token", "");
    signIn();
    EXPECT_TRUE(service->isLoggedIn());
    configure("app", "", "duid");
    signIn();
    EXPECT_FALSE(service->isLoggedIn());
}

TEST_F(Session, IsClearedByALogoutThatAsksNobody)
{
    signIn();
    service->setUserID("user");
    auto* const command = new CountedCMD;
    EXPECT_EQ(service->logout(command), 0);
    expectEmpty();
    // The request leads to the discard port of this very machine; it only brings the completion onto the worker.
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, W::HTTP_REQUEST_GET);
    EXPECT_EQ(seen.url.rfind("http://127.0.0.1:9", 0), 0u) << seen.url;
    EXPECT_THAT(seen.header, IsEmpty());
    EXPECT_EQ(seen.body, "");
    const std::vector<Completed> all = completed();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].command, command);
    EXPECT_TRUE(all[0].onWorker);
}

TEST_F(Session, IsClearedByALogoutThatIsRefused)
{
    signIn();
    fake::refuseNext(-16);
    EXPECT_EQ(service->logout(new CountedCMD), -16);
    expectEmpty();
}

TEST_F(Session, SignsFromTheFirstMomentOn)
{
    // The first request of a device carries the signature of the empty values.
    STRING expected;
    KLService::getAPISignature("", "", expected);
    EXPECT_EQ(service->session()->signature, expected);
}

TEST_F(Session, SignsWithWhatItHolds)
{
    signIn();
    STRING expected;
    KLService::getAPISignature(APP_ID, AUTH_TOKEN, expected);
    EXPECT_EQ(service->session()->signature, expected);
    EXPECT_EQ(service->session()->authorization, KLService::getAuthorization(APP_ID, AUTH_TOKEN, DUID, expected));
    service->setUserCredential(nullptr, kinloomProvider());
    STRING empty;
    KLService::getAPISignature("", "", empty);
    EXPECT_EQ(service->session()->signature, empty);
}

TEST_F(Session, StaysInOnePieceForWhoeverHasIt)
{
    signIn();
    const std::shared_ptr<const W::Session> before = service->session();
    configure("app-8", "token-8", "duid-8");
    signIn();
    EXPECT_EQ(before->authToken, AUTH_TOKEN);
    EXPECT_EQ(service->session()->authToken, "token-8");
}

TEST_F(Session, IsNeverSeenTorn)
{
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (int i = 0; !stop; ++i) {
            const STRING n = std::to_string(i % 2);
            configure("app-" + n, "token-" + n, "duid-" + n);
            signIn();
            service->setUserID("user-" + n);
        }
    });
    for (int i = 0; i < 2000; ++i) {
        const std::shared_ptr<const W::Session> session = service->session();
        STRING expected;
        KLService::getAPISignature(session->appID, session->authToken, expected);
        ASSERT_EQ(session->signature, expected);
        ASSERT_EQ(session->authorization, KLService::getAuthorization(session->appID, session->authToken, session->duid, expected));
    }
    stop = true;
    writer.join();
}
