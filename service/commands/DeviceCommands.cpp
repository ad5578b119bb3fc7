// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "commands/Listing.h"
#include "commands/Lookup.h"
#include "core/Text.h"
#include "media/DataFolder.h"
#include "store/People.h"
#include "store/Trash.h"

#include <cstdio>
#include <stdexcept>

namespace kinloomd {

void addDevice(const DataPlace& data, const std::string& name)
{
    Database database(DataFolder(data).database());
    // A transaction that is done once, since the token is told in it.
    const auto connection = database.write();
    Transaction transaction(connection);
    const DeviceCredentials made = makeDevice(connection, personOrNew(connection, name, "--person ").id, "");
    std::printf("[provider.Kinloom]\napp_id = \"%s\"\nAuthToken = \"%s\"\nduid = \"%s\"\n", made.appId.c_str(), made.token.c_str(),
                made.duid.c_str());
    // The token is told once: a device whose token nobody got is none.
    requirePrinted();
    transaction.commit();
}

void removeDevice(const DataPlace& data, const std::string& duid)
{
    Database database(DataFolder::existing(data).database());
    if (!database.change([&](DatabaseConnection& connection) { return trashDevice(connection, duid, 0); }))
        throw std::runtime_error("there is no device '" + visibleText(duid) + "'; 'kinloomd device list' shows all");
    std::printf("%s can no longer sign in\n", visibleText(duid).c_str());
}

void listDevices(const DataPlace& data, ListForm form)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.read();
    Listing list(form);
    for (const DeviceSummary& device : listDevices(connection)) {
        list.record()
            .value("duid", device.duid)
            .value("person", {{"id", device.personId}, {"name", device.person}}, device.person, "")
            .time("created", device.created, "added")
            .time("registered", device.registered, "registered")
            .time("signed_in", device.signedIn, "signed in")
            .value("name", device.name);
    }
    list.print();
}

} // namespace kinloomd
