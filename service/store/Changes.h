// SPDX-License-Identifier: MIT
/// \file What has changed in groups, in the order in which it did, for those who follow it.
#ifndef KINLOOMD_STORE_CHANGES_H
#define KINLOOMD_STORE_CHANGES_H

#include "store/Database.h"
#include "store/Records.h"

#include <chrono>
#include <deque>
#include <set>
#include <utility>
#include <vector>

namespace kinloomd {

enum class ChangeKind : int {
    CONTENT = 1,         ///< one has come, or come back
    COMMENT = 2,         ///< the same
    CONTENT_DELETED = 3, ///< with its comments
    COMMENT_DELETED = 4,
};

struct Change {
    Id id = 0; ///< counts changes; no thing's identifier
    ChangeKind kind = ChangeKind::CONTENT;
    Id group = 0;
    Id content = 0;
    Id comment = 0; ///< 0 for what happened to a content
};

/// Notes a change. Within the transaction that makes it.
void addChange(DatabaseConnection& connection, const Change& change);
/// The number of the last change; 0 before the first.
Id lastChange(DatabaseConnection& connection);
/// \return whether everything is known that changed behind that one.
bool knowsChangesSince(DatabaseConnection& connection, Id change);
/// Changes in a person's groups behind one of them, so many at most, in their order.
std::vector<Change> listChanges(DatabaseConnection& connection, Id person, Id after, int count);
/// How many changes of all groups there are behind one of them.
std::int64_t countChanges(DatabaseConnection& connection, Id after);
/// The number up to which no change can appear any more. Numbers are given in rising order; those of changes that are made at the
/// same time become visible in any order, within the time that the longest of them may take.
Id settledChange(DatabaseConnection& connection, std::chrono::milliseconds longestChange);

/// Knows by itself up to which number no change can appear any more, from what was seen when.
class ChangeHorizon {
public:
    using Clock = std::chrono::steady_clock;

    ChangeHorizon(std::chrono::milliseconds longestChange, Id settled) : m_longestChange(longestChange), m_settled(settled) {}

    /// The last change that can be seen at a time.
    void see(Id last, Clock::time_point present);
    Id settled() const { return m_settled; }

private:
    std::chrono::milliseconds m_longestChange;
    Id m_settled;
    std::deque<std::pair<Clock::time_point, Id>> m_seen;
};

/// Reads the changes in a person's groups as they become visible: each is told, and, while it reads on, once.
class ChangeReader {
public:
    /// \param after up to which everything is known
    ChangeReader(std::chrono::milliseconds longestChange, Id after) : m_horizon(longestChange, after) {}

    /// Takes for told what can be seen now.
    void skip(DatabaseConnection& connection, Id person);
    /// The changes that were not told yet, in the order of their numbers; so many at most.
    std::vector<Change> read(DatabaseConnection& connection, Id person, int most,
                             ChangeHorizon::Clock::time_point present = ChangeHorizon::Clock::now());
    /// Who begins behind this number misses nothing, and may be told twice of what has come lately.
    Id settled() const { return m_horizon.settled(); }

private:
    ChangeHorizon m_horizon;
    std::set<Id> m_told; ///< behind the horizon
};

/// Removes changes that nobody follows any more.
void forgetChanges(DatabaseConnection& connection);

} // namespace kinloomd

#endif
