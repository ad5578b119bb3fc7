// SPDX-License-Identifier: MIT
/// \file The file that the index lies in.
#ifndef KINLOOM_TV_INDEX_DATABASE_H
#define KINLOOM_TV_INDEX_DATABASE_H

#include "tv/index/Entry.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tv {

/// The contents that the television knows of, in SQLite. Nothing in it is precious: what cannot be read is thrown away and read
/// anew from the service. Used by one thread at a time. Its failures are SQLite::Exception.
class Database {
public:
    /// \param path of the file; empty for one in memory
    /// \param alone no other connection has it as long as this one lives: that needs no file beside it which others would share,
    /// and so none of the disk's room to be read
    explicit Database(std::string path, bool alone = false);
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    /// Removes all files of a database.
    static void removeFiles(const std::string& path);
    /// Looks through a database for damage, on a connection of its own; may take a second for a million contents.
    static bool isSound(const std::string& path);
    /// Forgets what it keeps in memory of its tables: after a transaction that came to nothing.
    void forget();
    /// All of it in memory, from where it goes on without a disk.
    std::unique_ptr<Database> copyInMemory();

    /// Begins a transaction; it is undone unless it is committed.
    class Transaction {
    public:
        explicit Transaction(Database& database) : m_transaction(database.m_connection) {}
        void commit() { m_transaction.commit(); }

    private:
        SQLite::Transaction m_transaction;
    };

    std::string owner();
    /// To be called within a transaction.
    void setOwner(const std::string& owner);

    std::vector<GroupEntry> groups();
    /// \param place in the list
    void putGroup(const GroupEntry& group, int place);
    void putProgress(const std::string& group, const Progress& progress);
    /// A group is one no more; its contents go by and by, and until then its number is nobody else's.
    void beginRemoving(const std::string& group);
    /// Removes some of its contents, and in the end the group. \return whether there is more.
    bool removeSome(const std::string& group);
    /// Groups that are being removed.
    std::vector<std::string> going();

    /// Contents of a group that can be seen, the newest first, from a place on.
    std::vector<Entry> read(const std::string& group, const Key& from, std::int64_t offset, std::int64_t count);
    /// Their keys alone.
    std::vector<Key> readKeys(const std::string& group, const Key& from, std::int64_t offset, std::int64_t count);
    /// The key of one of them.
    std::optional<Key> keyAt(const std::string& group, const Key& from, std::int64_t offset);
    /// How many of a group's visible contents are not before \p from, yet newer than \p key.
    std::int64_t countBetween(const std::string& group, const Key& from, const Key& key);
    /// The same for those made at that time or later.
    std::int64_t countSince(const std::string& group, const Key& from, Millis time);
    /// Contents of a group before one key and not before another one, hidden ones too, the newest first. \p first nothing: from the
    /// newest on; \p last nothing: to the oldest.
    std::vector<Entry> between(const std::string& group, const std::optional<Key>& first, const std::optional<Key>& last);
    /// Calls with each content of a group, hidden ones too, in any order.
    void eachContent(const std::string& group, const std::function<void(const std::string& id)>& told);
    /// Calls with each visible content of a group, the newest first.
    void eachKey(const std::string& group, const std::function<void(const Key& key)>& told);

    struct Found {
        Entry entry;
        bool hidden = false;
    };
    std::optional<Found> find(const std::string& id);
    /// How many of a group's contents are hidden.
    std::int64_t countHidden(const std::string& group);
    void put(const Entry& entry, bool hidden);
    void erase(const std::string& id);
    void setHidden(const std::string& id, bool hidden);

private:
    SQLite::Statement& use(const char* sql);
    template <typename Row, typename Read>
    std::vector<Row> readFrom(const char* sql, const std::string& group, const Key& from, std::int64_t offset, std::int64_t count,
                              Read read);
    std::int64_t groupNumber(const std::string& group);
    std::int64_t personNumber(const std::string& id, const std::string& name);
    const std::pair<std::string, std::string>& personOf(std::int64_t number);
    Entry readEntry(SQLite::Statement& statement, const std::string& group);
    void prepare();

    std::string m_path;
    SQLite::Database m_connection;
    std::map<const char*, std::unique_ptr<SQLite::Statement>> m_statements;
    std::map<std::string, std::int64_t> m_groups;
    std::map<std::int64_t, std::pair<std::string, std::string>> m_people; ///< by number: identifier and name
    std::map<std::string, std::int64_t> m_peopleNumbers;
};

/// \return whether a file is damaged, or none of ours.
bool isDamage(const SQLite::Exception& error);

} // namespace tv

#endif
