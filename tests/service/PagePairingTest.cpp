// SPDX-License-Identifier: MIT
// Devices that are taken in by a code.
#include "PageClient.h"
#include "TestPictures.h"

#include <atomic>
#include <thread>

namespace {

using namespace kinloomd_test;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

class Pairing : public PageFixture {
protected:
    void SetUp() override
    {
        with("--trusted-proxy", "127.0.0.1");
        PageFixture::SetUp();
        m_annas.emplace(browserOf("Anna"));
    }

    /// \param from what the proxy says the address is; empty comes from this computer itself
    HttpReply pair(const std::string& name = "Living%20room", const std::string& from = {})
    {
        return request(port(), "POST", "/pair", "device_name=" + name,
                       from.empty() ? Headers() : Headers{{"X-Forwarded-For", from}});
    }
    HttpReply poll(const std::string& deviceCode) { return request(port(), "POST", "/pair/token", "device_code=" + deviceCode); }
    HttpReply approve(PageClient& client, const std::string& code, bool approve = true)
    {
        return client.post("/page/pairings/" + code, {{"approve", approve}});
    }
    static DeviceCredentials credentialsOf(const HttpReply& reply)
    {
        const Json json = jsonOf(reply);
        return {json["app_id"], json["AuthToken"], json["duid"], ""};
    }

