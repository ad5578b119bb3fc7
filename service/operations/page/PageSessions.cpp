// SPDX-License-Identifier: MIT
// Who is signed in, on which browsers and devices.
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "operations/page/Browser.h"
#include "operations/page/PageHandlers.h"
#include "operations/page/PageRecords.h"
#include "store/Trash.h"

namespace kinloomd {

Reply handlePageSession(Service& service, Request& request)
{
    const PageRecords records(service, request.caller.person.id);
    // A page that is opened has its sign-in kept for longer, however short ago that was done.
    if (request.cookie.empty())
        request.cookie = renewedCookie(request.head);
    return jsonReply({{"person", records.person(request.caller.person)},
                      {"session", std::to_string(request.caller.session)},
                      {"version", service.web().version()},
                      {"public_url", service.options().ownAddress},
                      {"max_upload_bytes", service.options().limits.uploadBytes},
                      {"time_zone_offset", formatOffset(service.timeZone().offsetAt(now()))}});
}

Reply handlePageSessionEnd(Service& service, Request& request)
{
    const Id session = requireId(request.pieces[0]);
    service.database().change([&](DatabaseConnection& connection) {
        const bool ended = endSession(connection, session, request.caller.person.id);
        requirePermission(Action::END_SIGN_IN, ended ? Role::AUTHOR : Role::STRANGER);
    });
    Reply reply = jsonReply(Json::object());
    if (session == request.caller.session) {
        request.cookie = endedCookie(request.head);
        // Pictures may be kept for long; who uses this browser next must not find them.
        reply.headers.emplace_back("Clear-Site-Data", "\"cache\"");
    }
    return reply;
}

Reply handlePageDevices(Service& service, Request& request)
{
    const PageRecords records(service, request.caller.person.id);
    Json devices = Json::array();
    Json sessions = Json::array();
    const auto connection = service.database().read();
    for (const DeviceSummary& device : listDevicesOf(connection, request.caller.person.id))
        devices.push_back(records.device(device));
    for (const Session& session : listSessionsOf(connection, request.caller.person.id))
        sessions.push_back(records.session(session, request.caller.session));
    return jsonReply({{"devices", std::move(devices)}, {"sessions", std::move(sessions)}});
}

Reply handlePageDeviceEnd(Service& service, Request& request)
{
    const std::string& duid = request.pieces[0];
    service.database().change([&](DatabaseConnection& connection) {
        const bool own = isDeviceOf(connection, duid, request.caller.person.id);
        requirePermission(Action::END_SIGN_IN, own ? Role::AUTHOR : Role::STRANGER);
        trashDevice(connection, duid, request.caller.person.id);
    });
    return jsonReply(Json::object());
}

} // namespace kinloomd
