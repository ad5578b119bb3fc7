// SPDX-License-Identifier: MIT
#include "CliFixture.h"
#include "support/RawServer.h"

using namespace test;
using testing::HasSubstr;
using testing::Not;

namespace {

using AccountCommand = CliTest;

TEST_F(AccountCommand, RegistersAndSignsIn)
{
    EXPECT_EQ(ada.json({"register"})["registered"], true);
    const Json document = ada.json({"login"});
    EXPECT_EQ(document["signed_in"], true);
    EXPECT_EQ(document["service"], service.url());
}

TEST_F(AccountCommand, SignsInBeforeItDoesAnythingElse)
{
    ada.ok({"groups"});
    EXPECT_EQ(hits("auth"), 1U);
}

TEST_F(AccountCommand, WithoutConfigurationEndsWith3AndSaysWhatIsMissing)
{
    const User nobody(service.url());
    const ProgramResult result = nobody.run({"groups"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.err, HasSubstr("app_id is not set"));
    EXPECT_THAT(result.err, HasSubstr("config import"));
    EXPECT_EQ(hits("auth"), 0U);
}

TEST_F(AccountCommand, WithAWrongTokenEndsWith3AndNeverShowsIt)
{
    ada.ok({"config", "set", "AuthToken", "-"}, "a-token-nobody-knows");
    for (const char* command : {"login", "register", "groups"}) {
        const ProgramResult result = ada.run({command, "--verbose"});
        EXPECT_EQ(result.exitCode, 3) << command;
        EXPECT_THAT(result.err, HasSubstr("WSTATUS_"));
        EXPECT_THAT(result.out + result.err, Not(HasSubstr("a-token-nobody-knows")));
    }
}

TEST_F(AccountCommand, ServiceThatIsDownEndsWith4AndIsNamed)
{
    const std::string url = service.url();
    service.stop();
    const ProgramResult result = ada.run({"groups"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("WSTATUS_UNREACHABLE"));
    EXPECT_THAT(result.err, HasSubstr(url));
    EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
}

TEST_F(AccountCommand, ServiceOfTheCommandLineWinsOverTheConfigured)
{
    ada.ok({"config", "set", "service", "http://127.0.0.1:1"});
    EXPECT_EQ(ada.json({"--service", service.url(), "login"})["service"], service.url());
}

TEST_F(AccountCommand, SlowServiceEndsWith4AfterTheTimeout)
{
    setFault("group.list:delay=60000");
    const auto begin = std::chrono::steady_clock::now();
    const ProgramResult result = ada.run({"groups", "--timeout", "1"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("WSTATUS_TIMED_OUT"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST_F(AccountCommand, BrokenRepliesGiveOneClearLine)
{
    setFault("group.list:garbage*1");
    EXPECT_EQ(ada.run({"groups", "--retries", "0"}).exitCode, 1);
    setFault("group.list:reset*2"); // the client tries once more on a fresh connection
    EXPECT_EQ(ada.run({"groups", "--retries", "0"}).exitCode, 4);
    setFault("group.list:status=500*1");
    EXPECT_EQ(ada.run({"groups", "--retries", "0"}).exitCode, 4);
    setFault("group.list:status=503*1");
    const ProgramResult result = ada.run({"groups", "--retries", "0"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
    EXPECT_EQ(result.out, "");
}

// The plugin reports such a reply as a success.
TEST(AccountCommandReply, ThatSaysFailWithHttp200EndsWith3)
{
    RawServer server;
    server.onRequest([](const RawRequest&) {
        return RawReply::ok("<rsp><result><stat>fail</stat><code>200</code><desc>no</desc></result></rsp>",
                            {"Content-Type: text/xml"});
    });
    User user(server.url(""));
    user.ok({"config", "import"}, "[provider.Kinloom]\napp_id = \"a\"\nAuthToken = \"b\"\nduid = \"c\"\n");
    for (const char* command : {"login", "register", "groups"}) {
        const ProgramResult result = user.run({command});
        EXPECT_EQ(result.exitCode, 3) << command;
        EXPECT_THAT(result.err, HasSubstr("WSTATUS_AUTH_FAILED"));
    }
}

TEST_F(AccountCommand, PluginThatIsNoneEndsWith5)
{
    writeFile(files.file("plugin.so"), "no library");
    for (const std::string& path : {files.file("plugin.so"), files.file("missing.so")}) {
        const ProgramResult result = ada.run({"--plugin", path, "login"});
        EXPECT_EQ(result.exitCode, 5);
        EXPECT_THAT(result.err, HasSubstr("plugin"));
    }
}

} // namespace
