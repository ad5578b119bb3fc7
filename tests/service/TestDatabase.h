// SPDX-License-Identifier: MIT
/// \file What keeps the databases of tests: SQLite in their folders, or, with KINLOOM_TEST_ENGINE=postgresql, the server whose
/// socket lies in KINLOOM_TEST_POSTGRESQL.
#ifndef TESTS_SERVICE_TESTDATABASE_H
#define TESTS_SERVICE_TESTDATABASE_H

#include <string>
#include <vector>

/// Leaves out a test of what only the other engine has.
#define SKIP_ON_POSTGRESQL(why)                                                                                                    \
    if (kinloomd_test::onPostgresql())                                                                                             \
    GTEST_SKIP() << (why)

namespace kinloomd_test {

bool onPostgresql();

/// Where the database of a data folder is: a file in it, or the address of one of its own on the server, which is made when it is
/// asked for first.
std::string databaseOf(const std::string& dataFolder);
/// Gives up the databases of a folder and of all in it.
void dropDatabasesOf(const std::string& folder);

/// Runs a statement on the database of a data folder.
void runSql(const std::string& dataFolder, const std::string& statement);

/// Cuts the database of a data folder off, or lets it be reached again. On the server alone.
void setReachable(const std::string& dataFolder, bool reachable);

/// What a command must be told beside its folder: "--database ADDRESS", or nothing.
std::vector<std::string> databaseArguments(const std::string& dataFolder);

} // namespace kinloomd_test

#endif
