// SPDX-License-Identifier: MIT
// Records copied between databases, from each engine to each.
#include "store/RecordCopy.h"
#include "store/Moving.h"
#include "store/People.h"

#include "KinloomdProcess.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

namespace {

using namespace kinloomd;
using kinloomd_test::databaseOf;
using kinloomd_test::onPostgresql;
using kinloomd_test::TemporaryFolder;

/// A row or more of each table, with what can be nothing there and not there.
constexpr const char* SOME_ROWS[] = {
    "INSERT INTO setting VALUES ('media_secret', 'secret'), ('media', 's3://a'), ('signers_in_use', '')",
    "INSERT INTO entity (id, kind) VALUES (1, 1), (2, 1), (3, 2), (4, 3), (5, 4), (6, 5), (7, 3)",
    "INSERT INTO person VALUES (1, 'Anna', '555', 1000, 2, 0, 10), (2, 'B\xc3\xa9n', '', 2000, 0, 1, 0)",
    "INSERT INTO device VALUES (4, 1, 'annas', 'app', 'hash-a', 1100, 1200, 1300, 0, 'tv'), "
    "(7, 2, 'bens', 'app', 'hash-b', 2100, NULL, NULL, 1, '')",
    "INSERT INTO signer VALUES ('127.0.0.1', 'annas', 1), ('127.0.0.1', 'bens', 2), ('::1', 'annas', 3)",
    "INSERT INTO family (id, name, description, master_id, created, total_count, media_epoch, last_upload) "
    "VALUES (3, 'Family', 'it''s $1 and ?2', 1, 3000, 1, 5, 4000)",
    "INSERT INTO member VALUES (1, 3, 'family', 3000, 4000), (2, 3, 'family', 3000, 4000)",
    "INSERT INTO content (id, group_id, creator_id, state, type, reserved, announced_size, description, digest, device_id) "
    "VALUES (4, 3, 1, 1, 1, 3900, NULL, 'a photo', 'digest', 4), (7, 3, 2, 0, 1, 3900, 10, '', NULL, NULL)",
    "INSERT INTO comment VALUES (5, 4, 1, 'a\n\"comment\"', 4100, 0)",
    "INSERT INTO event VALUES (6, 4, 2, 'an event', '', '', 1, -2, 9007199254740993)",
    "INSERT INTO trash VALUES (9, 1, 2, NULL, NULL, 1, 5000), (11, 3, 4, 3, 4, NULL, 5001)",
    "INSERT INTO set_aside (trash_id, person_id, group_id, name_key, created, used) VALUES (9, 2, 3, 'k', 1, 2)",
    "INSERT INTO session VALUES (2, 1, 'key', 'Browser', '::1', 1, 2)",
    "INSERT INTO invitation VALUES (3, 'key', 'Carla', NULL, 3, 1, 9, 0), (4, 'key 2', 'Anna', 1, NULL, NULL, 9, 1)",
    "INSERT INTO pairing VALUES (5, 'key', 'BCDF', 'tv', '::1', '::', 1, 2, 3, 1, 1), (6, 'k', 'GHJK', '', '', '', 1, 2, 3, 0, "
    "NULL)",
    "INSERT INTO guess VALUES (8, '::', 1, 7)",
    "INSERT INTO change VALUES (20, 1, 3, 4, 0, 1), (21, 2, 3, 4, 5, 2)",
};

void nothing(const char*, std::int64_t) {}

class RecordCopy : public ::testing::Test {
protected:
    /// A file, or where the engine of this run keeps databases.
    std::string place(const std::string& name, bool file)
    {
        std::filesystem::create_directory(m_folder / name);
        return file ? m_folder / (name + ".db") : databaseOf(m_folder / name);
    }

    static void fill(Database& database)
    {
        const auto connection = database.write();
        for (const char* const statement : SOME_ROWS)
            connection->execute(statement);
        for (const TableEntry& table : recordTables()) {
            if (table.numbered)
                connection->setLastNumber(table.name, 100);
        }
        // Nothing was numbered yet, ever.
        connection->execute("DELETE FROM guess");
        connection->setLastNumber("guess", 0);
        // More than come at a time.
        for (int i = 0; i < 2500; i += 500) {
            std::string rows;
            for (int j = i; j < i + 500; ++j)
                rows += (rows.empty() ? "(" : ", (") + std::to_string(1000 + j) + ", 'duid " + std::to_string(j % 50) + "', 5)";
            connection->execute("INSERT INTO signer SELECT * FROM (VALUES " + rows + ") AS v");
        }
    }

