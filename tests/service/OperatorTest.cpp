// SPDX-License-Identifier: MIT
// What those see who operate the service: its log, its health, its numbers, its certificate.
#include "ServiceFixture.h"
#include "TestPictures.h"
#include "TlsClient.h"

#include "support/Wait.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace kinloomd_test;
using test::TlsClient;

class Operator : public ServiceFixture {
protected:
    void startKeepingLog(std::vector<std::string> arguments)
    {
        m_settings.keepStandardError = true;
        startWith(std::move(arguments));
    }
    std::string log() const { return m_process->standardError(); }
    HttpReply raw(const std::string& bytes)
    {
        Wire wire(port());
        wire.send(bytes);
        return wire.receive();
    }
    HttpReply local(const std::string& path, const std::string& headers = {}, const std::string& method = "GET")
    {
        return raw(method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + headers + "\r\n");
    }
};

TEST_F(Operator, ReadsLinesWithTimeAndPriority)
{
    startKeepingLog({"--log-requests"});
    anna().signIn();
    raw("GET /\x1B[2J\xC2\x9B\xE2\x80\xAE HTTP/1.1\r\nHost: a\r\n\r\n");
    raw("GET /\xC2\x9B\xE2\x80\xAE\\ HTTP/1.1\r\nHost: a\r\n\r\n");
    m_process->stop();
    const std::string lines = log();
    const std::regex shape(R"(<[0-7]>\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d{3})?Z [ -~]+)");
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);)
        EXPECT_TRUE(std::regex_match(line, shape)) << line;
    EXPECT_NE(lines.find("GET /\\u001b[2J\\u009b\\u202e 400"), std::string::npos) << lines;
    EXPECT_NE(lines.find("GET /\\u009b\\u202e\\\\ 404"), std::string::npos) << lines;
}

TEST_F(Operator, FindsNoKeyInTheLogHoweverItsPathIsWritten)
{
    startKeepingLog({"--log-requests"});
    const std::string group = anna().createGroup("Family");
    anna().uploadPhoto(group, smallPicture());
    const HttpReply feed = anna().get(ServiceClient::path(group + "/feeds?&search_before=latest"));
    const std::string target = targetOf(field(feed, "contentUrl"));
    const std::string rest = target.substr(std::string("/media").size());
    const std::string key = target.substr(std::string("/media/original/").size(), 32);
    for (const std::string& path : {target,
                                    "/x/.." + target,
                                    "/" + target,
                                    "/%6dedia" + rest,
                                    "/%256dedia" + rest,
                                    "/MEDIA" + rest,
                                    "/media/" + rest,
                                    "/media/x/.." + rest,
                                    "/media/." + rest,
                                    "/media%2F" + rest.substr(1),
                                    "/x" + target,
                                    "/?" + target,
                                    "/openapi" + target,
                                    "/media/" + key,
                                    "/" + key,
                                    target + "/" + key,
                                    target + "?" + key,
                                    "/media/original/" + key,
                                    "/media/" + key + "/original/4/px.png",
                                    "/media/original/4/" + key + "/px.png"})
        raw("GET " + path + " HTTP/1.1\r\nHost: a\r\n\r\n");
    raw("GET http://a" + target + " HTTP/1.1\r\nHost: a\r\n\r\n");
    raw("GET HTTP://a" + target + " HTTP/1.1\r\nHost: a\r\n\r\n");
    raw("GET " + target + " x HTTP/1.1\r\nHost: a\r\n\r\n");
    raw("GET " + target);
    m_process->stop();
    EXPECT_EQ(log().find(key), std::string::npos) << log();
    EXPECT_EQ(log().find(key.substr(0, 16)), std::string::npos) << log();
    EXPECT_NE(log().find("GET /media/original/.../"), std::string::npos) << log();
}

