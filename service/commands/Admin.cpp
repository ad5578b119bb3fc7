// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "commands/Lookup.h"
#include "core/Digest.h"
#include "core/Text.h"
#include "media/MediaStore.h"
#include "media/Pictures.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/People.h"

#include <cstdio>
#include <stdexcept>

namespace kinloomd {

namespace {

constexpr std::size_t ID_BYTES = 16;
constexpr std::size_t TOKEN_BYTES = 32;
constexpr std::size_t NAME_CHARACTERS = 200;

std::string checkedName(const std::string& name)
{
    const std::string clean = cleanText(name);
    if (clean != name)
        throw std::runtime_error("the name holds characters that cannot be used");
    if (name.empty() || countCharacters(name) > NAME_CHARACTERS)
        throw std::runtime_error("a name has between 1 and " + std::to_string(NAME_CHARACTERS) + " characters");
    return name;
}

std::string timeOrDash(const std::optional<Millis>& time) { return time ? formatTime(*time) : "-"; }

} // namespace

void addPerson(const std::string& data, const std::string& name, const std::string& phone)
{
    Database database(DataFolder(data).database());
    const auto connection = database.write();
    Transaction transaction(connection);
    if (findPersonByName(connection, checkedName(name)))
        throw std::runtime_error("there is a person named '" + name + "' already");
    const Person person = addPerson(connection, name, cleanText(phone));
    transaction.commit();
    std::printf("%lld\t%s\n", static_cast<long long>(person.id), person.name.c_str());
}

void listPeople(const std::string& data)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.read();
    for (const Person& person : listPeople(connection))
        std::printf("%lld\t%s\t%s\n", static_cast<long long>(person.id), person.name.c_str(), formatTime(person.created).c_str());
}

void setPersonImage(const std::string& data, const std::string& who, const std::string& file)
{
    const DataFolder folder = DataFolder::existing(data);
    Database database(folder.database());
    const Person person = requirePerson(database, who);
    startPictures();
    const std::string bytes = readPicture(file, [&] { return makePersonImage(file, {Limits().pixels, {}}); });
    const FolderLock lock(folder.mediaLock(), FolderLock::SHARED);
    const MediaStore media(folder);
    TemporaryFile image(folder.temporary());
    image.write(bytes);
    media.keepPersonImage(image, person.id, person.image + 1);
    {
        const auto connection = database.write();
        setPersonImage(connection, person.id, person.image + 1);
    }
    if (person.image != 0)
        removeFile(media.personImagePath(person.id, person.image));
    std::printf("%s has a new picture\n", person.name.c_str());
}

void addDevice(const std::string& data, const std::string& name)
{
    const std::string appId = toHex(randomBytes(ID_BYTES));
    const std::string token = toHex(randomBytes(TOKEN_BYTES));
    const std::string duid = toHex(randomBytes(ID_BYTES));
    Database database(DataFolder(data).database());
    const auto connection = database.write();
    Transaction transaction(connection);
    auto person = findPersonByName(connection, checkedName(name));
    if (!person)
        person = addPerson(connection, name, "");
    addDevice(connection, person->id, duid, appId, token);
    transaction.commit();
    std::printf("[provider.Kinloom]\napp_id = \"%s\"\nAuthToken = \"%s\"\nduid = \"%s\"\n", appId.c_str(), token.c_str(),
                duid.c_str());
}

void removeDevice(const std::string& data, const std::string& duid)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.write();
    if (!removeDevice(connection, duid))
        throw std::runtime_error("there is no device '" + duid + "'; 'kinloomd device list' shows all");
    std::printf("%s can no longer sign in\n", duid.c_str());
}

void listDevices(const std::string& data)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.read();
    for (const DeviceSummary& device : listDevices(connection))
        std::printf("%s\t%s\tadded %s\tregistered %s\tsigned in %s\n", device.duid.c_str(), device.person.c_str(),
                    formatTime(device.created).c_str(), timeOrDash(device.registered).c_str(), timeOrDash(device.signedIn).c_str());
}

void listGroups(const std::string& data)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.read();
    for (const Group& group : listAllGroups(connection)) {
        std::string members;
        for (const Person& member : listMembers(connection, group.id))
            members += (members.empty() ? "" : ", ") + member.name;
        std::printf("%lld\t%s\tmaster %s\tmembers %s\tcontents %lld\tcomments %lld\n", static_cast<long long>(group.id),
                    group.name.c_str(), group.master.name.c_str(), members.c_str(), static_cast<long long>(group.total),
                    static_cast<long long>(group.comments));
    }
}

void addMember(const std::string& data, const std::string& groupName, const std::string& personName)
{
    Database database(DataFolder::existing(data).database());
    const Group group = requireGroup(database, groupName);
    const Person person = requirePerson(database, personName);
    const auto connection = database.write();
    Transaction transaction(connection);
    const bool added = addMember(connection, group, person.id);
    transaction.commit();
    std::printf(added ? "%s is now a member of %s\n" : "%s was a member of %s before\n", person.name.c_str(), group.name.c_str());
}

void removeMember(const std::string& data, const std::string& groupName, const std::string& personName)
{
    Database database(DataFolder::existing(data).database());
    const Group group = requireGroup(database, groupName);
    const Person person = requirePerson(database, personName);
    if (person.id == group.master.id)
        throw std::runtime_error(person.name + " is the master of " + group.name + "; a group cannot be without its master");
    const auto connection = database.write();
    Transaction transaction(connection);
    const bool removed = removeMember(connection, group.id, person.id);
    transaction.commit();
    std::printf(removed ? "%s is no longer a member of %s\n" : "%s was not a member of %s\n", person.name.c_str(),
                group.name.c_str());
}

void addEvent(const std::string& data, const EventArguments& arguments)
{
    Database database(DataFolder::existing(data).database());
    const auto content = parseId(arguments.content);
    const auto starts = parseTime(arguments.starts);
    const auto ends = parseTime(arguments.ends.empty() ? arguments.starts : arguments.ends);
    if (!starts || !ends || *ends < *starts)
        throw std::runtime_error("the event needs a start and perhaps a later end, such as 2010-05-05T07:04:09Z");
    Event event;
    event.member = requirePerson(database, arguments.person);
    event.title = checkedName(arguments.title);
    event.type = cleanText(arguments.type);
    event.description = cleanText(arguments.description);
    event.starts = *starts;
    event.ends = *ends;
    const auto connection = database.write();
    Transaction transaction(connection);
    if (!content || !findContent(connection, *content))
        throw std::runtime_error("there is no content '" + arguments.content + "'");
    if (standingAtContent(connection, *content, event.member.id).role == Role::STRANGER)
        throw std::runtime_error(event.member.name + " is not a member of the content's group");
    const Id id = addEvent(connection, *content, event);
    transaction.commit();
    std::printf("%lld\t%s\n", static_cast<long long>(id), event.title.c_str());
}

} // namespace kinloomd
