// SPDX-License-Identifier: MIT
#include "store/RecordCopy.h"

#include "core/Digest.h"
#include "core/Text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

namespace kinloomd {

namespace {

constexpr std::size_t PART = 1000; ///< rows; with twenty columns they are as many values as either engine takes at a time
constexpr int REMOVED_AT_ONCE = 2000;

constexpr const char* SETTINGS = "setting";
/// Settings of the place, which a service has others of elsewhere.
constexpr std::array<std::string_view, 9> OF_THE_PLACE = {
    MOVE_SETTING,   MOVED_FROM_SETTING,  MEDIA_SETTING,    MEDIA_NUMBER_SETTING, "media_endpoint",
    "media_region", "media_credentials", "signers_in_use", "schema_least",
};

using Row = std::vector<std::optional<std::string>>;

bool isOfThePlace(const TableEntry& table, const Row& row)
{
    return table.name == SETTINGS && std::find(OF_THE_PLACE.begin(), OF_THE_PLACE.end(), *row.front()) != OF_THE_PLACE.end();
}

/// "a, b, c" of the first columns.
std::string namesOf(const TableEntry& table, std::size_t columns, const char* behindEach = "")
{
    std::string names;
    for (std::size_t i = 0; i < columns; ++i)
        names += (i == 0 ? "" : ", ") + table.columns[i].name + behindEach;
    return names;
}

std::string keysOf(const TableEntry& table, const char* behindEach = "") { return namesOf(table, table.keyColumns, behindEach); }

/// "($1, $2)", beginning with another number.
std::string placeholders(std::size_t first, std::size_t count)
{
    std::string text = "(";
    for (std::size_t i = 0; i < count; ++i)
        text += (i == 0 ? "$" : ", $") + std::to_string(first + i);
    return text + ")";
}

void bindValue(PreparedStatement& statement, std::size_t index, ColumnEntry::Kind kind, const std::optional<std::string>& value)
{
    const auto place = static_cast<int>(index);
    if (!value)
        statement.bindNull(place);
    else if (kind == ColumnEntry::NUMBER)
        statement.bind(place, std::int64_t{std::stoll(*value)});
    else
        statement.bind(place, std::string_view(*value));
}

/// The rows of a table in the order of their keys.
class RowReader {
public:
    /// \param behind the key of the row to begin behind; empty begins with the first
    RowReader(Database& database, const TableEntry& table, Row behind = {})
        : m_database(database), m_table(table), m_behind(std::move(behind))
    {
    }

    /// The next rows; none at the end.
    std::vector<Row> next()
    {
        std::vector<Row> rows;
        while (rows.empty() && !m_ended)
            readPart(rows);
        return rows;
    }

    std::int64_t repaired() const { return m_repaired; }

private:
    void readPart(std::vector<Row>& rows)
    {
        const auto connection = m_database.read();
        const auto statement = connection->statement(
            "SELECT " + namesOf(m_table, m_table.columns.size()) + " FROM " + m_table.name +
            (m_behind.empty() ? "" : " WHERE (" + keysOf(m_table) + ") > " + placeholders(1, m_table.keyColumns)) + " ORDER BY " +
            keysOf(m_table) + " LIMIT " + std::to_string(PART));
        const Row behind = m_behind;
        for (std::size_t i = 0; i < behind.size(); ++i)
            bindValue(*statement, i + 1, m_table.columns[i].kind, behind[i]);
        std::size_t count = 0;
        while (statement->step()) {
            ++count;
            Row row = rowIn(*statement);
            m_behind.assign(row.begin(), row.begin() + static_cast<std::ptrdiff_t>(m_table.keyColumns));
            if (isOfThePlace(m_table, row))
                continue;
            repair(row);
            rows.push_back(std::move(row));
        }
        m_ended = count < PART;
    }

    Row rowIn(const PreparedStatement& statement) const
    {
        Row row(m_table.columns.size());
        for (std::size_t i = 0; i < row.size(); ++i) {
            const auto column = static_cast<int>(i);
            if (statement.isNull(column))
                continue;
            row[i] =
                m_table.columns[i].kind == ColumnEntry::NUMBER ? std::to_string(statement.integer(column)) : statement.text(column);
        }
        return row;
    }

    void repair(Row& row)
    {
        for (auto& value : row) {
            if (value && !isText(*value)) {
                value = cleanText(*value);
                ++m_repaired;
            }
        }
    }