TEST_F(Operator, IsToldOfSignInsThatFail)
{
    startKeepingLog({});
    DeviceCredentials wrong = m_anna;
    wrong.token = "a-secret-that-is-wrong";
    ServiceClient(port(), wrong).signIn();
    wrong.duid = "\x1B[2J\xC2\x9B" + std::string(200, 'd');
    ServiceClient(port(), wrong).get(ServiceClient::path("me/group.list"));
    raw("POST " + ServiceClient::path("auth") + " HTTP/1.1\r\nHost: a\r\nContent-Length: 0\r\n\r\n");
    anna().signIn();
    m_process->stop();
    const std::string lines = log();
    EXPECT_NE(lines.find("<5>"), std::string::npos);
    EXPECT_NE(lines.find("failed sign-in from 127.0.0.1, device '" + m_anna.duid + "': "), std::string::npos) << lines;
    EXPECT_NE(lines.find("failed sign-in from 127.0.0.1: The request carries no Authorization header."), std::string::npos)
        << lines;
    EXPECT_EQ(lines.find(wrong.token), std::string::npos);
    EXPECT_EQ(lines.find('\x1B'), std::string::npos);
    EXPECT_EQ(lines.find(std::string(100, 'd')), std::string::npos) << "it is cut short";
}

TEST_F(Operator, IsNotFloodedBySignInsThatFail)
{
    startKeepingLog({});
    for (int i = 0; i < 300; ++i)
        raw("POST " + ServiceClient::path("auth") + " HTTP/1.1\r\nHost: a\r\nContent-Length: 0\r\n\r\n");
    m_process->stop();
    const std::string lines = log();
    EXPECT_LT(std::count(lines.begin(), lines.end(), '\n'), 200);
    EXPECT_GE(std::count(lines.begin(), lines.end(), '\n'), 60);
}

TEST_F(Operator, IsWarnedWhereNothingIsEncrypted)
{
    struct Case {
        const char* address;
        bool warned;
    };
    for (const Case& each : {Case{"127.0.0.1:0", false}, Case{"[::1]:0", false}, Case{"0.0.0.0:0", true}, Case{"[::]:0", true}}) {
        m_settings.listenAddress = each.address;
        try {
            startKeepingLog({});
        } catch (const std::runtime_error&) {
            continue; // a computer without IPv6
        }
        m_process->stop();
        const std::string lines = log();
        EXPECT_EQ(lines.find("not encrypted") != std::string::npos, each.warned) << each.address << lines;
        EXPECT_EQ(lines.find("<4>") != std::string::npos, each.warned) << lines; // nothing else is to be warned of
    }
}

TEST_F(Operator, LearnsThatTheServiceIsWell)
{
    start();
    const HttpReply reply = local("/healthz");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "well\n");
    EXPECT_EQ(local("/healthz", {}, "HEAD").header("content-length"), "5");
    EXPECT_EQ(local("/healthz", {}, "DELETE").status, 405);
}

TEST_F(Operator, LearnsThatTheDiskDoesNotAnswer)
{
    start();
    ASSERT_EQ(::rename((m_data + "/tmp").c_str(), (m_data + "/away").c_str()), 0);
    const HttpReply reply = local("/healthz");
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.body, "the disk does not answer\n");
    ASSERT_EQ(::rename((m_data + "/away").c_str(), (m_data + "/tmp").c_str()), 0);
    EXPECT_EQ(local("/healthz").status, 200);
}

