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

void Move::mark(Database& database, MoveState state, const std::string& place)
{
    MoveMark mark = m_mark;
    mark.state = state;
    mark.place = place;
    database.change([&mark](DatabaseConnection& connection) { setMoveMark(connection, mark); }, Database::Purpose::ALONE);
}

/// Throws unless the target is empty, or what this move has left there, or an older state of the same records.
void Move::requireTargetFor(const MoveMark& mark)
{
    const auto connection = m_to->read();
    const MoveMark there = findMoveMark(connection);
    if (there.state == MoveState::LEAVING)
        throw std::runtime_error(there.move == mark.move ? "source and target are the same database"
                                                         : "the records in " + m_targetName + " are being moved to " + there.place);
    if (there.state == MoveState::NONE) {
        m_finished = !mark.move.empty() && findSetting(connection, MOVED_FROM_SETTING) == mark.move;
        if (!m_finished && !isWithoutRecords(*m_to))
            throw std::runtime_error(m_targetName + " holds records already: what is moved needs an empty database");
    } else if (there.service != mark.service) {
        throw std::runtime_error(m_targetName + " holds records of another service");
    }
    const bool known = m_finished || (there.state == MoveState::ARRIVING && there.move == mark.move);
    if (mark.state == MoveState::GONE && !known)
        throw std::runtime_error("the records were moved to " + mark.place +
                                 ", and what is there now is something else; 'kinloomd migrate --cancel' gives that move up");
}

/// Marks both ends, or finds their marks.
void Move::begin()
{
    if (!movesRecords() && !movesMedia())
        throw std::runtime_error("there is nothing to be moved: records and media are in " + m_sourceName + " already");
    if (m_mark.state != MoveState::NONE && m_mark.place != m_targetName)
        throw std::runtime_error("the records are being moved to " + m_mark.place + ", or were, and not to " + m_targetName +
                                 "; 'kinloomd migrate --cancel' gives that up");
    const bool isNew = m_mark.state == MoveState::NONE;
    if (isNew)
        m_mark = {MoveState::NONE, toHex(randomBytes(MOVE_NUMBER_BYTES)), secretSetting(m_from, IDENTITY_SETTING), m_targetName};
    if (movesRecords())
        requireTargetFor(m_mark);
    if (isNew) {
        m_mark.state = MoveState::LEAVING;
        mark(m_from, m_mark.state, m_targetName);
    }
    if (movesRecords() && !m_finished)
        enterTarget();
}

/// What is there of an older move goes first. Meanwhile the mark is that of no move, so that whoever goes on begins with that
/// again.
void Move::enterTarget()
{
    if (findMoveMark(m_to->read()).move == m_mark.move)
        return;
    const std::string move = std::exchange(m_mark.move, "none");
    mark(*m_to, MoveState::ARRIVING, m_sourceName);
    m_mark.move = move;
    removeRecords(*m_to, m_step);
    mark(*m_to, MoveState::ARRIVING, m_sourceName);
}

void Move::moveRecords(MoveReport& report)
{
    if (!m_finished) {
        for (const TableEntry& table : recordTables())
            report.copied += copyTable(m_from, *m_to, table, m_step);
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
        m_mark.state = MoveState::GONE;
        mark(m_from, m_mark.state, m_targetName);
    }
    records().change(
        [this](DatabaseConnection& connection) {
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

/// \return whether nobody has changed anything at the target since it was free. It is marked meanwhile, and stays so if it is true.
bool Move::targetIsAsItCame()
{
    mark(*m_to, MoveState::ARRIVING, m_sourceName);
    const auto& tables = recordTables();
    const bool same = std::all_of(tables.begin(), tables.end(), [this](const TableEntry& table) {
        return sumOf(m_from, table, m_step) == sumOf(*m_to, table, m_step);
    });
    if (!same)
        m_to->change([](DatabaseConnection& connection) { setMoveMark(connection, {}); }, Database::Purpose::ALONE);
    return same;
}

void Move::cancel()
{
    if (m_mark.state == MoveState::NONE)
        throw std::runtime_error("nothing is being moved from " + m_sourceName);
    // Until the records are gone, the target was never free.
    if (m_mark.state == MoveState::GONE) {
        if (m_mark.place != m_targetName)
            throw std::runtime_error(
                "the records were moved to " + m_mark.place +
                ": name that with --to, --to-database and --to-media, so that it can be seen whether it has gone "
                "on by itself");
        const MoveMark there = findMoveMark(m_to->read());
        const bool free = there.state == MoveState::NONE && findSetting(m_to->read(), MOVED_FROM_SETTING) == m_mark.move;
        if (free && !targetIsAsItCame())
            throw std::runtime_error(m_targetName + " has gone on by itself: the records can be moved back from there");
        if (!free && there.state != MoveState::ARRIVING && !isWithoutRecords(*m_to))
            throw std::runtime_error(m_targetName + " holds other records than those that were moved there");
    }
    m_from.change([](DatabaseConnection& connection) { setMoveMark(connection, {}); }, Database::Purpose::ALONE);
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
    Move(from, to, [](const char*, std::int64_t) {}).cancel();
    std::printf("the records can be changed again where they were\n");
    return EXIT_DONE;
}

} // namespace kinloomd
