// SPDX-License-Identifier: MIT
// Invitations: written by masters of groups, shown to who has one, used up by a browser that becomes somebody's.
#include "commandline/QrCode.h"
#include "core/Failure.h"
#include "core/Text.h"
#include "operations/Parameters.h"
#include "operations/Paths.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "operations/page/Browser.h"
#include "operations/page/PageHandlers.h"
#include "operations/page/PageRecords.h"
#include "store/Groups.h"
#include "store/Locks.h"

namespace kinloomd {

namespace {

constexpr std::int64_t MOST_INVITATIONS = 100; ///< of one person, that wait to be used

/// What has become of an invitation, as the page calls it.
constexpr const char* OPEN = "open";
constexpr const char* USED = "used";
constexpr const char* EXPIRED = "expired";

Invitation requireInvitation(DatabaseConnection& connection, const std::string& key)
{
    auto invitation = findInvitation(connection, hashOfKey(key));
    if (!invitation)
        throw ServiceError(Failure::NOT_FOUND);
    return std::move(*invitation);
}

/// It ends with its time, with the group or person that it is for, and when who invited may do so no longer.
const char* stateOf(DatabaseConnection& connection, const Invitation& invitation)
{
    if (invitation.used)
        return USED;
    const bool over = invitation.expires <= now();
    const bool groupGone = invitation.group != 0 && !findGroup(connection, invitation.group);
    const bool personGone = invitation.person != 0 && !findPerson(connection, invitation.person);
    const bool inviterGone =
        invitation.inviter != 0 && !isPermitted(Action::INVITE, roleInGroup(connection, invitation.group, invitation.inviter));
    return over || groupGone || personGone || inviterGone ? EXPIRED : OPEN;
}

/// Uses an invitation up: the browser is its person's from now on, and no longer whose it was before.
Person enter(Service& service, Request& request, const std::string& key)
{
    const std::string sessionKey = newKey();
    Person person = service.database().change([&](DatabaseConnection& connection) {
        const Invitation invitation = requireInvitation(connection, key);
        lockGroup(connection, invitation.group);
        lockPerson(connection, invitation.person);
        const std::string_view state = stateOf(connection, invitation);
        if (state != OPEN || !useInvitation(connection, invitation.id))
            throw ServiceError(state == EXPIRED ? Failure::EXPIRED : Failure::USED);
        Person entered =
            invitation.person != 0 ? *findPerson(connection, invitation.person) : addPerson(connection, invitation.name, "");
        if (invitation.group != 0)
            addMember(connection, *findGroup(connection, invitation.group), entered.id);
        if (const std::string before = sessionKeyHash(request.head); !before.empty()) {
            if (const auto session = findSession(connection, before))
                endSession(connection, session->id, 0);
        }
        addSession(connection, entered.id, hashOfKey(sessionKey), browserName(request.header("User-Agent").value_or("")),
                   request.head.address);
        return entered;
    });
    request.cookie = sessionCookie(sessionKey, request.head);
    return person;
}

Reply seeOther(const std::string& where)
{
    Reply reply;
    reply.status = 303;
    reply.headers = {{"Location", where}, {"Cache-Control", "no-store"}};
    return reply;
}

} // namespace

Reply handlePageInvite(Service& service, Request& request)
{
    const Id group = requireId(request.pieces[0]);
    const Id caller = request.caller.person.id;
    const Json body = bodyOf(request);
    Invitation invitation;
    invitation.name = trim(textMember(body, "name", NAME_CHARACTERS));
    invitation.group = group;
    invitation.inviter = caller;
    const std::string key = newKey();
    const Millis expires = service.database().change([&](DatabaseConnection& connection) {
        lockGroup(connection, group);
        lockPerson(connection, caller);
        requirePermission(Action::INVITE, roleInGroup(connection, group, caller));
        if (foldForLikeness(invitation.name).empty())
            throw ServiceError(Failure::MISSING_PARAMETER, "Who is invited needs a name.");
        // Nobody is given the sign-in of a member, who may be in other groups too.
        if (isMemberOfName(connection, group, invitation.name))
            throw ServiceError(Failure::NAME_TAKEN);
        if (countInvitations(connection, caller) >= MOST_INVITATIONS)
            throw ServiceError(Failure::TOO_MANY_REQUESTS, "You have invited as many as can be waited for.",
                               static_cast<unsigned>(HOUR / 1000));
        return addInvitation(connection, hashOfKey(key), invitation);
    });
    const std::string url = service.options().ownAddress + std::string(INVITATION_PATH) + key;
    return jsonReply({{"url", url},
                      {"qr_svg", commandline::QrCode(url).svg()},
                      {"name", invitation.name},
                      {"expires", PageRecords(service, caller).time(expires)}},
                     201);
}

Reply handlePageInvitation(Service& service, Request& request)
{
    const auto connection = service.database().read();
    const Invitation invitation = requireInvitation(connection, request.pieces[0]);
    const auto group = invitation.group == 0 ? std::nullopt : findGroup(connection, invitation.group);
    const Json groupRecord = group ? Json({{"id", std::to_string(group->id)}, {"name", group->name}}) : Json(nullptr);
    return jsonReply({{"inviter", invitation.inviter == 0 ? Json(nullptr) : Json(invitation.inviterName)},
                      {"group", groupRecord},
                      {"name", invitation.name},
                      {"state", stateOf(connection, invitation)},
                      {"expires", PageRecords(service, 0).time(invitation.expires)}});
}

Reply handlePageInvitationUse(Service& service, Request& request)
{
    const Person person = enter(service, request, request.pieces[0]);
    return jsonReply({{"person", PageRecords(service, person.id).person(person)}});
}

Reply handleInvitationForm(Service& service, Request& request)
{
    try {
        enter(service, request, request.pieces[0]);
    } catch (const ServiceError& error) {
        // The page tells what is the matter.
        if (describe(error.failure()).httpStatus != 410 && error.failure() != Failure::NOT_FOUND)
            throw;
        return seeOther(std::string(INVITATION_PATH) + percentEncode(request.pieces[0]));
    }
    return seeOther("/");
}

} // namespace kinloomd
