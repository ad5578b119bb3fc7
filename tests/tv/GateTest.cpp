// SPDX-License-Identifier: MIT
#include "tv/api/Gate.h"

#include "TvFixture.h"
#include "support/Wait.h"
#include "tv/guests/LanAddress.h"

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

using namespace test;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* ADDRESS = "127.0.0.1:8760";

httpd::RequestHead requestFor(const std::string& method, const std::string& target,
                              const std::vector<std::pair<std::string, std::string>>& headers)
{
    httpd::RequestHead head;
    head.method = method;
    head.target = target;
    for (const auto& [name, value] : headers)
        head.headers.push_back({name, value});
    return head;
}

class GateTest : public testing::Test {
protected:
    /// The status of the gate's own reply; 0 when it lets the request in.
    unsigned statusOf(const std::string& method, const std::string& target,
                      std::vector<std::pair<std::string, std::string>> headers)
    {
        const auto reply = m_gate.stop(requestFor(method, target, headers));
        return reply ? reply->status : 0;
    }
    std::string cookie(const std::string& key)
    {
        const auto reply = m_gate.stop(requestFor("GET", "/?key=" + key, {{"Host", ADDRESS}}));
        for (const auto& [name, value] : reply->headers)
            if (name == "Set-Cookie")
                return value.substr(0, value.find(';'));
        return {};
    }

    tv::Gate m_gate{ADDRESS, true};
};

TEST_F(GateTest, LetsIn)
{
    const std::string good = cookie(m_gate.key());
    ASSERT_FALSE(good.empty());
    EXPECT_EQ(cookie(m_gate.key()), good) << "the key is good for several browsers";
    EXPECT_EQ(statusOf("GET", "/", {{"Host", ADDRESS}, {"Cookie", good}}), 0U);
    EXPECT_EQ(statusOf("GET", "/", {{"host", "LOCALHOST:8760"}, {"cookie", "a=b; " + good + "; c=d"}}), 0U);
    EXPECT_EQ(statusOf("GET", "/api/state", {{"Host", ADDRESS}, {"Cookie", good}, {"Sec-Fetch-Site", "none"}}), 0U);
    EXPECT_EQ(statusOf("PUT", "/api/settings", {{"Host", ADDRESS}, {"Cookie", good}, {"Origin", "http://127.0.0.1:8760"}}), 0U);
}

TEST_F(GateTest, KeepsOut)
{
    const std::string good = cookie(m_gate.key());
    const std::string origin = "http://127.0.0.1:8760";
    struct {
        const char* what;
        std::string method;
        std::string target;
        std::vector<std::pair<std::string, std::string>> headers;
    } const cases[] = {
        {"no cookie", "GET", "/", {{"Host", ADDRESS}}},
        {"a wrong one", "GET", "/", {{"Host", ADDRESS}, {"Cookie", "kinloom_tv=wrong"}}},
        {"an empty one", "GET", "/", {{"Host", ADDRESS}, {"Cookie", "kinloom_tv="}}},
        {"two of them", "GET", "/", {{"Host", ADDRESS}, {"Cookie", "kinloom_tv=other; " + good}}},
        {"a wrong key", "GET", "/?key=wrong", {{"Host", ADDRESS}}},
        {"an empty key", "GET", "/?key=", {{"Host", ADDRESS}}},
        {"the key elsewhere", "GET", "/api/state?key=" + m_gate.key(), {{"Host", ADDRESS}}},
        {"another name", "GET", "/", {{"Host", "evil.example:8760"}, {"Cookie", good}}},
        {"another name with the key", "GET", "/?key=" + m_gate.key(), {{"Host", "evil.example:8760"}}},
        {"another port", "GET", "/", {{"Host", "127.0.0.1:80"}, {"Cookie", good}}},
        {"no name", "GET", "/", {{"Cookie", good}}},
        {"two names", "GET", "/", {{"Host", ADDRESS}, {"Host", ADDRESS}, {"Cookie", good}}},
        {"a name in the target", "GET", "http://evil.example/", {{"Host", ADDRESS}, {"Cookie", good}}},
        {"another site's page", "GET", "/", {{"Host", ADDRESS}, {"Cookie", good}, {"Sec-Fetch-Site", "cross-site"}}},
        {"another port's page", "GET", "/", {{"Host", ADDRESS}, {"Cookie", good}, {"Sec-Fetch-Site", "same-site"}}},
        {"another origin", "GET", "/", {{"Host", ADDRESS}, {"Cookie", good}, {"Origin", "http://evil.example"}}},
        {"a change from nowhere", "POST", "/api/pairing", {{"Host", ADDRESS}, {"Cookie", good}}},
        {"a change from another port",
         "POST",
         "/api/pairing",
         {{"Host", ADDRESS}, {"Cookie", good}, {"Origin", "http://127.0.0.1:1"}}},
        {"a change over TLS", "POST", "/api/pairing", {{"Host", ADDRESS}, {"Cookie", good}, {"Origin", "https://127.0.0.1:8760"}}},
        {"a change from two",
         "POST",
         "/api/pairing",
         {{"Host", ADDRESS}, {"Cookie", good}, {"Origin", origin}, {"Origin", origin}}},
        {"a change by hand",
         "PUT",
         "/api/settings",
         {{"Host", ADDRESS}, {"Cookie", good}, {"Origin", origin}, {"Sec-Fetch-Site", "none"}}},
        {"a change with the key", "POST", "/?key=" + m_gate.key(), {{"Host", ADDRESS}, {"Origin", origin}}},
    };
    for (const auto& one : cases)
        EXPECT_EQ(statusOf(one.method, one.target, one.headers), 403U) << one.what;
}

