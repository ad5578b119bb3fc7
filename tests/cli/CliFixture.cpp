// SPDX-License-Identifier: MIT
#include "CliFixture.h"

#include "W/Http.h"
#include "support/Wait.h"

#include <cstdlib>
#include <sstream>

namespace test {

namespace {

/// What the programs get of the test's own environment: the sanitizers' settings, and where libraries are.
constexpr const char* INHERITED[] = {"PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LD_LIBRARY_PATH"};

std::map<std::string, std::string> inherited()
{
    std::map<std::string, std::string> environment;
    for (const char* name : INHERITED) {
        if (const char* const value = std::getenv(name))
            environment[name] = value;
    }
    return environment;
}

std::map<std::string, std::string> baseEnvironment(const TempDir& home)
{
    std::map<std::string, std::string> environment = inherited();
    environment.insert({{"HOME", home.path()},
                        {"XDG_CONFIG_HOME", home.file("config")},
                        {"TERM", "xterm-256color"},
                        {"TZ", "UTC"},
                        {"KINLOOM_PLUGIN", KINLOOM_PLUGIN}});
    return environment;
}

Arguments commandOf(const Arguments& arguments)
{
    Arguments command = {KINLOOM_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

std::string control(const std::string& url, W::HTTP_REQUEST_TYPE type, const std::string& body)
{
    W::HttpRequest request(type, url, W::HttpHeader(), body, nullptr, nullptr);
    if (request.execute() != 0 || request.getResponse().getHttpResponseCode() != W::HTTP_OK)
        throw std::runtime_error(url + " fails");
    return request.getResponse().getPayload();
}

} // namespace

User::User(const std::string& serviceUrl) : m_environment(baseEnvironment(m_home))
{
    if (!serviceUrl.empty())
        ok({"config", "set", "service", serviceUrl});
}

User::User(const std::string& dataFolder, const std::string& name, const std::string& serviceUrl) : User(serviceUrl)
{
    const kinloomd_test::DeviceCredentials device = kinloomd_test::addDevice(dataFolder, name);
    m_token = device.token;
    m_appId = device.appId;
    ok({"config", "import"}, device.section);
}

Program::Settings User::between(const Arguments& arguments) const
{
    Program::Settings settings;
    settings.command = commandOf(arguments);
    settings.environment = m_environment;
    return settings;
}

Program::Settings User::inTerminal(const Arguments& arguments) const
{
    Program::Settings settings = between(arguments);
    settings.terminal = true;
    return settings;
}

ProgramResult User::run(const Arguments& arguments, const std::string& input) const
{
    Program::Settings settings = between(arguments);
    settings.input = input;
    return Program(settings).wait();
}

std::string User::ok(const Arguments& arguments, const std::string& input) const
{
    const ProgramResult result = run(arguments, input);
    EXPECT_EQ(result.exitCode, 0) << testing::PrintToString(arguments) << "\n" << result.err;
    return result.out;
}

Json User::json(const Arguments& arguments) const
{
    Arguments all = arguments;
    all.insert(all.begin(), "--json");
    return Json::parse(ok(all));
}

std::string User::createGroup(const std::string& name) const { return json({"group", "create", "--", name})["id"]; }

std::string User::upload(const std::string& group, const std::string& file) const
{
    return json({"upload", group, file})["files"][0]["id"];
}

std::string User::urlOf(const std::string& content) const { return json({"content", "show", content})["url"]; }

CliTest::CliTest()
    : service(data.path(), {{"--control"}, true, "127.0.0.1:0", std::nullopt}), ada(data.path(), "Ada", service.url())
{
}

void CliTest::setFault(const std::string& line) const
{
    control(service.url() + "/control/faults", W::HTTP_REQUEST_POST, line + "\n");
}

std::uint64_t CliTest::hits(const std::string& operation) const
{
    const Json all = Json::parse(control(service.url() + "/control/hits", W::HTTP_REQUEST_GET, ""));
    return all.value(operation, std::uint64_t{0});
}

bool CliTest::reaches(const std::string& operation, std::uint64_t count) const
{
    return comesTrue([&] { return hits(operation) >= count; });
}

std::string contentDocument(const std::string& id, const std::string& size, const std::string& url)
{
    return "<content><contentId>" + id + "</contentId><contentType>photo</contentType><contentDetail><contentUrl>" + url +
           "</contentUrl><size>" + size + "</size></contentDetail></content>";
}

void pretendService(RawServer& server, const std::string& contents, const std::string& media)
{
    server.onRequest([contents, media](const RawRequest& request) {
        const std::string target = request.target();
        if (target.find("/media/endless.jpg") != std::string::npos)
            return RawReply().send("HTTP/1.1 200 OK\r\n\r\n").sendEndlessly(std::string(1 << 16, 'x'), 1ULL << 30);
        if (target.find("/media/") != std::string::npos)
            return RawReply::ok(media);
        return RawReply::ok(R"(<?xml version="1.0" encoding="UTF-8"?><rsp><result><stat>ok</stat></result><data>)" +
                                (target.find("feeds") != std::string::npos ? contents : std::string()) + "</data></rsp>",
                            {"Content-Type: text/xml; charset=utf-8"});
    });
}

std::string makePhoto(const std::string& path, const Arguments& options)
{
    Program::Settings settings;
    settings.command = {KINLOOM_MAKE_PHOTO, path};
    settings.command.insert(settings.command.end(), options.begin(), options.end());
    settings.environment = inherited();
    settings.environment["ASAN_OPTIONS"] = "detect_leaks=0"; // libvips keeps what it has
    const ProgramResult result = Program(settings).wait();
    if (result.exitCode != 0)
        throw std::runtime_error("no photograph: " + result.err);
    return path;
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> cellsOf(const std::string& line)
{
    std::vector<std::string> cells;
    std::size_t begin = 0;
    while (true) {
        const std::size_t end = line.find('\t', begin);
        cells.push_back(line.substr(begin, end - begin));
        if (end == std::string::npos)
            return cells;
        begin = end + 1;
    }
}

} // namespace test
