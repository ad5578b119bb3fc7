// SPDX-License-Identifier: MIT
#include "store/sqlite/SqliteEngine.h"

#include "core/Files.h"
#include "store/sqlite/SqliteConnection.h"
#include "store/sqlite/SqliteSchema.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace kinloomd {

namespace {

constexpr std::size_t IDLE_CONNECTIONS = 8;

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

SqliteEngine::SqliteEngine(std::string file) : m_file(std::move(file))
{
    makePrivate(m_file);
    auto writer = std::make_unique<SqliteConnection>(m_file, true);
    prepareSchema(*writer);
    m_writer = std::move(writer);
    m_idle.reserve(IDLE_CONNECTIONS);
}

std::unique_ptr<DatabaseConnection> SqliteEngine::lend(DatabaseConnection::Purpose purpose)
{
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (purpose != DatabaseConnection::Purpose::READ) {
            m_writerIsBack.wait(lock, [this] { return m_writer != nullptr; });
            return std::move(m_writer);
        }
        if (!m_idle.empty()) {
            auto connection = std::move(m_idle.back());
            m_idle.pop_back();
            return connection;
        }
    }
    return std::make_unique<SqliteConnection>(m_file, false);
}

void SqliteEngine::takeBack(DatabaseConnection::Purpose purpose, std::unique_ptr<DatabaseConnection> connection) noexcept
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (purpose != DatabaseConnection::Purpose::READ) {
        m_writer = std::move(connection);
        m_writerIsBack.notify_one();
    } else if (m_idle.size() < IDLE_CONNECTIONS) {
        m_idle.push_back(std::move(connection));
    }
}

std::size_t SqliteEngine::readers() const { return IDLE_CONNECTIONS; }

void copyDatabase(DatabaseConnection& connection, const std::string& file)
{
    // Empty, it is taken for one that may be written.
    createPrivateFile(file);
    std::string quoted;
    for (const char c : file)
        quoted += c == '\'' ? std::string("''") : std::string(1, c);
    connection.execute("VACUUM INTO '" + quoted + "'");
}

} // namespace kinloomd
