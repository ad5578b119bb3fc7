// SPDX-License-Identifier: MIT
// Devices that are taken in by a code.
#include "ClientFixture.h"
#include "pairing/PairingReply.h"
#include "support/RawServer.h"

#include <sys/stat.h>

using namespace test;
using namespace kinloom;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

constexpr const char* BEGUN =
    R"({"device_code":"secret&code","user_code":"BCDF-GHJK","verification_uri":"http://photos.example/pair",
    "verification_uri_complete":"http://photos.example/pair/BCDF-GHJK","expires_in":900,"interval":0.05})";
constexpr const char* DEVICE = R"({"app_id":"app","AuthToken":"token","duid":"duid"})";

RawReply refusal(const std::string& error) { return RawReply::status(400, R"({"error":")" + error + "\"}"); }

/// A service that says what a test wants to the first question, and then one thing after the other.
class ScriptedPairing : public testing::Test {
protected:
    PairingOrder order()
    {
        PairingOrder order;
        order.service = server.url("");
        order.deviceName = "Living room & <b>";
        order.shown = [this](const PairingCode& code) {
            shown.push_back(code);
            codeShown.raise();
        };
        return order;
    }
    Outcome<PairedDevice> pair(const CallOptions& options = {}) { return Pairing(order(), options).call().outcome(); }

    RawServer server;
    std::vector<PairingCode> shown;
    Signal codeShown;
};

TEST_F(ScriptedPairing, AsksUntilAPersonHasTakenTheDeviceIn)
{
    for (const RawReply& reply :
         {RawReply::ok(BEGUN), refusal("authorization_pending"), refusal("authorization_pending"), RawReply::ok(DEVICE)})
        server.reply(reply);
    const auto outcome = pair();
    ASSERT_TRUE(outcome) << outcome.failure().text();
    EXPECT_EQ(outcome.value().appId + outcome.value().token + outcome.value().duid, "apptokenduid");
    ASSERT_EQ(shown.size(), 1U);
    EXPECT_EQ(shown[0].userCode, "BCDF-GHJK");
    EXPECT_EQ(shown[0].address, "http://photos.example/pair");
    EXPECT_EQ(shown[0].completeAddress, "http://photos.example/pair/BCDF-GHJK");
    EXPECT_EQ(shown[0].lifetime.count(), 900);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 4U);
    EXPECT_EQ(requests[0].line(), "POST /pair HTTP/1.1");
    EXPECT_EQ(requests[0].body, "device_name=Living%20room%20%26%20%3Cb%3E");
    EXPECT_EQ(requests[1].line(), "POST /pair/token HTTP/1.1");
    EXPECT_EQ(requests[1].body, "device_code=secret%26code");
    EXPECT_EQ(requests[1].field("Content-Type"), " application/x-www-form-urlencoded");
}

TEST_F(ScriptedPairing, EndsWhenItIsTurnedAway)
{
    server.reply(RawReply::ok(BEGUN));
    server.reply(refusal("access_denied"));
    const auto outcome = pair();
    EXPECT_EQ(kindOf(outcome), FailureKind::REFUSED);
    EXPECT_THAT(outcome.failure().text(), HasSubstr("turned it away"));
}

TEST_F(ScriptedPairing, EndsWithItsCodeOrGoesOnWithAnother)
{
    server.reply(RawReply::ok(BEGUN));
    server.reply(refusal("expired_token"));
    EXPECT_EQ(kindOf(pair()), FailureKind::TIMED_OUT);

    for (const RawReply& reply : {RawReply::ok(BEGUN), refusal("expired_token"), RawReply::ok(BEGUN), RawReply::ok(DEVICE)})
        server.reply(reply);
    PairingOrder renewing = order();
    renewing.renew = true;
    EXPECT_TRUE(Pairing(renewing).call().outcome());
    EXPECT_EQ(shown.size(), 3U);
}

