// SPDX-License-Identifier: MIT
/// \file A database in a file, kept by SQLite.
#ifndef KINLOOMD_STORE_SQLITE_SQLITEENGINE_H
#define KINLOOMD_STORE_SQLITE_SQLITEENGINE_H

#include "store/Engine.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace kinloomd {

/// One connection for writing, and as many for reading as there are readers at a time.
class SqliteEngine : public Engine {
public:
    /// Opens the database in that file, making it when it is not there, and brings it to the present layout.
    explicit SqliteEngine(std::string file);

    std::unique_ptr<DatabaseConnection> lend(DatabaseConnection::Purpose purpose) override;
    void takeBack(DatabaseConnection::Purpose purpose, std::unique_ptr<DatabaseConnection> connection) noexcept override;
    std::size_t readers() const override;
    std::chrono::milliseconds longestChange() const override { return {}; }

private:
    std::string m_file;
    std::mutex m_mutex;
    std::condition_variable m_writerIsBack;
    std::unique_ptr<DatabaseConnection> m_writer;            // guarded by m_mutex; nothing while it is lent
    std::vector<std::unique_ptr<DatabaseConnection>> m_idle; // guarded by m_mutex
};

/// Copies one state of the database into a new file, readable by its owner alone and not yet on the disk. Others go on meanwhile.
void copyDatabase(DatabaseConnection& connection, const std::string& file);

} // namespace kinloomd

#endif
