// SPDX-License-Identifier: MIT
#include "store/Database.h"

#include "store/Engine.h"
#include "store/postgresql/PostgresqlEngine.h"
#include "store/sqlite/SqliteEngine.h"

#include <random>
#include <thread>

namespace kinloomd {

namespace {

using std::chrono::milliseconds;

constexpr unsigned MOST_ATTEMPTS = 8;
constexpr milliseconds CHANGE_TIME{15'000}; ///< after which a change is begun anew no more
constexpr milliseconds TURN_TIME{15'000};   ///< for which a reader waits until it is its turn

/// Somewhere up to a bound that doubles, so that those who met once do not meet again.
milliseconds pauseAfter(unsigned attempt)
{
    static thread_local std::minstd_rand random{std::random_device()()};
    return milliseconds(std::uniform_int_distribution<milliseconds::rep>(0, 5 << attempt)(random));
}

std::unique_ptr<Engine> engineFor(const std::string& location)
{
    if (isPostgresqlAddress(location))
        return std::make_unique<PostgresqlEngine>(location);
    return std::make_unique<SqliteEngine>(location);
}

} // namespace

Database::Database(const std::string& location) : m_engine(engineFor(location)) {}

Database::~Database() = default;

milliseconds Database::longestChange() const { return m_engine->longestChange(); }

Database::Lease::Lease(Database& database, Purpose purpose)
    : m_engine(*database.m_engine), m_purpose(purpose), m_connection(m_engine.lend(purpose))
{
    m_connection->setMediaNumber(database.m_mediaNumber ? &*database.m_mediaNumber : nullptr);
}

Database::Lease::~Lease() { m_engine.takeBack(m_purpose, std::move(m_connection)); }

Database::Turn::Place::Place(Database& owner) : database(owner)
{
    std::unique_lock<std::mutex> lock(database.m_mutex);
    if (!database.m_turnEnded.wait_for(lock, TURN_TIME, [this] { return database.m_turns < database.m_engine->readers(); }))
        throw DatabaseUnavailable("too many wait for the database");
    ++database.m_turns;
}

Database::Turn::Place::~Place()
{
    {
        const std::lock_guard<std::mutex> lock(database.m_mutex);
        --database.m_turns;
    }
    database.m_turnEnded.notify_one();
}

void Database::changeBy(const std::function<void(DatabaseConnection&)>& work, Purpose purpose)
{
    const auto end = std::chrono::steady_clock::now() + CHANGE_TIME;
    for (unsigned attempt = 1;; ++attempt) {
        try {
            const Lease connection = write();
            Transaction transaction(connection, purpose);
            work(connection);
            transaction.commit();
            return;
        } catch (const TransactionUndone&) {
            const milliseconds pause = pauseAfter(attempt);
            if (attempt == MOST_ATTEMPTS || std::chrono::steady_clock::now() + pause >= end)
                throw;
            // Without a lock or a connection: those who were in the way get on meanwhile.
            std::this_thread::sleep_for(pause);
        }
    }
}

} // namespace kinloomd
