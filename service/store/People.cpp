// SPDX-License-Identifier: MIT
#include "store/People.h"

#include "core/Digest.h"
#include "core/Text.h"

#include <utility>

namespace kinloomd {

namespace {

/// The setting that is there while a service knows more of its signers than the database.
constexpr const char* SIGNERS_IN_USE = "signers_in_use";
constexpr std::size_t SECRET_BYTES = 32;
constexpr std::size_t ID_BYTES = 16;

std::optional<Millis> optionalTime(const Query& query, int column)
{
    if (query.isNull(column))
        return std::nullopt;
    return query.integer(column);
}

std::vector<Signer> readSigners(Query& query)
{
    std::vector<Signer> signers;
    while (query.step())
        signers.push_back({query.text(0), query.text(1), query.integer(2)});
    return signers;
}

std::vector<Person> readPeople(Query& query)
{
    std::vector<Person> people;
    while (query.step())
        people.push_back(readPerson(query, 0));
    return people;
}

std::vector<DeviceSummary> readDevices(Query& query)
{
    std::vector<DeviceSummary> devices;
    while (query.step())
        devices.push_back({query.text(0), query.integer(1), query.text(2), query.integer(3), optionalTime(query, 4),
                           optionalTime(query, 5), query.text(6)});
    return devices;
}

} // namespace

Person readShortPerson(const Query& query, int firstColumn)
{
    Person person;
    person.id = query.integer(firstColumn);
    person.name = query.text(firstColumn + 1);
    person.image = query.integer(firstColumn + 2);
    return person;
}

Person readPerson(const Query& query, int firstColumn)
{
    Person person = readShortPerson(query, firstColumn);
    person.phone = query.text(firstColumn + 3);
    person.created = query.integer(firstColumn + 4);
    return person;
}

Id addEntity(DatabaseConnection& connection, EntityKind kind)
{
    Query query(connection, Sql::ENTITY_ADD);
    query.bind(static_cast<int>(kind)).step();
    return query.integer(0);
}

EntityKind kindOf(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::ENTITY_KIND);
    query.bind(id);
    return query.step() ? static_cast<EntityKind>(query.integer(0)) : EntityKind::NONE;
}

Person addPerson(DatabaseConnection& connection, const std::string& name, const std::string& phone)
{
    Person person;
    person.id = addEntity(connection, EntityKind::PERSON);
    person.name = name;
    person.phone = phone;
    person.created = now();
    Query(connection, Sql::PERSON_ADD).bind(person.id, name, phone, person.created).run();
    return person;
}

std::optional<Person> findPerson(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::PERSON_BY_ID);
    query.bind(id);
    if (!query.step())
        return std::nullopt;
    return readPerson(query, 0);
}

std::vector<Person> findPeopleByName(DatabaseConnection& connection, const std::string& name)
{
    Query query(connection, Sql::PERSON_BY_NAME);
    return readPeople(query.bind(name));
}

std::vector<Person> listPeople(DatabaseConnection& connection)
{
    Query query(connection, Sql::PERSON_LIST);
    return readPeople(query);
}

void renamePerson(DatabaseConnection& connection, Id person, const std::string& name)
{
    Query(connection, Sql::PERSON_RENAME).bind(person, name).run();
}

std::int64_t personImage(DatabaseConnection& connection, Id person)
{
    Query query(connection, Sql::PERSON_IMAGE);
    query.bind(person);
    return query.step() ? query.integer(0) : 0;
}

std::vector<PersonImage> keptPersonImages(DatabaseConnection& connection)
{
    std::vector<PersonImage> images;
    Query query(connection, Sql::PERSON_KEPT_IMAGES);
    while (query.step())
        images.push_back({query.integer(0), query.integer(1)});
    return images;
}

void setPersonImage(DatabaseConnection& connection, Id person, std::int64_t image)
{
    Query(connection, Sql::PERSON_SET_IMAGE).bind(person, image).run();
}

bool shareGroup(DatabaseConnection& connection, Id person, Id other)
{
    Query query(connection, Sql::PERSON_SHARES_GROUP);
    query.bind(person, other);
    return query.step();
}

PersonUsage usageOf(DatabaseConnection& connection, Id person)
{
    Query query(connection, Sql::PERSON_USAGE);
    query.bind(person).step();
    return {query.integer(0), query.integer(1), query.integer(2)};
}

DeviceCredentials makeDevice(DatabaseConnection& connection, Id person, const std::string& name)
{
    const DeviceCredentials made = {toHex(randomBytes(ID_BYTES)), toHex(randomBytes(SECRET_BYTES)), toHex(randomBytes(ID_BYTES))};
    addDevice(connection, person, made.duid, made.appId, made.token, name);
    return made;
}

