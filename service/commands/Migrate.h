// SPDX-License-Identifier: MIT
/// \file A service's records and media on their way to another place.
///
/// The order of what is done decides what a program that is killed in between leaves: the source is marked before the target, so
/// that nobody changes what was copied; at the end the source is marked as gone before the target is free, so that never two
/// services go on with the same records. Each step finds what the ones before have left.
///
/// The same move may be begun anew while an older run of it, on another computer, hangs or is cut off. So both marks hold a number
/// of the run that goes on: it makes the source's mark its own and then the target's, and changes nothing where the mark is another
/// one. Whoever gives the move up does the same.
#ifndef KINLOOMD_COMMANDS_MIGRATE_H
#define KINLOOMD_COMMANDS_MIGRATE_H

#include "common/FolderLock.h"
#include "media/DataFolder.h"
#include "media/MediaMover.h"
#include "media/MediaPlace.h"
#include "store/Moving.h"
#include "store/RecordCopy.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace kinloomd {

/// Where records and media are to be.
struct MoveTarget {
    std::string folder;   ///< empty for the same one
    std::string database; ///< an address; empty for one in the folder, or, where the folder is the same, for the same one
    MediaPlace media;     ///< a bucket; otherwise the folder, or, where the folder is the same, the same place

    bool isNamed() const { return !folder.empty() || !database.empty() || media.isBucket(); }
};

/// What a move has done.
struct MoveReport {
    std::int64_t rows = 0;     ///< at the target, as they are at the source
    std::int64_t copied = 0;   ///< of them, those that came now
    std::int64_t repaired = 0; ///< texts that held bytes which are no text
    MediaTotals media;
    std::vector<std::string> findings; ///< what was wrong at the source already
};

/// One move. For one thread.
class Move {
public:
    /// Opens both ends, and changes nothing. Throws std::runtime_error where a move cannot be between them.
    Move(const DataPlace& from, const MoveTarget& to, MoveStep step);

    /// Moves, or goes on with it, or looks once more at what was moved. What it throws leaves the source read-only, and a move that
    /// the same call goes on with.
    MoveReport run();
    /// Gives the move up: the source can be changed again. Throws std::runtime_error when the target has gone on by itself.
    void cancel();
    /// \return whether the source is marked.
    bool hasBegun() const { return m_mark.state != MoveState::NONE; }

private:
    bool movesRecords() const { return m_to.has_value(); }
    bool movesMedia() const;
    Database& records() { return m_to ? *m_to : m_from; }
    void lookAtTarget(const std::string& move);
    void requireTargetFor(const MoveMark& mark);
    void begin();
    void enterTarget();
    void moveRecords(MoveReport& report);
    void compareRecords(MoveReport& report);
    void moveMedia(MoveReport& report);
    void finish();
    void requireNoNewsThere();
    void giveTargetUp();
    void mark(Database& database, MoveMark& known, const MoveMark& next);
    void markTarget(const MoveMark& next);
    void takeOver(MoveMark next);
    MoveMark arrivingBy(const std::string& move) const;

    MoveStep m_step;
    DataFolder m_source;
    FolderLock m_lock;
    Database m_from;
    DataFolder m_target;
    FolderLock m_targetLock;
    std::optional<Database> m_to; ///< nothing where the records stay
    MediaPlace m_mediaFrom;
    MediaPlace m_mediaTo;
    std::string m_sourceName;
    std::string m_targetName;
    std::string m_mover;        ///< this run, in marks
    MoveMark m_mark;            ///< the source's
    MoveMark m_there;           ///< the target's
    std::string m_movedFrom;    ///< the move that freed the target last
    bool m_isThisMoves = false; ///< the target is marked as that of this move
    bool m_hasArrived = false;  ///< an earlier run has freed the target, once
    bool m_finished = false;    ///< the target is free
};

} // namespace kinloomd

#endif
