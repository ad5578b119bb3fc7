// SPDX-License-Identifier: MIT
#include "TlsClient.h"

#include "ServerFixture.h"
#include "support/TempDir.h"

#include <atomic>
#include <fcntl.h>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace {

using namespace httpd_test;
using httpd::RequestHead;
using test::TlsClient;

constexpr const char* GET = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";

class Tls : public ServerFixture {
protected:
    std::string certificate() const { return m_folder.path() + "/certificate.pem"; }
    std::string key() const { return m_folder.path() + "/key.pem"; }

    void startEncrypted(ScriptedHandler::Script script, const std::string& name = "first")
    {
        test::writeCertificate(name, certificate(), key());
        m_handler.onRequest = std::move(script);
        httpd::Settings settings;
        settings.limits = m_limits;
        settings.tls = httpd::TlsFiles{certificate(), key()};
        m_server = std::make_unique<httpd::Server>(httpd::Listener("127.0.0.1:0"), settings, m_handler);
    }
    /// Answers with scheme and path.
    static httpd::Decision describe(const RequestHead& head, httpd::Connection&)
    {
        return textReply(head.scheme + " " + std::string(head.path()));
    }
    static std::string complaintOf(const httpd::TlsFiles& files)
    {
        try {
            httpd::requireUsable(files);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }
    void write(const std::string& file, const std::string& text) const { std::ofstream(file) << text; }

    test::TempDir m_folder;
};

TEST_F(Tls, ServesSeveralRequestsOnAConnection)
{
    startEncrypted(&describe);
    for (const auto version : {TlsClient::Version::TLS1_2, TlsClient::Version::TLS1_3}) {
        TlsClient client(address(), version);
        EXPECT_EQ(client.serverName(), "first");
        client.send(std::string(GET) + "GET /b HTTP/1.1\r\nHost: a\r\n\r\n");
        EXPECT_EQ(client.receive().body, "https /");
        EXPECT_EQ(client.receive().body, "https /b");
    }
}

TEST_F(Tls, RefusesOldVersions)
{
    startEncrypted(&describe);
    EXPECT_THROW(TlsClient client(address(), TlsClient::Version::TLS1_1), std::runtime_error);
    TlsClient(address()).send(GET);
}

TEST_F(Tls, CarriesLargeBodiesBothWays)
{
    const std::string large(3'000'000, 'x');
    const std::string file = m_folder.path() + "/large";
    write(file, large);
    startEncrypted([&](const RequestHead& head, httpd::Connection&) -> httpd::Decision {
        if (head.method == "POST")
            return httpd::BodyInMemory{large.size(), [](std::string body) { return textReply(std::move(body)); }};
        httpd::Reply reply;
        reply.status = 206;
        reply.body.emplace<httpd::FileBody>(httpd::FileBody{httpd::UniqueFd(::open(file.c_str(), O_RDONLY)), 10, 2'000'000});
        return reply;
    });
    TlsClient client(address());
    client.send(GET);
    const HttpReply part = client.receive();
    EXPECT_EQ(part.status, 206);
    EXPECT_TRUE(part.body == large.substr(10, 2'000'000));
    client.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: " + std::to_string(large.size()) + "\r\n\r\n" + large);
    EXPECT_TRUE(client.receive().body == large);
}

TEST_F(Tls, IsAsStrictAsWithoutEncryption)
{
    startEncrypted(&describe);
    TlsClient client(address());
    client.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length : 28\r\n\r\nGET /inner HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(client.receive().status, 400);
    EXPECT_EQ(client.receive().status, 0);
}

TEST_F(Tls, IsRenewedWhileConnectionsLast)
{
    startEncrypted(&describe);
    TlsClient early(address());
    std::atomic<bool> over{false};
    std::atomic<int> failures{0};
    std::atomic<int> served{0};
    std::thread traffic([&] {
        while (!over) {
            try {
                TlsClient client(address());
                client.send(GET);
                failures += client.receive().status == 200 ? 0 : 1;
                ++served;
            } catch (const std::runtime_error&) {
                ++failures;
            }
        }
    });
    for (int i = 0; i < 10; ++i) {
        test::writeCertificate("renewed" + std::to_string(i), certificate(), key());
        EXPECT_TRUE(m_server->reloadTls());
        EXPECT_EQ(TlsClient(address()).serverName(), "renewed" + std::to_string(i));
        early.send(GET);
        EXPECT_EQ(early.receive().body, "https /") << "who has been there before goes on";
    }
    over = true;
    traffic.join();
    EXPECT_EQ(failures, 0);
    EXPECT_GT(served, 0);
    EXPECT_EQ(early.serverName(), "first");
}

TEST_F(Tls, KeepsTheOldCertificateWhenTheNewOneIsBad)
{
    startEncrypted(&describe);
    const std::string other = m_folder.path() + "/other.pem";
    test::writeCertificate("second", certificate(), other);
    EXPECT_THROW(m_server->reloadTls(), std::runtime_error) << "its key is another one";
    write(certificate(), "nonsense");
    EXPECT_THROW(m_server->reloadTls(), std::runtime_error);
    ::unlink(certificate().c_str());
    EXPECT_THROW(m_server->reloadTls(), std::runtime_error);
    TlsClient client(address());
    EXPECT_EQ(client.serverName(), "first");
    client.send(GET);
    EXPECT_EQ(client.receive().status, 200);
}

TEST_F(Tls, SaysWhichFileCannotBeUsed)
{
    test::writeCertificate("a", certificate(), key());
    const std::string other = m_folder.path() + "/other.pem";
    const std::string otherKey = m_folder.path() + "/other-key.pem";
    test::writeCertificate("b", other, otherKey);
    const std::string missing = m_folder.path() + "/missing.pem";
    const std::string nonsense = m_folder.path() + "/nonsense.pem";
    write(nonsense, "nonsense");
    EXPECT_EQ(complaintOf({certificate(), key()}), "");
    EXPECT_EQ(complaintOf({missing, key()}), "cannot read the certificate '" + missing + "': No such file or directory");
    EXPECT_EQ(complaintOf({certificate(), missing}), "cannot read the key '" + missing + "': No such file or directory");
    EXPECT_EQ(complaintOf({certificate(), otherKey}),
              "the key '" + otherKey + "' is not that of the certificate '" + certificate() + "'");
    EXPECT_EQ(complaintOf({nonsense, key()}).substr(0, 28 + nonsense.size()), "cannot use the certificate '" + nonsense);
    EXPECT_EQ(complaintOf({certificate(), nonsense}).substr(0, 20 + nonsense.size()), "cannot use the key '" + nonsense);
    EXPECT_EQ(complaintOf({m_folder.path(), key()}), "cannot read the certificate '" + m_folder.path() + "': Is a directory");
}

TEST_F(Tls, TellsThoseWhoDoNotEncrypt)
{
    startEncrypted(&describe);
    const HttpReply reply = request(GET);
    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(reply.body, "This server speaks https, not http.");
}

TEST_F(Tls, TellsThoseWhoDoNotEncryptWhateverTheySend)
{
    startEncrypted(&describe);
    HttpConnection client(address());
    client.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 1000000\r\n\r\n" + std::string(100'000, 'x'));
    EXPECT_EQ(client.receive().status, 400);
    EXPECT_TRUE(client.waitForClose());
    EXPECT_EQ(client.lastError(), 0) << "a reset could overtake the answer";
}

TEST_F(Tls, EndsConnectionsThatAgreeOnNothing)
{
    m_limits.headerTime = std::chrono::milliseconds(300);
    startEncrypted(&describe);
    HttpConnection silent(address());
    HttpConnection slow(address());
    slow.send("\x16\x03\x01");
    EXPECT_TRUE(silent.waitForClose());
    EXPECT_TRUE(slow.waitForClose());
}

TEST_F(Tls, GivesConnectionsThatAgreeOnNothingUpForOthers)
{
    m_limits.connectionsPerAddress = 10;
    startEncrypted(&describe);
    std::vector<std::unique_ptr<HttpConnection>> silent;
    silent.reserve(30);
    for (int i = 0; i < 30; ++i)
        silent.push_back(std::make_unique<HttpConnection>(address()));
    TlsClient client(address());
    client.send(GET);
    EXPECT_EQ(client.receive().status, 200);
}

TEST_F(Tls, IsNoMatterOfAServerWithout)
{
    startWithText("");
    EXPECT_FALSE(m_server->reloadTls());
}

} // namespace
