// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "media/MediaStore.h"
#include "store/Contents.h"
#include "store/People.h"

#include <cstdio>

namespace kinloomd {

namespace {

/// Counts and prints what is wrong.
class Findings {
public:
    void add(const std::string& what)
    {
        ++m_count;
        std::printf("%s\n", what.c_str());
    }
    std::size_t count() const { return m_count; }

private:
    std::size_t m_count = 0;
};

void checkOriginals(DatabaseConnection& connection, const MediaStore& media, Findings& findings)
{
    for (const Id id : liveContentIds(connection)) {
        const auto info = findMedia(connection, id);
        if (!info)
            continue; // deleted since the list was read
        const std::string path = media.originalPath(id);
        const UniqueFd file = openForReading(path);
        if (!file)
            findings.add("content " + std::to_string(id) + " has no file");
        else if (sizeOf(file.get(), path) != info->size)
            findings.add("content " + std::to_string(id) + " has a file of another size");
    }
}

void checkFiles(DatabaseConnection& connection, const MediaStore& media, Findings& findings)
{
    media.forEachOriginal([&](Id id, const std::string& path) {
        if (id == 0 || !findMedia(connection, id))
            findings.add("file without record: " + path);
    });
}

void checkPersonImages(DatabaseConnection& connection, const MediaStore& media, Findings& findings)
{
    media.forEachPersonImage([&](Id id, std::int64_t image, const std::string& path) {
        const auto person = findPerson(connection, id);
        if (!person || image == 0 || person->image != image)
            findings.add("picture of nobody: " + path);
    });
}

void checkPeople(DatabaseConnection& connection, const MediaStore& media, Findings& findings)
{
    for (const Person& person : listPeople(connection)) {
        if (person.image != 0 && !openForReading(media.personImagePath(person.id, person.image)))
            findings.add("the picture of " + person.name + " has no file");
    }
}

void checkTotals(DatabaseConnection& connection, Findings& findings)
{
    Query groups(connection, Sql::CHECK_GROUP_TOTALS);
    while (groups.step())
        findings.add("group " + std::to_string(groups.integer(0)) + " has wrong totals");
    Query contents(connection, Sql::CHECK_COMMENT_COUNTS);
    while (contents.step())
        findings.add("content " + std::to_string(contents.integer(0)) + " has a wrong number of comments");
}

} // namespace

int check(const std::string& data)
{
    const DataFolder folder = DataFolder::existing(data);
    Database database(folder.database());
    const MediaStore media(folder);
    Findings findings;
    {
        const auto connection = database.read();
        Query counts(connection, Sql::CHECK_COUNTS);
        counts.step();
        const auto count = [&counts](int column) { return static_cast<long long>(counts.integer(column)); };
        std::printf("people %lld, devices %lld, groups %lld, contents %lld, reserved uploads %lld, comments %lld\n", count(0),
                    count(1), count(2), count(3), count(4), count(5));
    }
    // A running service moves a file to its place just before its record appears, and removes it just after; only while no service
    // runs does a file without record mean anything.
    FolderLock lock;
    const bool alone = FolderLock::tryExclusive(folder.serveLock(), lock);
    const auto connection = database.read();
    checkTotals(connection, findings);
    checkOriginals(connection, media, findings);
    checkPeople(connection, media, findings);
    if (alone) {
        checkFiles(connection, media, findings);
        checkPersonImages(connection, media, findings);
    }
    if (findings.count() != 0) {
        std::printf("%zu problems\n", findings.count());
        return EXIT_INCONSISTENT;
    }
    std::printf(alone ? "everything is consistent\n"
                      : "everything is consistent; files without record were not looked for, since a service is running\n");
    return EXIT_DONE;
}

} // namespace kinloomd
