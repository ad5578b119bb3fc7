// SPDX-License-Identifier: MIT
#include "tv/index/Database.h"

#include <SQLiteCpp/Backup.h>
#include <cstdio>
#include <sqlite3.h>

namespace tv {

namespace {

constexpr int APPLICATION = 0x4b4c5456; ///< marks the file as ours
constexpr int FORM = 1;                 ///< of the tables; another one is thrown away
constexpr int BUSY_TIME = 5000;

// Identifiers have no type of their own: those that are numbers are kept as such, which is half as long and orders them as numbers.
// A content is found by its identifier in the table itself, and by its place in the index.
constexpr const char* TABLES = R"(
    CREATE TABLE owner (name TEXT NOT NULL);
    CREATE TABLE people (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, name TEXT NOT NULL);
    CREATE TABLE groups (number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, place INTEGER NOT NULL, name TEXT NOT NULL,
        description TEXT NOT NULL, master TEXT NOT NULL, master_name TEXT NOT NULL, total INTEGER NOT NULL, photos INTEGER NOT NULL,
        videos INTEGER NOT NULL, music INTEGER NOT NULL, comments INTEGER NOT NULL, complete INTEGER NOT NULL DEFAULT 0,
        marker TEXT NOT NULL DEFAULT '', marker_time INTEGER NOT NULL DEFAULT 0, oldest INTEGER NOT NULL DEFAULT 0,
        latest TEXT NOT NULL DEFAULT '', latest_time INTEGER NOT NULL DEFAULT 0, difference INTEGER NOT NULL DEFAULT 0,
        read INTEGER NOT NULL DEFAULT 0);
    CREATE TABLE contents (id PRIMARY KEY NOT NULL, grp INTEGER NOT NULL, created INTEGER NOT NULL, hidden INTEGER NOT NULL,
        uploaded INTEGER NOT NULL, width INTEGER NOT NULL, height INTEGER NOT NULL, size INTEGER NOT NULL, creator INTEGER NOT NULL,
        comments INTEGER NOT NULL, type TEXT NOT NULL, format TEXT NOT NULL, description TEXT NOT NULL) WITHOUT ROWID;
    CREATE INDEX places ON contents (grp, hidden, created, id);
)";

// The columns of an entry, in the order in which readEntry takes them.
#define COLUMNS "id, created, uploaded, width, height, size, creator, comments, type, format, description"

constexpr const char* READ = "SELECT " COLUMNS " FROM contents WHERE grp = ? AND hidden = 0 AND (created, id) <= (?, ?) "
                             "ORDER BY created DESC, id DESC LIMIT ? OFFSET ?";
constexpr const char* READ_KEYS = "SELECT created, id FROM contents WHERE grp = ? AND hidden = 0 AND (created, id) <= (?, ?) "
                                  "ORDER BY created DESC, id DESC LIMIT ? OFFSET ?";
constexpr const char* COUNT_BETWEEN = "SELECT count(*) FROM contents WHERE grp = ? AND hidden = 0 AND (created, id) <= (?, ?) "
                                      "AND (created, id) > (?, ?)";
constexpr const char* COUNT_SINCE =
    "SELECT count(*) FROM contents WHERE grp = ? AND hidden = 0 AND (created, id) <= (?, ?) AND created >= ?";
constexpr const char* BETWEEN = "SELECT " COLUMNS " FROM contents WHERE grp = ? AND hidden = ? AND (created, id) < (?, ?) "
                                "AND (created, id) >= (?, ?) ORDER BY created DESC, id DESC";
constexpr const char* KEYS = "SELECT created, id FROM contents WHERE grp = ? AND hidden = 0 ORDER BY created DESC, id DESC";
constexpr const char* FIND =
    "SELECT " COLUMNS ", hidden, (SELECT groups.id FROM groups WHERE number = grp) FROM contents WHERE id = ?";
constexpr const char* PUT =
    "INSERT OR REPLACE INTO contents (" COLUMNS ", grp, hidden) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
constexpr const char* ERASE = "DELETE FROM contents WHERE id = ?";
constexpr const char* HIDE = "UPDATE contents SET hidden = ?2 WHERE id = ?1";
constexpr const char* PUT_GROUP =
    "INSERT INTO groups (id, place, name, description, master, master_name, total, photos, videos, music, comments) "
    "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11) ON CONFLICT (id) DO UPDATE SET place = ?2, name = ?3, description = ?4, "
    "master = ?5, master_name = ?6, total = ?7, photos = ?8, videos = ?9, music = ?10, comments = ?11";
constexpr const char* GROUPS =
    "SELECT id, name, description, master, master_name, total, photos, videos, music, comments, complete, marker, marker_time, "
    "oldest, latest, latest_time, difference, read FROM groups WHERE place >= 0 ORDER BY place, number";
constexpr const char* PROGRESS = "UPDATE groups SET complete = ?, marker = ?, marker_time = ?, oldest = ?, latest = ?, "
                                 "latest_time = ?, difference = ?, read = ? WHERE id = ?";

void bindId(SQLite::Statement& statement, int place, const std::string& id)
{
    if (const auto number = numberOf(id))
        statement.bind(place, *number);
    else
        statement.bind(place, id);
}

void bindKey(SQLite::Statement& statement, int place, const Key& key)
{
    statement.bind(place, key.created);
    bindId(statement, place + 1, key.id);
}

/// The system keeps what is read often; here a megabyte is enough. A transaction stays in memory until it is committed, however
/// large it is: a disk that is full is then met where nothing is half written.
constexpr const char* MANNERS = "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA cache_size = -1024; "
                                "PRAGMA cache_spill = OFF; PRAGMA journal_size_limit = 8388608; PRAGMA temp_store = MEMORY;";

} // namespace

