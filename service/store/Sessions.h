// SPDX-License-Identifier: MIT
/// \file Browsers that people have signed in, and invitations to do so.
///
/// A browser, or an address that is handed on, shows a key of 256 random bits; what is kept is the key's hash.
#ifndef KINLOOMD_STORE_SESSIONS_H
#define KINLOOMD_STORE_SESSIONS_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

inline constexpr Millis HOUR = Millis{60} * 60 * 1000;
inline constexpr Millis SESSION_TIME = 90 * 24 * HOUR; ///< from its last use
inline constexpr Millis INVITATION_TIME = 48 * HOUR;

/// A new key: 256 random bits as 43 characters that addresses and cookies can hold.
std::string newKey();
/// What is kept of a key.
std::string hashOfKey(std::string_view key);

struct Session {
    Id id = 0;
    std::string name; ///< of the browser, as a person knows it
    std::string address;
    Millis created = 0;
    Millis used = 0;
    Person person;
};

/// Adds a session. \param name and \p address tell its person which one it is. \return its identifier.
Id addSession(DatabaseConnection& connection, Id person, const std::string& keyHash, const std::string& name,
              const std::string& address);
/// The session of a key, unless it or its person has ended.
std::optional<Session> findSession(DatabaseConnection& connection, const std::string& keyHash);
bool isLiveSession(DatabaseConnection& connection, Id session);
void noteSessionUse(DatabaseConnection& connection, Id session, const std::string& address);
/// All sessions that have not ended, in the order in which they began.
std::vector<Session> listSessions(DatabaseConnection& connection);
std::vector<Session> listSessionsOf(DatabaseConnection& connection, Id person);
/// Ends a session. \param person whose it must be; 0 ends anybody's. \return whether there was one.
bool endSession(DatabaseConnection& connection, Id session, Id person);

struct Invitation {
    Id id = 0;
    std::string name;
    Id person = 0;  ///< who is signed in by it; 0 for one who is made then
    Id group = 0;   ///< that the person becomes a member of; 0 for none
    Id inviter = 0; ///< 0 for who runs the service
    std::string inviterName;
    Millis expires = 0;
    bool used = false;
};

/// Adds an invitation, which ends by itself after INVITATION_TIME. \return when it ends.
Millis addInvitation(DatabaseConnection& connection, const std::string& keyHash, const Invitation& invitation);
std::optional<Invitation> findInvitation(DatabaseConnection& connection, const std::string& keyHash);
/// Uses an invitation up. \return false when it was used before, or is over.
bool useInvitation(DatabaseConnection& connection, Id invitation);
/// A number that is another one when somebody has been signed in or out.
std::int64_t signOfSessions(DatabaseConnection& connection);

/// How many invitations of a person wait to be used.
std::int64_t countInvitations(DatabaseConnection& connection, Id inviter);
/// \return whether a member of the group has that name, or one that looks the same.
bool isMemberOfName(DatabaseConnection& connection, Id group, const std::string& name);

/// Removes what has ended long ago.
void forgetSessions(DatabaseConnection& connection);

} // namespace kinloomd

#endif
