// SPDX-License-Identifier: MIT
#include "TestDatabase.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstdio>
#include <cstdlib>
#include <libpq-fe.h>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <unistd.h>

namespace kinloomd_test {

namespace {

std::string serverFolder()
{
    const char* const folder = std::getenv("KINLOOM_TEST_POSTGRESQL");
    if (folder == nullptr)
        throw std::runtime_error("KINLOOM_TEST_POSTGRESQL names no server's folder");
    return folder;
}

std::string addressOf(const std::string& name) { return "postgresql:///" + name + "?user=kinloom&host=" + serverFolder(); }

void runOnServer(const std::string& address, const std::string& sql)
{
    const std::unique_ptr<PGconn, decltype(&PQfinish)> connection(PQconnectdb(address.c_str()), &PQfinish);
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(connection.get(), sql.c_str()), &PQclear);
    if (PQresultStatus(result.get()) != PGRES_COMMAND_OK && PQresultStatus(result.get()) != PGRES_TUPLES_OK)
        throw std::runtime_error(sql + ": " + PQerrorMessage(connection.get()));
}

/// The databases of this process, by their folders.
class Databases {
public:
    std::string nameFor(const std::string& folder)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::string& name = m_names[folder];
        if (name.empty()) {
            const std::string next = "test_" + std::to_string(::getpid()) + "_" + std::to_string(++m_count);
            runOnServer(addressOf("postgres"), "CREATE DATABASE " + next + " TEMPLATE kinloom_template");
            name = next;
        }
        return name;
    }

    void drop(const std::string& folder)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const std::string within = folder + "/";
        for (auto entry = m_names.begin(); entry != m_names.end();) {
            if ((entry->first + "/").compare(0, within.size(), within) != 0) {
                ++entry;
                continue;
            }
            runOnServer(addressOf("postgres"), "DROP DATABASE " + entry->second + " WITH (FORCE)");
            entry = m_names.erase(entry);
        }
    }

private:
    std::mutex m_mutex;
    std::map<std::string, std::string> m_names;
    int m_count = 0;
};

Databases& databases()
{
    static Databases all;
    return all;
}

} // namespace

bool onPostgresql()
{
    const char* const engine = std::getenv("KINLOOM_TEST_ENGINE");
    return engine != nullptr && std::string(engine) == "postgresql";
}

std::string databaseOf(const std::string& dataFolder)
{
    return onPostgresql() ? addressOf(databases().nameFor(dataFolder)) : dataFolder + "/kinloomd.db";
}

void dropDatabasesOf(const std::string& folder)
{
    if (!onPostgresql())
        return;
    try {
        databases().drop(folder);
    } catch (const std::exception& error) {
        // At the end of a test; the server goes soon, and they with it.
        std::fprintf(stderr, "databases of %s are left: %s\n", folder.c_str(), error.what());
    }
}

void runSql(const std::string& dataFolder, const std::string& statement)
{
    if (onPostgresql())
        runOnServer(databaseOf(dataFolder), statement);
    else
        SQLite::Database(databaseOf(dataFolder), SQLite::OPEN_READWRITE, 10'000).exec(statement);
}

void setReachable(const std::string& dataFolder, bool reachable)
{
    const std::string name = databases().nameFor(dataFolder);
    const std::string server = addressOf("postgres");
    runOnServer(server, "ALTER DATABASE " + name + " ALLOW_CONNECTIONS " + (reachable ? "true" : "false"));
    if (!reachable)
        runOnServer(server, "SELECT pg_terminate_backend(pid, 5000) FROM pg_stat_activity WHERE datname = '" + name + "'");
}

std::vector<std::string> databaseArguments(const std::string& dataFolder)
{
    return onPostgresql() ? std::vector<std::string>{"--database", databaseOf(dataFolder)} : std::vector<std::string>();
}

} // namespace kinloomd_test
