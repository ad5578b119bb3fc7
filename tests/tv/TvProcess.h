// SPDX-License-Identifier: MIT
/// \file A real kinloom-tv process, and a page that talks to it.
#ifndef TESTS_TV_TVPROCESS_H
#define TESTS_TV_TVPROCESS_H

#include "support/HttpConnection.h"

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

using Json = nlohmann::ordered_json;

/// "kinloom-tv" on a free loopback port, with a page that is open in it. Killed at the end of its life.
class TvProcess {
public:
    struct Settings {
        std::vector<std::string> arguments;
        std::map<std::string, std::string> environment; ///< all of it
        std::optional<unsigned long> fileSizeLimit;     ///< the largest file that the process may write
    };

    /// Returns when the page can be opened. Throws std::runtime_error, with what the program has said, when it does not get there.
    explicit TvProcess(const Settings& settings);
    TvProcess(const TvProcess&) = delete;
    TvProcess& operator=(const TvProcess&) = delete;
    ~TvProcess();

    pid_t pid() const { return m_pid; }
    /// "http://127.0.0.1:43211/?key=..."
    const std::string& url() const { return m_url; }
    const std::string& address() const { return m_address; }
    const std::string& key() const { return m_key; }
    const std::string& cookie() const { return m_cookie; }
    /// What it has written on standard error so far.
    std::string log() const;

    /// SIGKILL, then waits.
    void kill();
    /// SIGTERM, then waits. \return the exit code, 128 plus the signal for one that did not end by itself.
    int stop();

    using Headers = std::vector<std::pair<std::string, std::string>>;
    /// A request as it is given, with nothing added but Host, when that is not given.
    HttpReply send(const std::string& method, const std::string& target, const Headers& headers,
                   const std::string& body = {}) const;
    /// Requests as the page makes them.
    HttpReply get(const std::string& target) const;
    HttpReply change(const std::string& method, const std::string& target, const Json& body) const;
    /// The JSON of a reply that must be one.
    Json json(const std::string& target) const;

    /// Asks for something again and again until it is as wanted. \return the last answer.
    Json until(const std::string& target, const std::function<bool(const Json&)>& wanted) const;

private:
    void start(const Settings& settings);

    pid_t m_pid = -1;
    std::string m_logFile;
    std::string m_url;
    std::string m_address;
    std::string m_key;
    std::string m_cookie;
};

/// A line of events that is open.
class EventLine {
public:
    explicit EventLine(const TvProcess& television, const std::string& lastEvent = {});

    struct Event {
        std::string id;
        std::string name;
        Json data;
    };
    /// The next event; nothing when none comes within some seconds.
    std::optional<Event> next();
    /// The next event of a name, whatever comes before.
    std::optional<Event> next(const std::string& name);

private:
    HttpConnection m_connection;
    std::string m_text;
};

} // namespace test

#endif
