// SPDX-License-Identifier: MIT
/// \file A connection to a database that PostgreSQL keeps, or one that speaks as it does.
#ifndef KINLOOMD_STORE_POSTGRESQL_POSTGRESQLCONNECTION_H
#define KINLOOMD_STORE_POSTGRESQL_POSTGRESQLCONNECTION_H

#include "store/Connection.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

struct pg_conn;
struct pg_result;

namespace kinloomd {

/// Every wait has an end: a connection that does not answer in time is closed, and what was asked for throws DatabaseUnavailable.
/// Results are read whole, so that what is given up in the midst leaves nothing behind: lists that can be long are read in parts.
class PostgresqlConnection : public DatabaseConnection {
public:
    /// The longest that a change of the database can take until it is seen by others or undone, however slowly its parts go.
    static constexpr std::chrono::seconds LONGEST_CHANGE{60};

    /// Connects. \param address as libpq takes it: "postgresql://..."
    explicit PostgresqlConnection(const std::string& address);
    ~PostgresqlConnection() override;

    void begin(Purpose purpose) override;
    void commit() override;
    void rollback() noexcept override;
    bool writesToManyTables() const override { return true; }
    TextRows execute(const std::string& text) override;
    std::unique_ptr<PreparedStatement> statement(const std::string& text) override;
    std::int64_t lastNumber(const std::string& table) override;
    void setLastNumber(const std::string& table, std::int64_t number) override;

    /// \return whether the connection can be used for something new. Looks whether the other side has closed it; asks nothing.
    bool isUsable() noexcept;

    struct FreeResult {
        void operator()(pg_result* result) const;
    };
    using Result = std::unique_ptr<pg_result, FreeResult>;

    /// A value on its way: text, or nothing.
    struct Parameter {
        unsigned type = 0; ///< as PostgreSQL numbers them; 0 lets it find out
        bool null = true;
        std::string text;
    };
    /// Runs a statement of the table.
    Result run(Sql sql, const std::vector<Parameter>& parameters);
    /// Runs a statement that stands in no table.
    Result run(const std::string& text, const std::vector<Parameter>& parameters);

protected:
    std::unique_ptr<PreparedStatement> prepare(Sql sql) override;

private:
    using Clock = std::chrono::steady_clock;

    void prepareOnServer(Sql sql, const std::vector<Parameter>& parameters);
    void requireSent(int sent);
    Result await(std::chrono::milliseconds time);
    void awaitSocket(bool writing, Clock::time_point end);
    [[noreturn]] void giveUp(const std::string& why);
    [[noreturn]] void throwLost();
    [[noreturn]] void throwFailure(const pg_result* result);
    void endTransaction() noexcept;

    struct Finish {
        void operator()(pg_conn* connection) const;
    };
    std::unique_ptr<pg_conn, Finish> m_connection; ///< nothing once it is lost
    std::array<bool, static_cast<std::size_t>(Sql::COUNT)> m_prepared{};
    Clock::time_point m_transactionEnds = Clock::time_point::max();
    bool m_inTransaction = false;
    bool m_committing = false;
};

} // namespace kinloomd

#endif