void addDevice(DatabaseConnection& connection, Id person, const std::string& duid, const std::string& appId,
               const std::string& token, const std::string& name)
{
    Query(connection, Sql::DEVICE_ADD).bind(person, duid, appId, toHex(sha256(token)), now(), name).run();
}

std::optional<Device> findDevice(DatabaseConnection& connection, const std::string& duid)
{
    NamedDevice named = lookUpDevice(connection, duid);
    if (!named.known)
        return std::nullopt;
    return std::move(named.device);
}

NamedDevice lookUpDevice(DatabaseConnection& connection, const std::string& duid)
{
    // What no device can be called is looked for all the same, under another name.
    const std::string name = isText(duid) ? duid : std::string();
    Query query(connection, Sql::DEVICE_BY_DUID);
    query.bind(name);
    if (!query.step())
        return {}; // no device at all: there is nothing to tell apart
    const bool named = equalsInConstantTime(query.text(0), duid);
    const bool removed = query.integer(1) != 0;
    NamedDevice found;
    found.known = named && !removed;
    found.device.id = query.integer(2);
    found.device.appId = query.text(3);
    found.device.tokenHash = query.text(4);
    found.device.signedIn = optionalTime(query, 5);
    found.device.registered = !query.isNull(6);
    found.device.person = readPerson(query, 7);
    return found;
}

bool isLiveDevice(DatabaseConnection& connection, Id device)
{
    Query query(connection, Sql::DEVICE_IS_LIVE);
    return query.bind(device).step();
}

std::vector<DeviceSummary> listDevices(DatabaseConnection& connection)
{
    Query query(connection, Sql::DEVICE_LIST);
    return readDevices(query);
}

std::vector<DeviceSummary> listDevicesOf(DatabaseConnection& connection, Id person)
{
    Query query(connection, Sql::DEVICES_OF_PERSON);
    return readDevices(query.bind(person));
}

bool isDeviceOf(DatabaseConnection& connection, const std::string& duid, Id person)
{
    Query query(connection, Sql::DEVICE_IS_OF_PERSON);
    return query.bind(duid, person).step();
}

void markRegistered(DatabaseConnection& connection, Id device, Millis at)
{
    Query(connection, Sql::DEVICE_REGISTERED).bind(device, at).run();
}

void noteSignIn(DatabaseConnection& connection, Id device, Millis at)
{
    Query(connection, Sql::DEVICE_SIGNED_IN).bind(device, at).run();
}

void keepSigners(DatabaseConnection& connection, const RecentSigners& recent)
{
    if (!recent.whole)
        return;
    for (const Signer& signer : recent.signers)
        noteSigner(connection, signer);
    Query(connection, Sql::SETTING_REMOVE).bind(SIGNERS_IN_USE).run();
}

RecentSigners takeSigners(DatabaseConnection& connection)
{
    RecentSigners recent;
    {
        Query query(connection, Sql::SIGNER_LIST);
        recent.signers = readSigners(query);
    }
    Query(connection, Sql::SIGNERS_FORGET).run();
    recent.whole = Query(connection, Sql::SETTING_SET).bind(SIGNERS_IN_USE, "").run() > 0;
    return recent;
}

void missSigners(DatabaseConnection& connection) { changeSetting(connection, SIGNERS_IN_USE, ""); }

void noteSigner(DatabaseConnection& connection, const Signer& signer)
{
    Query(connection, Sql::SIGNER_ADD).bind(signer.address, signer.duid, signer.at).run();
}

std::vector<Signer> signersAt(DatabaseConnection& connection, const std::pair<std::string, std::string>& places, Millis since)
{
    Query query(connection, Sql::SIGNERS_AT);
    return readSigners(query.bind(places.first, places.second, since));
}

void forgetSigners(DatabaseConnection& connection, Millis before) { Query(connection, Sql::SIGNERS_FORGET_OLD).bind(before).run(); }

std::string findSetting(DatabaseConnection& connection, const std::string& name)
{
    Query query(connection, Sql::SETTING_GET);
    return query.bind(name).step() ? query.text(0) : std::string();
}

std::string secretSetting(DatabaseConnection& connection, const std::string& name)
{
    // Two programs may make it at the same time: the first one's counts, so it is read back.
    const std::string candidate = toHex(randomBytes(SECRET_BYTES));
    Query(connection, Sql::SETTING_SET).bind(name, candidate).run();
    return findSetting(connection, name);
}

std::string secretSetting(Database& database, const std::string& name)
{
    std::string secret = findSetting(database.read(), name);
    if (secret.empty())
        secret = database.change([&name](DatabaseConnection& connection) { return secretSetting(connection, name); });
    return secret;
}

void changeSetting(DatabaseConnection& connection, const std::string& name, const std::string& value)
{
    Query(connection, Sql::SETTING_CHANGE).bind(name, value).run();
}

} // namespace kinloomd
