// SPDX-License-Identifier: MIT
#include "commands/Migrate.h"

#include "commands/Commands.h"
#include "commands/MoveProgress.h"
#include "core/Digest.h"
#include "core/Text.h"
#include "store/People.h"
#include "store/postgresql/PostgresqlEngine.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace kinloomd {

namespace {

constexpr std::size_t MOVE_NUMBER_BYTES = 8;

/// A place as a person knows it.
std::string placeNamed(const DataFolder& folder, const MediaPlace& media)
{
    const bool inFolder = !isPostgresqlAddress(folder.database());
    std::string name = inFolder ? folder.path() : visibleAddress(folder.database());
    if (media.isBucket())
        name += " with media in " + media.media;
    else if (!inFolder)
        name += " with media in " + folder.path();
    return name;
}

DataPlace dataAt(const DataPlace& from, const MoveTarget& to)
{
    if (!to.folder.empty()) {
        DataPlace place(to.folder);
        place.database = to.database;
        return place;
    }
    DataPlace place(from);
    if (!to.database.empty())
        place.database = to.database;
    return place;
}

MediaPlace mediaTo(const MoveTarget& to, const MediaPlace& from)
{
    if (to.media.isBucket())
        return lastingPlace(to.media);
    return to.folder.empty() ? from : MediaPlace();
}

FolderLock lockMove(const DataFolder& folder)
{
    FolderLock lock;
    if (!FolderLock::tryExclusive(folder.moveLock(), lock))
        throw std::runtime_error("another kinloomd moves what is in " + folder.path() + " already");
    return lock;
}

/// A service that runs at the target has begun with settings that will be others. Those that serve the source from the same folder
/// go on: they share it.
FolderLock lockTarget(const DataFolder& target, const DataFolder& source)
{
    FolderLock lock;
    const bool sameFolder = target.path() == source.path();
    const bool locked = sameFolder ? target.isShared() || !source.isShared() || FolderLock::tryShared(target.serveLock(), lock)
                                   : FolderLock::tryExclusive(target.serveLock(), lock);
    if (!locked)
        throw std::runtime_error("a kinloomd serves " + target.path() + ": end it first");
    return lock;
}

/// A service would go on to put media where they were. Those that use other folders are refused by the records from then on.
FolderLock lockUnserved(const DataFolder& folder)
{
    FolderLock lock;
    if (!FolderLock::tryExclusive(folder.serveLock(), lock))
        throw std::runtime_error("all media are there. End the services of these records, that of " + folder.path() +
                                 " among them, so that they begin anew with them");
    return lock;
}

} // namespace

Move::Move(const DataPlace& from, const MoveTarget& to, MoveStep step)
    : m_step(std::move(step)),
      m_source(DataFolder::existing(from)),
      m_lock(lockMove(m_source)),
      m_from(m_source.database()),
      m_target(dataAt(from, to)),
      m_targetLock(lockTarget(m_target, m_source)),
      m_mediaFrom(rememberedMedia(m_from)),
      m_mediaTo(mediaTo(to, m_mediaFrom)),
      m_sourceName(placeNamed(m_source, m_mediaFrom)),
      m_targetName(placeNamed(m_target, m_mediaTo)),
      m_mover(toHex(randomBytes(MOVE_NUMBER_BYTES))),
      m_mark(findMoveMark(m_from.read()))
{
    if (m_target.database() != m_source.database())
        m_to.emplace(m_target.database());
    if (m_mark.state == MoveState::ARRIVING)
        throw std::runtime_error("the records to be moved are not whole: they are being moved here from " + m_mark.place);
}

bool Move::movesMedia() const
{
    const bool sameFolder = m_mediaFrom.isBucket() || m_target.path() == m_source.path();
    return m_mediaFrom.media != m_mediaTo.media || m_mediaFrom.endpoint != m_mediaTo.endpoint || !sameFolder;
}

/// Sets the mark of one end. Throws when it is not the one that this move knows: another mover has gone on, or given the move up.
void Move::mark(Database& database, MoveMark& known, const MoveMark& next)
{
    database.change(
        [&](DatabaseConnection& connection) {
            requireMoveMark(connection, known);
            setMoveMark(connection, next);
        },
        Database::Purpose::ALONE);
    known = next;
}

/// The same at the target, where another move may have come to its end meanwhile, or a service have begun: the mark looks then as
/// it did before.
void Move::markTarget(const MoveMark& next)
{
    m_to->change(
        [&](DatabaseConnection& connection) {
            requireMoveMark(connection, m_there);
            const bool wasEmpty = m_there.state == MoveState::NONE && !m_finished;
            if (findSetting(connection, MOVED_FROM_SETTING) != m_movedFrom || (wasEmpty && !listPeople(connection).empty()))
                throw std::runtime_error(m_targetName + " holds other records than a moment ago");
            setMoveMark(connection, next);
        },
        Database::Purpose::ALONE);
    m_there = next;
}

