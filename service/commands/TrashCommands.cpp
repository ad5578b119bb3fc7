// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "commands/Listing.h"
#include "commands/Names.h"
#include "core/Text.h"
#include "media/MediaPlace.h"
#include "operations/TrashPurge.h"
#include "store/Trash.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace kinloomd {

namespace {

constexpr const char* KINDS[] = {"", "person", "group", "content", "comment", "device"}; ///< by TrashKind

const char* nameOf(TrashKind kind) { return KINDS[static_cast<std::size_t>(kind)]; }

/// "group 4 'Family'"
std::string describe(const TrashEntry& entry)
{
    const std::string number = entry.kind == TrashKind::DEVICE ? std::string() : " " + std::to_string(entry.thing);
    return nameOf(entry.kind) + number + " '" + visibleText(entry.name) + "'";
}

/// Says what must come back first, with the command that does it where there is one.
std::string explain(DatabaseConnection& connection, const TrashEntry& entry, Obstacle obstacle)
{
    const auto inTrash = [&](const char* what, TrashKind kind, Id thing) {
        for (const TrashEntry& other : listTrash(connection)) {
            if (other.kind == kind && (thing == 0 ? other.name == entry.place : other.thing == thing))
                return std::string(what) + " is in the trash: 'kinloomd trash restore " + std::to_string(other.id) +
                       "' brings it back first";
        }
        return std::string(what) + " is gone";
    };
    switch (obstacle) {
    case Obstacle::GROUP:
        return inTrash("its group", TrashKind::GROUP, entry.group);
    case Obstacle::CONTENT:
        return inTrash("its content", TrashKind::CONTENT, entry.content);
    case Obstacle::MASTER:
        return inTrash("its master", TrashKind::PERSON, masterOf(connection, entry.thing));
    case Obstacle::PERSON:
        return inTrash("its person", TrashKind::PERSON, 0);
    case Obstacle::GOING:
    case Obstacle::NONE:
        break;
    }
    return "it is being deleted for good";
}

/// "1 group, 2 contents"
std::string summary(const std::vector<TrashEntry>& entries)
{
    std::array<int, std::size(KINDS)> counts{};
    for (const TrashEntry& entry : entries)
        ++counts.at(static_cast<std::size_t>(entry.kind));
    std::string text;
    for (std::size_t kind = 0; kind < counts.size(); ++kind) {
        if (counts.at(kind) != 0)
            text += (text.empty() ? "" : ", ") + counted(counts.at(kind), KINDS[kind]);
    }
    return text;
}

} // namespace

void listTrash(const DataPlace& data, ListForm form)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.read();
    Listing list(form);
    for (const TrashEntry& entry : listTrash(connection)) {
        list.record()
            .value("id", entry.id)
            .value("kind", nameOf(entry.kind))
            .hidden("number", entry.kind == TrashKind::DEVICE ? Listing::Json() : Listing::Json(entry.thing))
            .value("name", entry.name)
            .value("of", entry.place.empty() ? Listing::Json() : Listing::Json(entry.place), "of")
            .value("deleted_by", entry.byId == 0 ? Listing::Json() : Listing::Json({{"id", entry.byId}, {"name", entry.by}}),
                   entry.byId == 0 ? std::string("kinloomd") : entry.by, "by")
            .time("deleted", entry.at, "deleted")
            .time("kept_until", entry.at + TRASH_TIME, "kept until");
    }
    list.print();
}

void restoreFromTrash(const DataPlace& data, const std::string& number)
{
    Database database(DataFolder::existing(data).database());
    const auto id = parseId(number);
    const TrashEntry restored = database.change([&](DatabaseConnection& connection) {
        auto entry = id ? findTrash(connection, *id) : std::nullopt;
        if (!entry)
            throw std::runtime_error("there is nothing of the number " + visibleText(number) +
                                     " in the trash; 'kinloomd trash list' shows all");
        const Obstacle obstacle = restoreTrash(connection, *entry);
        if (obstacle != Obstacle::NONE)
            throw std::runtime_error(describe(*entry) + " cannot come back: " + explain(connection, *entry, obstacle));
        return std::move(*entry);
    });
    std::printf("%s is back\n", describe(restored).c_str());
}

void emptyTrash(const DataPlace& data, unsigned olderThanDays, const Deletion& deletion)
{
    const DataFolder folder = DataFolder::existing(data);
    Database database(folder.database());
    const auto media = openMedia(folder, database);
    const Millis before = now() - olderThanDays * DAY;
    std::vector<TrashEntry> entries;
    {
        const auto connection = database.read();
        for (TrashEntry& entry : listTrash(connection)) {
            if (entry.at <= before)
                entries.push_back(std::move(entry));
        }
    }
    if (entries.empty()) {
        std::printf("there is nothing to remove\n");
        return;
    }
    if (!confirm(deletion, summary(entries) + " for good"))
        return;
    // What was deleted since the question was asked stays.
    for (const TrashEntry& entry : entries)
        purgeEntry(database, *media, entry, [] { return false; });
    std::printf("removed %s for good\n", summary(entries).c_str());
}

} // namespace kinloomd
