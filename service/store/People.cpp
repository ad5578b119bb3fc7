// SPDX-License-Identifier: MIT
#include "store/People.h"

#include "core/Digest.h"

namespace kinloomd {

namespace {

constexpr std::size_t SECRET_BYTES = 32;

std::optional<Millis> optionalTime(const Query& query, int column)
{
    if (query.isNull(column))
        return std::nullopt;
    return query.integer(column);
}

std::optional<Person> firstPerson(Query& query)
{
    if (!query.step())
        return std::nullopt;
    return readPerson(query, 0);
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
    Query(connection, Sql::ENTITY_ADD).bind(static_cast<int>(kind)).run();
    return connection.raw().getLastInsertRowid();
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
    return firstPerson(query.bind(id));
}

std::optional<Person> findPersonByName(DatabaseConnection& connection, const std::string& name)
{
    Query query(connection, Sql::PERSON_BY_NAME);
    return firstPerson(query.bind(name));
}

std::vector<Person> listPeople(DatabaseConnection& connection)
{
    std::vector<Person> people;
    Query query(connection, Sql::PERSON_LIST);
    while (query.step())
        people.push_back(readPerson(query, 0));
    return people;
}

void setPersonImage(DatabaseConnection& connection, Id person, std::int64_t image)
{
    Query(connection, Sql::PERSON_SET_IMAGE).bind(person, image).run();
}

bool shareGroup(DatabaseConnection& connection, Id person, Id other)
{
    Query query(connection, Sql::PERSON_SHARES_GROUP);
    query.bind(person, other);
    return query.step() && query.integer(0) != 0;
}

void addDevice(DatabaseConnection& connection, Id person, const std::string& duid, const std::string& appId,
               const std::string& token)
{
    Query(connection, Sql::DEVICE_ADD).bind(person, duid, appId, toHex(sha256(token)), now()).run();
}

std::optional<Device> findDevice(DatabaseConnection& connection, const std::string& duid)
{
    Query query(connection, Sql::DEVICE_BY_DUID);
    query.bind(duid);
    if (!query.step())
        return std::nullopt;
    Device device;
    device.id = query.integer(0);
    device.appId = query.text(1);
    device.tokenHash = query.text(2);
    device.signedIn = optionalTime(query, 3);
    device.registered = !query.isNull(4);
    device.person = readPerson(query, 5);
    return device;
}

std::vector<DeviceSummary> listDevices(DatabaseConnection& connection)
{
    std::vector<DeviceSummary> devices;
    Query query(connection, Sql::DEVICE_LIST);
    while (query.step())
        devices.push_back({query.text(0), query.text(1), query.integer(2), optionalTime(query, 3), optionalTime(query, 4)});
    return devices;
}

bool removeDevice(DatabaseConnection& connection, const std::string& duid)
{
    return Query(connection, Sql::DEVICE_REMOVE).bind(duid).run() > 0;
}

void markRegistered(DatabaseConnection& connection, Id device, Millis at)
{
    Query(connection, Sql::DEVICE_REGISTERED).bind(device, at).run();
}

void noteSignIn(DatabaseConnection& connection, const std::string& address, Id device, Millis at)
{
    Query(connection, Sql::DEVICE_SIGNED_IN).bind(device, at).run();
    Query(connection, Sql::SIGN_IN_SET).bind(address, device, at).run();
}

std::optional<SignIn> lastSignIn(DatabaseConnection& connection, const std::string& address)
{
    Query query(connection, Sql::SIGN_IN_GET);
    query.bind(address);
    if (!query.step())
        return std::nullopt;
    return SignIn{query.integer(0), readPerson(query, 1)};
}

std::string secretSetting(DatabaseConnection& connection, const std::string& name)
{
    // Two programs may make it at the same time: the first one's counts, so it is read back.
    const std::string candidate = toHex(randomBytes(SECRET_BYTES));
    Query(connection, Sql::SETTING_SET).bind(name, candidate).run();
    Query query(connection, Sql::SETTING_GET);
    query.bind(name);
    query.step();
    return query.text(0);
}

} // namespace kinloomd
