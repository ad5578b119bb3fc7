// SPDX-License-Identifier: MIT
#include "store/Sessions.h"

#include "core/Digest.h"
#include "core/Text.h"
#include "store/Groups.h"
#include "store/People.h"

#include <algorithm>

namespace kinloomd {

namespace {

constexpr std::size_t KEY_BYTES = 32;
/// How long it can be told that an invitation was used, or came too late.
constexpr Millis INVITATION_MEMORY = 30 * 24 * HOUR;

Session readSession(const Query& query)
{
    Session session;
    session.id = query.integer(0);
    session.name = query.text(1);
    session.address = query.text(2);
    session.created = query.integer(3);
    session.used = query.integer(4);
    session.person = readPerson(query, 5);
    return session;
}

std::vector<Session> readSessions(Query& query)
{
    std::vector<Session> sessions;
    while (query.step())
        sessions.push_back(readSession(query));
    return sessions;
}

Millis deadline() { return now() - SESSION_TIME; }

} // namespace

std::string newKey() { return toBase64Url(randomBytes(KEY_BYTES)); }

std::string hashOfKey(std::string_view key) { return toHex(sha256(key)); }

Id addSession(DatabaseConnection& connection, Id person, const std::string& keyHash, const std::string& name,
              const std::string& address)
{
    Query query(connection, Sql::SESSION_ADD);
    query.bind(person, keyHash, name, address, now()).step();
    return query.integer(0);
}

std::optional<Session> findSession(DatabaseConnection& connection, const std::string& keyHash)
{
    Query query(connection, Sql::SESSION_BY_KEY);
    query.bind(keyHash, deadline());
    if (!query.step() || !equalsInConstantTime(query.text(10), keyHash))
        return std::nullopt;
    return readSession(query);
}

bool isLiveSession(DatabaseConnection& connection, Id session)
{
    Query query(connection, Sql::SESSION_IS_LIVE);
    return query.bind(session, deadline()).step();
}

void noteSessionUse(DatabaseConnection& connection, Id session, const std::string& address)
{
    Query(connection, Sql::SESSION_USED).bind(session, now(), address).run();
}

std::vector<Session> listSessions(DatabaseConnection& connection)
{
    Query query(connection, Sql::SESSION_LIST);
    return readSessions(query.bind(deadline()));
}

std::vector<Session> listSessionsOf(DatabaseConnection& connection, Id person)
{
    Query query(connection, Sql::SESSIONS_OF_PERSON);
    return readSessions(query.bind(person, deadline()));
}

bool endSession(DatabaseConnection& connection, Id session, Id person)
{
    if (person == 0)
        return Query(connection, Sql::SESSION_END).bind(session).run() > 0;
    return Query(connection, Sql::SESSION_END_OF_PERSON).bind(session, person).run() > 0;
}

std::int64_t signOfSessions(DatabaseConnection& connection)
{
    Query query(connection, Sql::SESSIONS_SIGN);
    query.step();
    return query.integer(0);
}

Millis addInvitation(DatabaseConnection& connection, const std::string& keyHash, const Invitation& invitation)
{
    const Millis expires = now() + INVITATION_TIME;
    Query(connection, Sql::INVITATION_ADD)
        .bind(keyHash, invitation.name, invitation.person, invitation.group, invitation.inviter, expires)
        .run();
    return expires;
}

std::optional<Invitation> findInvitation(DatabaseConnection& connection, const std::string& keyHash)
{
    Query query(connection, Sql::INVITATION_BY_KEY);
    query.bind(keyHash);
    if (!query.step() || !equalsInConstantTime(query.text(8), keyHash))
        return std::nullopt;
    Invitation invitation;
    invitation.id = query.integer(0);
    invitation.name = query.text(1);
    invitation.person = query.integer(2);
    invitation.group = query.integer(3);
    invitation.inviter = query.integer(4);
    invitation.inviterName = query.text(5);
    invitation.expires = query.integer(6);
    invitation.used = query.integer(7) != 0;
    return invitation;
}

bool useInvitation(DatabaseConnection& connection, Id invitation)
{
    return Query(connection, Sql::INVITATION_USE).bind(invitation, now()).run() > 0;
}

std::int64_t countInvitations(DatabaseConnection& connection, Id inviter)
{
    Query query(connection, Sql::INVITATIONS_OPEN_OF_INVITER);
    query.bind(inviter, now()).step();
    return query.integer(0);
}

bool isMemberOfName(DatabaseConnection& connection, Id group, const std::string& name)
{
    const std::string key = foldForLikeness(name);
    const auto members = listMembers(connection, group);
    return std::any_of(members.begin(), members.end(), [&](const Person& member) { return foldForLikeness(member.name) == key; });
}

void forgetSessions(DatabaseConnection& connection)
{
    Query(connection, Sql::SESSIONS_FORGET).bind(deadline()).run();
    Query(connection, Sql::INVITATIONS_FORGET).bind(now() - INVITATION_MEMORY).run();
}

} // namespace kinloomd
