// SPDX-License-Identifier: MIT
/// \file Records on their way to another place. A mark in them keeps everybody but the mover from changing them, at both ends, so
/// that what is copied is one state, and only one of the two places is used at any time.
#ifndef KINLOOMD_STORE_MOVING_H
#define KINLOOMD_STORE_MOVING_H

#include <string>

namespace kinloomd {

class DatabaseConnection;

enum class MoveState {
    NONE,     ///< the records are nobody's but their service's
    LEAVING,  ///< they are being moved away
    GONE,     ///< they were moved away, and are another place's by now
    ARRIVING, ///< they are coming; some of them may be there
};

/// The mark of a move.
struct MoveMark {
    MoveState state = MoveState::NONE;
    std::string move;    ///< what source and target of one move have in common
    std::string service; ///< whose records these are, wherever they are
    std::string place;   ///< the other end, as a person knows it
};

/// Gives the text of a mark, or no row.
inline constexpr const char* MOVE_MARK_QUERY = "SELECT value FROM setting WHERE name = 'moving'";
/// The setting in which it stands.
inline constexpr const char* MOVE_SETTING = "moving";
/// The setting of records that have arrived: by which move.
inline constexpr const char* MOVED_FROM_SETTING = "moved_from";

MoveMark findMoveMark(DatabaseConnection& connection);
/// Sets a mark, or takes it away when its state is NONE. In a transaction that is ALONE: then no change goes on that has not seen
/// what was before.
void setMoveMark(DatabaseConnection& connection, const MoveMark& mark);

/// Throws the DatabaseReadOnly of a mark. \param text as MOVE_MARK_QUERY gives it
[[noreturn]] void throwMoving(const std::string& text);

/// Throws DatabaseReadOnly while records are moved, for those who change what belongs to them.
void requireUnmarked(DatabaseConnection& connection);

/// Throws std::runtime_error for records that a service must not begin on, since another place has them, or will have.
void requireServable(DatabaseConnection& connection);

} // namespace kinloomd

#endif