/// The source's mark is that of this mover from here on: those who were at it before can neither end the move nor give it up.
void Move::takeOver(MoveMark next)
{
    next.mover = m_mover;
    mark(m_from, m_mark, next);
}

MoveMark Move::arrivingBy(const std::string& move) const
{
    return {MoveState::ARRIVING, move, m_mover, m_mark.service, m_sourceName};
}

/// Looks what the target is to a move: what it holds, and how far an earlier run has come.
void Move::lookAtTarget(const std::string& move)
{
    const auto connection = m_to->read();
    const Snapshot snapshot(connection);
    m_there = findMoveMark(connection);
    m_isThisMoves = m_there.state == MoveState::ARRIVING && m_there.move == move;
    m_movedFrom = findSetting(connection, MOVED_FROM_SETTING);
    m_hasArrived = m_movedFrom == move;
    m_finished = m_hasArrived && m_there.state == MoveState::NONE;
}

/// Throws unless the target is empty, or what this move has left there, or an older state of the same records.
void Move::requireTargetFor(const MoveMark& mark)
{
    lookAtTarget(mark.move);
    if (m_there.state == MoveState::LEAVING)
        throw std::runtime_error(m_there.move == mark.move
                                     ? "source and target are the same database"
                                     : "the records in " + m_targetName + " are being moved to " + m_there.place);
    if (m_there.state == MoveState::NONE) {
        if (!m_finished && !isWithoutRecords(*m_to))
            throw std::runtime_error(m_targetName + " holds records already: what is moved needs an empty database");
    } else if (m_there.service != mark.service) {
        throw std::runtime_error(m_targetName + " holds records of another service");
    }
    if (mark.state == MoveState::GONE && !m_finished && !m_isThisMoves)
        throw std::runtime_error("the records were moved to " + mark.place +
                                 ", and what is there now is something else; 'kinloomd migrate --cancel' gives that move up");
}

/// Marks both ends, or makes their marks this mover's.
void Move::begin()
{
    if (!movesRecords() && !movesMedia())
        throw std::runtime_error("there is nothing to be moved: records and media are in " + m_sourceName + " already");
    if (hasBegun() && m_mark.place != m_targetName)
        throw std::runtime_error("the records are being moved to " + m_mark.place + ", or were, and not to " + m_targetName +
                                 "; 'kinloomd migrate --cancel' gives that up");
    const MoveMark next = hasBegun() ? m_mark
                                     : MoveMark{MoveState::LEAVING, toHex(randomBytes(MOVE_NUMBER_BYTES)), m_mover,
                                                secretSetting(m_from, IDENTITY_SETTING), m_targetName};
    if (movesRecords())
        requireTargetFor(next);
    if (m_finished)
        return;
    takeOver(next);
    if (movesRecords())
        enterTarget();
}

/// What is there of an older move goes first. Meanwhile the mark is that of no move, so that whoever goes on begins with that
/// again.
void Move::enterTarget()
{
    if (m_isThisMoves && m_hasArrived) {
        // It was in use, and was marked only to see whether it still could be given up.
        markTarget({});
        m_finished = true;
    } else if (m_isThisMoves) {
        markTarget(arrivingBy(m_mark.move));
    } else {
        markTarget(arrivingBy("none"));
        removeRecords(*m_to, m_there, m_step);
        markTarget(arrivingBy(m_mark.move));
    }
}

void Move::moveRecords(MoveReport& report)
{
    if (!m_finished) {
        for (const TableEntry& table : recordTables())
            report.copied += copyTable(m_from, *m_to, table, m_there, m_step);
    }
    compareRecords(report);
}

void Move::compareRecords(MoveReport& report)
{
    for (const TableEntry& table : recordTables()) {
        const TableSum here = sumOf(m_from, table, m_step);
        const TableSum there = sumOf(*m_to, table, m_step);
        if (here != there)
            throw std::runtime_error(m_finished
                                         ? m_targetName + " has gone on by itself since the records were moved there"
                                         : "the table '" + table.name + "' is not the same in " + m_targetName + " (" +
                                               std::to_string(here.rows) + " rows here, " + std::to_string(there.rows) + " there)");
        report.rows += here.rows;
        report.repaired += here.repaired;
    }
}

void Move::moveMedia(MoveReport& report)
{
    if (!movesMedia())
        return;
    const auto source = mediaAt(m_source, m_mediaFrom);
    const auto target = mediaAt(m_target, m_mediaTo);
    target->prepare();
    MediaMover mover(m_from, *source, *target, m_step);
    mover.run();
    report.media = mover.totals();
    report.findings = mover.findings();
    std::sort(report.findings.begin(), report.findings.end());
}

