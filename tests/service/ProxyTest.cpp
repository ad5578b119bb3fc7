// SPDX-License-Identifier: MIT
// The service behind other people's proxies, with the configurations that the guide gives.
#include "ServiceFixture.h"
#include "TestPictures.h"
#include "TlsClient.h"

#include "support/ArgumentPointers.h"
#include "support/TempDir.h"
#include "support/Wait.h"

#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves the declaration to the program

namespace {

using namespace kinloomd_test;
using test::TlsClient;

/// A port that was free a moment ago.
unsigned short freePort()
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(socket);
    return ntohs(address.sin_port);
}

void replaceAll(std::string& text, const std::string& from, const std::string& to)
{
    ASSERT_NE(text.find(from), std::string::npos) << "the guide holds no " << from;
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

/// The block of the guide that is marked with that word.
std::string guideBlock(const std::string& word)
{
    const std::string guide = test::readFile(KINLOOM_PROXY_GUIDE);
    const auto begin = guide.find("```" + word + "\n");
    const auto end = guide.find("\n```", begin + 3);
    return begin == std::string::npos ? "" : guide.substr(begin + word.size() + 4, end - begin - word.size() - 3);
}

struct Proxy {
    const char* name;
    /// Writes what the program needs into the folder. \return its command line.
    std::vector<std::string> (*configure)(const test::TempDir& folder, unsigned short service, unsigned short port);
};

std::vector<std::string> configureNginx(const test::TempDir& folder, unsigned short service, unsigned short port)
{
    std::string block = guideBlock("nginx");
    replaceAll(block, "listen 443 ssl;", "listen 127.0.0.1:" + std::to_string(port) + " ssl;");
    replaceAll(block, "127.0.0.1:8750", "127.0.0.1:" + std::to_string(service));
    replaceAll(block, "/etc/ssl/photos.example/certificate.pem", folder.file("certificate.pem"));
    replaceAll(block, "/etc/ssl/photos.example/key.pem", folder.file("key.pem"));
    test::writeFile(folder.file("nginx.conf"),
                    "daemon off; master_process off; pid nginx.pid; error_log stderr;\nevents {}\nhttp {\naccess_log off;\n"
                    "client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path fastcgi; uwsgi_temp_path uwsgi;\n"
                    "scgi_temp_path scgi;\n" +
                        block + "}\n");
    return {KINLOOM_NGINX, "-e", "stderr", "-p", folder.path(), "-c", folder.file("nginx.conf")};
}

std::vector<std::string> configureHaproxy(const test::TempDir& folder, unsigned short service, unsigned short port)
{
    std::string block = guideBlock("haproxy");
    replaceAll(block, "bind :443 ", "bind 127.0.0.1:" + std::to_string(port) + " ");
    replaceAll(block, "127.0.0.1:8750", "127.0.0.1:" + std::to_string(service));
    replaceAll(block, "/etc/haproxy/photos.example.pem", folder.file("both.pem"));
    test::writeFile(folder.file("both.pem"),
                    test::readFile(folder.file("certificate.pem")) + test::readFile(folder.file("key.pem")));
    test::writeFile(folder.file("haproxy.cfg"), block);
    return {KINLOOM_HAPROXY, "-db", "-q", "-f", folder.file("haproxy.cfg")};
}

class BehindProxy : public ServiceFixture, public ::testing::WithParamInterface<Proxy> {
protected:
    void startBehind(std::vector<std::string> arguments = {})
    {
        arguments.insert(arguments.end(), {"--trusted-proxy", "127.0.0.1", "--control", "--log-requests"});
        m_settings.keepStandardError = true;
        startWith(arguments);
        test::writeCertificate("photos.example", m_files.file("certificate.pem"), m_files.file("key.pem"));
        for (int attempt = 0; attempt < 5 && !m_up; ++attempt) {
            m_port = freePort();
            spawn(GetParam().configure(m_files, port(), m_port));
            m_up = test::comesTrue([&] { return accepts() || !runs(); }) && runs();
        }
        ASSERT_TRUE(m_up) << test::readFile(m_files.file("errors"));
    }
    void TearDown() override
    {
        if (m_pid > 0 && ::kill(m_pid, SIGTERM) == 0)
            ::waitpid(m_pid, nullptr, 0);
    }

    std::string where() const { return "127.0.0.1:" + std::to_string(m_port); }
    /// A request of Anna's through the proxy, from one of this computer's other addresses.
    HttpReply through(const std::string& method, const std::string& target, const std::string& body = {}, Headers headers = {},
                      const char* source = "127.0.0.9")
    {
        headers.emplace_back("Authorization", authorizationOf(m_anna));
        TlsClient client(where(), TlsClient::Version::TLS1_3, source);
        client.send(requestBytes(method, target, body, headers));
        return client.receive();
    }

private:
    void spawn(const std::vector<std::string>& arguments)
    {
        const std::vector<char*> argv = test::pointersTo(arguments);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, m_files.file("errors").c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                           0600);
        ASSERT_EQ(::posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
        ::posix_spawn_file_actions_destroy(&actions);
    }
    bool runs()
    {
        if (m_pid > 0 && ::waitpid(m_pid, nullptr, WNOHANG) != 0)
            m_pid = -1;
        return m_pid > 0;
    }
    bool accepts() const
    {
        try {
            const TlsClient client(where());
            return client.serverName() == "photos.example";
        } catch (const std::runtime_error&) {
            return false;
        }
    }

    test::TempDir m_files;
    unsigned short m_port = 0;
    pid_t m_pid = -1;
    bool m_up = false;
};

TEST_P(BehindProxy, ServesClientsUnderTheirOwnAddresses)
{
    startBehind();
    EXPECT_EQ(
        through("GET", ServiceClient::path("me/group.list"), {}, {{"Forwarded", "for=6.6.6.6"}, {"X-Forwarded-For", "7.7.7.7"}})
            .status,
        200);
    EXPECT_EQ(through("GET", ServiceClient::path("me/group.list"), {}, {{"Forwarded", "for=\"6.6.6.6"}}).status, 200)
        << "what clients write is dropped";
    m_process->stop();
    const std::string log = m_process->standardError();
    EXPECT_NE(log.find(" 127.0.0.9 GET /openapi/service/kinloom/me/group.list 200"), std::string::npos) << log;
    EXPECT_EQ(log.find("6.6.6.6"), std::string::npos) << log;
    EXPECT_EQ(log.find("7.7.7.7"), std::string::npos) << log;
}

TEST_P(BehindProxy, GivesAddressesThatLeadThroughTheProxy)
{
    startBehind();
    const std::string group = anna().createGroup("Family");
    const TestPicture& picture = smallPicture();
    const HttpReply slot = through("POST", ServiceClient::path(group + "/upload"), "type=photo&description=x");
    ASSERT_EQ(slot.status, 200);
    const std::string uploadUrl = field(slot, "uploadUrl");
    EXPECT_EQ(uploadUrl.substr(0, 8), "https://") << uploadUrl;
    const std::string body = multipartBody(picture, "xyz");
    const HttpReply sent = through("POST", targetOf(uploadUrl), body, {{"Content-Type", "multipart/form-data; boundary=xyz"}});
    ASSERT_EQ(sent.status, 200) << sent.body;
    const HttpReply feed = through("GET", ServiceClient::path(group + "/feeds?&search_before=latest"));
    const std::string original = field(feed, "contentUrl");
    EXPECT_EQ(original.substr(0, 8), "https://") << original;
    EXPECT_TRUE(through("GET", targetOf(original)).body == picture.bytes);
    const HttpReply part = through("GET", targetOf(original), {}, {{"Range", "bytes=10-19"}});
    EXPECT_EQ(part.status, 206);
    EXPECT_EQ(part.body, picture.bytes.substr(10, 10));
}

TEST_P(BehindProxy, IsClosedToOperatorsWhoComeThrough)
{
    startBehind();
    for (const char* path : {"/metrics", "/healthz", "/control/hits"}) {
        EXPECT_EQ(through("GET", path).status, 403) << path;
        EXPECT_EQ(through("GET", path, {}, {}, "127.0.0.1").status, 403) << path << " from this computer, through the proxy";
        EXPECT_EQ(through("GET", path, {}, {{"Forwarded", "for=127.0.0.1"}}).status, 403) << path;
        EXPECT_EQ(request(port(), "GET", path, {}, {}).status, path[1] == 'c' ? 200 : 403) << path << " under a name of others";
    }
    Wire direct(port());
    direct.send("GET /healthz HTTP/1.1\r\nHost: " + where() + "\r\n\r\n");
    EXPECT_EQ(direct.receive().status, 200);
}

TEST_P(BehindProxy, BoundsTheRateOfEachClient)
{
    startBehind({"--max-rate", "2"});
    int refused = 0;
    for (int i = 0; i < 20; ++i)
        refused += through("GET", ServiceClient::path("me/group.list")).status == 429 ? 1 : 0;
    EXPECT_GT(refused, 0);
    EXPECT_EQ(through("GET", ServiceClient::path("me/group.list"), {}, {}, "127.0.0.10").status, 200);
}

INSTANTIATE_TEST_SUITE_P(Programs, BehindProxy,
                         ::testing::Values(Proxy{"nginx", &configureNginx}, Proxy{"haproxy", &configureHaproxy}),
                         [](const auto& named) { return std::string(named.param.name); });

} // namespace
