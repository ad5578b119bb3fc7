// SPDX-License-Identifier: MIT
/// \file Records on their way to another place. A mark in them keeps everybody but the mover from changing them, at both ends, so
/// that what is copied is one state, and only one of the two places is used at any time. The mark names its mover too: whoever goes
/// on with a move makes it his own, and keeps out those who were at it before.
#ifndef KINLOOMD_STORE_MOVING_H
#define KINLOOMD_STORE_MOVING_H

#include "store/Connection.h"

#include <string>

namespace kinloomd {

enum class MoveState {
    NONE,     ///< the records are nobody's but their service's
    LEAVING,  ///< they are being moved away
    GONE,     ///< they were moved away, and are another place's by now
    ARRIVING, ///< they are coming; some of them may be there
};

/// The mark of a move. Its words hold no blanks.
struct MoveMark {
    MoveState state = MoveState::NONE;
    std::string move;    ///< what source and target of one move have in common
    std::string mover;   ///< the program that goes on with it
    std::string service; ///< whose records these are, wherever they are
    std::string place;   ///< the other end, as a person knows it
};

bool operator==(const MoveMark& a, const MoveMark& b);

/// Gives the names and values of the settings that decide whether records can be changed: those of a move, and of where their media
/// are.
inline constexpr const char* CHANGE_MARKS_QUERY =
    "SELECT name, value FROM setting WHERE name IN ('moving', 'media_number', 'media')";
/// The setting in which a mark stands.
inline constexpr const char* MOVE_SETTING = "moving";
/// The setting of records that have arrived: by which move. It is written when they are free, and never before.
inline constexpr const char* MOVED_FROM_SETTING = "moved_from";
/// The setting that is another one whenever media have come to another place, which may have the same name as the one before.
/// Without it they are where they were first.
inline constexpr const char* MEDIA_NUMBER_SETTING = "media_number";
/// The setting that names the bucket of media; empty for the data folder.
inline constexpr const char* MEDIA_SETTING = "media";

MoveMark findMoveMark(DatabaseConnection& connection);
/// Sets a mark, or takes it away when its state is NONE. In a transaction that is ALONE: then no change goes on that has not seen
/// what was before.
void setMoveMark(DatabaseConnection& connection, const MoveMark& mark);
/// Throws std::runtime_error unless the mark is still that one, within a transaction, until whose end it stays so: nobody can have
/// the settings ALONE meanwhile. For movers: another one may have gone on with the move, or given it up.
void requireMoveMark(DatabaseConnection& connection, const MoveMark& mark);

/// Throws DatabaseReadOnly when nothing can be changed. \param marks as CHANGE_MARKS_QUERY gives them \param mediaNumber the place
/// of media that a change is for; nullptr for any
void requireChangeable(const TextRows& marks, const std::string* mediaNumber);
/// The same for those who change what belongs to the records.
void requireChangeable(DatabaseConnection& connection);

/// Throws std::runtime_error for records that a service must not begin on, since another place has them, or will have.
void requireServable(DatabaseConnection& connection);

} // namespace kinloomd

#endif
