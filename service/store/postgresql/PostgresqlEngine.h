// SPDX-License-Identifier: MIT
/// \file A database that PostgreSQL keeps, for any number of equal processes.
#ifndef KINLOOMD_STORE_POSTGRESQL_POSTGRESQLENGINE_H
#define KINLOOMD_STORE_POSTGRESQL_POSTGRESQLENGINE_H

#include "store/Engine.h"
#include "store/postgresql/PostgresqlConnection.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace kinloomd {

/// \return whether that is the address of a database, and not a file.
bool isPostgresqlAddress(const std::string& location);
/// \return whether the address holds a password, which every user of the computer could read off a command line.
bool holdsPassword(const std::string& address);

/// The address without what is nobody's business: which database it is, and where.
std::string visibleAddress(const std::string& address);

/// A bounded number of connections. A connection that was lost is replaced when one is needed; while the database cannot be
/// reached, one thread tries now and then, and all others are told so at once.
class PostgresqlEngine : public Engine {
public:
    /// Connects, and brings the database to the present layout.
    explicit PostgresqlEngine(std::string address);

    std::unique_ptr<DatabaseConnection> lend(DatabaseConnection::Purpose purpose) override;
    void takeBack(DatabaseConnection::Purpose purpose, std::unique_ptr<DatabaseConnection> connection) noexcept override;
    std::size_t readers() const override;
    std::chrono::milliseconds longestChange() const override { return PostgresqlConnection::LONGEST_CHANGE; }

private:
    using Clock = std::chrono::steady_clock;
    using Connection = std::unique_ptr<PostgresqlConnection>;

    Connection takeIdle();
    void requireReachable() const;
    Connection connect();
    void noteFailure(const std::string& why);

    const std::string m_address;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Connection> m_idle; // this and what follows: guarded by m_mutex
    std::size_t m_open = 0;         // the idle, the lent, and those that are being made
    bool m_trying = false;          // somebody tries whether the database is back
    unsigned m_failures = 0;        // since a connection was made last
    Clock::time_point m_nextTry;
    std::string m_why; // it could not be reached
};

} // namespace kinloomd

#endif
