// SPDX-License-Identifier: MIT
#include "store/sqlite/SqliteConnection.h"

#include "store/Moving.h"

#include <sqlite3.h>

namespace kinloomd {

namespace {

constexpr int BUSY_TIMEOUT_MS = 5000;

// The write-ahead log lets readers go on beside a writer, and programs beside the service. "FULL" brings each commit to the disk
// before it counts.
constexpr const char* PRAGMAS = "PRAGMA journal_mode = WAL;"
                                "PRAGMA synchronous = FULL;"
                                "PRAGMA foreign_keys = ON;"
                                "PRAGMA trusted_schema = OFF;"
                                "PRAGMA temp_store = MEMORY;";

[[noreturn]] void throwError(int code, const std::string& what)
{
    switch (code & 0xFF) { // without what SQLite knows in detail
    case SQLITE_FULL:
        throw DatabaseFull(what);
    case SQLITE_READONLY:
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_BUSY:
        throw DatabaseUnavailable(what);
    default:
        throw DatabaseError(what);
    }
}

/// Throws what has gone wrong with a database, if something has.
void require(sqlite3* database, int code)
{
    if (code != SQLITE_OK)
        throwError(code, sqlite3_errmsg(database));
}

class SqliteStatement : public PreparedStatement {
public:
    SqliteStatement(sqlite3* database, const char* text) : m_database(database)
    {
        sqlite3_stmt* statement = nullptr;
        const int result = sqlite3_prepare_v3(database, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        m_statement.reset(statement);
        require(m_database, result);
    }

    void bind(int index, std::int64_t value) override { require(m_database, sqlite3_bind_int64(m_statement.get(), index, value)); }

    void bind(int index, std::string_view value) override
    {
        // Where there is nothing to point at, SQLite would take NULL.
        const char* const bytes = value.data() == nullptr ? "" : value.data();
        require(m_database, sqlite3_bind_text64(m_statement.get(), index, bytes, value.size(), SQLITE_STATIC, SQLITE_UTF8));
    }

    void bindNull(int index) override { require(m_database, sqlite3_bind_null(m_statement.get(), index)); }

    bool step() override
    {
        // Once more, it would begin again.
        if (m_ended)
            return false;
        const int result = sqlite3_step(m_statement.get());
        m_ended = result != SQLITE_ROW;
        if (m_ended && result != SQLITE_DONE)
            throwError(result, sqlite3_errmsg(m_database));
        return !m_ended;
    }

    int run() override
    {
        while (step()) {
        }
        return sqlite3_changes(m_database);
    }

    std::int64_t integer(int column) const override { return sqlite3_column_int64(m_statement.get(), column); }

    std::string text(int column) const override
    {
        const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(m_statement.get(), column));
        return bytes == nullptr ? std::string()
                                : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column)));
    }

    bool isNull(int column) const override { return sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL; }

    void reset() noexcept override
    {
        m_ended = false;
        sqlite3_reset(m_statement.get()); // tells once more what the last step has told
        sqlite3_clear_bindings(m_statement.get());
    }

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };

    sqlite3* m_database;
    std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
    bool m_ended = false;
};

extern "C" int takeTextRow(void* rows, int count, char** values, char**)
{
    std::vector<std::string> row;
    row.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        row.emplace_back(values[i] == nullptr ? "" : values[i]);
    static_cast<TextRows*>(rows)->push_back(std::move(row));
    return 0;
}

} // namespace

SqliteConnection::SqliteConnection(const std::string& file, int flags)
{
    sqlite3* database = nullptr;
    const int result = sqlite3_open_v2(file.c_str(), &database, flags | SQLITE_OPEN_NOFOLLOW, nullptr);
    m_database.reset(database);
    require(database, result);
    sqlite3_busy_timeout(database, BUSY_TIMEOUT_MS);
}

SqliteConnection::SqliteConnection(const std::string& file, bool create)
    : SqliteConnection(file, SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0))
{
    execute(PRAGMAS);
}

SqliteConnection::~SqliteConnection()
{
    m_marks.reset();
    forgetStatements();
}

std::unique_ptr<SqliteConnection> SqliteConnection::ofCopy(const std::string& file)
{
    return std::unique_ptr<SqliteConnection>(new SqliteConnection(file, SQLITE_OPEN_READONLY));
}

void SqliteConnection::Close::operator()(sqlite3* database) const { sqlite3_close(database); }

void SqliteConnection::begin(Purpose purpose)
{
    // One change follows the other: whoever has begun is alone.
    execute(purpose == Purpose::READ ? "BEGIN" : "BEGIN IMMEDIATE");
    if (purpose != Purpose::WRITE)
        return;
    try {
        requireChanges();
    } catch (...) {
        rollback();
        throw;
    }
}

void SqliteConnection::requireChanges()
{
    if (!m_marks)
        m_marks = statement(CHANGE_MARKS_QUERY);
    m_marks->reset(); // it may have failed in its midst
    TextRows marks;
    while (m_marks->step())
        marks.push_back({m_marks->text(0), m_marks->text(1)});
    m_marks->reset();
    requireChangeable(marks, mediaNumber());
}

void SqliteConnection::commit() { execute("COMMIT"); }

void SqliteConnection::rollback() noexcept
{
    // It fails where the failure before has ended the transaction.
    sqlite3_exec(m_database.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

TextRows SqliteConnection::execute(const std::string& text)
{
    TextRows rows;
    require(m_database.get(), sqlite3_exec(m_database.get(), text.c_str(), &takeTextRow, &rows, nullptr));
    return rows;
}

std::unique_ptr<PreparedStatement> SqliteConnection::prepare(Sql sql)
{
    return std::make_unique<SqliteStatement>(m_database.get(), textOf(sql));
}

std::unique_ptr<PreparedStatement> SqliteConnection::statement(const std::string& text)
{
    return std::make_unique<SqliteStatement>(m_database.get(), text.c_str());
}

std::int64_t SqliteConnection::lastNumber(const std::string& table)
{
    const TextRows rows = execute("SELECT seq FROM sqlite_sequence WHERE name = '" + table + "'");
    return rows.empty() ? 0 : std::stoll(rows.front().front());
}

void SqliteConnection::setLastNumber(const std::string& table, std::int64_t number)
{
    execute("DELETE FROM sqlite_sequence WHERE name = '" + table + "'; INSERT INTO sqlite_sequence (name, seq) VALUES ('" + table +
            "', " + std::to_string(number) + ")");
}

} // namespace kinloomd