    std::optional<PageClient> m_annas;
};

TEST_F(Pairing, GivesADeviceItsCredentialsOnce)
{
    const Json begun = jsonOf(pair("Wohn%C2%ADzimmer%20%3Cb%3E"));
    EXPECT_THAT(begun["device_code"].get<std::string>(), MatchesRegex("[A-Za-z0-9_-]{43}"));
    const std::string code = begun["user_code"];
    EXPECT_THAT(code, MatchesRegex("[BCDFGHJKLMNPQRSTVWXZ]{4}-[BCDFGHJKLMNPQRSTVWXZ]{4}"));
    const std::string own = "http://127.0.0.1:" + std::to_string(port());
    EXPECT_EQ(begun["verification_uri"], own + "/pair");
    EXPECT_EQ(begun["verification_uri_complete"], own + "/pair/" + code);
    EXPECT_EQ(begun["expires_in"], 900);
    EXPECT_EQ(begun["interval"], 5);
    EXPECT_EQ(failureOf(poll(begun["device_code"])), "400 authorization_pending");

    std::string typed = code.substr(0, 4) + code.substr(5);
    for (char& c : typed)
        c = static_cast<char>(std::tolower(c));
    for (const std::string& way : {code, typed}) {
        const Json shown = jsonOf(m_annas->get("/page/pairings/" + way));
        EXPECT_EQ(shown["user_code"], code);
        EXPECT_EQ(shown["device_name"], "Wohn\xC2\xADzimmer <b>");
        EXPECT_EQ(shown["address"], "127.0.0.1");
        EXPECT_GT(shown["expires_in"], 800);
    }
    EXPECT_EQ(jsonOf(approve(*m_annas, typed))["approved"], true);
    const HttpReply given = poll(begun["device_code"]);
    ASSERT_EQ(given.status, 200) << given.body;
    EXPECT_EQ(given.header("cache-control"), "no-store");
    EXPECT_EQ(failureOf(poll(begun["device_code"])), "400 invalid_grant") << "a code is played once";

    ServiceClient device(port(), credentialsOf(given));
    EXPECT_EQ(field(device.signIn(), "userName"), "Anna");
    EXPECT_THAT(command({"device", "list"}).out, HasSubstr("Wohn"));
}

TEST_F(Pairing, OfADeviceThatIsTakenInIsNoWrongCode)
{
    const Json begun = jsonOf(pair());
    const std::string code = begun["user_code"];
    ASSERT_EQ(approve(*m_annas, code).status, 200);
    ASSERT_EQ(poll(begun["device_code"]).status, 200);
    // Who comes late has made nothing up, however often.
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(failureOf(m_annas->get("/page/pairings/" + code)), "410 used");
    EXPECT_EQ(failureOf(approve(*m_annas, code)), "410 used");
    EXPECT_EQ(failureOf(approve(*m_annas, code, false)), "410 used");
    EXPECT_NE(command({"device", "approve", code, "--person", "Anna"}).exitCode, 0);
    EXPECT_EQ(failureOf(poll(begun["device_code"])), "400 invalid_grant");
    const std::string another = jsonOf(pair())["user_code"];
    EXPECT_EQ(m_annas->get("/page/pairings/" + another).status, 200);
}

TEST_F(Pairing, IsRefused)
{
    const Json begun = jsonOf(pair());
    EXPECT_EQ(jsonOf(approve(*m_annas, begun["user_code"], false))["approved"], false);
    EXPECT_EQ(failureOf(poll(begun["device_code"])), "400 access_denied");
    EXPECT_EQ(failureOf(poll(begun["device_code"])), "400 access_denied");
    EXPECT_EQ(failureOf(approve(*m_annas, begun["user_code"])), "410 used") << "a decision stands";
    EXPECT_EQ(jsonOf(m_annas->get("/page/devices"))["devices"].size(), 1U);
}

TEST_F(Pairing, HasHurriedDevicesSlowDown)
{
    const std::string code = jsonOf(pair())["device_code"];
    EXPECT_EQ(failureOf(poll(code)), "400 authorization_pending");
    EXPECT_EQ(failureOf(poll(code)), "400 slow_down");
    sql("UPDATE pairing SET polled = polled - 5500");
    EXPECT_EQ(failureOf(poll(code)), "400 slow_down") << "it is ten seconds now";
    sql("UPDATE pairing SET polled = polled - 15000");
    EXPECT_EQ(failureOf(poll(code)), "400 authorization_pending") << "it is fifteen, and they are over";
    EXPECT_EQ(failureOf(poll("unknown")), "400 invalid_grant");
    EXPECT_EQ(failureOf(request(port(), "POST", "/pair/token", "")), "400 invalid_request");
}

TEST_F(Pairing, IsNotSlowedDownByAClockThatWasSetBack)
{
    const std::string code = jsonOf(pair())["device_code"];
    EXPECT_EQ(failureOf(poll(code)), "400 authorization_pending");
    sql("UPDATE pairing SET polled = polled + 3600000");
    EXPECT_EQ(failureOf(poll(code)), "400 authorization_pending");
    EXPECT_EQ(failureOf(poll(code)), "400 slow_down") << "from then on it counts again";
}

TEST_F(Pairing, EndsWithItsTime)
{
    const Json begun = jsonOf(pair());
    const Json approved = jsonOf(pair());
    approve(*m_annas, approved["user_code"]);
    sql("UPDATE pairing SET expires = expires - 900001");
    EXPECT_EQ(failureOf(poll(begun["device_code"])), "400 expired_token");
    EXPECT_EQ(failureOf(poll(approved["device_code"])), "400 expired_token");
    EXPECT_EQ(failureOf(m_annas->get("/page/pairings/" + begun["user_code"].get<std::string>())), "410 expired");
    EXPECT_EQ(failureOf(approve(*m_annas, begun["user_code"])), "410 expired");
    EXPECT_THAT(command({"device", "approve", begun["user_code"], "--person", "Anna"}).err, HasSubstr("no longer good"));
}

TEST_F(Pairing, IsApprovedByWhoRunsTheService)
{
    const Json begun = jsonOf(pair("TV%1B%5B31m"));
    EXPECT_NE(command({"device", "approve", "BBBB-BBBB", "--person", "Ben"}).exitCode, 0);
    EXPECT_NE(command({"device", "approve", begun["user_code"], "--person", "Nobody"}).exitCode, 0);
    const CommandResult result = command({"device", "approve", begun["user_code"], "--person", "Ben"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("is now a device of Ben"), Not(HasSubstr("\x1B"))));
    EXPECT_NE(command({"device", "approve", begun["user_code"], "--person", "Anna"}).exitCode, 0);
    EXPECT_EQ(field(ServiceClient(port(), credentialsOf(poll(begun["device_code"]))).signIn(), "userName"), "Ben");
}

TEST_F(Pairing, IsDecidedByOneOfThoseWhoRace)
{
    PageClient bens = browserOf("Ben");
    const Json begun = jsonOf(pair());
    const std::string code = begun["user_code"];
    std::atomic<int> decided{0};
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(
            [&, client = i % 2 == 0 ? *m_annas : bens, i]() mutable { decided += approve(client, code, i % 4 < 2).status == 200; });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(decided, 1);
}

TEST_F(Pairing, GivesCredentialsToOneOfThoseWhoRace)
{
    const Json begun = jsonOf(pair());
    ASSERT_EQ(approve(*m_annas, begun["user_code"]).status, 200);
    std::atomic<int> given{0};
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] { given += poll(begun["device_code"]).status == 200; });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(given, 1);
    EXPECT_EQ(jsonOf(m_annas->get("/page/devices"))["devices"].size(), 2U);
}