void Move::finish()
{
    if (m_finished)
        return;
    // No service begins on the folder until the records tell where the media are.
    const FolderLock unserved = movesRecords() ? FolderLock() : lockUnserved(m_source);
    if (movesRecords() && m_mark.state == MoveState::LEAVING) {
        MoveMark gone = m_mark;
        gone.state = MoveState::GONE;
        mark(m_from, m_mark, gone);
    }
    records().change(
        [this](DatabaseConnection& connection) {
            requireMoveMark(connection, movesRecords() ? m_there : m_mark);
            rememberMedia(connection, m_mediaTo);
            if (movesRecords()) {
                changeSetting(connection, MOVED_FROM_SETTING, m_mark.move);
                missSigners(connection); // who has signed where the records were, nobody tells here
            }
            setMoveMark(connection, {});
        },
        Database::Purpose::ALONE);
}

MoveReport Move::run()
{
    MoveReport report;
    begin();
    if (movesRecords())
        moveRecords(report);
    moveMedia(report);
    finish();
    return report;
}

/// Throws when somebody has changed something at the target since it was free, and leaves it free then. Otherwise it stays marked.
/// A program that is killed meanwhile leaves the mark; the next one looks anew.
void Move::requireNoNewsThere()
{
    markTarget(arrivingBy(m_mark.move));
    try {
        for (const TableEntry& table : recordTables()) {
            if (sumOf(m_from, table, m_step) != sumOf(*m_to, table, m_step))
                throw std::runtime_error(m_targetName + " has gone on by itself: the records can be moved back from there");
        }
    } catch (...) {
        markTarget({});
        throw;
    }
}

/// Throws unless the source of a move that was finished can be used again. The target cannot be used any more then.
void Move::giveTargetUp()
{
    lookAtTarget(m_mark.move);
    if (m_hasArrived && (m_finished || m_isThisMoves))
        requireNoNewsThere();
    else if (m_isThisMoves)
        markTarget(arrivingBy(m_mark.move)); // it was never free, and whoever was about to free it cannot do so any more
    else if (m_hasArrived || (m_there.state != MoveState::ARRIVING && !isWithoutRecords(*m_to)))
        throw std::runtime_error(m_targetName + " holds other records than those that were moved there");
}

void Move::cancel()
{
    if (!hasBegun())
        throw std::runtime_error("nothing is being moved from " + m_sourceName);
    // Until the records are gone, the target was never free.
    const bool mayBeUsedThere = m_mark.state == MoveState::GONE;
    if (mayBeUsedThere && (!movesRecords() || m_mark.place != m_targetName))
        throw std::runtime_error("the records were moved to " + m_mark.place +
                                 ": name that with --to, --to-database and --to-media, so that it can be seen whether it has gone "
                                 "on by itself");
    takeOver(m_mark);
    if (mayBeUsedThere)
        giveTargetUp();
    mark(m_from, m_mark, {});
}

namespace {

constexpr const char* HOW_TO_GO_ON = "; the same command goes on from here, 'kinloomd migrate --cancel' gives the move up";

int printMove(const MoveReport& report)
{
    for (const std::string& finding : report.findings)
        std::printf("%s\n", visibleText(finding).c_str());
    const auto number = [](std::int64_t value) { return static_cast<long long>(value); };
    const MediaTotals& media = report.media;
    std::printf("records %lld, originals %lld, thumbnails %lld, pictures of people %lld: all of them compared\n",
                number(report.rows), number(media.originals), number(media.thumbnails), number(media.pictures));
    std::printf("new: records %lld, media %lld of %lld bytes\n", number(report.copied), number(media.copied), number(media.bytes));
    if (report.repaired != 0)
        std::printf("texts with bytes that are no text: %lld; these bytes are now U+FFFD\n", number(report.repaired));
    if (!report.findings.empty())
        std::printf("%zu problems, which were there before\n", report.findings.size());
    return report.findings.empty() ? EXIT_DONE : EXIT_INCONSISTENT;
}

} // namespace

int migrate(const DataPlace& from, const MoveTarget& to)
{
    MoveReport report;
    {
        MoveProgress progress;
        std::optional<Move> move;
        move.emplace(from, to, [&progress](const char* what, std::int64_t done) { progress.step(what, done); });
        try {
            report = move->run();
        } catch (const std::exception& error) {
            if (!move->hasBegun())
                throw;
            throw std::runtime_error(error.what() + std::string(HOW_TO_GO_ON));
        }
    }
    return printMove(report);
}

int cancelMove(const DataPlace& from, const MoveTarget& to)
{
    {
        MoveProgress progress;
        Move(from, to, [&progress](const char* what, std::int64_t done) { progress.step(what, done); }).cancel();
    }
    std::printf("the records can be changed again where they were\n");
    return EXIT_DONE;
}

} // namespace kinloomd
