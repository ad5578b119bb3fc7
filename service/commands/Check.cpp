// SPDX-License-Identifier: MIT
#include "commands/Backup.h"
#include "commands/Commands.h"
#include "core/Text.h"
#include "media/FolderMedia.h"
#include "media/MediaPlace.h"
#include "pictures/PictureProcess.h"
#include "store/Contents.h"
#include "store/People.h"

#include <cstdio>
#include <fcntl.h>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace kinloomd {

namespace {

/// Counts and prints what is wrong.
class Findings {
public:
    void add(const std::string& what)
    {
        ++m_count;
        std::printf("%s\n", visibleText(what).c_str());
    }
    std::size_t count() const { return m_count; }

private:
    std::size_t m_count = 0;
};

/// \param alone what is kept without a record has no record to come either
void checkOriginals(DatabaseConnection& connection, const MediaStore& media, bool alone, Findings& findings)
{
    // The records first: what comes meanwhile is in the list of files, and in no list of what must be there.
    const std::vector<OriginalName> recorded = keptOriginals(connection);
    std::map<OriginalName, std::int64_t> sizes;
    media.forEachOriginal([&](const KeptMedium& file) {
        const OriginalName name{file.id, file.number};
        sizes[name] = file.size;
        if (!alone)
            return;
        const auto info = findFile(connection, name.content);
        if (!info || !(info->original == name))
            findings.add("file without record: " + file.name);
    });
    for (const OriginalName& original : recorded) {
        const std::string content = "content " + std::to_string(original.content);
        const auto info = findFile(connection, original.content);
        if (!info)
            continue; // deleted since the list was read
        const auto listed = sizes.find(original);
        // A store's list may be behind its objects.
        const auto size = listed != sizes.end() ? std::optional(listed->second) : media.originalSize(original);
        if (!size)
            findings.add(content + " has no file");
        else if (*size != info->size)
            findings.add(content + " has a file of another size");
    }
}

void checkPersonImages(DatabaseConnection& connection, const MediaStore& media, Findings& findings)
{
    media.forEachPersonImage([&](const KeptMedium& picture) {
        if (picture.id == 0 || picture.number == 0 || personImage(connection, picture.id) != picture.number)
            findings.add("picture of nobody: " + picture.name);
    });
}

void checkPeople(DatabaseConnection& connection, const MediaStore& media, Findings& findings)
{
    for (const PersonImage& picture : keptPersonImages(connection)) {
        if (!media.hasPersonImage(picture.person, picture.image))
            findings.add("the picture of person " + std::to_string(picture.person) + " has no file");
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
    Query people(connection, Sql::CHECK_USED_BYTES);
    while (people.step())
        findings.add("the bytes that the contents of " + people.text(0) + " take are counted wrongly");
}

/// Decodes a picture as the service does, and forgets what comes of it.
bool isDecodable(pictures::PictureProcess& process, const pictures::PictureSource& original)
{
    const UniqueFd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (!nowhere)
        throwSystemError("open", "/dev/null");
    const std::vector<int> outputs(THUMBNAIL_COUNT, nowhere.get());
    switch (process.runTwice(thumbnailTask(), original, outputs, {Limits().pixels, pictures::PictureProcess::PATIENCE})) {
    case pictures::PictureOutcome::UNDECODABLE:
    case pictures::PictureOutcome::OVERTIME:
    case pictures::PictureOutcome::DIED:
        return false;
    default:
        return true;
    }
}

/// Contents whose pictures cannot be decoded. Those that still wait for their thumbnails are tried, without keeping any.
void checkPictures(DatabaseConnection& connection, const MediaStore& media, Findings& findings)
{
    std::set<Id> undecodable;
    Query known(connection, Sql::CHECK_UNDECODABLE);
    while (known.step())
        undecodable.insert(known.integer(0));
    std::optional<pictures::PictureProcess> process;
    for (const PendingContent& content : listPendingContents(connection)) {
        const UniqueFd original = media.originalFile(content.original);
        if (original && !isDecodable(process ? *process : process.emplace(), {original.get(), content.creator}))
            undecodable.insert(content.original.content);
    }
    for (const Id id : undecodable)
        findings.add("content " + std::to_string(id) + " cannot be decoded: it has no thumbnails");
}

void printCounts(DatabaseConnection& connection)
{
    Query counts(connection, Sql::CHECK_COUNTS);
    counts.step();
    const auto count = [&counts](int column) { return static_cast<long long>(counts.integer(column)); };
    std::printf("people %lld, devices %lld, groups %lld, contents %lld, reserved uploads %lld, comments %lld\n", count(0), count(1),
                count(2), count(3), count(4), count(5));
    if (count(6) != 0)
        std::printf("in the trash %lld\n", count(6));
}

/// \param alone nobody adds or removes files meanwhile
/// \param note what is to be said when everything is well
int checkFolder(Database& database, const MediaStore& media, bool alone, const char* note)
{
    Findings findings;
    const auto connection = database.read();
    printCounts(connection);
    checkTotals(connection, findings);
    checkOriginals(connection, media, alone, findings);
    checkPictures(connection, media, findings);
    checkPeople(connection, media, findings);
    if (alone)
        checkPersonImages(connection, media, findings);
    if (findings.count() != 0) {
        std::printf("%zu problems\n", findings.count());
        return EXIT_INCONSISTENT;
    }
    std::printf("everything is consistent%s\n", note);
    return EXIT_DONE;
}

} // namespace

int check(const DataPlace& data)
{
    if (DataFolder::isBackup(data.folder)) {
        const BackupForReading backup(data.folder);
        Database database(backup.database());
        // A backup that was broken off has brought files whose records never came; the next one needs them.
        return checkFolder(database, FolderMedia(backup.folder()), false, "");
    }
    const DataFolder folder = DataFolder::existing(data);
    Database database(folder.database());
    // A running service moves a file to its place just before its record appears, and removes it just after; only while no service
    // runs does a file without record mean anything.
    FolderLock lock;
    const bool alone = FolderLock::tryExclusive(folder.serveLock(), lock);
    return checkFolder(database, *openMedia(folder, database), alone,
                       alone ? "" : "; files without record were not looked for, since a service is running");
}

} // namespace kinloomd