TEST_F(ScriptedPairing, EndsWithTheLifetimeOfTheCodeThoughNobodySaysSo)
{
    server.reply(
        RawReply::ok(R"({"device_code":"d","user_code":"u","verification_uri":"http://a/","expires_in":1,"interval":0.05})"));
    server.onRequest([](const RawRequest&) { return refusal("authorization_pending"); });
    EXPECT_EQ(kindOf(pair()), FailureKind::TIMED_OUT);
    EXPECT_EQ(shown.at(0).completeAddress, "http://a/") << "where there is no other";
}

TEST_F(ScriptedPairing, GoesOnWhileTheServiceIsAway)
{
    for (const RawReply& reply :
         {RawReply::ok(BEGUN), RawReply::status(503, "busy"), RawReply().reset(), RawReply::status(429), RawReply::ok(DEVICE)})
        server.reply(reply);
    EXPECT_TRUE(pair());
}

TEST_F(ScriptedPairing, SlowsDownWhenItIsTold)
{
    server.reply(RawReply::ok(BEGUN));
    server.reply(refusal("slow_down"));
    server.reply(RawReply::ok(DEVICE));
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_TRUE(pair());
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5)) << "it is five seconds and a little now";
}

TEST_F(ScriptedPairing, IsCancelledAndInterruptedAtAnyMoment)
{
    // While the first reply is awaited, while the code is shown, and while a question is.
    server.reply(RawReply().stall());
    const Pairing first(order());
    ASSERT_TRUE(server.waitForWaiting(1));
    first.call().cancel();
    EXPECT_EQ(kindOf(first.call().outcome()), FailureKind::CANCELLED);

    server.reply(RawReply::ok(R"({"device_code":"d","user_code":"u","verification_uri":"a","expires_in":900,"interval":300})"));
    server.reply(refusal("authorization_pending"));
    const Interruption bell;
    CallOptions options;
    options.interruption = bell;
    const Pairing second(order(), options);
    ASSERT_TRUE(server.waitForRequests(3));
    bell.watch([] {});
    Interruption(bell).ring();
    EXPECT_EQ(kindOf(second.call().outcome()), FailureKind::INTERRUPTED);

    server.reply(RawReply::ok(BEGUN));
    server.reply(RawReply().stall());
    {
        const Pairing third(order());
        ASSERT_TRUE(server.waitForWaiting(1));
        const auto call = third.call();
        EXPECT_FALSE(call.ended());
    }
    EXPECT_TRUE(server.waitForClosed(1));
}

TEST_F(ScriptedPairing, EndsWithItsPatience)
{
    server.reply(RawReply::ok(BEGUN));
    server.onRequest([](const RawRequest&) { return refusal("authorization_pending"); });
    CallOptions options;
    options.patience = std::chrono::milliseconds(300);
    EXPECT_EQ(kindOf(pair(options)), FailureKind::TIMED_OUT);
    server.onRequest([](const RawRequest&) { return RawReply().stall(); });
    EXPECT_EQ(kindOf(pair(options)), FailureKind::TIMED_OUT);
}