bool isDamage(const SQLite::Exception& error)
{
    return error.getErrorCode() == SQLITE_CORRUPT || error.getErrorCode() == SQLITE_NOTADB;
}

Database::Database(std::string path, bool alone)
    : m_path(std::move(path)),
      m_connection(m_path.empty() ? ":memory:" : m_path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, BUSY_TIME)
{
    if (alone)
        m_connection.exec("PRAGMA locking_mode = EXCLUSIVE");
    prepare();
}

Database::~Database() { m_statements.clear(); }

void Database::prepare()
{
    m_connection.exec(MANNERS);
    const auto pragma = [&](const char* sql) { return m_connection.execAndGet(sql).getInt(); };
    if (pragma("PRAGMA application_id") == APPLICATION && pragma("PRAGMA user_version") == FORM)
        return;
    // Another program's tables, or those of another version of this one: they are left to nobody.
    if (m_connection.execAndGet("SELECT count(*) FROM sqlite_master").getInt() != 0)
        throw SQLite::Exception("the index has another form", SQLITE_NOTADB);
    Transaction transaction(*this);
    m_connection.exec(TABLES);
    m_connection.exec("PRAGMA application_id = " + std::to_string(APPLICATION));
    m_connection.exec("PRAGMA user_version = " + std::to_string(FORM));
    transaction.commit();
}

void Database::removeFiles(const std::string& path)
{
    for (const char* const end : {"", "-wal", "-shm", "-journal"})
        std::remove((path + end).c_str());
}

bool Database::isSound(const std::string& path)
{
    try {
        SQLite::Database connection(path, SQLite::OPEN_READONLY, BUSY_TIME);
        connection.exec("PRAGMA cache_size = -1024");
        return connection.execAndGet("PRAGMA quick_check(1)").getString() == "ok";
    } catch (const SQLite::Exception& error) {
        return !isDamage(error);
    }
}

std::unique_ptr<Database> Database::copyInMemory()
{
    auto copy = std::make_unique<Database>(std::string());
    m_statements.clear();
    SQLite::Backup backup(copy->m_connection, m_connection);
    backup.executeStep();
    return copy;
}