TEST_F(GateTest, TakesAOneTimeKeyOnce)
{
    const std::string key = m_gate.oneTimeKey();
    EXPECT_NE(key, m_gate.key());
    // From a file: where a redirect led, the browser would not send the cookie.
    EXPECT_EQ(statusOf("GET", "/?key=" + key, {{"Host", ADDRESS}, {"Sec-Fetch-Site", "cross-site"}}), 200U);
    EXPECT_EQ(statusOf("GET", "/?key=" + key, {{"Host", ADDRESS}}), 403U);
}

TEST(Gates, OpenWhereTheBrowserLeavesThePortOut)
{
    for (const char* const listening : {"127.0.0.1:80", "[::1]:80"}) {
        tv::Gate gate(listening, true);
        const std::string address = std::string(listening).substr(0, std::string(listening).size() - 3);
        for (const std::string& host : {address, address + ":80", std::string("localhost"), std::string("localhost:80")}) {
            const auto welcome = gate.stop(requestFor("GET", "/?key=" + gate.key(), {{"Host", host}}));
            ASSERT_TRUE(welcome);
            EXPECT_EQ(welcome->status, 303U) << host;
            const std::string cookie = welcome->headers.at(5).second;
            EXPECT_FALSE(gate.stop(
                requestFor("POST", "/api/pairing",
                           {{"Host", host}, {"Cookie", cookie.substr(0, cookie.find(';'))}, {"Origin", "http://" + host}})))
                << host;
        }
        EXPECT_EQ(gate.stop(requestFor("GET", "/?key=" + gate.key(), {{"Host", address + ":8080"}}))->status, 403U);
        EXPECT_EQ(gate.stop(requestFor("GET", "/?key=" + gate.key(), {{"Host", "evil.example"}}))->status, 403U);
    }
}

TEST(Gates, OpenUnderAllAddressesThatAreListenedOn)
{
    tv::Gate gate("0.0.0.0:8760", false);
    for (const std::string& host : {std::string("127.0.0.1:8760"), tv::lanAuthority("0.0.0.0:8760")})
        EXPECT_EQ(gate.stop(requestFor("GET", "/?key=" + gate.key(), {{"Host", host}}))->status, 303U) << host;
    for (const char* const host : {"203.0.113.9:8760", "tv.example:8760", "127.0.0.1:8761"})
        EXPECT_EQ(gate.stop(requestFor("GET", "/?key=" + gate.key(), {{"Host", host}}))->status, 403U) << host;
}

class Listening : public TvTest {};

TEST_F(Listening, GivesNothingToAnybodyWithoutTheCookie)
{
    start();
    for (const char* const target : {"/", "/api/state", "/api/events", "/media/1/grid", "/assets/a.js", "/version.txt", "/none"})
        EXPECT_EQ(tv->send("GET", target, {}).status, 403) << target;
    const HttpReply welcome = tv->send("GET", "/?key=" + tv->key(), {});
    EXPECT_EQ(welcome.status, 303);
    EXPECT_EQ(welcome.header("location"), "/");
    EXPECT_THAT(welcome.header("set-cookie"),
                testing::AllOf(HasSubstr("HttpOnly"), HasSubstr("SameSite=Strict"), HasSubstr("Path=/")));
    EXPECT_THAT(welcome.header("set-cookie"), Not(HasSubstr(tv->key())));
    EXPECT_EQ(tv->get("/api/state").status, 200);
    EXPECT_EQ(tv->send("GET", "/api/state", {{"Host", "evil.example"}, {"Cookie", tv->cookie()}}).status, 403);
    EXPECT_EQ(tv->get("/api/none").status, 404);
    EXPECT_EQ(tv->change("DELETE", "/api/state", nullptr).status, 405);
    const std::string before = tv->cookie();
    tv.reset();
    start();
    EXPECT_EQ(tv->send("GET", "/api/state", {{"Cookie", before}}).status, 403) << "it ends with the program";
}