    static void expectSame(Database& from, Database& to)
    {
        for (const TableEntry& table : recordTables()) {
            const TableSum here = sumOf(from, table, nothing);
            const TableSum there = sumOf(to, table, nothing);
            EXPECT_EQ(here.rows, there.rows) << table.name;
            EXPECT_EQ(here.lastNumber, there.lastNumber) << table.name;
            EXPECT_EQ(here.digest, there.digest) << table.name;
        }
    }

    static std::int64_t copyAll(Database& from, Database& to, const MoveStep& step = nothing)
    {
        std::int64_t rows = 0;
        for (const TableEntry& table : recordTables())
            rows += copyTable(from, to, table, {}, step);
        return rows;
    }

    TemporaryFolder m_folder;
};

TEST_F(RecordCopy, KnowsEveryTableAndColumn)
{
    Database database(place("a", false));
    const auto connection = database.read();
    std::set<std::string> real;
    if (onPostgresql()) {
        for (const auto& row : connection->execute(
                 "SELECT c.table_name, c.column_name, c.data_type, c.is_identity, coalesce(k.ordinal_position, 0) "
                 "FROM information_schema.columns c LEFT JOIN information_schema.key_column_usage k ON k.table_name = c.table_name "
                 "AND k.table_schema = c.table_schema AND k.column_name = c.column_name AND k.constraint_name = c.table_name || "
                 "'_pkey' "
                 "WHERE c.table_schema = current_schema() AND c.table_name <> 'schema_version'"))
            real.insert(row[0] + "." + row[1] + (row[2] == "text" ? " text" : "") + (row[3] == "YES" ? " numbered" : "") +
                        (row[4] != "0" ? " key" : ""));
    } else {
        for (const auto& table : connection->execute("SELECT name, sql FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                                                     "'sqlite_%'")) {
            for (const auto& column : connection->execute("PRAGMA table_info(" + table[0] + ")")) {
                const bool key = column[5] != "0";
                const bool numbered = key && table[1].find("AUTOINCREMENT") != std::string::npos;
                real.insert(table[0] + "." + column[1] + (column[2] == "TEXT" ? " text" : "") + (numbered ? " numbered" : "") +
                            (key ? " key" : ""));
            }
        }
    }
    std::set<std::string> known;
    for (const TableEntry& table : recordTables()) {
        for (std::size_t i = 0; i < table.columns.size(); ++i) {
            const bool key = i < table.keyColumns;
            known.insert(table.name + "." + table.columns[i].name + (table.columns[i].kind == ColumnEntry::TEXT ? " text" : "") +
                         (key && table.numbered ? " numbered" : "") + (key ? " key" : ""));
        }
    }
    EXPECT_EQ(known, real);
}

TEST_F(RecordCopy, BringsEveryRowToEachEngineFromEach)
{
    for (const bool fromFile : {false, true}) {
        for (const bool toFile : {false, true}) {
            const std::string name = std::to_string(int{fromFile}) + std::to_string(int{toFile});
            Database from(place("from" + name, fromFile));
            Database to(place("to" + name, toFile));
            EXPECT_TRUE(isWithoutRecords(to));
            fill(from);
            EXPECT_GT(copyAll(from, to), 2500);
            EXPECT_FALSE(isWithoutRecords(to));
            expectSame(from, to);
            EXPECT_EQ(findSetting(to.read(), "media_secret"), "secret");
            EXPECT_EQ(findSetting(to.read(), "media"), "") << "each place has media of its own";
            EXPECT_EQ(copyAll(from, to), 1) << "the settings come each time";
            // Numbers go on where they were.
            to.change([](DatabaseConnection& connection) { EXPECT_EQ(addPerson(connection, "New", "").id, 101); });
            const TableSum before = sumOf(from, recordTables().at(2), nothing);
            EXPECT_NE(before, sumOf(to, recordTables().at(2), nothing));
        }
    }
}

TEST_F(RecordCopy, GoesOnWhereItWas)
{
    Database from(place("from", false));
    fill(from);
    int whole = 0;
    for (int last = 1; whole == 0; ++last) {
        Database to(place("to" + std::to_string(last), false));
        int steps = 0;
        try {
            copyAll(from, to, [&](const char*, std::int64_t) {
                if (++steps == last)
                    throw std::runtime_error("stopped");
            });
            whole = last;
        } catch (const std::runtime_error&) {
            copyAll(from, to);
        }
        expectSame(from, to);
    }
    EXPECT_GT(whole, 17);
}

TEST_F(RecordCopy, TellsARowThatIsNotTheSame)
{
    Database from(place("from", false));
    fill(from);
    for (const char* const change :
         {"UPDATE content SET digest = NULL WHERE id = 4", "UPDATE content SET announced_size = 0 WHERE id = 4",
          "UPDATE comment SET text = text || ' '", "DELETE FROM session", "INSERT INTO setting VALUES ('new', '')",
          "UPDATE person SET phone = name, name = phone WHERE id = 1"}) {
        Database to(place(std::to_string(reinterpret_cast<std::uintptr_t>(change)), false));
        copyAll(from, to);
        to.write()->execute(change);
        bool same = true;
        for (const TableEntry& table : recordTables())
            same = same && sumOf(from, table, nothing) == sumOf(to, table, nothing);
        EXPECT_FALSE(same) << change;
    }
}

TEST_F(RecordCopy, RemovesWhatIsThereButTheMark)
{
    Database database(place("a", false));
    fill(database);
    const MoveMark mark{MoveState::ARRIVING, "1", "2", "3", "there"};
    database.change([&](DatabaseConnection& connection) { setMoveMark(connection, mark); });
    removeRecords(database, mark, nothing);
    EXPECT_EQ(findMoveMark(database.read()).place, "there");
    database.change([](DatabaseConnection& connection) { setMoveMark(connection, {}); }, Database::Purpose::ALONE);
    EXPECT_TRUE(isWithoutRecords(database));
}

TEST_F(RecordCopy, ChangesNothingBehindTheMarkOfAnotherMover)
{
    Database from(place("from", false));
    fill(from);
    Database to(place("to", false));
    const MoveMark mine{MoveState::ARRIVING, "1", "mine", "3", "there"};
    MoveMark mark = mine;
    const auto setMark = [&](const std::string& mover) {
        mark.mover = mover;
        to.change([&](DatabaseConnection& connection) { setMoveMark(connection, mark); }, Database::Purpose::ALONE);
    };
    setMark("mine");
    for (const TableEntry& table : recordTables())
        copyTable(from, to, table, mine, nothing);
    expectSame(from, to);
    // Another one has gone on, and now the records are in use.
    setMark("another's");
    to.write()->execute("DELETE FROM comment");
    for (const TableEntry& table : recordTables()) {
        if (table.numbered)
            to.write()->setLastNumber(table.name, 200);
    }
    const auto sums = [&] {
        std::vector<TableSum> all;
        for (const TableEntry& table : recordTables())
            all.push_back(sumOf(to, table, nothing));
        return all;
    };
    const std::vector<TableSum> before = sums();
    for (const MoveState state : {MoveState::ARRIVING, MoveState::NONE}) {
        mark.state = state;
        setMark("another's");
        for (const TableEntry& table : recordTables()) {
            if (table.numbered || table.name == "comment") {
                EXPECT_THROW(copyTable(from, to, table, mine, nothing), std::runtime_error) << table.name;
            }
        }
        EXPECT_THROW(removeRecords(to, mine, nothing), std::runtime_error);
        EXPECT_TRUE(sums() == before);
    }
}

TEST_F(RecordCopy, MakesTextOfBytesThatAreNone)
{
    const std::string file = place("from", true);
    Database from(file);
    fill(from);
    {
        SQLite::Database raw(file, SQLite::OPEN_READWRITE, 10'000);
        raw.exec("UPDATE comment SET text = CAST(x'41ff42' AS TEXT)");
        raw.exec("UPDATE family SET name = CAST(x'410042' AS TEXT)");
    }
    Database to(place("to", false));
    copyAll(from, to);
    expectSame(from, to);
    std::int64_t repaired = 0;
    for (const TableEntry& table : recordTables())
        repaired += sumOf(from, table, nothing).repaired;
    EXPECT_EQ(repaired, 2);
    EXPECT_EQ(to.read()->execute("SELECT text FROM comment").at(0).at(0), "A\xef\xbf\xbd"
                                                                          "B");
}

} // namespace
