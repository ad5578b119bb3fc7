// SPDX-License-Identifier: MIT
// What is tried again, and what a person sees of it.
#include "CliFixture.h"
#include "support/RawServer.h"

#include <csignal>

using namespace test;
using testing::HasSubstr;
using testing::Not;

namespace {

class RetryCommand : public CliTest {};

TEST_F(RetryCommand, AnUploadGetsThroughAndAPersonSeesThatItWaits)
{
    const std::string group = ada.createGroup("Summer");
    const std::string photo = makePhoto(files.file("a.jpg"), {"--width", "80", "--height", "60"});
    setFault("upload.file:status=503*1");
    const ProgramResult result = ada.run({"upload", group, photo});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("the service answers with HTTP 503; waiting 0."));
    EXPECT_THAT(result.err, HasSubstr(", then trying again (1 of 4)"));
    EXPECT_EQ(ada.json({"feed", group})["contents"].size(), 1U);
}

TEST_F(RetryCommand, NothingIsTriedAgainThatMayNotComeTwiceOrThatNobodyWants)
{
    setFault("group.create:status=503*1");
    const ProgramResult result = ada.run({"group", "create", "Summer"});
    EXPECT_NE(result.exitCode, 0);
    EXPECT_THAT(result.err, Not(HasSubstr("again (")));
    EXPECT_EQ(hits("group.create"), 1U);
    setFault("group.list:status=503*1");
    EXPECT_NE(ada.run({"groups", "--retries", "0"}).exitCode, 0);
    EXPECT_EQ(hits("group.list"), 1U);
    EXPECT_EQ(ada.run({"groups", "--retries", "-1"}).exitCode, 2);
}

TEST_F(RetryCommand, NobodyWaitsForAServiceThatIsNotThere)
{
    const std::string photo = makePhoto(files.file("a.jpg"), {"--width", "80", "--height", "60"});
    for (const Arguments& arguments : {Arguments{"upload", "1", photo}, Arguments{"upload", "1", photo, photo}}) {
        Arguments all = {"--service", "http://127.0.0.1:1"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const ProgramResult result = ada.run(all);
        EXPECT_EQ(result.exitCode, 4);
        EXPECT_THAT(result.err, HasSubstr("cannot sign in: "));
        EXPECT_THAT(result.err, Not(HasSubstr("again (")));
    }
}

/// A service that is busy, and says for how long.
class BusyService : public testing::Test {
protected:
    BusyService() { ada.ok({"config", "import"}, ANY_DEVICE); }

    void asksToWait(const std::string& seconds)
    {
        server.onRequest([seconds](const RawRequest& request) {
            if (request.target().find("/auth") != std::string::npos)
                return RawReply::ok("<rsp><result><stat>ok</stat></result></rsp>", {"Content-Type: text/xml"});
            return RawReply::status(503, "<rsp><result><desc>busy</desc></result></rsp>", {"Retry-After: " + seconds});
        });
    }

    RawServer server;
    User ada{server.url("")};
};

TEST_F(BusyService, ThatWantsToBeAskedMuchLaterEndsTheProgramWith4)
{
    asksToWait("300");
    const ProgramResult result = ada.run({"groups"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("asks to wait 5 min 00 s"));
    EXPECT_EQ(server.requestCount(), 2U) << "it was asked once";
}

TEST_F(BusyService, IsNotWaitedForByAShellThatCompletes)
{
    asksToWait("6");
    const auto begin = std::chrono::steady_clock::now();
    const ProgramResult result = ada.run({"complete", "--", "feed", ""});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6));
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(server.requestCount(), 2U) << "it was asked once";
}

TEST_F(BusyService, IsWaitedForUntilCtrlC)
{
    asksToWait("60");
    Program program(ada.between({"groups"}));
    ASSERT_TRUE(program.waitFor("waiting 1 min"));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait().exitCode, 130);
    EXPECT_EQ(server.requestCount(), 2U);
}

} // namespace
