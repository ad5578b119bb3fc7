// SPDX-License-Identifier: MIT
/// \file The contents of each group, in their order, as far as they have been read.
#ifndef KINLOOM_TV_INDEX_INDEX_H
#define KINLOOM_TV_INDEX_INDEX_H

#include "tv/index/Database.h"
#include "tv/index/Entry.h"
#include "tv/index/Places.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace tv {

/// The disk has no room for more of the index, and neither has memory. What is there can be read on.
class NoRoom : public std::runtime_error {
public:
    NoRoom() : std::runtime_error("there is no room for more of the index") {}
};

/// Groups and their contents on this television's disk. Places count from 0, the newest first, without the contents that were
/// hidden here. What a damaged file held is read anew from the service; where the disk is full it goes on in memory, within bounds.
/// All members may be called from any thread; those that write may throw NoRoom.
class Index {
public:
    struct Hooks {
        /// Whether a content is hidden on this television. Called with the index locked.
        std::function<bool(const std::string& content)> isHidden;
        /// Everything is gone since the file was damaged: it must be read anew.
        std::function<void()> lost;
        /// Makes room on the disk, by giving up what is less needed there. \return whether there is more of it now. Called with the
        /// index locked; may be empty.
        std::function<bool()> makeRoom = {};
    };
    static constexpr std::int64_t MOST_IN_MEMORY = 100'000; ///< contents

    /// \param path of the file
    Index(std::string path, Hooks hooks);
    Index(const Index&) = delete;
    Index& operator=(const Index&) = delete;
    ~Index();

    /// Whose contents these are; empty when there are none.
    std::string owner();
    /// Everything of whoever it was goes; then it is this one's.
    void beginFor(const std::string& owner);
    /// Notes whose it is, and keeps what is there.
    void setOwner(const std::string& owner);
    /// Looks through the file for damage, which may take a second, and throws away what is damaged.
    void examine();
    /// Whether it lives in memory alone.
    bool isInMemory() const;

    std::vector<GroupEntry> groups() const;
    /// Their identifiers alone.
    std::vector<std::string> groupIds() const;
    std::optional<GroupEntry> group(const std::string& id) const;
    /// Whether a group was read to its end once.
    bool isComplete(const std::string& group) const;
    /// Takes the groups that the service lists in place of those that are known. \return those that are gone, with what they held.
    /// Where there is no room for it, what is known is brought up to date in memory, and new groups wait for the next time.
    std::vector<std::string> putGroups(const std::vector<GroupEntry>& groups);
    /// A group is not there any more. What it held stays in the file until it is removed.
    void hideGroup(const std::string& group);
    /// The same; what it held goes by and by, before this returns.
    void removeGroup(const std::string& group);
    /// Calls with each content of a group, hidden ones too, in any order and with the index locked.
    void eachContent(const std::string& group, const std::function<void(const std::string& content)>& told);
    void putProgress(const std::string& group, const Progress& progress);

    /// How many contents of a group are known and visible.
    std::int64_t count(const std::string& group) const;
    /// The same with those that are hidden.
    std::int64_t countAll(const std::string& group) const;
    std::vector<Entry> read(const std::string& group, std::int64_t index, std::int64_t count);
    /// The same contents' keys alone.
    std::vector<Key> readKeys(const std::string& group, std::int64_t index, std::int64_t count);
    struct Found {
        Entry entry;
        bool hidden = false;
    };
    std::optional<Found> find(const std::string& content);
    /// The place of a visible content.
    std::optional<std::int64_t> indexOf(const std::string& content);
    /// How many visible contents were made at that time or later.
    std::int64_t countSince(const std::string& group, Millis time);
    /// The months of a group that are known, the newest first.
    std::vector<MonthEntry> months(const std::string& group) const;

    /// Takes a page of a group's feed, the newest content first, in place of what is known of that stretch.
    /// \param behind the content that the page follows; nothing for the first one
    /// \param end nothing follows the page
    Changes mergePage(const std::string& group, const std::vector<Entry>& page, const std::optional<Key>& behind, bool end);
    /// Takes contents that may be known or not.
    Changes put(const std::vector<Entry>& entries);
    /// \return whether it was known.
    bool remove(const std::string& content);
    void setHidden(const std::string& content, bool hidden);
    void setComments(const std::string& content, std::int64_t comments);

private:
    struct GroupState {
        GroupEntry entry;
        Places places;
        std::int64_t hidden = 0;
        int place = -1; ///< in the list, as it is kept
    };
    /// What a write has done to the database, and is told to the places once that is sure.
    struct Step {
        struct Move {
            std::string group;
            Key key;
            bool hidden;
            bool comes;
        };
        std::vector<Move> moves;
        Changes changes;
    };

    template <class Work> auto guarded(Work work) const;
    Changes write(const std::function<void(Step& step)>& work);
    void open();
    bool openAlone();
    void load();
    void removeContents(const std::string& group);
    void startAnew();
    void beginInMemory();
    bool goToMemory();
    std::int64_t countKnown() const;
    GroupState* stateOf(const std::string& group);
    const GroupState* stateOf(const std::string& group) const;
    void change(Step& step, const std::vector<Entry>& found, const std::vector<Entry>& wanted);
    void settle(const Step& step);

    const std::string m_path;
    const Hooks m_hooks;
    mutable std::mutex m_mutex;
    mutable std::unique_ptr<Database> m_database; // guarded by m_mutex, like all below
    bool m_inMemory = false;
    bool m_alone = false; ///< the file is nobody else's to open
    std::map<std::string, GroupState> m_groups;
    std::vector<std::string> m_order;             ///< of the groups
    std::optional<std::set<std::string>> m_going; ///< groups of which something is left though they are gone; nothing: not looked
    MonthFinder m_finder;
};

} // namespace tv

#endif
