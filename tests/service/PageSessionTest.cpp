// SPDX-License-Identifier: MIT
// Browsers that are signed in, and the invitations that do it.
#include "PageClient.h"

#include <atomic>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

using namespace kinloomd_test;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* DAY = "CAST(86400000 AS bigint)";

class PageSession : public PageFixture {};

std::string pathOf(const std::string& url) { return "/page/invitations/" + url.substr(url.rfind('/') + 1); }

TEST_F(PageSession, BeginsWithAnInvitationThatIsUsedUp)
{
    const std::string url = invitation("Anna");
    EXPECT_THAT(url, MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/invite/[A-Za-z0-9_-]{43}"));
    PageClient browser = stranger();
    const HttpReply shown = browser.get(pathOf(url));
    EXPECT_EQ(jsonOf(shown)["state"], "open");
    EXPECT_EQ(jsonOf(shown)["name"], "Anna");
    EXPECT_EQ(jsonOf(shown)["group"], nullptr);
    EXPECT_EQ(jsonOf(shown)["inviter"], nullptr);
    EXPECT_EQ(jsonOf(browser.get(pathOf(url)))["state"], "open") << "looking does not use it up";
    EXPECT_THAT(browser.cookie(), IsEmpty());

    const HttpReply entered = browser.enter(url);
    EXPECT_EQ(jsonOf(entered)["person"]["name"], "Anna");
    EXPECT_THAT(entered.header("set-cookie"), MatchesRegex("kinloom_session=[A-Za-z0-9_-]{43}; Path=/; Max-Age=7776000; "
                                                           "HttpOnly; SameSite=Strict"));
    const Json session = jsonOf(browser.get("/page/session"));
    EXPECT_EQ(session["person"]["name"], "Anna");
    EXPECT_EQ(session["version"], "build-7");
    EXPECT_EQ(session["public_url"], "http://127.0.0.1:" + std::to_string(port()));

    PageClient other = stranger();
    EXPECT_EQ(failureOf(other.enter(url)), "410 used");
    EXPECT_THAT(other.cookie(), IsEmpty());
    EXPECT_EQ(jsonOf(other.get(pathOf(url)))["state"], "used");
}

TEST_F(PageSession, IsNobodysWithoutAKeyOfTheService)
{
    PageClient browser = browserOf("Anna");
    const std::string key = browser.cookie();
    EXPECT_EQ(failureOf(stranger().get("/page/session")), "401 signed_out");
    std::string changed = key;
    changed[7] = changed[7] == 'a' ? 'b' : 'a';
    for (const std::string& forged :
         {changed, std::string(43, 'A'), key.substr(1), key + "A", std::string("%00"), std::string("1")}) {
        PageClient forger(port());
        forger.setCookie(forged);
        EXPECT_EQ(failureOf(forger.get("/page/session")), "401 signed_out") << forged;
    }
    PageClient two(port());
    two.setCookie(key + "; kinloom_session=" + key);
    EXPECT_EQ(failureOf(two.get("/page/session")), "401 signed_out") << "somebody else may have set one of two cookies";
    EXPECT_EQ(browser.get("/page/session").status, 200);
}

TEST_F(PageSession, KeepsNoKeysInItsDatabase)
{
    SKIP_ON_POSTGRESQL("the files are SQLite's");
    const std::string url = invitation("Ben");
    PageClient browser = browserOf("Anna");
    const HttpReply pair = request(port(), "POST", "/pair", "device_name=TV");
    const std::string code = jsonOf(pair)["device_code"];
    m_process->stop();
    for (const char* file : {"/kinloomd.db", "/kinloomd.db-wal"}) {
        const std::string bytes = [&] {
            std::ifstream stream(m_data + file, std::ios::binary);
            return std::string(std::istreambuf_iterator<char>(stream), {});
        }();
        EXPECT_THAT(bytes, Not(HasSubstr(browser.cookie()))) << file;
        EXPECT_THAT(bytes, Not(HasSubstr(url.substr(url.rfind('/') + 1)))) << file;
        EXPECT_THAT(bytes, Not(HasSubstr(code))) << file;
    }
}

TEST_F(PageSession, LastsNinetyDaysFromItsLastUse)
{
    PageClient browser = browserOf("Anna");
    sql(std::string("UPDATE session SET used = used - 89 * ") + DAY);
    const HttpReply reply = browser.get("/page/groups");
    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(reply.header("set-cookie"), HasSubstr("Max-Age=7776000")) << "the browser keeps it for longer too";
    EXPECT_THAT(browser.get("/page/groups").header("set-cookie"), IsEmpty()) << "once is enough for a while";
    sql(std::string("UPDATE session SET used = used - 89 * ") + DAY);
    EXPECT_EQ(browser.get("/page/groups").status, 200) << "the last use counts";
    sql(std::string("UPDATE session SET used = used - 90 * ") + DAY + " - 1000");
    EXPECT_EQ(failureOf(browser.get("/page/groups")), "401 signed_out");
}

TEST_F(PageSession, OutlastsTheService)
{
    PageClient browser = browserOf("Anna");
    const std::string& cookie = browser.cookie();
    const unsigned short before = port();
    restart();
    PageClient again(port());
    again.setCookie(cookie);
    EXPECT_EQ(again.get("/page/session").status, 200) << before;
}

TEST_F(PageSession, EndsForOneBrowserOrAllOfAPerson)
{
    PageClient telephone = browserOf("Anna");
    PageClient computer = browserOf("Anna");
    PageClient bens = browserOf("Ben");
    const Json sessions = jsonOf(telephone.get("/page/devices"))["sessions"];
    ASSERT_EQ(sessions.size(), 2U);
    EXPECT_EQ(sessions[0]["name"], "Firefox on Android");
    EXPECT_EQ(sessions[0]["address"], "127.0.0.1");
    EXPECT_EQ(sessions[0]["current"], true);
    EXPECT_EQ(sessions[1]["current"], false);
    EXPECT_EQ(failureOf(bens.erase("/page/sessions/" + sessions[1]["id"].get<std::string>())), "404 not_found");
    EXPECT_EQ(telephone.erase("/page/sessions/" + sessions[1]["id"].get<std::string>()).status, 200);
    EXPECT_EQ(failureOf(computer.get("/page/session")), "401 signed_out");
    EXPECT_EQ(telephone.get("/page/session").status, 200);

    const HttpReply out = telephone.erase("/page/sessions/" + sessions[0]["id"].get<std::string>());
    EXPECT_THAT(out.header("set-cookie"), StartsWith("kinloom_session=; Path=/; Max-Age=0;"));
    EXPECT_EQ(out.header("clear-site-data"), "\"cache\"") << "the next one at this browser finds no pictures";
    EXPECT_EQ(failureOf(telephone.get("/page/session")), "401 signed_out");

    ASSERT_EQ(command({"person", "remove", "Ben", "--yes"}).exitCode, 0);
    EXPECT_EQ(failureOf(bens.get("/page/session")), "401 signed_out");
}

TEST_F(PageSession, IsListedAndEndedByWhoRunsTheService)
{
    PageClient browser = browserOf("Anna");
    const std::string lines = command({"session", "list"}).out;
    EXPECT_THAT(lines, MatchesRegex("[0-9]+\tAnna\tFirefox on Android\t127\\.0\\.0\\.1\tsince .*\tused .*\n"));
    const Json records = Json::parse(command({"session", "list", "--json"}).out);
    EXPECT_EQ(records[0]["person"]["name"], "Anna");
    EXPECT_NE(command({"session", "end", "99"}).exitCode, 0);
    EXPECT_EQ(command({"session", "end", lines.substr(0, lines.find('\t'))}).exitCode, 0);
    EXPECT_EQ(failureOf(browser.get("/page/session")), "401 signed_out");
    EXPECT_THAT(command({"session", "list"}).out, IsEmpty());
}

TEST_F(PageSession, TakesTheBrowserFromWhoeverHadIt)
{
    PageClient browser = browserOf("Anna");
    const std::string before = browser.cookie();
    browser.enter(invitation("Ben"));
    EXPECT_EQ(jsonOf(browser.get("/page/session"))["person"]["name"], "Ben");
    PageClient old(port());
    old.setCookie(before);
    EXPECT_EQ(failureOf(old.get("/page/session")), "401 signed_out");
}

TEST_F(PageSession, ChangesNothingForPagesOfOtherSites)
{
    PageClient browser = browserOf("Anna");
    const std::string url = invitation("Ben");
    const std::string key = url.substr(url.rfind('/') + 1);
    const std::string cookie = "kinloom_session=" + browser.cookie();
    const std::string host = "openapi.kinloom.example";
    const std::vector<Headers> foreign = {
        {},
        {{"Origin", "null"}},
        {{"Origin", "http://evil.example"}},
        {{"Origin", "http://" + host + ".evil.example"}},
        {{"Origin", "http://" + host + ":81"}},
        {{"Origin", "ftp://" + host}},
        {{"Origin", "http://" + host}, {"Origin", "http://evil.example"}},
        {{"Origin", "http://" + host}, {"Sec-Fetch-Site", "same-site"}},
        {{"Origin", "http://" + host}, {"Sec-Fetch-Site", "cross-site"}},
        {{"Origin", "http://" + host}, {"Sec-Fetch-Site", "none"}},
        {{"Referer", "http://" + host + "/"}},
    };
    struct Change {
        const char* method;
        std::string target;
        std::string body;
    };
    const std::vector<Change> changes = {
        {"POST", "/page/groups", R"({"name":"x"})"},
        {"DELETE", "/page/sessions/1", ""},
        {"DELETE", "/page/devices/" + m_anna.duid, ""},
        {"POST", "/page/invitations/" + key, ""},
        {"POST", "/invite/" + key, ""},
    };
    for (const Headers& sent : foreign) {
        for (const Change& change : changes) {
            Headers headers = sent;
            headers.insert(headers.end(), {{"Cookie", cookie}, {"Content-Type", "application/json"}});
            const HttpReply reply = request(port(), change.method, change.target, change.body, headers);
            EXPECT_EQ(failureOf(reply), "403 forbidden") << change.target << " " << Json(sent).dump();
            EXPECT_THAT(reply.header("set-cookie"), IsEmpty());
        }
    }
    EXPECT_EQ(jsonOf(browser.get("/page/groups"))["groups"].size(), 0U);
    EXPECT_EQ(jsonOf(browser.get(pathOf(url)))["state"], "open");
    EXPECT_EQ(jsonOf(browser.get("/page/devices"))["devices"].size(), 1U);
    EXPECT_EQ(browser.post("/page/groups", {{"name", "x"}}).status, 201);
}

TEST_F(PageSession, TakesBodiesThatSayTheyAreJsonAlone)
{
    PageClient browser = browserOf("Anna");
    for (const char* type : {"text/plain", "application/x-www-form-urlencoded", "multipart/form-data; boundary=x"})
        EXPECT_EQ(failureOf(browser.send("POST", "/page/groups", R"({"name":"x"})", {{"Content-Type", type}})), "400 bad_request");
    for (const char* body : {"", "{", "[]", "1", R"({"name":1})", R"({"name":{}})", "{}", "\xff"})
        EXPECT_EQ(failureOf(browser.send("POST", "/page/groups", body, {{"Content-Type", "application/json"}})), "400 bad_request")
            << body;
    EXPECT_EQ(browser.send("POST", "/page/groups", R"({"name":"x"})", {{"Content-Type", "application/json; charset=utf-8"}}).status,
              201);
}

TEST_F(PageSession, KnowsItsOwnPageByTheNameThatItIsSaidToHave)
{
    restart();
    m_process.reset();
    m_settings.arguments.insert(m_settings.arguments.end(), {"--public-url", "https://Photos.example:443"});
    start();
    const std::string url = invitation("Anna");
    EXPECT_THAT(url, StartsWith("https://Photos.example:443/invite/"));
    const std::string key = url.substr(url.rfind('/') + 1);
    EXPECT_EQ(request(port(), "POST", "/page/invitations/" + key, {}, {{"Origin", "http://photos.example"}}).status, 403);
    EXPECT_EQ(request(port(), "POST", "/page/invitations/" + key, {}, {{"Origin", "https://photos.example"}}).status, 200);
}

TEST_F(PageSession, IsForEncryptedConnectionsAloneWhereAProxySpeaksForIt)
{
    m_process.reset();
    m_settings.arguments.insert(m_settings.arguments.end(), {"--trusted-proxy", "127.0.0.1"});
    start();
    const std::string url = invitation("Anna");
    const HttpReply reply =
        request(port(), "POST", "/page/invitations/" + url.substr(url.rfind('/') + 1), {},
                {{"Origin", "https://openapi.kinloom.example"}, {"X-Forwarded-For", "192.0.2.7"}, {"X-Forwarded-Proto", "https"}});
    EXPECT_EQ(reply.status, 200) << reply.body;
    EXPECT_THAT(reply.header("set-cookie"), HasSubstr("; Secure"));
    EXPECT_THAT(command({"session", "list"}).out, HasSubstr("192.0.2.7"));
    PageClient browser(port());
    const std::string other = invitation("Ben");
    EXPECT_EQ(
        failureOf(request(
            port(), "POST", "/page/invitations/" + other.substr(other.rfind('/') + 1), {},
            {{"Origin", "http://openapi.kinloom.example"}, {"X-Forwarded-For", "192.0.2.7"}, {"X-Forwarded-Proto", "https"}})),
        "403 forbidden")
        << "a page that came without encryption is another site's";
}

class Invitations : public PageFixture {
protected:
    void SetUp() override
    {
        PageFixture::SetUp();
        m_group = anna().createGroup("Family");
    }
    HttpReply invite(PageClient client, const std::string& name)
    {
        return client.post("/page/groups/" + m_group + "/invitations", {{"name", name}});
    }
    std::string m_group;
};

TEST_F(Invitations, OfWhoRunsTheServiceMakePeopleAndMembers)
{
    const CommandResult result = command({"person", "invite", "Oma", "--group", "Family", "--public-url", "http://photos.example"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, MatchesRegex("http://photos\\.example/invite/[A-Za-z0-9_-]{43}\n\n(.|\n)*"));
    EXPECT_THAT(result.err, IsEmpty());
    EXPECT_THAT(command({"person", "list"}).out, HasSubstr("Oma"));
    EXPECT_THAT(command({"member", "list", "Family"}).out, Not(HasSubstr("Oma"))) << "before it is used";
    PageClient oma = stranger();
    oma.enter(result.out.substr(0, result.out.find('\n')));
    EXPECT_EQ(jsonOf(oma.get("/page/groups"))["groups"][0]["name"], "Family");
    EXPECT_THAT(command({"member", "list", "Family"}).out, HasSubstr("Oma"));

    EXPECT_THAT(command({"person", "invite", "Anna"}).err, HasSubstr("only this computer can open http://127.0.0.1"));
    EXPECT_THAT(command({"person", "invite", "ANNA"}).err, HasSubstr("resembles 'Anna'"));
    EXPECT_THAT(command({"person", "invite", "Anna", "--group", "Nothing"}).err, HasSubstr("no group"));
    EXPECT_EQ(command({"person", "invite", "Anna", "--public-url", "photos.example"}).exitCode, 2);
}

TEST_F(Invitations, OfAMasterMakeANewMember)
{
    addMember(m_group, "Ben");
    const HttpReply reply = invite(browserOf("Anna"), "  Opa <b>\xE2\x80\xAE");
    ASSERT_EQ(reply.status, 201) << reply.body;
    EXPECT_THAT(jsonOf(reply)["qr_svg"].get<std::string>(), StartsWith("<svg "));
    const std::string url = jsonOf(reply)["url"];
    const Json shown = jsonOf(stranger().get(pathOf(url)));
    EXPECT_EQ(shown["inviter"], "Anna");
    EXPECT_EQ(shown["group"]["name"], "Family");
    EXPECT_EQ(shown["name"], "Opa <b>\xE2\x80\xAE") << "a name is a name";
    PageClient opa = stranger();
    EXPECT_EQ(opa.enter(url).status, 200);
    EXPECT_EQ(jsonOf(opa.get("/page/groups"))["groups"][0]["role"], "member");

    EXPECT_EQ(failureOf(invite(browserOf("Ben"), "x")), "403 forbidden");
    EXPECT_EQ(failureOf(invite(browserOf("Carla"), "x")), "404 not_found");
    EXPECT_EQ(failureOf(invite(stranger(), "x")), "401 signed_out");
}

TEST_F(Invitations, OfAMasterSignNobodyInWhoIsThereAlready)
{
    addMember(m_group, "Ben");
    PageClient annas = browserOf("Anna");
    EXPECT_EQ(failureOf(invite(annas, "Ben")), "409 name_taken");
    const std::string url = jsonOf(invite(annas, "Carla"))["url"];
    PageClient other = stranger();
    EXPECT_NE(jsonOf(other.enter(url))["person"]["id"], field(carla().signIn(), "userId"))
        << "who is called like somebody is another person";
    EXPECT_EQ(failureOf(invite(annas, "")), "400 bad_request");
    for (const char* likeHers : {"ben", "Ben\xE2\x80\x8B",
                                 "B\xE2\x80\xAE"
                                 "en"})
        EXPECT_EQ(failureOf(invite(annas, likeHers)), "409 name_taken") << likeHers;
    for (const char* unseen : {"   ", "\xE2\x80\xAE", "\xE2\x80\x8B "})
        EXPECT_EQ(failureOf(invite(annas, unseen)), "400 bad_request") << unseen;
    EXPECT_EQ(failureOf(invite(annas, std::string(201, 'x'))), "400 bad_request");
}

TEST_F(Invitations, EndWithTheirTimeTheirGroupAndWhoInvited)
{
    PageClient annas = browserOf("Anna");
    const auto make = [&] { return jsonOf(invite(annas, "Opa"))["url"].get<std::string>(); };
    const auto expectExpired = [&](const std::string& url) {
        EXPECT_EQ(jsonOf(stranger().get(pathOf(url)))["state"], "expired");
        EXPECT_EQ(failureOf(stranger().enter(url)), "410 expired");
    };
    const std::string late = make();
    sql("UPDATE invitation SET expires = expires - 48 * 3600000 + 60000 WHERE group_id IS NOT NULL");
    EXPECT_EQ(jsonOf(stranger().get(pathOf(late)))["state"], "open") << "a minute is left";
    sql("UPDATE invitation SET expires = expires - 61000 WHERE group_id IS NOT NULL");
    expectExpired(late);

    const std::string handedOver = make();
    addMember(m_group, "Ben");
    ASSERT_EQ(command({"group", "hand-over", "Family", "Ben"}).exitCode, 0);
    expectExpired(handedOver);

    ASSERT_EQ(command({"group", "hand-over", "Family", "Anna"}).exitCode, 0);
    const std::string operators = invitation("Ben", "Family");
    const std::string groupless = make();
    anna().post(ServiceClient::path("me/group.delete"), "groupID=" + m_group);
    expectExpired(groupless);
    expectExpired(operators);

    const std::string removed = invitation("Ben");
    ASSERT_EQ(command({"person", "remove", "Ben", "--yes"}).exitCode, 0);
    expectExpired(removed);
    EXPECT_EQ(failureOf(stranger().enter("/invite/" + std::string(43, 'A'))), "404 not_found");
}

TEST_F(Invitations, AreUsedOnceByThoseWhoRace)
{
    const std::string url = invitation("Anna");
    std::atomic<int> entered{0};
    std::atomic<int> refused{0};
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            const std::string outcome = failureOf(PageClient(port()).enter(url));
            entered += outcome == "200";
            refused += outcome == "410 used";
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(entered, 1);
    EXPECT_EQ(refused, 7);
}

TEST_F(Invitations, AreUsedByAFormToo)
{
    const std::string url = invitation("Anna");
    const std::string path = "/invite/" + url.substr(url.rfind('/') + 1);
    PageClient browser = stranger();
    const HttpReply page = browser.get(path, {{"Accept", "text/html"}});
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.header("referrer-policy"), "same-origin");
    EXPECT_THAT(page.header("set-cookie"), IsEmpty());
    const HttpReply entered = browser.send("POST", path, "", {{"Content-Type", "application/x-www-form-urlencoded"}});
    EXPECT_EQ(entered.status, 303);
    EXPECT_EQ(entered.header("location"), "/");
    EXPECT_EQ(jsonOf(browser.get("/page/session"))["person"]["name"], "Anna");
    PageClient late = stranger();
    const HttpReply again = late.send("POST", path, "", {});
    EXPECT_EQ(again.status, 303);
    EXPECT_EQ(again.header("location"), path);
    EXPECT_THAT(late.cookie(), IsEmpty());
}

TEST_F(Invitations, AreKeptWithinBounds)
{
    PageClient annas = browserOf("Anna");
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(invite(annas, "guest").status, 201);
    const HttpReply reply = invite(annas, "guest");
    EXPECT_EQ(failureOf(reply), "429 too_many");
    EXPECT_THAT(reply.header("retry-after"), Not(IsEmpty()));
}

TEST_F(Invitations, LeaveNoKeysInTheLog)
{
    m_process.reset();
    m_settings.keepStandardError = true;
    m_settings.arguments.emplace_back("--log-requests");
    start();
    const std::string url = invitation("Anna");
    const std::string key = url.substr(url.rfind('/') + 1);
    const std::string code = jsonOf(request(port(), "POST", "/pair", "device_name=TV"))["user_code"];
    PageClient browser = stranger();
    browser.get("/invite/" + key, {{"Accept", "text/html"}});
    browser.get("/page/invitations/" + key);
    browser.get("/%69nvite/" + key + "?x=1");
    browser.enter(url);
    browser.get("/page/pairings/" + code);
    browser.get("/pair/" + code, {{"Accept", "text/html"}});
    m_process->stop();
    const std::string log = m_process->standardError();
    EXPECT_THAT(log, AllOf(HasSubstr("GET /invite/... 200"), HasSubstr("POST /page/invitations/... 200"),
                           HasSubstr("GET /page/pairings/... 200"), HasSubstr("GET /pair/... 200")));
    EXPECT_THAT(log, AllOf(Not(HasSubstr(key)), Not(HasSubstr(code))));
}

} // namespace
