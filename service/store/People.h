// SPDX-License-Identifier: MIT
/// \file People, their devices, and who has signed requests from where.
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

// People in the trash are found by nothing here but their pictures, which their contents go on showing.

/// Adds a person. Within a transaction; others may have the same name.
Person addPerson(DatabaseConnection& connection, const std::string& name, const std::string& phone);
std::optional<Person> findPerson(DatabaseConnection& connection, Id id);
/// The people of exactly that name, in the order in which they were added.
std::vector<Person> findPeopleByName(DatabaseConnection& connection, const std::string& name);
std::vector<Person> listPeople(DatabaseConnection& connection);
void renamePerson(DatabaseConnection& connection, Id person, const std::string& name);
/// The number of a person's present picture; 0 for none.
std::int64_t personImage(DatabaseConnection& connection, Id person);
/// The present picture of a person.
struct PersonImage {
    Id person = 0;
    std::int64_t image = 0;
};
/// All pictures that have a file, those of people in the trash too, by rising numbers of people.
std::vector<PersonImage> keptPersonImages(DatabaseConnection& connection);
void setPersonImage(DatabaseConnection& connection, Id person, std::int64_t image);
/// \return whether there is a group that both are members of.
bool shareGroup(DatabaseConnection& connection, Id person, Id other);

/// What there is of a person.
struct PersonUsage {
    std::int64_t devices = 0;
    std::int64_t contents = 0;
    std::int64_t comments = 0;
};
PersonUsage usageOf(DatabaseConnection& connection, Id person);

/// A row of the list of devices: everything but its secrets.
struct DeviceSummary {
    std::string duid;
    Id personId = 0;
    std::string person;
    Millis created = 0;
    std::optional<Millis> registered;
    std::optional<Millis> signedIn;
    std::string name; ///< what it calls itself; empty for one that was added by hand
};

/// What a device signs with.
struct DeviceCredentials {
    std::string appId;
    std::string token;
    std::string duid;
};
/// Makes a device of new random credentials for a person. \return them; its token is known to nobody else, and kept nowhere.
DeviceCredentials makeDevice(DatabaseConnection& connection, Id person, const std::string& name);
void addDevice(DatabaseConnection& connection, Id person, const std::string& duid, const std::string& appId,
               const std::string& token, const std::string& name = {});
std::optional<Device> findDevice(DatabaseConnection& connection, const std::string& duid);
/// A device as a request names it.
struct NamedDevice {
    bool known = false; ///< whether it may be used
    Device device;      ///< another one, when it is not known
};
/// Looks a device up, with the same work whether there is such a device or not: how long it takes tells nothing.
NamedDevice lookUpDevice(DatabaseConnection& connection, const std::string& duid);
/// \return whether the device may be used: neither it nor its person was removed.
bool isLiveDevice(DatabaseConnection& connection, Id device);
std::vector<DeviceSummary> listDevices(DatabaseConnection& connection);
std::vector<DeviceSummary> listDevicesOf(DatabaseConnection& connection, Id person);
/// \return whether there is such a device, and the person's.
bool isDeviceOf(DatabaseConnection& connection, const std::string& duid, Id person);
void markRegistered(DatabaseConnection& connection, Id device, Millis at);

void noteSignIn(DatabaseConnection& connection, Id device, Millis at);

/// A device that has signed requests from an address, and when it did so last.
struct Signer {
    std::string address;
    std::string duid;
    Millis at = 0;
};
/// Who has signed lately, as one service hands it on to the next.
struct RecentSigners {
    std::vector<Signer> signers;
    bool whole = true; ///< nobody is missing of whom a comment could be
};

/// Keeps signers for the next service, unless some are missing. Within a transaction.
void keepSigners(DatabaseConnection& connection, const RecentSigners& recent);
/// The signers that were kept, the oldest first; they are kept no longer. Some are missing when the service before ended without
/// keeping them. Within a transaction.
RecentSigners takeSigners(DatabaseConnection& connection);
/// Lets the next service know that some signers are missing. Within a transaction.
void missSigners(DatabaseConnection& connection);

/// The setting that tells one service from another, wherever its records are. A secret setting.
inline constexpr const char* IDENTITY_SETTING = "identity";

// What several services tell one another. The place of a signer is an address, or a connection.

void noteSigner(DatabaseConnection& connection, const Signer& signer);
/// Who has signed at two places since a time.
std::vector<Signer> signersAt(DatabaseConnection& connection, const std::pair<std::string, std::string>& places, Millis since);
/// Forgets who has not signed since a time.
void forgetSigners(DatabaseConnection& connection, Millis before);

void changeSetting(DatabaseConnection& connection, const std::string& name, const std::string& value);
/// A secret of the service, made when it is asked for first.
std::string secretSetting(DatabaseConnection& connection, const std::string& name);
/// The same, in a transaction of its own where it is not there yet.
std::string secretSetting(Database& database, const std::string& name);
/// The value of a setting; empty when there is none.
std::string findSetting(DatabaseConnection& connection, const std::string& name);

} // namespace kinloomd

#endif