SQLite::Statement& Database::use(const char* sql)
{
    auto& statement = m_statements[sql];
    if (!statement)
        statement = std::make_unique<SQLite::Statement>(m_connection, sql);
    statement->reset();
    statement->clearBindings();
    return *statement;
}

std::string Database::owner()
{
    SQLite::Statement& query = use("SELECT name FROM owner");
    const std::string owner = query.executeStep() ? query.getColumn(0).getString() : std::string();
    query.reset();
    return owner;
}

void Database::setOwner(const std::string& owner)
{
    use("DELETE FROM owner").exec();
    SQLite::Statement& statement = use("INSERT INTO owner (name) VALUES (?)");
    statement.bind(1, owner);
    statement.exec();
}

void Database::forget()
{
    m_groups.clear();
    m_people.clear();
    m_peopleNumbers.clear();
}

std::vector<GroupEntry> Database::groups()
{
    std::vector<GroupEntry> groups;
    SQLite::Statement& query = use(GROUPS);
    while (query.executeStep()) {
        const auto text = [&](int column) { return query.getColumn(column).getString(); };
        const auto number = [&](int column) { return query.getColumn(column).getInt64(); };
        GroupEntry& group = groups.emplace_back();
        group.id = text(0);
        group.name = text(1);
        group.description = text(2);
        group.master = text(3);
        group.masterName = text(4);
        group.total = number(5);
        group.photos = number(6);
        group.videos = number(7);
        group.music = number(8);
        group.comments = number(9);
        group.progress = {number(10) != 0, text(11), number(12), number(13), text(14), number(15), number(16), number(17)};
    }
    query.reset();
    return groups;
}

void Database::putGroup(const GroupEntry& group, int place)
{
    SQLite::Statement& statement = use(PUT_GROUP);
    statement.bind(1, group.id);
    statement.bind(2, place);
    statement.bind(3, group.name);
    statement.bind(4, group.description);
    statement.bind(5, group.master);
    statement.bind(6, group.masterName);
    statement.bind(7, group.total);
    statement.bind(8, group.photos);
    statement.bind(9, group.videos);
    statement.bind(10, group.music);
    statement.bind(11, group.comments);
    statement.exec();
}

void Database::putProgress(const std::string& group, const Progress& progress)
{
    SQLite::Statement& statement = use(PROGRESS);
    statement.bind(1, progress.complete ? 1 : 0);
    statement.bind(2, progress.marker);
    statement.bind(3, progress.markerTime);
    statement.bind(4, progress.oldest);
    statement.bind(5, progress.latest);
    statement.bind(6, progress.latestTime);
    statement.bind(7, progress.difference);
    statement.bind(8, progress.read);
    statement.bind(9, group);
    statement.exec();
}

std::int64_t Database::groupNumber(const std::string& group)
{
    const auto known = m_groups.find(group);
    if (known != m_groups.end())
        return known->second;
    SQLite::Statement& query = use("SELECT number FROM groups WHERE id = ?");
    query.bind(1, group);
    const std::int64_t number = query.executeStep() ? query.getColumn(0).getInt64() : -1;
    query.reset();
    if (number >= 0)
        m_groups[group] = number;
    return number;
}

void Database::beginRemoving(const std::string& group)
{
    SQLite::Statement& statement = use("UPDATE groups SET place = -1 WHERE id = ?");
    statement.bind(1, group);
    statement.exec();
}

bool Database::removeSome(const std::string& group)
{
    constexpr int SOME = 5000;
    SQLite::Statement& contents =
        use("DELETE FROM contents WHERE id IN (SELECT id FROM contents INDEXED BY places WHERE grp = ? LIMIT ?)");
    contents.bind(1, groupNumber(group));
    contents.bind(2, SOME);
    if (contents.exec() == SOME)
        return true;
    SQLite::Statement& itself = use("DELETE FROM groups WHERE id = ?");
    itself.bind(1, group);
    itself.exec();
    m_groups.erase(group);
    return false;
}

