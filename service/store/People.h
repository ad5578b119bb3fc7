// SPDX-License-Identifier: MIT
/// \file People, their devices, and who has signed in from where.
#ifndef KINLOOMD_STORE_PEOPLE_H
#define KINLOOMD_STORE_PEOPLE_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

/// Reads a person from five columns: id, name, image, phone, created.
Person readPerson(const Query& query, int firstColumn);
/// Reads a person from three columns: id, name, image.
Person readShortPerson(const Query& query, int firstColumn);

/// Takes the next identifier. Within a transaction.
Id addEntity(DatabaseConnection& connection, EntityKind kind);
EntityKind kindOf(DatabaseConnection& connection, Id id);

/// Adds a person. Within a transaction; the name must not be taken.
Person addPerson(DatabaseConnection& connection, const std::string& name, const std::string& phone);
std::optional<Person> findPerson(DatabaseConnection& connection, Id id);
std::optional<Person> findPersonByName(DatabaseConnection& connection, const std::string& name);
std::vector<Person> listPeople(DatabaseConnection& connection);
void setPersonImage(DatabaseConnection& connection, Id person, std::int64_t image);
/// \return whether there is a group that both are members of.
bool shareGroup(DatabaseConnection& connection, Id person, Id other);

/// A row of the list of devices: everything but its secrets.
struct DeviceSummary {
    std::string duid;
    std::string person;
    Millis created = 0;
    std::optional<Millis> registered;
    std::optional<Millis> signedIn;
};

void addDevice(DatabaseConnection& connection, Id person, const std::string& duid, const std::string& appId,
               const std::string& token);
std::optional<Device> findDevice(DatabaseConnection& connection, const std::string& duid);
std::vector<DeviceSummary> listDevices(DatabaseConnection& connection);
/// Ends the use of a device. \return whether there was one.
bool removeDevice(DatabaseConnection& connection, const std::string& duid);
void markRegistered(DatabaseConnection& connection, Id device, Millis at);

/// Notes that a device has signed in from an address. Within a transaction.
void noteSignIn(DatabaseConnection& connection, const std::string& address, Id device, Millis at);
/// The device that last signed in from an address, and its person.
struct SignIn {
    Id device = 0;
    Person person;
};
std::optional<SignIn> lastSignIn(DatabaseConnection& connection, const std::string& address);

/// A secret of the service, made when it is asked for first.
std::string secretSetting(DatabaseConnection& connection, const std::string& name);

} // namespace kinloomd

#endif
