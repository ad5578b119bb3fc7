// SPDX-License-Identifier: MIT
/// \file Connections to the database, their statements and transactions.
#ifndef KINLOOMD_STORE_DATABASE_H
#define KINLOOMD_STORE_DATABASE_H

#include "store/Sql.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kinloomd {

class DatabaseConnection;

/// One use of a prepared statement. The statement goes back to its connection, reset, at the end of its life.
class Query {
public:
    Query(DatabaseConnection& connection, Sql sql);
    ~Query();
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    /// Binds all parameters, from the first on.
    template <typename... Values> Query& bind(const Values&... values)
    {
        int index = 0;
        (bindOne(++index, values), ...);
        return *this;
    }

    /// Moves to the next row. \return false when there is none.
    bool step() { return m_statement->executeStep(); }
    /// Runs a statement that gives no rows. \return the number of rows changed.
    int run() { return m_statement->exec(); }

    std::int64_t integer(int column) const { return m_statement->getColumn(column).getInt64(); }
    std::string text(int column) const;
    bool isNull(int column) const { return m_statement->isColumnNull(column); }

private:
    void bindOne(int index, std::int64_t value) { m_statement->bind(index, value); }
    void bindOne(int index, int value) { m_statement->bind(index, value); }
    void bindOne(int index, const std::string& value) { m_statement->bindNoCopy(index, value); }
    void bindOne(int index, const char* value) { m_statement->bind(index, value); }
    void bindOne(int index, std::nullptr_t) { m_statement->bind(index); }
    void bindOne(int index, const std::optional<std::int64_t>& value)
    {
        if (value)
            m_statement->bind(index, *value);
        else
            m_statement->bind(index);
    }

    DatabaseConnection& m_connection;
    Sql m_sql;
    std::unique_ptr<SQLite::Statement> m_statement;
};

/// A connection, used by one thread at a time. Texts bound to its queries must outlive their use.
class DatabaseConnection {
public:
    /// Opens the database, and creates it when that is asked for.
    DatabaseConnection(const std::string& file, bool create);
    /// Opens a copy of a database, in a file that nobody writes, and leaves the file as it is.
    static std::unique_ptr<DatabaseConnection> ofCopy(const std::string& file);

    SQLite::Database& raw() { return m_database; }

private:
    friend class Query;
    explicit DatabaseConnection(const std::string& file);

    SQLite::Database m_database;
    std::array<std::unique_ptr<SQLite::Statement>, static_cast<std::size_t>(Sql::COUNT)> m_statements;
};

/// A transaction that may write, undone unless committed. It holds the database's write lock from its beginning, so that it never
/// has to be repeated.
class Transaction {
public:
    explicit Transaction(DatabaseConnection& connection) : m_connection(connection) { connection.raw().exec("BEGIN IMMEDIATE"); }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    /// Returns when the changes are on the disk.
    void commit();

private:
    DatabaseConnection& m_connection;
    bool m_open = true;
};

/// Several queries that see one state of the database.
class Snapshot {
public:
    explicit Snapshot(DatabaseConnection& connection) : m_connection(connection) { connection.raw().exec("BEGIN"); }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    ~Snapshot() { m_connection.raw().tryExec("COMMIT"); }

private:
    DatabaseConnection& m_connection;
};

/// The database of a data folder: one connection for writing, and as many for reading as there are readers at a time. Safe for
/// several threads; other processes may use the same database.
class Database {
public:
    /// Opens the database in that file, making it when it is not there, and brings it to the present layout.
    explicit Database(std::string file);

    /// A connection lent for a while.
    class Lease {
    public:
        Lease(Database& database, std::unique_ptr<DatabaseConnection> connection)
            : m_database(database), m_connection(std::move(connection))
        {
        }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        ~Lease() { m_database.giveBack(std::move(m_connection)); }
        operator DatabaseConnection&() const { return *m_connection; }

    private:
        Database& m_database;
        std::unique_ptr<DatabaseConnection> m_connection;
    };

    /// A connection lent to one of many readers that go on again and again: no more of them read at a time than connections are
    /// kept, so that a crowd of them neither opens connections all the time nor fills the memory with theirs.
    class Turn {
    public:
        explicit Turn(Database& database) : m_place(database), m_lease(database.read()) {}
        operator DatabaseConnection&() const { return m_lease; }

    private:
        struct Place {
            explicit Place(Database& database);
            Place(const Place&) = delete;
            Place& operator=(const Place&) = delete;
            ~Place();
            Database& database;
        };
        Place m_place;
        Lease m_lease;
    };

    /// The writing connection, locked against other threads.
    class WriteLease {
    public:
        explicit WriteLease(Database& database) : m_lock(database.m_writing), m_connection(*database.m_writer) {}
        operator DatabaseConnection&() const { return m_connection; }

    private:
        std::unique_lock<std::mutex> m_lock;
        DatabaseConnection& m_connection;
    };

    Lease read();
    /// Waits for a turn to read. Only for a thread that holds no connection.
    Turn readInTurn() { return Turn(*this); }
    WriteLease write() { return WriteLease(*this); }

    /// Copies one state of the database into a new file, readable by its owner alone and not yet on the disk. Others go on
    /// meanwhile.
    void copyTo(const std::string& file);

private:
    void giveBack(std::unique_ptr<DatabaseConnection> connection);

    std::string m_file;
    std::mutex m_writing;
    std::unique_ptr<DatabaseConnection> m_writer; // guarded by m_writing
    std::mutex m_lending;
    std::vector<std::unique_ptr<DatabaseConnection>> m_idle; // guarded by m_lending
    std::condition_variable m_turnEnded;
    std::size_t m_turns = 0; // guarded by m_lending
};

} // namespace kinloomd

#endif
