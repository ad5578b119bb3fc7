// SPDX-License-Identifier: MIT
#include "store/postgresql/PostgresqlEngine.h"

#include "store/postgresql/PostgresqlSchema.h"

#include <algorithm>
#include <cstring>
#include <libpq-fe.h>
#include <random>
#include <string_view>

namespace kinloomd {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t MOST_CONNECTIONS = 16;
constexpr std::size_t MOST_READERS = 8; ///< for long; the others are for those who are through at once
constexpr milliseconds LEND_TIME{5'000};
constexpr milliseconds FIRST_PAUSE{100};
constexpr milliseconds LONGEST_PAUSE{5'000};

/// The pause before the next try: twice as long each time, and never the same for two processes.
milliseconds pauseBeforeTry(unsigned failures)
{
    const auto most = std::min(FIRST_PAUSE * (1U << std::min(failures, 10U)), LONGEST_PAUSE);
    static thread_local std::minstd_rand random{std::random_device()()};
    return milliseconds(std::uniform_int_distribution<milliseconds::rep>(most.count() / 2, most.count())(random));
}

struct FreeOptions {
    void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};

/// What an address says of something; empty when it says nothing.
std::string partOf(const std::string& address, const char* keyword)
{
    const std::unique_ptr<PQconninfoOption, FreeOptions> options(PQconninfoParse(address.c_str(), nullptr));
    for (const PQconninfoOption* option = options.get(); option != nullptr && option->keyword != nullptr; ++option) {
        if (std::strcmp(option->keyword, keyword) == 0)
            return option->val == nullptr ? "" : option->val;
    }
    return {};
}

} // namespace

bool isPostgresqlAddress(const std::string& location)
{
    const auto begins = [&](std::string_view scheme) { return location.compare(0, scheme.size(), scheme) == 0; };
    return begins("postgresql://") || begins("postgres://");
}

bool holdsPassword(const std::string& address) { return !partOf(address, "password").empty(); }

std::string visibleAddress(const std::string& address)
{
    const std::string host = partOf(address, "host");
    const std::string port = partOf(address, "port");
    const bool socket = !host.empty() && host.front() == '/';
    return "postgresql://" + (socket ? std::string() : host + (port.empty() ? "" : ":" + port)) + "/" + partOf(address, "dbname") +
           (socket ? "?host=" + host : "");
}

PostgresqlEngine::PostgresqlEngine(std::string address) : m_address(std::move(address))
{
    auto first = std::make_unique<PostgresqlConnection>(m_address);
    prepareSchema(*first);
    m_idle.reserve(MOST_CONNECTIONS);
    m_idle.push_back(std::move(first));
    m_open = 1;
}

/// One that is still good; those that the other side has closed are forgotten. With the lock.
PostgresqlEngine::Connection PostgresqlEngine::takeIdle()
{
    while (!m_idle.empty()) {
        Connection connection = std::move(m_idle.back());
        m_idle.pop_back();
        if (connection->isUsable())
            return connection;
        --m_open;
    }
    return nullptr;
}

/// With the lock.
void PostgresqlEngine::requireReachable() const
{
    if (m_failures != 0 && (m_trying || Clock::now() < m_nextTry))
        throw DatabaseUnavailable("the database cannot be reached: " + m_why);
}

std::unique_ptr<DatabaseConnection> PostgresqlEngine::lend(DatabaseConnection::Purpose)
{
    const auto end = Clock::now() + LEND_TIME;
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        if (Connection idle = takeIdle())
            return idle;
        requireReachable();
        if (m_open < MOST_CONNECTIONS)
            break;
        if (m_changed.wait_until(lock, end) == std::cv_status::timeout && m_idle.empty())
            throw DatabaseUnavailable("all connections to the database are in use");
    }
    ++m_open;
    m_trying = m_failures != 0;
    lock.unlock();
    return connect();
}

PostgresqlEngine::Connection PostgresqlEngine::connect()
{
    try {
        auto connection = std::make_unique<PostgresqlConnection>(m_address);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_trying = false;
        m_failures = 0;
        return connection;
    } catch (const std::exception& error) {
        noteFailure(error.what());
        throw;
    }
}

void PostgresqlEngine::noteFailure(const std::string& why)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_open;
        m_trying = false;
        m_why = why;
        m_nextTry = Clock::now() + pauseBeforeTry(m_failures++);
    }
    // Who waits for a connection hears that there is none to be had.
    m_changed.notify_all();
}

void PostgresqlEngine::takeBack(DatabaseConnection::Purpose, std::unique_ptr<DatabaseConnection> connection) noexcept
{
    Connection back(static_cast<PostgresqlConnection*>(connection.release()));
    const bool usable = back->isUsable();
    if (!usable)
        back.reset();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (usable)
            m_idle.push_back(std::move(back));
        else
            --m_open;
    }
    m_changed.notify_one();
}

std::size_t PostgresqlEngine::readers() const { return MOST_READERS; }

} // namespace kinloomd