TEST_F(Listening, HandsTheBrowserAKeyThatNobodyElseCanRead)
{
    // A browser that only notes what it was started with.
    const std::string noted = files.file("noted");
    writeFile(files.file("browser"), "#!/bin/sh\nfor word in \"$@\"; do case $word in file://*) cp -p \"${word#file://}\" " +
                                         noted + ".page; echo \"$*\" > " + noted + "; esac; done\nexec sleep 100\n");
    ASSERT_EQ(::chmod(files.file("browser").c_str(), 0700), 0);
    signInAs("Ada", place);
    TvProcess::Settings with = settings(place, {"--open"});
    with.environment["CHROMIUM"] = files.file("browser");
    tv = std::make_unique<TvProcess>(with);
    ASSERT_TRUE(comesTrue([&] { return !readFile(noted).empty(); }));
    struct stat info {};
    ASSERT_EQ(::stat((noted + ".page").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    const std::string page = readFile(noted + ".page");
    const auto begin = page.find("/?key=");
    ASSERT_NE(begin, std::string::npos);
    const std::string target = page.substr(begin, page.find('"', begin) - begin);
    EXPECT_THAT(target, Not(HasSubstr(tv->key())));
    EXPECT_THAT(readFile(noted), testing::AllOf(HasSubstr("--kiosk"), Not(HasSubstr("key="))));
    const HttpReply first = tv->send("GET", target, {{"Sec-Fetch-Site", "cross-site"}});
    EXPECT_EQ(first.status, 200);
    EXPECT_THAT(first.header("set-cookie"), HasSubstr(tv->cookie()));
    EXPECT_EQ(tv->send("GET", target, {}).status, 403);
    EXPECT_EQ(tv->stop(), 0);
    EXPECT_FALSE(exists(place.cache() + "/open.html"));
}

TEST_F(Listening, TakesItsBrowserAlongHoweverItEnds)
{
    const std::string noted = files.file("noted");
    writeFile(files.file("browser"),
              "#!/bin/sh\nfor word in \"$@\"; do case $word in --user-data-dir=*) mkdir -p \"${word#*=}\"; echo secret > "
              "\"${word#*=}/picture\"; esac; done\necho \"$$ $*\" > " +
                  noted + "\nexec sleep 100\n");
    ASSERT_EQ(::chmod(files.file("browser").c_str(), 0700), 0);
    signInAs("Ada", place);
    TvProcess::Settings with = settings(place, {"--open"});
    with.environment["CHROMIUM"] = files.file("browser");
    const auto begin = [&] {
        ::unlink(noted.c_str());
        tv = std::make_unique<TvProcess>(with);
        EXPECT_TRUE(comesTrue([&] { return exists(noted) && readFile(noted).find('\n') != std::string::npos; }));
        return readFile(noted);
    };
    const auto profileOf = [](const std::string& line) {
        const std::string word = "--user-data-dir=";
        const auto from = line.find(word) + word.size();
        return line.substr(from, line.find(' ', from) - from);
    };
    const std::string first = begin();
    EXPECT_THAT(first, HasSubstr("--incognito"));
    tv->kill();
    const pid_t pid = std::stoi(first);
    EXPECT_TRUE(comesTrue([&] { return ::kill(pid, 0) != 0; })) << "killed, the program takes the browser with it";
    const std::string second = begin();
    EXPECT_NE(profileOf(first), profileOf(second)) << "a profile leads to the browser that uses it";
    EXPECT_FALSE(exists(profileOf(first)));
    EXPECT_EQ(tv->stop(), 0);
    EXPECT_FALSE(exists(profileOf(second)));
}

TEST_F(Listening, RefusesASecondProgramForOneCache)
{
    start();
    try {
        const TvProcess second(settings(place));
        FAIL() << "both run";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("another kinloom-tv uses the cache"));
    }
}

TEST_F(Listening, EndsWhenItIsToldTo)
{
    start();
    EventLine events(*tv);
    EXPECT_TRUE(events.next("state"));
    EXPECT_EQ(tv->stop(), 0);
    while (events.next()) {
        // What was told before the end; then there is one.
    }
}

} // namespace
