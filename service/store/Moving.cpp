// SPDX-License-Identifier: MIT
#include "store/Moving.h"

#include "store/People.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <tuple>

namespace kinloomd {

namespace {

constexpr struct {
    MoveState state;
    const char* word;
    const char* sentence; ///< in front of the other end's name
} MOVE_STATES[] = {
    {MoveState::LEAVING, "leaving", "the records can be read and not changed, since they are being moved to "},
    {MoveState::GONE, "gone", "the records can only be read here, since they were moved to "},
    {MoveState::ARRIVING, "arriving", "the records are not whole: 'kinloomd migrate' has not finished to move them here from "},
};

const auto& moveEntry(MoveState state)
{
    return *std::find_if(std::begin(MOVE_STATES), std::end(MOVE_STATES), [&](const auto& entry) { return entry.state == state; });
}

/// "STATE MOVE MOVER SERVICE PLACE"
MoveMark parseMoveMark(const std::string& text)
{
    std::istringstream words(text);
    std::string state;
    MoveMark mark;
    words >> state >> mark.move >> mark.mover >> mark.service >> std::ws;
    std::getline(words, mark.place);
    const auto* const entry =
        std::find_if(std::begin(MOVE_STATES), std::end(MOVE_STATES), [&](const auto& each) { return each.word == state; });
    // What a newer program has written keeps this one out.
    mark.state = entry == std::end(MOVE_STATES) ? MoveState::ARRIVING : entry->state;
    return mark;
}

std::string sentenceOfMove(const MoveMark& mark) { return moveEntry(mark.state).sentence + mark.place; }

/// The value of a setting among some; empty when it is not there.
std::string valueIn(const TextRows& settings, const char* name)
{
    const auto row = std::find_if(settings.begin(), settings.end(), [name](const auto& each) { return each.front() == name; });
    return row == settings.end() ? std::string() : row->back();
}

} // namespace

bool operator==(const MoveMark& a, const MoveMark& b)
{
    return std::tie(a.state, a.move, a.mover, a.service, a.place) == std::tie(b.state, b.move, b.mover, b.service, b.place);
}

MoveMark findMoveMark(DatabaseConnection& connection)
{
    const std::string text = findSetting(connection, MOVE_SETTING);
    return text.empty() ? MoveMark() : parseMoveMark(text);
}

void setMoveMark(DatabaseConnection& connection, const MoveMark& mark)
{
    if (mark.state == MoveState::NONE)
        Query(connection, Sql::SETTING_REMOVE).bind(MOVE_SETTING).run();
    else
        changeSetting(connection, MOVE_SETTING,
                      std::string(moveEntry(mark.state).word) + " " + mark.move + " " + mark.mover + " " + mark.service + " " +
                          mark.place);
}

void requireMoveMark(DatabaseConnection& connection, const MoveMark& mark)
{
    if (!(findMoveMark(connection) == mark))
        throw std::runtime_error("another kinloomd has gone on with this move, or given it up, in the meantime");
}

void requireChangeable(const TextRows& marks, const std::string* mediaNumber)
{
    if (const std::string text = valueIn(marks, MOVE_SETTING); !text.empty()) {
        const MoveMark mark = parseMoveMark(text);
        throw DatabaseReadOnly(sentenceOfMove(mark), mark.state == MoveState::GONE ? ReadOnlyCause::MOVED : ReadOnlyCause::MOVING);
    }
    if (mediaNumber == nullptr || valueIn(marks, MEDIA_NUMBER_SETTING) == *mediaNumber)
        return;
    const std::string media = valueIn(marks, MEDIA_SETTING);
    throw DatabaseReadOnly(
        "these records, or their media, were moved since this program began, so that it can change nothing: begin it anew " +
            (media.empty() ? "without --media, on the folder that they are in" : "with --media " + media),
        ReadOnlyCause::MEDIA_MOVED);
}

void requireChangeable(DatabaseConnection& connection)
{
    requireChangeable(connection.execute(CHANGE_MARKS_QUERY), connection.mediaNumber());
}

void requireServable(DatabaseConnection& connection)
{
    const MoveMark mark = findMoveMark(connection);
    if (mark.state == MoveState::GONE)
        throw std::runtime_error(
            "these records were moved to " + mark.place +
            ": serve them from there. If that was given up, 'kinloomd migrate --cancel' lets these be used again");
    if (mark.state == MoveState::ARRIVING)
        throw std::runtime_error(sentenceOfMove(mark) + ": the same command goes on with it");
}

} // namespace kinloomd