TEST_F(Operator, ReadsWhatTheServiceHasDone)
{
    start();
    anna().signIn();
    anna().uploadPhoto(anna().createGroup("Family"), smallPicture());
    DeviceCredentials wrong = m_anna;
    wrong.token = "wrong";
    ServiceClient(port(), wrong).get(ServiceClient::path("me/group.list"));
    raw("GET /x HTTP/1.1\r\nHost: a\r\n\r\n");
    raw("GET /a b HTTP/1.1\r\nHost: a\r\n\r\n");
    const std::vector<std::string> lines = {
        "kinloomd_requests_total{operation=\"auth\",status=\"200\"} 1\n",
        "kinloomd_requests_total{operation=\"upload.file\",status=\"200\"} 1\n",
        "kinloomd_requests_total{operation=\"group.list\",status=\"401\"} 1\n",
        "kinloomd_requests_total{operation=\"none\",status=\"404\"} 1\n",
        "kinloomd_requests_total{operation=\"none\",status=\"400\"} 1\n",
        R"(kinloomd_requests_total{operation="metrics",status="200"} )",
        "kinloomd_refused_requests_total{status=\"400\"} 1\n",
        "kinloomd_failed_sign_ins_total{code=\"206\"} 1\n",
        "kinloomd_request_duration_seconds_count{operation=\"auth\"} 1\n",
        "kinloomd_request_duration_seconds_bucket{operation=\"auth\",le=\"+Inf\"} 1\n",
        "kinloomd_uploads 0\n",
        "kinloomd_jobs_waiting ",
    };
    HttpReply reply;
    // A request is counted when its client has its reply already, so all of them may take a moment.
    test::comesTrue([&] {
        reply = local("/metrics");
        return std::all_of(lines.begin(), lines.end(),
                           [&](const std::string& line) { return reply.body.find(line) != std::string::npos; });
    });
    for (const std::string& line : lines)
        EXPECT_NE(reply.body.find(line), std::string::npos) << line << reply.body;
    EXPECT_EQ(reply.header("content-type").substr(0, 10), "text/plain");
    const std::regex shape(R"((# (HELP|TYPE) [a-z_]+ .+|[a-z_]+(\{[a-z]+="[^"]*"(,[a-z]+="[^"]*")*\})? [0-9.e+-]+))");
    std::istringstream text(reply.body);
    for (std::string line; std::getline(text, line);)
        EXPECT_TRUE(std::regex_match(line, shape)) << line;
}

TEST_F(Operator, IsOnThisComputerUnlessToldOtherwise)
{
    m_settings.listenAddress = "0.0.0.0:0";
    startWith({"--metrics-from", "127.0.0.7", "--metrics-from", "127.1.0.0/16", "--control"});
    const auto from = [this](const char* source, const std::string& path, const std::string& host) {
        test::HttpConnection client("127.0.0.1:" + std::to_string(port()), source);
        client.send("GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
        return client.receive().status;
    };
    EXPECT_EQ(from("127.0.0.1", "/metrics", "localhost:8750"), 200);
    EXPECT_EQ(from("127.0.0.1", "/metrics", "[::1]"), 200);
    EXPECT_EQ(from("127.0.0.1", "/metrics", "127.0.0.1.evil.example"), 403);
    EXPECT_EQ(from("127.0.0.7", "/metrics", "metrics.example"), 200);
    EXPECT_EQ(from("127.1.2.3", "/healthz", "metrics.example"), 200);
    EXPECT_EQ(from("127.0.0.7", "/control/hits", "metrics.example"), 403);
}

class Controlled : public Operator {};

TEST_F(Controlled, OnlyByProgramsOfThisComputer)
{
    startWith({"--control"});
    EXPECT_EQ(local("/control/hits").status, 200);
    EXPECT_EQ(local("/control/hits", "Origin: http://127.0.0.1\r\n").status, 200) << "a page of the service's own";
    for (const char* origin : {"http://evil.example", "null", "http://127.0.0.1:1", "127.0.0.1"})
        EXPECT_EQ(local("/control/hits", std::string("Origin: ") + origin + "\r\n").status, 403) << origin;
    for (const char* host : {"evil.example", "127.evil.example", "localhost.evil.example", "10.0.0.1", "[fd00::1]"}) {
        EXPECT_EQ(raw(std::string("GET /control/hits HTTP/1.1\r\nHost: ") + host + "\r\n\r\n").status, 403) << host;
        EXPECT_EQ(raw(std::string("DELETE /control/faults HTTP/1.1\r\nHost: ") + host + "\r\n\r\n").status, 403) << host;
    }
    for (const char* sign : {"Forwarded: for=6.6.6.6", "X-Forwarded-For: 6.6.6.6", "X-Real-IP: 6.6.6.6", "Via: 1.1 proxy"})
        EXPECT_EQ(local("/control/hits", std::string(sign) + "\r\n").status, 403) << sign << ": a proxy that nobody told of";
}

class Encrypted : public Operator {
protected:
    void startEncrypted()
    {
        test::writeCertificate("first", certificate(), key());
        startKeepingLog({"--tls-certificate", certificate(), "--tls-key", key()});
    }
    std::string certificate() const { return m_folder / "certificate.pem"; }
    std::string key() const { return m_folder / "key.pem"; }
    std::string where() const { return "127.0.0.1:" + std::to_string(port()); }
    std::string serverName() const { return TlsClient(where()).serverName(); }
    bool logs(const std::string& words) const
    {
        return test::comesTrue([&] { return log().find(words) != std::string::npos; });
    }
};

TEST_F(Encrypted, SaysSoInItsFirstLineAndServes)
{
    startEncrypted();
    EXPECT_EQ(m_process->url(), "https://" + where());
    TlsClient client(where());
    client.send(requestBytes("GET", ServiceClient::path("me/group.list"), {}, {{"Authorization", authorizationOf(m_anna)}}));
    EXPECT_EQ(client.receive().status, 200);
    EXPECT_EQ(log(), "") << "there is nothing to warn of";
}

TEST_F(Encrypted, GivesAddressesWithItsScheme)
{
    startEncrypted();
    TlsClient client(where());
    const Headers headers = {{"Authorization", authorizationOf(m_anna)}};
    client.send(requestBytes("POST", ServiceClient::path("me/group.create"), "group_name=x", headers));
    const std::string group = field(client.receive(), "groupId");
    client.send(requestBytes("POST", ServiceClient::path(group + "/upload"), "type=photo", headers));
    EXPECT_EQ(field(client.receive(), "uploadUrl").substr(0, 8), "https://");
}

TEST_F(Encrypted, RenewsItsCertificateAtASignal)
{
    startEncrypted();
    TlsClient early(where());
    test::writeCertificate("second", certificate(), key());
    EXPECT_EQ(serverName(), "first") << "not by itself";
    ASSERT_EQ(::kill(m_process->pid(), SIGHUP), 0);
    ASSERT_TRUE(logs("have been read again"));
    EXPECT_EQ(serverName(), "second");
    early.send("GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_EQ(early.receive().status, 200);
    test::writeCertificate("third", certificate(), m_folder / "other.pem");
    ASSERT_EQ(::kill(m_process->pid(), SIGHUP), 0);
    ASSERT_TRUE(logs("stay as they were: the key '" + key() + "' is not that of the certificate"));
    EXPECT_EQ(serverName(), "second");
    EXPECT_EQ(m_process->stop(), 0);
}

TEST_F(Encrypted, OutlivesTheSignalWithoutACertificate)
{
    startKeepingLog({});
    ASSERT_EQ(::kill(m_process->pid(), SIGHUP), 0);
    ASSERT_TRUE(logs("nothing to be read again"));
    EXPECT_EQ(local("/healthz").status, 200);
    EXPECT_EQ(m_process->stop(), 0);
}

TEST_F(Encrypted, NeedsBothFiles)
{
    test::writeCertificate("first", certificate(), key());
    const CommandResult half = command({"serve", "--listen", "127.0.0.1:0", "--tls-certificate", certificate()});
    EXPECT_EQ(half.exitCode, 2);
    EXPECT_NE(half.err.find("--tls-key is missing"), std::string::npos) << half.err;
    EXPECT_EQ(command({"serve", "--listen", "127.0.0.1:0", "--tls-key", key()}).exitCode, 2);
    const CommandResult missing =
        command({"serve", "--listen", "127.0.0.1:0", "--tls-certificate", m_folder / "none.pem", "--tls-key", key()});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "kinloomd: cannot read the certificate '" + (m_folder / "none.pem") + "': No such file or directory\n");
}

TEST_F(Operator, IsToldOfAddressesThatAreNone)
{
    for (const char* option : {"--trusted-proxy", "--metrics-from"})
        EXPECT_EQ(command({"serve", option, "10.0.0.0/33"}).exitCode, 2) << option;
}

} // namespace