std::vector<std::string> Database::going()
{
    std::vector<std::string> groups;
    SQLite::Statement& query = use("SELECT id FROM groups WHERE place < 0");
    while (query.executeStep())
        groups.push_back(query.getColumn(0).getString());
    query.reset();
    return groups;
}

std::int64_t Database::personNumber(const std::string& id, const std::string& name)
{
    const auto known = m_peopleNumbers.find(id);
    if (known != m_peopleNumbers.end() && m_people[known->second].second == name)
        return known->second;
    SQLite::Statement& statement =
        use("INSERT INTO people (id, name) VALUES (?1, ?2) ON CONFLICT (id) DO UPDATE SET name = ?2 RETURNING number");
    statement.bind(1, id);
    statement.bind(2, name);
    statement.executeStep();
    const std::int64_t number = statement.getColumn(0).getInt64();
    statement.reset();
    m_people[number] = {id, name};
    m_peopleNumbers[id] = number;
    return number;
}

const std::pair<std::string, std::string>& Database::personOf(std::int64_t number)
{
    const auto known = m_people.find(number);
    if (known != m_people.end())
        return known->second;
    SQLite::Statement& query = use("SELECT id, name FROM people WHERE number = ?");
    query.bind(1, number);
    std::pair<std::string, std::string> person;
    if (query.executeStep())
        person = {query.getColumn(0).getString(), query.getColumn(1).getString()};
    query.reset();
    m_peopleNumbers[person.first] = number;
    return m_people[number] = std::move(person);
}

Entry Database::readEntry(SQLite::Statement& statement, const std::string& group)
{
    Entry entry;
    entry.id = statement.getColumn(0).getString();
    entry.group = group;
    entry.created = statement.getColumn(1).getInt64();
    entry.uploaded = statement.getColumn(2).getInt64();
    entry.width = statement.getColumn(3).getInt();
    entry.height = statement.getColumn(4).getInt();
    entry.size = statement.getColumn(5).getInt64();
    const auto& [person, name] = personOf(statement.getColumn(6).getInt64());
    entry.creator = person;
    entry.creatorName = name;
    entry.comments = statement.getColumn(7).getInt64();
    entry.type = statement.getColumn(8).getString();
    entry.format = statement.getColumn(9).getString();
    entry.description = statement.getColumn(10).getString();
    return entry;
}

/// What a statement gives of a group's contents from a place on.
template <typename Row, typename Read>
std::vector<Row> Database::readFrom(const char* sql, const std::string& group, const Key& from, std::int64_t offset,
                                    std::int64_t count, Read read)
{
    std::vector<Row> rows;
    SQLite::Statement& query = use(sql);
    query.bind(1, groupNumber(group));
    bindKey(query, 2, from);
    query.bind(4, count);
    query.bind(5, offset);
    while (query.executeStep())
        rows.push_back(read(query));
    query.reset();
    return rows;
}

std::vector<Entry> Database::read(const std::string& group, const Key& from, std::int64_t offset, std::int64_t count)
{
    return readFrom<Entry>(READ, group, from, offset, count, [&](SQLite::Statement& query) { return readEntry(query, group); });
}

std::vector<Key> Database::readKeys(const std::string& group, const Key& from, std::int64_t offset, std::int64_t count)
{
    return readFrom<Key>(READ_KEYS, group, from, offset, count, [](SQLite::Statement& query) {
        return Key{query.getColumn(0).getInt64(), query.getColumn(1).getString()};
    });
}

std::optional<Key> Database::keyAt(const std::string& group, const Key& from, std::int64_t offset)
{
    std::vector<Key> keys = readKeys(group, from, offset, 1);
    return keys.empty() ? std::nullopt : std::optional(std::move(keys.front()));
}

