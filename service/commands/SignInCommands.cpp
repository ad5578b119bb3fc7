// SPDX-License-Identifier: MIT
// Who may use the page: invitations, browsers that are signed in, devices that wait to be taken in.
#include "commandline/QrCode.h"
#include "commands/Commands.h"
#include "commands/Listing.h"
#include "commands/Lookup.h"
#include "core/Text.h"
#include "httpd/Address.h"
#include "media/DataFolder.h"
#include "operations/Paths.h"
#include "operations/Service.h"
#include "store/Pairings.h"
#include "store/Sessions.h"

#include <cstdio>
#include <stdexcept>
#include <unistd.h>

namespace kinloomd {

namespace {

/// The address that a browser reaches the service at: where it was started last, or where it will be unless it is told otherwise.
std::string serviceAddress(DatabaseConnection& connection, const std::string& given)
{
    const std::string address = given.empty() ? findSetting(connection, ADDRESS_SETTING) : given;
    return address.empty() ? "http://" + ServeArguments().listenAddress : address;
}

void warnOfLoopback(const std::string& address)
{
    const auto host = address.find("//") + 2;
    std::string name =
        address.substr(host, address.find_last_of(':') > host ? address.find_last_of(':') - host : std::string::npos);
    if (name.size() > 2 && name.front() == '[')
        name = name.substr(1, name.size() - 2);
    if (name == "localhost" || httpd::isLoopback(name))
        std::fprintf(stderr, "kinloomd: only this computer can open %s; --public-url names an address that others reach\n",
                     address.c_str());
}

} // namespace

void invitePerson(const DataPlace& data, const InvitationArguments& arguments)
{
    Database database(DataFolder(data).database());
    const std::string key = newKey();
    Invitation invitation;
    // A transaction that is done once, since the key is told in it.
    const auto connection = database.write();
    Transaction transaction(connection);
    if (!arguments.group.empty())
        invitation.group = requireGroup(connection, arguments.group).id;
    const std::string address = serviceAddress(connection, arguments.publicUrl);
    const Person person = personOrNew(connection, arguments.name, "");
    invitation.name = person.name;
    invitation.person = person.id;
    addInvitation(connection, hashOfKey(key), invitation);
    warnOfLoopback(address);
    const std::string url = address + std::string(INVITATION_PATH) + key;
    const auto manner = ::isatty(STDOUT_FILENO) != 0 ? commandline::QrCode::Manner::COLOURS : commandline::QrCode::Manner::PLAIN;
    std::printf("%s\n\n%s\nIt signs in one browser for %s, within 48 hours.\n", url.c_str(),
                commandline::QrCode(url).lines(manner).c_str(), visibleText(invitation.name).c_str());
    // The key is told once: an invitation that nobody got is none.
    requirePrinted();
    transaction.commit();
}

void listSessions(const DataPlace& data, ListForm form)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.read();
    Listing list(form);
    for (const Session& session : listSessions(connection)) {
        list.record()
            .value("id", session.id)
            .value("person", {{"id", session.person.id}, {"name", session.person.name}}, session.person.name, "")
            .value("name", session.name)
            .value("address", session.address)
            .time("created", session.created, "since")
            .time("used", session.used, "used");
    }
    list.print();
}

void endSession(const DataPlace& data, const std::string& number)
{
    Database database(DataFolder::existing(data).database());
    const auto id = parseId(number);
    if (!id || !database.change([&](DatabaseConnection& connection) { return endSession(connection, *id, 0); }))
        throw std::runtime_error("there is no session of the number " + visibleText(number) +
                                 "; 'kinloomd session list' shows all");
    std::printf("%s is signed out\n", number.c_str());
}

void approveDevice(const DataPlace& data, const std::string& code, const std::string& who)
{
    Database database(DataFolder::existing(data).database());
    const Person person = requirePerson(database, who);
    const Pairing pairing = database.change([&](DatabaseConnection& connection) {
        auto found = findPairingByCode(connection, readUserCode(code));
        if (!found)
            throw std::runtime_error("no device shows the code '" + visibleText(code) + "'");
        if (!decidePairing(connection, found->userCode, PairingState::APPROVED, person.id))
            throw std::runtime_error(found->expires <= now() ? "the code is no longer good; let the device show a new one"
                                                             : "somebody has decided on this device already");
        return std::move(*found);
    });
    std::printf("'%s' at %s is now a device of %s\n", visibleText(pairing.name).c_str(), pairing.address.c_str(),
                visibleText(person.name).c_str());
}

} // namespace kinloomd
