// SPDX-License-Identifier: MIT
#include "TvProcess.h"

#include "support/ArgumentPointers.h"
#include "support/TempDir.h"
#include "support/Wait.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace test {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto START_TIME = 60s;

/// The first line that comes through a pipe; empty when none comes.
std::string firstLine(int fd)
{
    std::string line;
    const auto end = Clock::now() + START_TIME;
    while (Clock::now() < end) {
        pollfd waiting{fd, POLLIN, 0};
        if (::poll(&waiting, 1, 200) <= 0)
            continue;
        char c = 0;
        if (::read(fd, &c, 1) != 1)
            return {};
        if (c == '\n')
            return line;
        line += c;
    }
    return {};
}

} // namespace

TvProcess::TvProcess(const Settings& settings)
{
    start(settings);
    const HttpReply reply = send("GET", "/?key=" + m_key, {});
    const std::string cookie = reply.header("set-cookie");
    m_cookie = cookie.substr(0, cookie.find(';'));
}

void TvProcess::start(const Settings& settings)
{
    static int number = 0;
    const char* const folder = std::getenv("TMPDIR");
    m_logFile = std::string(folder == nullptr ? "/tmp" : folder) + "/kinloom-tv-test." + std::to_string(::getpid()) + "." +
                std::to_string(++number);
    std::vector<std::string> words = {KINLOOM_TV_PROGRAM};
    words.insert(words.end(), settings.arguments.begin(), settings.arguments.end());
    const std::vector<char*> arguments = test::pointersTo(words);
    std::vector<std::string> variables;
    for (const auto& [name, value] : settings.environment)
        variables.push_back(name + "=" + value);
    const std::vector<char*> environment = test::pointersTo(variables);
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    m_pid = ::fork();
    if (m_pid == 0) {
        ::dup2(pipe[1], 1);
        const int log = ::open(m_logFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(log, 2);
        if (settings.fileSizeLimit) {
            const rlimit limit{*settings.fileSizeLimit, *settings.fileSizeLimit};
            ::setrlimit(RLIMIT_FSIZE, &limit);
        }
        ::execve(arguments[0], arguments.data(), environment.data());
        ::_exit(127);
    }
    ::close(pipe[1]);
    const std::string line = firstLine(pipe[0]);
    ::close(pipe[0]);
    const std::string begin = "kinloom-tv showing on ";
    const auto key = line.find("/?key=");
    if (line.compare(0, begin.size(), begin) != 0 || key == std::string::npos) {
        const std::string said = log();
        kill();
        ::unlink(m_logFile.c_str());
        throw std::runtime_error("kinloom-tv does not start: " + line + "\n" + said);
    }
    m_url = line.substr(begin.size());
    m_key = line.substr(key + 6);
    const std::string scheme = "http://";
    m_address = m_url.substr(scheme.size(), m_url.find("/?key=") - scheme.size());
}

TvProcess::~TvProcess()
{
    stop();
    ::unlink(m_logFile.c_str());
}

std::string TvProcess::log() const { return readFile(m_logFile); }

void TvProcess::kill()
{
    if (m_pid < 0)
        return;
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}

int TvProcess::stop()
{
    if (m_pid < 0)
        return -1;
    ::kill(m_pid, SIGTERM);
    int status = 0;
    for (const auto end = Clock::now() + PATIENCE; Clock::now() < end; std::this_thread::sleep_for(5ms)) {
        if (::waitpid(m_pid, &status, WNOHANG) != m_pid)
            continue;
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    kill();
    return 128 + SIGKILL;
}

HttpReply TvProcess::send(const std::string& method, const std::string& target, const Headers& headers,
                          const std::string& body) const
{
    HttpConnection connection(m_address);
    std::string text = method + " " + target + " HTTP/1.1\r\n";
    bool named = false;
    for (const auto& [name, value] : headers) {
        text += name + ": " + value + "\r\n";
        named = named || name == "Host";
    }
    if (!named)
        text += "Host: " + m_address + "\r\n";
    if (!body.empty() || method == "POST" || method == "PUT")
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    connection.send(text + "Connection: close\r\n\r\n" + body);
    return connection.receive(method == "HEAD");
}

HttpReply TvProcess::get(const std::string& target) const
{
    return send("GET", target, {{"Cookie", m_cookie}, {"Sec-Fetch-Site", "same-origin"}});
}

HttpReply TvProcess::change(const std::string& method, const std::string& target, const Json& body) const
{
    return send(method, target,
                {{"Cookie", m_cookie},
                 {"Origin", "http://" + m_address},
                 {"Sec-Fetch-Site", "same-origin"},
                 {"Content-Type", "application/json"}},
                body.is_null() ? std::string() : body.dump());
}

Json TvProcess::json(const std::string& target) const
{
    const HttpReply reply = get(target);
    Json document = Json::parse(reply.body, nullptr, false);
    if (document.is_discarded())
        throw std::runtime_error(target + " gives " + std::to_string(reply.status) + " " + reply.body);
    return document;
}

Json TvProcess::until(const std::string& target, const std::function<bool(const Json&)>& wanted) const
{
    Json document;
    for (const auto end = Clock::now() + PATIENCE; Clock::now() < end; std::this_thread::sleep_for(20ms)) {
        document = json(target);
        if (wanted(document))
            break;
    }
    return document;
}

EventLine::EventLine(const TvProcess& television, const std::string& lastEvent) : m_connection(television.address())
{
    m_connection.send("GET /api/events HTTP/1.1\r\nHost: " + television.address() + "\r\nCookie: " + television.cookie() + "\r\n" +
                      (lastEvent.empty() ? "" : "Last-Event-ID: " + lastEvent + "\r\n") + "\r\n");
    m_connection.receiveHead();
}

std::optional<EventLine::Event> EventLine::next()
{
    while (true) {
        const auto end = m_text.find("\n\n");
        if (end == std::string::npos) {
            const auto chunk = m_connection.receiveChunk();
            if (!chunk || chunk->empty())
                return std::nullopt;
            m_text += *chunk;
            continue;
        }
        const std::string block = m_text.substr(0, end + 1);
        m_text.erase(0, end + 2);
        Event event;
        for (std::size_t begin = 0; begin < block.size();) {
            const auto stop = block.find('\n', begin);
            const std::string line = block.substr(begin, stop - begin);
            begin = stop + 1;
            const auto value = [&](const std::string& field) {
                return line.compare(0, field.size(), field) == 0 ? std::optional(line.substr(field.size())) : std::nullopt;
            };
            if (const auto id = value("id: "))
                event.id = *id;
            else if (const auto name = value("event: "))
                event.name = *name;
            else if (const auto data = value("data: "))
                event.data = Json::parse(*data, nullptr, false);
        }
        if (!event.name.empty())
            return event;
    }
}

std::optional<EventLine::Event> EventLine::next(const std::string& name)
{
    while (auto event = next())
        if (event->name == name)
            return event;
    return std::nullopt;
}

} // namespace test
