// SPDX-License-Identifier: MIT
#include "PageClient.h"

#include <filesystem>
#include <fstream>

namespace kinloomd_test {

namespace {

constexpr const char* HOST = "openapi.kinloom.example"; ///< that requests of tests name

void writeFile(const std::string& path, const std::string& bytes)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace

Json jsonOf(const HttpReply& reply)
{
    Json json = Json::parse(reply.body, nullptr, false);
    return json.is_discarded() ? Json() : json;
}

std::string failureOf(const HttpReply& reply)
{
    const Json json = jsonOf(reply);
    const bool failure = json.is_object() && json.contains("error");
    return std::to_string(reply.status) + (failure ? " " + json["error"].get<std::string>() : "");
}

Headers PageClient::headers(const std::string& method) const
{
    Headers headers = {{"User-Agent", "Mozilla/5.0 (Android 14; Mobile; rv:130.0) Gecko/130.0 Firefox/130.0"}};
    if (!m_cookie.empty())
        headers.emplace_back("Cookie", "theme=dark; kinloom_session=" + m_cookie);
    if (method != "GET" && method != "HEAD") {
        headers.emplace_back("Origin", std::string("http://") + HOST);
        headers.emplace_back("Sec-Fetch-Site", "same-origin");
    }
    return headers;
}

HttpReply PageClient::send(const std::string& method, const std::string& target, const std::string& body, const Headers& more)
{
    Headers all = headers(method);
    all.insert(all.end(), more.begin(), more.end());
    HttpReply reply = request(m_port, method, target, body, all);
    const std::string set = reply.header("set-cookie");
    const std::string name = "kinloom_session=";
    if (set.compare(0, name.size(), name) == 0)
        m_cookie = set.substr(name.size(), set.find(';') - name.size());
    return reply;
}

HttpReply PageClient::enter(const std::string& url)
{
    return send("POST", "/page/invitations/" + url.substr(url.rfind('/') + 1), {}, {});
}

void PageFixture::SetUp()
{
    writeFile(m_web + "/family/index.html", "<!doctype html><title>Kinloom</title><script src=/assets/app-1.js></script>");
    writeFile(m_web + "/family/assets/app-1.js", std::string(5000, '/'));
    writeFile(m_web + "/family/assets/app-1.css", "a{}");
    writeFile(m_web + "/family/version.txt", "build-7\n");
    writeFile(m_web + "/licences.txt", "licences");
    m_settings.arguments.insert(m_settings.arguments.end(), {"--web", m_web});
    start();
}

std::string PageFixture::invitation(const std::string& person, const std::string& group)
{
    std::vector<std::string> arguments = {"person", "invite", person};
    if (!group.empty())
        arguments.insert(arguments.end(), {"--group", group});
    const CommandResult result = command(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.out.substr(0, result.out.find('\n'));
}

PageClient PageFixture::browserOf(const std::string& person, const std::string& group)
{
    PageClient client(port());
    const HttpReply reply = client.enter(invitation(person, group));
    EXPECT_EQ(reply.status, 200) << reply.body;
    return client;
}

void PageFixture::sql(const std::string& statement) { runSql(m_data, statement); }

} // namespace kinloomd_test