std::int64_t Database::countBetween(const std::string& group, const Key& from, const Key& key)
{
    SQLite::Statement& query = use(COUNT_BETWEEN);
    query.bind(1, groupNumber(group));
    bindKey(query, 2, from);
    bindKey(query, 4, key);
    query.executeStep();
    const std::int64_t count = query.getColumn(0).getInt64();
    query.reset();
    return count;
}

std::int64_t Database::countSince(const std::string& group, const Key& from, Millis time)
{
    SQLite::Statement& query = use(COUNT_SINCE);
    query.bind(1, groupNumber(group));
    bindKey(query, 2, from);
    query.bind(4, time);
    query.executeStep();
    const std::int64_t count = query.getColumn(0).getInt64();
    query.reset();
    return count;
}

std::vector<Entry> Database::between(const std::string& group, const std::optional<Key>& first, const std::optional<Key>& last)
{
    std::vector<Entry> entries;
    for (const int hidden : {0, 1}) {
        SQLite::Statement& query = use(BETWEEN);
        query.bind(1, groupNumber(group));
        query.bind(2, hidden);
        if (first)
            bindKey(query, 3, *first);
        else
            bindKey(query, 3, {INT64_MAX, "~"});
        if (last)
            bindKey(query, 5, *last);
        else
            query.bind(5, INT64_MIN), query.bind(6, INT64_MIN);
        while (query.executeStep())
            entries.push_back(readEntry(query, group));
        query.reset();
    }
    return entries;
}

void Database::eachContent(const std::string& group, const std::function<void(const std::string& id)>& told)
{
    SQLite::Statement& query = use("SELECT id FROM contents INDEXED BY places WHERE grp = ?");
    query.bind(1, groupNumber(group));
    while (query.executeStep())
        told(query.getColumn(0).getString());
    query.reset();
}

void Database::eachKey(const std::string& group, const std::function<void(const Key& key)>& told)
{
    SQLite::Statement& query = use(KEYS);
    query.bind(1, groupNumber(group));
    while (query.executeStep())
        told({query.getColumn(0).getInt64(), query.getColumn(1).getString()});
    query.reset();
}

std::optional<Database::Found> Database::find(const std::string& id)
{
    SQLite::Statement& query = use(FIND);
    bindId(query, 1, id);
    std::optional<Found> found;
    if (query.executeStep())
        found = Found{readEntry(query, query.getColumn(12).getString()), query.getColumn(11).getInt() != 0};
    query.reset();
    return found;
}

std::int64_t Database::countHidden(const std::string& group)
{
    SQLite::Statement& query = use("SELECT count(*) FROM contents WHERE grp = ? AND hidden = 1");
    query.bind(1, groupNumber(group));
    query.executeStep();
    const std::int64_t count = query.getColumn(0).getInt64();
    query.reset();
    return count;
}

void Database::put(const Entry& entry, bool hidden)
{
    const std::int64_t group = groupNumber(entry.group);
    const std::int64_t person = personNumber(entry.creator, entry.creatorName);
    SQLite::Statement& statement = use(PUT);
    bindId(statement, 1, entry.id);
    statement.bind(2, entry.created);
    statement.bind(3, entry.uploaded);
    statement.bind(4, entry.width);
    statement.bind(5, entry.height);
    statement.bind(6, entry.size);
    statement.bind(7, person);
    statement.bind(8, entry.comments);
    statement.bind(9, entry.type);
    statement.bind(10, entry.format);
    statement.bind(11, entry.description);
    statement.bind(12, group);
    statement.bind(13, hidden ? 1 : 0);
    statement.exec();
}

void Database::erase(const std::string& id)
{
    SQLite::Statement& statement = use(ERASE);
    bindId(statement, 1, id);
    statement.exec();
}

void Database::setHidden(const std::string& id, bool hidden)
{
    SQLite::Statement& statement = use(HIDE);
    bindId(statement, 1, id);
    statement.bind(2, hidden ? 1 : 0);
    statement.exec();
}

} // namespace tv