    Database& m_database;
    const TableEntry& m_table;
    Row m_behind;
    bool m_ended = false;
    std::int64_t m_repaired = 0;
};

/// The key of the last row; empty when there is none.
Row lastKey(Database& database, const TableEntry& table)
{
    const TextRows rows = database.read()->execute("SELECT " + keysOf(table) + " FROM " + table.name + " ORDER BY " +
                                                   keysOf(table, " DESC") + " LIMIT 1");
    return rows.empty() ? Row() : Row(rows.front().begin(), rows.front().end());
}

void insert(DatabaseConnection& connection, const TableEntry& table, const std::vector<Row>& rows)
{
    const std::size_t columns = table.columns.size();
    std::string text = "INSERT INTO " + table.name + " (" + namesOf(table, columns) + ") VALUES ";
    for (std::size_t i = 0; i < rows.size(); ++i)
        text += (i == 0 ? "" : ", ") + placeholders(i * columns + 1, columns);
    // Of a commit that was not answered they may be there; whether all are as they should be is seen at the end.
    const auto statement = connection.statement(text + " ON CONFLICT DO NOTHING");
    std::size_t index = 0;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < columns; ++i)
            bindValue(*statement, ++index, table.columns[i].kind, row[i]);
    }
    statement->run();
}

void addValue(Sha256& digest, const std::optional<std::string>& value)
{
    if (value) {
        digest.add(std::to_string(value->size()) + ":");
        digest.add(*value);
    } else {
        digest.add("-");
    }
}

std::string settingsOfThePlace()
{
    std::string names;
    for (const std::string_view name : OF_THE_PLACE)
        names.append(names.empty() ? "'" : ", '").append(name).append("'");
    return names;
}

std::int64_t lastNumberOf(Database& database, const TableEntry& table)
{
    return table.numbered ? database.read()->lastNumber(table.name) : 0;
}

/// Changes something at the target, as long as the mark there is this mover's. One that was asleep meanwhile, or cut off, finds
/// another one: by now the records may be those of a running service.
template <typename Work> auto changeMarked(Database& database, const MoveMark& mark, const Work& work)
{
    return database.change(
        [&](DatabaseConnection& connection) {
            requireMoveMark(connection, mark);
            return work(connection);
        },
        Database::Purpose::MOVE);
}

} // namespace

TableSum sumOf(Database& database, const TableEntry& table, const MoveStep& step)
{
    TableSum sum;
    sum.lastNumber = lastNumberOf(database, table);
    RowReader reader(database, table);
    Sha256 digest;
    for (auto rows = reader.next(); !rows.empty(); rows = reader.next()) {
        for (const Row& row : rows) {
            for (const auto& value : row)
                addValue(digest, value);
        }
        sum.rows += static_cast<std::int64_t>(rows.size());
        step("records looked at", static_cast<std::int64_t>(rows.size()));
    }
    sum.digest = toHex(digest.finish());
    sum.repaired = reader.repaired();
    return sum;
}

std::int64_t copyTable(Database& from, Database& to, const TableEntry& table, const MoveMark& mark, const MoveStep& step)
{
    // The target has settings of its own, so that its last one is no mark of how far it came.
    RowReader reader(from, table, table.name == SETTINGS ? Row() : lastKey(to, table));
    std::int64_t copied = 0;
    for (auto rows = reader.next(); !rows.empty(); rows = reader.next()) {
        changeMarked(to, mark, [&](DatabaseConnection& connection) { insert(connection, table, rows); });
        copied += static_cast<std::int64_t>(rows.size());
        step("records copied", static_cast<std::int64_t>(rows.size()));
    }
    if (table.numbered) {
        const std::int64_t last = lastNumberOf(from, table);
        changeMarked(to, mark, [&](DatabaseConnection& connection) { connection.setLastNumber(table.name, last); });
    }
    return copied;
}

bool isWithoutRecords(Database& database)
{
    const auto& tables = recordTables();
    return std::all_of(tables.begin(), tables.end(),
                       [&](const TableEntry& table) { return RowReader(database, table).next().empty(); });
}

void removeRecords(Database& database, const MoveMark& mark, const MoveStep& step)
{
    const auto& tables = recordTables();
    // Backwards: what refers to others goes first.
    std::for_each(tables.rbegin(), tables.rend(), [&](const TableEntry& table) {
        const std::string some = "DELETE FROM " + table.name + " WHERE (" + keysOf(table) + ") IN (SELECT " + keysOf(table) +
                                 " FROM " + table.name +
                                 (table.name == SETTINGS ? " WHERE name NOT IN (" + settingsOfThePlace() + ")" : "") + " LIMIT " +
                                 std::to_string(REMOVED_AT_ONCE) + ") RETURNING 1";
        for (bool more = true; more;) {
            const auto removed =
                changeMarked(database, mark, [&](DatabaseConnection& connection) { return connection.execute(some).size(); });
            more = removed != 0;
            step("old records removed", static_cast<std::int64_t>(removed));
        }
    });
}

} // namespace kinloomd
