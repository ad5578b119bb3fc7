// SPDX-License-Identifier: MIT
#include "store/Database.h"

#include "core/Files.h"
#include "store/Schema.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace kinloomd {

namespace {

constexpr int BUSY_TIMEOUT_MS = 5000;
constexpr std::size_t IDLE_CONNECTIONS = 8;

// The write-ahead log lets readers go on beside a writer, and programs beside the service. "FULL" brings each commit to the disk
// before it counts.
constexpr const char* PRAGMAS = "PRAGMA journal_mode = WAL;"
                                "PRAGMA synchronous = FULL;"
                                "PRAGMA foreign_keys = ON;"
                                "PRAGMA trusted_schema = OFF;"
                                "PRAGMA temp_store = MEMORY;";

/// Creates the file when it is not there, and lets nobody but its owner read it; SQLite gives its other files the same mode. Only
/// before the database is opened: closing any descriptor of the file would drop the locks that this process holds on it.
void makePrivate(const std::string& file)
{
    const UniqueFd fd(::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        throwSystemError("open", file);
    if (::fchmod(fd.get(), 0600) != 0)
        throwSystemError("protect", file);
}

} // namespace

Query::Query(DatabaseConnection& connection, Sql sql) : m_connection(connection), m_sql(sql)
{
    m_statement = std::move(connection.m_statements[static_cast<std::size_t>(sql)]);
    if (!m_statement)
        m_statement = std::make_unique<SQLite::Statement>(connection.m_database, textOf(sql));
}

Query::~Query()
{
    m_statement->tryReset();
    m_statement->clearBindings();
    m_connection.m_statements[static_cast<std::size_t>(m_sql)] = std::move(m_statement);
}

std::string Query::text(int column) const
{
    const SQLite::Column value = m_statement->getColumn(column);
    const auto* const bytes = static_cast<const char*>(value.getBlob());
    return bytes == nullptr ? std::string() : std::string(bytes, static_cast<std::size_t>(value.getBytes()));
}

DatabaseConnection::DatabaseConnection(const std::string& file, bool create)
    : m_database(file, SQLite::OPEN_READWRITE | SQLite::OPEN_NOFOLLOW | (create ? SQLite::OPEN_CREATE : 0), BUSY_TIMEOUT_MS)
{
    m_database.exec(PRAGMAS);
}

DatabaseConnection::DatabaseConnection(const std::string& file)
    : m_database(file, SQLite::OPEN_READONLY | SQLite::OPEN_NOFOLLOW, BUSY_TIMEOUT_MS)
{
}

std::unique_ptr<DatabaseConnection> DatabaseConnection::ofCopy(const std::string& file)
{
    return std::unique_ptr<DatabaseConnection>(new DatabaseConnection(file));
}

Transaction::~Transaction()
{
    if (m_open)
        m_connection.raw().tryExec("ROLLBACK");
}

void Transaction::commit()
{
    m_connection.raw().exec("COMMIT");
    m_open = false;
}

Database::Database(std::string file) : m_file(std::move(file))
{
    makePrivate(m_file);
    m_writer = std::make_unique<DatabaseConnection>(m_file, true);
    prepareSchema(*m_writer);
}

Database::Turn::Place::Place(Database& owner) : database(owner)
{
    std::unique_lock<std::mutex> lock(database.m_lending);
    database.m_turnEnded.wait(lock, [this] { return database.m_turns < IDLE_CONNECTIONS; });
    ++database.m_turns;
}

Database::Turn::Place::~Place()
{
    {
        const std::lock_guard<std::mutex> lock(database.m_lending);
        --database.m_turns;
    }
    database.m_turnEnded.notify_one();
}

void Database::copyTo(const std::string& file)
{
    // Empty, it is taken for one that may be written.
    createPrivateFile(file);
    const auto connection = read();
    Query(connection, Sql::DATABASE_COPY).bind(file).run();
}

Database::Lease Database::read()
{
    {
        const std::lock_guard<std::mutex> lock(m_lending);
        if (!m_idle.empty()) {
            auto connection = std::move(m_idle.back());
            m_idle.pop_back();
            return Lease(*this, std::move(connection));
        }
    }
    return Lease(*this, std::make_unique<DatabaseConnection>(m_file, false));
}

void Database::giveBack(std::unique_ptr<DatabaseConnection> connection)
{
    const std::lock_guard<std::mutex> lock(m_lending);
    if (m_idle.size() < IDLE_CONNECTIONS)
        m_idle.push_back(std::move(connection));
}

} // namespace kinloomd