TEST_F(Pairing, HasTenDevicesOfAnAddressWait)
{
    for (int i = 0; i < 10; ++i)
        ASSERT_EQ(pair("TV", "192.0.2.1").status, 200);
    const HttpReply more = pair("TV", "192.0.2.1");
    EXPECT_EQ(failureOf(more), "429 too_many");
    EXPECT_THAT(more.header("retry-after"), Not(IsEmpty()));
    EXPECT_EQ(pair("TV", "192.0.2.2").status, 200);
    for (int i = 0; i < 10; ++i)
        ASSERT_EQ(pair("TV", "2001:db8::" + std::to_string(i + 1)).status, 200);
    EXPECT_EQ(failureOf(pair("TV", "2001:db8::ffff:1")), "429 too_many") << "whoever has one IPv6 address has all beside it";
    EXPECT_EQ(pair("TV", "2001:db8:0:1::1").status, 200);
    sql("UPDATE pairing SET expires = 0");
    EXPECT_EQ(pair("TV", "192.0.2.1").status, 200) << "those that have ended do not count";
}

TEST_F(Pairing, HasAThousandDevicesWaitInAll)
{
    sql("INSERT INTO pairing (key_hash, user_code, name, address, network, expires, pause) WITH RECURSIVE n(i) AS (SELECT 1 UNION "
        "ALL "
        "SELECT i + 1 FROM n WHERE i < 999) SELECT 'h' || i, 'c' || i, '', '', 'n' || i, 9e15, 5000 FROM n");
    EXPECT_EQ(pair("TV", "192.0.2.1").status, 200);
    EXPECT_EQ(failureOf(pair("TV", "192.0.2.2")), "429 too_many");
}

TEST_F(Pairing, NeedsAName)
{
    EXPECT_EQ(failureOf(pair("")), "400 bad_request");
    EXPECT_EQ(failureOf(pair(std::string(101, 'x'))), "400 bad_request");
    for (const char* unseen : {"%20%20", "%E2%80%AE", "%E2%80%8B%20"})
        EXPECT_EQ(failureOf(pair(unseen)), "400 bad_request") << unseen;
    EXPECT_EQ(pair("%F0%9F%93%BA%00%FF").status, 200) << "any bytes are a name, made text";
}

TEST_F(Pairing, LooksAtNoCodeAfterTenWrongOnes)
{
    const std::string code = jsonOf(pair())["user_code"];
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(failureOf(m_annas->get("/page/pairings/BBBB-BBB" + std::string(1, "BCDFG"[i]))), "404 wrong_code");
    EXPECT_EQ(m_annas->get("/page/pairings/" + code).status, 200);
    for (const char* none : {"x", "12345678", "BBBB-BBBBB", "%00", "AEIO-UYYY"})
        EXPECT_EQ(failureOf(approve(*m_annas, none)), "404 wrong_code") << none;
    const HttpReply refused = m_annas->get("/page/pairings/" + code);
    EXPECT_EQ(failureOf(refused), "429 too_many");
    EXPECT_EQ(refused.header("retry-after"), "900");
    EXPECT_EQ(failureOf(approve(*m_annas, code)), "429 too_many");
    PageClient again = browserOf("Anna");
    EXPECT_EQ(failureOf(again.get("/page/pairings/" + code)), "429 too_many") << "another browser is the same person";
    PageClient bens = browserOf("Ben");
    EXPECT_EQ(bens.get("/page/pairings/" + code).status, 200) << "others of the house go on";
    for (int i = 0; i < 10; ++i)
        bens.get("/page/pairings/BBBB-BBBB");
    PageClient carlas = browserOf("Carla");
    EXPECT_EQ(failureOf(carlas.get("/page/pairings/" + code)), "429 too_many") << "but an address has its limit too";
    EXPECT_EQ(carlas.get("/page/pairings/" + code, {{"X-Forwarded-For", "192.0.2.9"}}).status, 200);
    sql("UPDATE guess SET at = at - 900001");
    EXPECT_EQ(m_annas->get("/page/pairings/" + code).status, 200) << "after a quarter of an hour";
}

