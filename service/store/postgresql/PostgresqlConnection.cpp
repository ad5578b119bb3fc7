// SPDX-License-Identifier: MIT
#include "store/postgresql/PostgresqlConnection.h"

#include "store/Moving.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <functional>
#include <libpq-fe.h>
#include <poll.h>
#include <string_view>

namespace kinloomd {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds STATEMENT_TIME{10'000};
constexpr milliseconds WHOLE_TABLE_TIME{60'000}; ///< of the administrator's commands
constexpr milliseconds TRANSACTION_TIME{20'000};
constexpr milliseconds ROLLBACK_TIME{2'000}; ///< a connection that takes longer is given up, and with it what was begun

// Types as PostgreSQL numbers them.
constexpr unsigned INT8_TYPE = 20;
constexpr unsigned TEXT_TYPE = 25;

struct ConnectionOption {
    const char* name;
    const char* value;
};

// Where the address says otherwise, it counts. A line that is dead is noticed within half a minute.
constexpr ConnectionOption DEFAULTS[] = {
    {"connect_timeout", "5"},  {"keepalives", "1"},           {"keepalives_idle", "10"},        {"keepalives_interval", "5"},
    {"keepalives_count", "3"}, {"tcp_user_timeout", "20000"}, {"application_name", "kinloomd"},
    // After those of the address, so that they count.
};
constexpr ConnectionOption SETTLED[] = {
    {"client_encoding", "UTF8"},
};

// What a program leaves behind that ends or hangs ends too, and with it the locks that it holds. Set by a statement, since what
// stands between a service and its database need not pass on more than that.
constexpr const char* SESSION = "SET statement_timeout = '30s'; SET lock_timeout = '5s'; "
                                "SET idle_in_transaction_session_timeout = '15s'; SET default_transaction_isolation = "
                                "'read committed'; SET standard_conforming_strings = on";

enum class Trouble { UNDONE, BUSY, LOST, FULL };

struct StateEntry {
    std::string_view state; ///< or how it begins
    Trouble trouble;
};

constexpr StateEntry STATES[] = {
    {"40001", Trouble::UNDONE},                                                 // others were in the way
    {"40P01", Trouble::UNDONE},                                                 // each waited for the other
    {"55P03", Trouble::BUSY},                                                   // a lock was not had in time
    {"57014", Trouble::BUSY},                                                   // the statement took too long
    {"53100", Trouble::FULL},   {"53", Trouble::BUSY}, {"57P0", Trouble::LOST}, // the server ends, or begins
    {"08", Trouble::LOST},                                                      // the line
    {"25006", Trouble::LOST}, // this server only reads any more: another one may write
    {"26000", Trouble::LOST}, // somebody between has given the statements to others
};

std::string messageOf(const char* message)
{
    std::string sentence = message == nullptr || *message == 0 ? "the database does not answer" : message;
    std::replace(sentence.begin(), sentence.end(), '\n', ' ');
    return sentence.substr(0, sentence.find_last_not_of(' ') + 1);
}

/// Keeps its rows until it is used again.
class PostgresqlStatement : public PreparedStatement {
public:
    using Run = std::function<PostgresqlConnection::Result(const std::vector<PostgresqlConnection::Parameter>&)>;
    explicit PostgresqlStatement(Run run) : m_run(std::move(run)) {}

    void bind(int index, std::int64_t value) override { parameter(index) = {INT8_TYPE, false, std::to_string(value)}; }
    void bind(int index, std::string_view value) override { parameter(index) = {TEXT_TYPE, false, std::string(value)}; }
    void bindNull(int index) override { parameter(index) = {}; }

    bool step() override
    {
        if (!m_result)
            m_result = m_run(m_parameters);
        return ++m_row < PQntuples(m_result.get());
    }

    int run() override
    {
        m_result = m_run(m_parameters);
        const std::string_view count = PQcmdTuples(m_result.get());
        int changed = 0;
        std::from_chars(count.data(), count.data() + count.size(), changed);
        return changed;
    }

    std::int64_t integer(int column) const override
    {
        const std::string_view digits = value(column);
        std::int64_t number = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
        return number;
    }

    std::string text(int column) const override { return std::string(value(column)); }
    bool isNull(int column) const override { return PQgetisnull(m_result.get(), m_row, column) != 0; }

    void reset() noexcept override
    {
        m_result.reset();
        m_parameters.clear();
        m_row = -1;
    }

private:
    PostgresqlConnection::Parameter& parameter(int index)
    {
        const auto place = static_cast<std::size_t>(index) - 1;
        if (m_parameters.size() <= place)
            m_parameters.resize(place + 1);
        return m_parameters[place];
    }

    std::string_view value(int column) const
    {
        return {PQgetvalue(m_result.get(), m_row, column), static_cast<std::size_t>(PQgetlength(m_result.get(), m_row, column))};
    }

    Run m_run;
    std::vector<PostgresqlConnection::Parameter> m_parameters;
    PostgresqlConnection::Result m_result;
    int m_row = -1;
};

/// Parameters as libpq takes them. Borrows their texts.
struct Values {
    explicit Values(const std::vector<PostgresqlConnection::Parameter>& parameters)
    {
        types.reserve(parameters.size());
        texts.reserve(parameters.size());
        for (const PostgresqlConnection::Parameter& parameter : parameters) {
            types.push_back(parameter.type);
            texts.push_back(parameter.null ? nullptr : parameter.text.c_str());
        }
    }

    std::vector<Oid> types;
    std::vector<const char*> texts;
};

std::string nameOnServer(Sql sql) { return "kinloomd_" + std::to_string(static_cast<std::size_t>(sql)); }

/// The statements that a transaction begins with, in one go. Each change has read the table in which the marks of moves stand, and
/// so holds a lock on the table, which keeps out nobody but those who want the table alone: these have waited for all changes.
std::string beginningOf(DatabaseConnection::Purpose purpose)
{
    const std::string change = "BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE";
    switch (purpose) {
    case DatabaseConnection::Purpose::READ:
        return "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY";
    case DatabaseConnection::Purpose::WRITE:
        return change + "; " + CHANGE_MARKS_QUERY;
    case DatabaseConnection::Purpose::MOVE:
        return change;
    case DatabaseConnection::Purpose::ALONE:
        break;
    }
    return change +
           "; SET LOCAL lock_timeout = '45s'; SET LOCAL statement_timeout = '45s'; LOCK TABLE setting IN ACCESS EXCLUSIVE MODE";
}

void ignoreNotice(void*, const PGresult*) {}

} // namespace

void PostgresqlConnection::FreeResult::operator()(pg_result* result) const { PQclear(result); }

void PostgresqlConnection::Finish::operator()(pg_conn* connection) const { PQfinish(connection); }

PostgresqlConnection::PostgresqlConnection(const std::string& address)
{
    std::vector<const char*> names;
    std::vector<const char*> values;
    const auto add = [&](const char* name, const char* value) {
        names.push_back(name);
        values.push_back(value);
    };
    for (const ConnectionOption& option : DEFAULTS)
        add(option.name, option.value);
    add("dbname", address.c_str());
    for (const ConnectionOption& option : SETTLED)
        add(option.name, option.value);
    add(nullptr, nullptr);
    m_connection.reset(PQconnectdbParams(names.data(), values.data(), 1));
    if (PQstatus(m_connection.get()) != CONNECTION_OK)
        throwLost();
    PQsetNoticeReceiver(m_connection.get(), &ignoreNotice, nullptr);
    if (PQsetnonblocking(m_connection.get(), 1) != 0)
        throwLost();
    // The server may stand still since it was connected to.
    m_transactionEnds = Clock::now() + STATEMENT_TIME;
    execute(SESSION);
    m_transactionEnds = Clock::time_point::max();
}

PostgresqlConnection::~PostgresqlConnection() { forgetStatements(); }

/// Gives the connection up. What was not committed is undone, and can be done anew; of a commit that was not answered nothing is
/// known.
void PostgresqlConnection::giveUp(const std::string& why)
{
    const bool undone = m_inTransaction && !m_committing;
    m_connection.reset();
    if (undone)
        throw TransactionUndone(why);
    throw DatabaseUnavailable(why);
}

void PostgresqlConnection::throwLost() { giveUp(messageOf(m_connection ? PQerrorMessage(m_connection.get()) : nullptr)); }

void PostgresqlConnection::throwFailure(const pg_result* result)
{
    const char* const field = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    const std::string_view state = field == nullptr ? "08" : field;
    const std::string sentence = messageOf(PQresultErrorMessage(result));
    const auto* const entry = std::find_if(std::begin(STATES), std::end(STATES), [&](const StateEntry& candidate) {
        return state.substr(0, candidate.state.size()) == candidate.state;
    });
    if (entry == std::end(STATES))
        throw DatabaseError(sentence);
    switch (entry->trouble) {
    case Trouble::UNDONE:
        throw TransactionUndone(sentence);
    case Trouble::FULL:
        throw DatabaseFull(sentence);
    case Trouble::LOST:
        throwLost();
    case Trouble::BUSY:
        break;
    }
    throw DatabaseUnavailable(sentence);
}

void PostgresqlConnection::requireSent(int sent)
{
    if (sent != 1)
        throwLost();
}

/// Waits until there is something to be read, or written.
void PostgresqlConnection::awaitSocket(bool writing, Clock::time_point end)
{
    for (;;) {
        const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now()).count();
        pollfd event = {PQsocket(m_connection.get()), static_cast<short>(writing ? POLLIN | POLLOUT : POLLIN), 0};
        const int ready = left <= 0 ? 0 : ::poll(&event, 1, static_cast<int>(left) + 1);
        if (ready > 0) {
            if ((event.revents & ~POLLOUT) != 0 && PQconsumeInput(m_connection.get()) == 0)
                throwLost();
            return;
        }
        if (ready < 0 && errno == EINTR)
            continue;
        // What it would answer later nobody would wait for.
        giveUp("the database has not answered in time");
    }
}

/// The last result of what was sent.
PostgresqlConnection::Result PostgresqlConnection::await(milliseconds time)
{
    const auto end = std::min(Clock::now() + time, m_transactionEnds);
    Result last;
    for (;;) {
        const int writing = PQflush(m_connection.get());
        if (writing < 0)
            throwLost();
        if (writing > 0 || PQisBusy(m_connection.get()) != 0) {
            awaitSocket(writing > 0, end);
            continue;
        }
        Result next(PQgetResult(m_connection.get()));
        if (!next)
            break;
        // Behind a failure there is nothing but the end.
        if (!last || PQresultStatus(last.get()) != PGRES_FATAL_ERROR)
            last = std::move(next);
    }
    if (!last || PQstatus(m_connection.get()) == CONNECTION_BAD)
        throwLost();
    const ExecStatusType status = PQresultStatus(last.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK && status != PGRES_EMPTY_QUERY)
        throwFailure(last.get());
    return last;
}

void PostgresqlConnection::begin(Purpose purpose)
{
    if (!m_connection)
        throwLost();
    const bool alone = purpose == Purpose::ALONE;
    // From here on a connection that is lost takes nothing along.
    m_inTransaction = true;
    m_transactionEnds = Clock::now() + (alone ? milliseconds(LONGEST_CHANGE) : STATEMENT_TIME);
    try {
        const TextRows marks = execute(beginningOf(purpose));
        if (!alone)
            m_transactionEnds = Clock::now() + TRANSACTION_TIME;
        if (purpose == Purpose::WRITE)
            requireChangeable(marks, mediaNumber());
    } catch (...) {
        rollback();
        throw;
    }
}

void PostgresqlConnection::commit()
{
    if (!m_connection)
        throwLost();
    m_committing = true;
    // A commit has time of its own: it is what should not be given up.
    m_transactionEnds = Clock::time_point::max();
    requireSent(PQsendQuery(m_connection.get(), "COMMIT"));
    const Result result = await(STATEMENT_TIME);
    if (std::string_view(PQcmdStatus(result.get())) != "COMMIT")
        throw TransactionUndone("the transaction had failed before its end");
    endTransaction();
}

void PostgresqlConnection::rollback() noexcept
{
    endTransaction();
    if (!m_connection || PQtransactionStatus(m_connection.get()) == PQTRANS_IDLE)
        return;
    m_transactionEnds = Clock::now() + ROLLBACK_TIME;
    try {
        execute("ROLLBACK");
    } catch (const std::exception&) {
        // The server undoes what a connection leaves behind.
        m_connection.reset();
    }
    m_transactionEnds = Clock::time_point::max();
}

void PostgresqlConnection::endTransaction() noexcept
{
    m_inTransaction = false;
    m_committing = false;
    m_transactionEnds = Clock::time_point::max();
}

TextRows PostgresqlConnection::execute(const std::string& text)
{
    if (!m_connection)
        throwLost();
    requireSent(PQsendQuery(m_connection.get(), text.c_str()));
    const Result result = await(WHOLE_TABLE_TIME);
    TextRows rows(static_cast<std::size_t>(PQntuples(result.get())));
    for (std::size_t row = 0; row < rows.size(); ++row) {
        for (int column = 0; column < PQnfields(result.get()); ++column)
            rows[row].emplace_back(PQgetvalue(result.get(), static_cast<int>(row), column));
    }
    return rows;
}

bool PostgresqlConnection::isUsable() noexcept
{
    if (!m_connection || PQtransactionStatus(m_connection.get()) != PQTRANS_IDLE)
        return false;
    pollfd event = {PQsocket(m_connection.get()), POLLIN, 0};
    if (::poll(&event, 1, 0) == 0)
        return true;
    // Something unasked: a notice, or that the server ends.
    return PQconsumeInput(m_connection.get()) != 0 && PQstatus(m_connection.get()) == CONNECTION_OK && ::poll(&event, 1, 0) == 0;
}

void PostgresqlConnection::prepareOnServer(Sql sql, const std::vector<Parameter>& parameters)
{
    const Values values(parameters);
    requireSent(PQsendPrepare(m_connection.get(), nameOnServer(sql).c_str(), postgresqlTextOf(sql).c_str(),
                              static_cast<int>(values.types.size()), values.types.data()));
    await(STATEMENT_TIME);
    m_prepared[static_cast<std::size_t>(sql)] = true;
}

PostgresqlConnection::Result PostgresqlConnection::run(Sql sql, const std::vector<Parameter>& parameters)
{
    if (!m_connection)
        throwLost();
    if (!m_prepared[static_cast<std::size_t>(sql)])
        prepareOnServer(sql, parameters);
    const Values values(parameters);
    requireSent(PQsendQueryPrepared(m_connection.get(), nameOnServer(sql).c_str(), static_cast<int>(values.texts.size()),
                                    values.texts.data(), nullptr, nullptr, 0));
    return await(entryOf(sql).wholeTable ? WHOLE_TABLE_TIME : STATEMENT_TIME);
}

std::unique_ptr<PreparedStatement> PostgresqlConnection::prepare(Sql sql)
{
    return std::make_unique<PostgresqlStatement>([this, sql](const auto& parameters) { return run(sql, parameters); });
}

PostgresqlConnection::Result PostgresqlConnection::run(const std::string& text, const std::vector<Parameter>& parameters)
{
    if (!m_connection)
        throwLost();
    const Values values(parameters);
    requireSent(PQsendQueryParams(m_connection.get(), text.c_str(), static_cast<int>(values.texts.size()), values.types.data(),
                                  values.texts.data(), nullptr, nullptr, 0));
    return await(WHOLE_TABLE_TIME);
}

std::unique_ptr<PreparedStatement> PostgresqlConnection::statement(const std::string& text)
{
    return std::make_unique<PostgresqlStatement>([this, text](const auto& parameters) { return run(text, parameters); });
}

std::int64_t PostgresqlConnection::lastNumber(const std::string& table)
{
    return std::stoll(execute("SELECT CASE WHEN is_called THEN last_value ELSE 0 END FROM " + table + "_id_seq").front().front());
}

void PostgresqlConnection::setLastNumber(const std::string& table, std::int64_t number)
{
    // Its numbers begin with 1: where none was given, that is the next one.
    execute("SELECT setval('" + table + "_id_seq', " + (number > 0 ? std::to_string(number) : "1, false") + ")");
}

} // namespace kinloomd
