// SPDX-License-Identifier: MIT
// The replies to account requests: a verdict, and what it does to the session.
#include "plugin/replies/ReplyTest.h"

#include <functional>

using namespace kinloom_test;
using namespace W;

namespace {

class AccountReply : public ReplyTest {
protected:
    void SetUp() override
    {
        ReplyTest::SetUp();
        configure(APP_ID, AUTH_TOKEN, DUID);
    }

    struct Kind {
        const char* name;
        std::function<WSTATUS(const STRING&)> parse;
        WSTATUS failed;
        bool signsIn;
    };
    std::vector<Kind> kinds()
    {
        return {
            {"auth", [this](const STRING& body) { return oai->parseAuthStatus(body, nullptr); }, WSTATUS_AUTH_FAILED, true},
            {"login", [this](const STRING& body) { return oai->parseLoginStatus(body, nullptr); }, WSTATUS_AUTH_FAILED, true},
            {"register", [this](const STRING& body) { return oai->parseRegisterStatus(body, nullptr); }, WSTATUS_FAILED, false},
        };
    }

    /// Parses as each kind from a session that is signed out.
    void expect(const STRING& body, bool ok, const std::function<WSTATUS(const Kind&)>& status)
    {
        for (const Kind& kind : kinds()) {
            SCOPED_TRACE(STRING(kind.name) + ": " + body);
            service().setUserCredential(nullptr, provider());
            const WSTATUS expected = status(kind);
            EXPECT_EQ(kind.parse(body), expected);
            EXPECT_EQ(service().isLoggedIn(), ok && kind.signsIn);
            if (expected < 0)
                expectOneReport(expected);
            else
                expectNoReport();
        }
    }
    void expectMalformed(const STRING& body)
    {
        expect(body, false, [](const Kind&) { return WSTATUS_FAILED; });
    }
    void expectFailed(const STRING& body)
    {
        expect(body, false, [](const Kind& kind) { return kind.failed; });
    }
    void expectOk(const STRING& body, bool signedIn)
    {
        expect(body, signedIn, [](const Kind&) { return WSTATUS_OK; });
    }
};

} // namespace

TEST_F(AccountReply, SignsInWithAResultThatSaysOk)
{
    expectOk("<rsp><result><stat>ok</stat></result></rsp>", true);
    expectOk("<rsp><x/>text<result><desc>d</desc><stat>ok</stat></result></rsp>", true);
    EXPECT_EQ(oai->parseAuthStatus("<rsp><result><stat>ok</stat></result></rsp>", nullptr), 0);
    EXPECT_EQ(service().getAppID(), APP_ID);
    EXPECT_EQ(service().getAuthToken(), AUTH_TOKEN);
    EXPECT_EQ(service().getDUID(), DUID);
}

TEST_F(AccountReply, FailsAtOnceWithAResultThatSaysFail)
{
    expectFailed("<rsp><result><stat>fail</stat></result></rsp>");
    expectFailed("<rsp><result><stat>fail</stat><desc>d</desc></result><result><stat>ok</stat></result></rsp>");
}

TEST_F(AccountReply, GoesOnBehindTheFirstResult)
{
    expectOk("<rsp><result/><result><stat>maybe</stat></result><data/><result><stat>ok</stat></result></rsp>", true);
    // A session that was signed in on the way stays so.
    expect("<rsp><result><stat>ok</stat></result><data/><result><stat>fail</stat></result></rsp>", true,
           [](const Kind& kind) { return kind.failed; });
}

TEST_F(AccountReply, TakesAnyOtherVerdictForNone)
{
    for (const char* const result :
         {"<result/>", "<result stat='ok'/>", "<result><stat/></result>", "<result><stat>OK</stat></result>", "<result>ok</result>",
          "<stat>ok</stat>", "<data><result><stat>ok</stat></result></data>", "<x/>"})
        expectOk("<rsp>" + STRING(result) + "</rsp>", false);
}

TEST_F(AccountReply, RefusesMalformedReplies)
{
    for (const char* const body :
         {"", "ok", "<rsp>", "<rsp><result><stat>ok</stat></result>", "<rsq><result><stat>ok</stat></result></rsq>",
          "<result><stat>ok</stat></result>", "<!DOCTYPE rsp><rsp><result><stat>ok</stat></result></rsp>"})
        expectMalformed(body);
}

TEST_F(AccountReply, RefusesAnEnvelopeWithoutChildElements)
{
    for (const char* const body : {"<rsp/>", "<rsp></rsp>", "<rsp>\n</rsp>", "<rsp>ok</rsp>", "<rsp><!-- c --></rsp>",
                                   "<rsp><![CDATA[x]]></rsp>", "<rsp><?result ok?></rsp>", "<rsp stat='ok'/>"})
        expectMalformed(body);
}

TEST_F(AccountReply, LeavesTheSessionAloneWhenItOnlyRegisters)
{
    EXPECT_EQ(oai->parseAuthStatus("<rsp><result><stat>ok</stat></result></rsp>", nullptr), 0);
    EXPECT_EQ(oai->parseRegisterStatus("<rsp><result><stat>fail</stat></result></rsp>", nullptr), -16);
    EXPECT_TRUE(service().isLoggedIn());
}