TEST_F(Pairing, IsNotGuessedFromManyAddresses)
{
    const std::string code = jsonOf(pair())["user_code"];
    const std::string person = jsonOf(browserOf("Ben").get("/page/session"))["person"]["id"];
    sql("INSERT INTO guess (network, person_id, at) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
        "SELECT 'n' || i, " +
        person + ", (SELECT max(expires) FROM pairing) - 1000 FROM n");
    EXPECT_EQ(failureOf(m_annas->get("/page/pairings/" + code)), "429 too_many");
}

TEST_F(Pairing, IsNothingForPagesOfOtherSites)
{
    const Headers evil = {{"Origin", "http://evil.example"}};
    EXPECT_EQ(failureOf(request(port(), "POST", "/pair", "device_name=x", evil)), "403 forbidden");
    EXPECT_EQ(failureOf(request(port(), "POST", "/pair", "device_name=x", {{"Sec-Fetch-Site", "cross-site"}})), "403 forbidden");
    const Json begun = jsonOf(pair());
    EXPECT_EQ(failureOf(request(port(), "POST", "/pair/token", "device_code=" + begun["device_code"].get<std::string>(), evil)),
              "403 forbidden");
    Headers cookie = evil;
    cookie.insert(cookie.end(), {{"Cookie", "kinloom_session=" + m_annas->cookie()}, {"Content-Type", "application/json"}});
    EXPECT_EQ(failureOf(request(port(), "POST", "/page/pairings/" + begun["user_code"].get<std::string>(), R"({"approve":true})",
                                cookie)),
              "403 forbidden");
    EXPECT_EQ(failureOf(stranger().get("/page/pairings/" + begun["user_code"].get<std::string>())), "401 signed_out");
    EXPECT_EQ(failureOf(m_annas->post("/page/pairings/" + begun["user_code"].get<std::string>(), {{"approve", "yes"}})),
              "400 bad_request");
    EXPECT_EQ(failureOf(poll(begun["device_code"])), "400 authorization_pending");
}

TEST_F(Pairing, MakesDevicesThatEndWithTheirMedia)
{
    const std::string group = anna().createGroup("Family");
    const std::string photo = anna().uploadPhoto(group, anotherPicture());
    const Json begun = jsonOf(pair());
    approve(*m_annas, begun["user_code"]);
    const DeviceCredentials credentials = credentialsOf(poll(begun["device_code"]));
    ServiceClient device(port(), credentials);
    const std::string address = targetOf(field(device.get(ServiceClient::path(photo + "/view")), "contentUrl"));
    EXPECT_EQ(request(port(), "GET", address).status, 200);

    const Json devices = jsonOf(m_annas->get("/page/devices"))["devices"];
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[1]["duid"], credentials.duid);
    EXPECT_EQ(devices[1]["name"], "Living room");
    PageClient bens = browserOf("Ben");
    EXPECT_EQ(failureOf(bens.erase("/page/devices/" + credentials.duid)), "404 not_found");
    EXPECT_EQ(m_annas->erase("/page/devices/" + credentials.duid).status, 200);
    EXPECT_EQ(request(port(), "GET", address).status, 404);
    EXPECT_EQ(device.signIn().status, 403);
    EXPECT_EQ(failureOf(m_annas->erase("/page/devices/" + credentials.duid)), "404 not_found");
    EXPECT_EQ(anna().signIn().status, 200) << "others go on";
}

TEST_F(Pairing, IsNothingForWhoWasRemovedMeanwhile)
{
    const Json begun = jsonOf(pair());
    PageClient bens = browserOf("Ben");
    approve(bens, begun["user_code"]);
    ASSERT_EQ(command({"person", "remove", "Ben", "--yes"}).exitCode, 0);
    EXPECT_EQ(failureOf(poll(begun["device_code"])), "400 access_denied");
}

} // namespace