TEST_F(ScriptedPairing, SaysWhatIsWrong)
{
    for (const char* address : {"", "photos.example", "ftp://photos.example", "http://"}) {
        PairingOrder nowhere = order();
        nowhere.service = address;
        EXPECT_EQ(kindOf(Pairing(nowhere).call().outcome()), FailureKind::INVALID) << address;
    }
    server.reply(RawReply::status(404, "nothing"));
    EXPECT_EQ(pair().failure().reason, FailureReason::UNEXPECTED_ANSWER);
    server.reply(RawReply::ok("<html>"));
    EXPECT_EQ(pair().failure().reason, FailureReason::UNEXPECTED_ANSWER);
    server.reply(RawReply::status(429, "", {"Retry-After: 900"}));
    const auto busy = pair();
    EXPECT_EQ(busy.failure().reason, FailureReason::TOO_MANY);
    EXPECT_EQ(busy.failure().retryAfter, 900);
    server.reply(RawReply::status(500));
    EXPECT_EQ(pair().failure().reason, FailureReason::UNAVAILABLE);
    server.reply(RawReply::ok(BEGUN));
    server.reply(refusal("invalid_grant"));
    EXPECT_FALSE(pair());
    server.reply(RawReply::ok(BEGUN));
    server.reply(RawReply::ok(R"({"app_id":"a"})"));
    EXPECT_EQ(pair().failure().reason, FailureReason::UNEXPECTED_ANSWER);
    server.reply(RawReply::ok(std::string(100'000, ' ') + BEGUN));
    EXPECT_EQ(pair().failure().status, W::WSTATUS_LIMIT_EXCEEDED);
    EXPECT_TRUE(shown.size() == 2);
}

TEST(PairingReplies, AreReadWhateverTheyHold)
{
    EXPECT_TRUE(readPairingBegun(BEGUN));
    EXPECT_EQ(readPairingBegun(R"({"device_code":"d","user_code":"u","verification_uri":"a","expires_in":9})")->interval.count(),
              5000);
    EXPECT_EQ(readPairingBegun(R"({"device_code":"d","user_code":"u","verification_uri":"a","expires_in":1e300,"interval":-1})")
                  ->code.lifetime.count(),
              24 * 3600);
    for (const char* body : {"", "{", "[]", "null", "\xff", R"({"device_code":"d"})",
                             R"({"device_code":1,"user_code":"u","verification_uri":"a","expires_in":9})",
                             R"({"device_code":"d","user_code":"u","verification_uri":"a"})",
                             R"({"device_code":"d","user_code":"u","verification_uri":"a","expires_in":-5})",
                             R"({"device_code":"d","user_code":"u\n","verification_uri":"a","expires_in":9})",
                             R"({"device_code":"d\u0000","user_code":"u","verification_uri":"a","expires_in":9})"})
        EXPECT_FALSE(readPairingBegun(body)) << body;
    for (const char* body : {"", "{}", R"({"app_id":"a","AuthToken":"t"})", R"({"app_id":"a","AuthToken":"t","duid":""})",
                             R"({"app_id":"a","AuthToken":"t\r\n","duid":"d"})"})
        EXPECT_FALSE(readPairedDevice(body)) << body;
    EXPECT_EQ(readPairingError(R"({"error":"slow_down"})"), "slow_down");
    for (const char* body : {"", "{}", R"({"error":7})", R"(["error"])"})
        EXPECT_EQ(readPairingError(body), "") << body;
}

class RealPairing : public ClientTest {};

TEST_F(RealPairing, MakesADeviceThatSignsIn)
{
    PairingOrder order;
    order.service = service.url();
    order.deviceName = "Living room";
    std::string code;
    order.shown = [&](const PairingCode& shown) {
        code = shown.userCode;
        EXPECT_EQ(kinloomd_test::runKinloomd({"device", "approve", code, "--person", "Ada", "--data", data.path()}).exitCode, 0);
    };
    const Pairing pairing(order);
    const auto outcome = pairing.call().outcome();
    ASSERT_TRUE(outcome) << outcome.failure().text();
    EXPECT_THAT(code, MatchesRegex("[A-Z]{4}-[A-Z]{4}"));

    const std::string path = files.file("new/host.toml");
    W::ConfigFile file(path);
    file.load();
    keepDevice(outcome.value(), service.url(), file);
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    const Settings settings = Settings::fromConfigFile(path);
    EXPECT_EQ(settings.options.at("AuthToken"), outcome.value().token);
    EXPECT_EQ(addressOf(settings.client), service.url());
    Settings own = this->settings();
    own.options = settings.options;
    Lane lane(own);
    EXPECT_TRUE(lane.call(SignIn()));
}

TEST_F(RealPairing, KeepsWhatElseAConfigurationHolds)
{
    const std::string path = files.file("host.toml");
    W::ConfigFile file(path);
    file.setOption("Other", "key", "value");
    file.setClientOption("connect_timeout_ms", "1234");
    file.save();
    keepDevice({"a", "t", "d"}, "https://photos.example", file);
    const W::HttpOptions options = Settings::fromConfigFile(path).client;
    EXPECT_EQ(options.connectTimeoutMs, 1234);
    EXPECT_EQ(addressOf(options), "https://photos.example");
    W::ConfigFile again(path);
    again.load();
    EXPECT_EQ(again.option("Other", "key"), "value");
    EXPECT_EQ(again.option("Kinloom", "duid"), "d");
    EXPECT_THROW(keepDevice({"a", "t\n", "d"}, "https://photos.example", again), W::ConfigError);
    EXPECT_THROW(keepDevice({"a", "t", "d"}, "nowhere", again), CallError);
    W::ConfigFile nowhere("/proc/nothing/host.toml");
    EXPECT_THROW(keepDevice({"a", "t", "d"}, service.url(), nowhere), W::ConfigError);
}

} // namespace
