// SPDX-License-Identifier: MIT
/// \file A connection to the database, its statements and transactions, whichever engine keeps the database. What fails throws
/// DatabaseError.
#ifndef KINLOOMD_STORE_CONNECTION_H
#define KINLOOMD_STORE_CONNECTION_H

#include "store/DatabaseError.h" // IWYU pragma: export
#include "store/Sql.h"           // IWYU pragma: export

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kinloomd {

/// A statement that an engine has prepared. Parameters count from 1, columns from 0.
class PreparedStatement {
public:
    PreparedStatement() = default;
    PreparedStatement(const PreparedStatement&) = delete;
    PreparedStatement& operator=(const PreparedStatement&) = delete;
    virtual ~PreparedStatement() = default;

    virtual void bind(int index, std::int64_t value) = 0;
    /// The text must outlive the use of the statement.
    virtual void bind(int index, std::string_view value) = 0;
    virtual void bindNull(int index) = 0;
    /// Moves to the next row. \return false when there is none.
    virtual bool step() = 0;
    /// Runs it to its end. \return the number of rows changed.
    virtual int run() = 0;
    virtual std::int64_t integer(int column) const = 0;
    virtual std::string text(int column) const = 0;
    virtual bool isNull(int column) const = 0;
    /// Ends its use, and forgets what was bound.
    virtual void reset() noexcept = 0;
};

/// The rows of a statement as texts; empty where there is nothing.
using TextRows = std::vector<std::vector<std::string>>;

/// A connection, used by one thread at a time.
class DatabaseConnection {
public:
    /// What a transaction is for.
    enum class Purpose {
        READ,  ///< it sees one state of the database
        WRITE, ///< it sees, statement by statement, what others have committed and what it has written itself; it is refused with
               ///< DatabaseReadOnly while the records are moved, and once their media were (store/Moving.h)
        MOVE,  ///< the same for those who move records or make tables: it is never refused
        ALONE, ///< the same as MOVE; it waits until every change that was begun before has ended, and lets none begin meanwhile
    };

    DatabaseConnection() = default;
    DatabaseConnection(const DatabaseConnection&) = delete;
    DatabaseConnection& operator=(const DatabaseConnection&) = delete;
    virtual ~DatabaseConnection() = default;

    virtual void begin(Purpose purpose) = 0;
    /// Returns when the changes are on the disk.
    virtual void commit() = 0;
    virtual void rollback() noexcept = 0;

    /// The number of the place of media that changes are made for; nullptr where that is the same to them.
    const std::string* mediaNumber() const { return m_mediaNumber; }
    /// \param number borrowed, for the life of the connection
    void setMediaNumber(const std::string* number) noexcept { m_mediaNumber = number; }

    /// \return whether one statement can write to several tables.
    virtual bool writesToManyTables() const = 0;

    /// Runs statements that stand in no table: those of the schema and of tests. \return the rows that they give.
    virtual TextRows execute(const std::string& text) = 0;
    /// Prepares a statement that stands in no table, whose parameters are $1, $2 and so on in this order. It must end before the
    /// connection is given back.
    virtual std::unique_ptr<PreparedStatement> statement(const std::string& text) = 0;

    /// The last number that a table has given to a row; 0 for none. For tables that number their rows.
    virtual std::int64_t lastNumber(const std::string& table) = 0;
    virtual void setLastNumber(const std::string& table, std::int64_t number) = 0;

protected:
    virtual std::unique_ptr<PreparedStatement> prepare(Sql sql) = 0;
    /// For an engine whose statements must end before its connection.
    void forgetStatements() { m_statements = {}; }

private:
    friend class Query;

    std::array<std::unique_ptr<PreparedStatement>, static_cast<std::size_t>(Sql::COUNT)> m_statements;
    const std::string* m_mediaNumber = nullptr;
};

/// How many statements of the table this thread has run since it was asked last. Beginnings and ends of transactions do not count.
std::uint64_t takeStatementCount();

/// One use of a prepared statement. The statement goes back to its connection, reset, at the end of its life. Texts bound to it
/// must outlive it.
class Query {
public:
    Query(DatabaseConnection& connection, Sql sql)
        : m_place(connection.m_statements[static_cast<std::size_t>(sql)]), m_statement(std::move(m_place))
    {
        if (!m_statement)
            m_statement = connection.prepare(sql);
        count();
    }
    ~Query()
    {
        m_statement->reset();
        m_place = std::move(m_statement);
    }
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
    bool step() { return m_statement->step(); }
    /// Runs a statement that gives no rows. \return the number of rows changed.
    int run() { return m_statement->run(); }

    std::int64_t integer(int column) const { return m_statement->integer(column); }
    std::string text(int column) const { return m_statement->text(column); }
    bool isNull(int column) const { return m_statement->isNull(column); }

private:
    static void count();
    /// Throws NotText for bytes that not every engine takes.
    static void requireText(std::string_view value);

    void bindOne(int index, std::int64_t value) { m_statement->bind(index, value); }
    void bindOne(int index, int value) { m_statement->bind(index, std::int64_t{value}); }
    void bindOne(int index, const std::string& value)
    {
        requireText(value);
        m_statement->bind(index, std::string_view(value));
    }
    void bindOne(int index, const char* value) { m_statement->bind(index, std::string_view(value)); }
    void bindOne(int index, std::nullptr_t) { m_statement->bindNull(index); }
    void bindOne(int index, const std::optional<std::int64_t>& value)
    {
        if (value)
            m_statement->bind(index, *value);
        else
            m_statement->bindNull(index);
    }

    std::unique_ptr<PreparedStatement>& m_place;
    std::unique_ptr<PreparedStatement> m_statement;
};

/// A transaction, undone unless committed. Whoever changes something for good uses Database::change, which knows what to do when
/// the engine wants it once more.
class Transaction {
public:
    explicit Transaction(DatabaseConnection& connection, DatabaseConnection::Purpose purpose = DatabaseConnection::Purpose::WRITE)
        : m_connection(connection)
    {
        connection.begin(purpose);
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction()
    {
        if (m_open)
            m_connection.rollback();
    }

    /// Returns when the changes are on the disk. A failure throws an error that may be done.
    void commit();

private:
    DatabaseConnection& m_connection;
    bool m_open = true;
};

/// Several queries that see one state of the database.
class Snapshot {
public:
    explicit Snapshot(DatabaseConnection& connection) : m_connection(connection)
    {
        connection.begin(DatabaseConnection::Purpose::READ);
    }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    ~Snapshot() { m_connection.rollback(); } // nothing was written

private:
    DatabaseConnection& m_connection;
};

} // namespace kinloomd

#endif
