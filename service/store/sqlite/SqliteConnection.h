// SPDX-License-Identifier: MIT
/// \file A connection to a database in a file, kept by SQLite.
#ifndef KINLOOMD_STORE_SQLITE_SQLITECONNECTION_H
#define KINLOOMD_STORE_SQLITE_SQLITECONNECTION_H

#include "store/Connection.h"

#include <memory>
#include <string>

struct sqlite3;

namespace kinloomd {

class SqliteConnection : public DatabaseConnection {
public:
    /// Opens the database, and creates it when that is asked for.
    SqliteConnection(const std::string& file, bool create);
    ~SqliteConnection() override;
    /// Opens a copy of a database, in a file that nobody writes, and leaves the file as it is.
    static std::unique_ptr<SqliteConnection> ofCopy(const std::string& file);

    /// A transaction that may write holds the database's write lock from its beginning, so that it never has to be repeated.
    void begin(Purpose purpose) override;
    void commit() override;
    void rollback() noexcept override;
    bool writesToManyTables() const override { return false; }
    TextRows execute(const std::string& text) override;
    std::unique_ptr<PreparedStatement> statement(const std::string& text) override;
    std::int64_t lastNumber(const std::string& table) override;
    void setLastNumber(const std::string& table, std::int64_t number) override;

    /// For those who know what keeps the database.
    sqlite3* raw() const { return m_database.get(); }

protected:
    std::unique_ptr<PreparedStatement> prepare(Sql sql) override;

private:
    SqliteConnection(const std::string& file, int flags);
    void requireChanges();

    struct Close {
        void operator()(sqlite3* database) const;
    };
    std::unique_ptr<sqlite3, Close> m_database;
    std::unique_ptr<PreparedStatement> m_marks; ///< prepared when they are needed first
};

} // namespace kinloomd

#endif
