// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "commands/Listing.h"
#include "commands/Lookup.h"
#include "commands/Names.h"
#include "core/Text.h"
#include "media/MediaPlace.h"
#include "pictures/PictureProcess.h"
#include "store/Groups.h"
#include "store/Locks.h"
#include "store/People.h"
#include "store/Trash.h"

#include <cstdio>
#include <stdexcept>

namespace kinloomd {

namespace {

/// Throws std::runtime_error when somebody has the name, unless it may be repeated.
void requireFreeName(DatabaseConnection& connection, const std::string& name, bool again)
{
    if (!again && !findPeopleByName(connection, checkedName(name)).empty())
        throw std::runtime_error("there is a person named '" + visibleText(name) +
                                 "' already; --again gives the name to another one, and then numbers tell them apart");
}

/// The groups that go with their master. Throws std::runtime_error when one of them has other members.
std::vector<Group> groupsThatGo(DatabaseConnection& connection, const Person& person)
{
    std::vector<Group> groups = listMastered(connection, person.id);
    std::string shared;
    for (const Group& group : groups) {
        if (listMembers(connection, group.id).size() > 1)
            shared += (shared.empty() ? "" : ", ") + std::to_string(group.id) + " '" + visibleText(group.name) + "'";
    }
    if (!shared.empty())
        throw std::runtime_error(visibleText(person.name) + " is the master of groups with other members: " + shared +
                                 "; 'kinloomd group hand-over GROUP PERSON' gives each another master first");
    return groups;
}

void lockMastered(DatabaseConnection& connection, Id person)
{
    for (const Group& group : listMastered(connection, person))
        lockGroup(connection, group.id);
}

std::string whatGoes(const Person& person, const PersonUsage& usage, const std::vector<Group>& groups)
{
    std::string text = visibleText(person.name) + " (number " + std::to_string(person.id) + ") with " +
                       counted(usage.devices, "device") + " and all memberships";
    for (const Group& group : groups)
        text += ", and the group '" + visibleText(group.name) + "' with " + counted(group.total, "content");
    return text + "; what is in the groups of others stays there, with the name (" + counted(usage.contents, "content") + " and " +
           counted(usage.comments, "comment") + " in all)";
}

} // namespace

void addPerson(const DataPlace& data, const PersonArguments& arguments)
{
    Database database(DataFolder(data).database());
    const Person person = database.change([&](DatabaseConnection& connection) {
        requireFreeName(connection, arguments.name, arguments.again);
        return addPerson(connection, checkedName(arguments.name), cleanText(arguments.phone));
    });
    std::printf("%lld\t%s\n", static_cast<long long>(person.id), visibleText(person.name).c_str());
}

void listPeople(const DataPlace& data, ListForm form)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.read();
    Listing list(form);
    for (const Person& person : listPeople(connection))
        list.record().value("id", person.id).value("name", person.name).time("created", person.created);
    list.print();
}

void renamePerson(const DataPlace& data, const std::string& who, const PersonArguments& arguments)
{
    Database database(DataFolder::existing(data).database());
    const Person person = requirePerson(database, who);
    database.change([&](DatabaseConnection& connection) {
        requireFreeName(connection, arguments.name, arguments.again);
        renamePerson(connection, person.id, checkedName(arguments.name));
    });
    std::printf("%s is now %s\n", visibleText(person.name).c_str(), visibleText(arguments.name).c_str());
}

void removePerson(const DataPlace& data, const std::string& who, const Deletion& deletion)
{
    Database database(DataFolder::existing(data).database());
    const Person person = requirePerson(database, who);
    {
        const auto connection = database.read();
        const auto groups = groupsThatGo(connection, person);
        if (!confirm(deletion, whatGoes(person, usageOf(connection, person.id), groups)))
            return;
    }
    database.change([&person](DatabaseConnection& connection) {
        // Locked, and looked at again: while a person thought about the answer, someone may have joined one of the groups. A group
        // that came between the first look and the lock of its master is locked then; from there on there are no more.
        lockMastered(connection, person.id);
        lockPerson(connection, person.id);
        lockMastered(connection, person.id);
        for (const Group& group : groupsThatGo(connection, person))
            trashGroup(connection, group.id, 0);
        if (!trashPerson(connection, person.id, 0))
            throw std::runtime_error(visibleText(person.name) + " was removed meanwhile");
    });
    std::printf("%s was removed; 'kinloomd trash list' shows what can be brought back\n", visibleText(person.name).c_str());
}

void setPersonImage(const DataPlace& data, const std::string& who, const std::string& file)
{
    const DataFolder folder = DataFolder::existing(data);
    Database database(folder.database());
    const Person person = requirePerson(database, who);
    const UniqueFd source = openForReading(file);
    if (!source)
        throw std::runtime_error(file + " is not a file that can be read");
    const FolderLock lock(folder.mediaLock(), FolderLock::SHARED);
    const auto media = openMedia(folder, database);
    TemporaryFile image(media->temporary());
    const pictures::PictureOutcome outcome = pictures::PictureProcess().runTwice(
        personImageTask(), {source.get(), person.id}, {image.fd()}, {Limits().pixels, pictures::PictureProcess::PATIENCE});
    if (outcome != pictures::PictureOutcome::DONE)
        throw std::runtime_error(file + ": " + sentenceOf(outcome));
    media->keepPersonImage(image, person.id, person.image + 1);
    database.change([&person](DatabaseConnection& connection) { setPersonImage(connection, person.id, person.image + 1); });
    if (person.image != 0)
        media->removePersonImage(person.id, person.image);
    std::printf("%s has a new picture\n", visibleText(person.name).c_str());
}

} // namespace kinloomd
