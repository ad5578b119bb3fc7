// SPDX-License-Identifier: MIT
// Getting credentials by a code that is shown.
#include "CliFixture.h"
#include "support/RawServer.h"
#include "support/Wait.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <csignal>
#include <sys/stat.h>

using namespace test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

class PairCommand : public CliTest {
protected:
    /// The code of the device that waits, as its person types it. The program shows it when it has the reply: the database knows
    /// it before.
    std::string pendingCode() const
    {
        std::string code;
        comesTrue([&] {
            SQLite::Database database(data.path() + "/kinloomd.db", SQLite::OPEN_READONLY, 10'000);
            SQLite::Statement query(database, "SELECT user_code FROM pairing");
            code = query.executeStep() ? query.getColumn(0).getString() : std::string();
            return !code.empty();
        });
        return code.substr(0, 4) + "-" + code.substr(4);
    }

    User m_nobody;
};

TEST_F(PairCommand, ShowsACodeInTheTerminal)
{
    Program program(m_nobody.inTerminal({"pair", service.url(), "--name", "Kitchen"}));
    ASSERT_TRUE(program.waitFor("good for 15 minutes"));
    const std::string code = pendingCode();
    program.signal(SIGINT);
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_THAT(result.out, AllOf(HasSubstr(service.url() + "/pair/" + code), HasSubstr("    " + code), HasSubstr("\u2580")));
    EXPECT_THAT(m_nobody.run({"config", "get", "duid"}).err, HasSubstr("is not set")) << "nothing was written";
}

TEST_F(PairCommand, WritesTheConfigurationOnceTheDeviceIsTakenIn)
{
    Program program(m_nobody.between({"pair", service.url(), "--json", "--name", "Kitchen"}));
    const std::string code = pendingCode();
    const auto approved = kinloomd_test::runKinloomd({"device", "approve", code, "--person", "Ada", "--data", data.path()});
    EXPECT_THAT(approved.out, HasSubstr("'Kitchen'"));
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const Json document = Json::parse(result.out);
    EXPECT_EQ(document["paired"], true);
    EXPECT_THAT(result.err, HasSubstr(code));
    const std::string path = document["path"];
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    const std::string text = readFile(path);
    const auto token = text.find("AuthToken = ") + 13;
    EXPECT_THAT(result.out + result.err, Not(HasSubstr(text.substr(token, 64)))) << "it is a password";
    EXPECT_EQ(m_nobody.json({"login"})["service"], service.url());
}

TEST_F(PairCommand, SaysWhyItFails)
{
    EXPECT_EQ(m_nobody.run({"pair"}).exitCode, 2);
    EXPECT_EQ(m_nobody.run({"pair", "photos.example"}).exitCode, 2);
    RawServer server;
    server.reply(RawReply::status(404));
    const ProgramResult none = m_nobody.run({"pair", server.url("")});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_THAT(none.err, HasSubstr("does not pair devices"));
    const std::string url = service.url();
    service.stop();
    const ProgramResult away = m_nobody.run({"pair", url});
    EXPECT_EQ(away.exitCode, 4);
    EXPECT_THAT(away.err, HasSubstr("WSTATUS_UNREACHABLE"));
}

TEST_F(PairCommand, ShowsNothingThatSteersATerminal)
{
    RawServer server;
    server.reply(
        RawReply::ok(R"({"device_code":"d","user_code":"\u009b31mAB","verification_uri":"http://a/\u202e","expires_in":60})"));
    server.reply(RawReply::status(400, R"({"error":"access_denied"})"));
    const ProgramResult result = m_nobody.run({"pair", server.url("")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("turned it away"));
    EXPECT_THAT(result.out, AllOf(Not(HasSubstr("\xC2\x9B")), Not(HasSubstr("\xE2\x80\xAE"))));
}

} // namespace
