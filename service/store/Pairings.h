// SPDX-License-Identifier: MIT
/// \file Devices that wait for a person to take them in, and codes that nobody was shown.
#ifndef KINLOOMD_STORE_PAIRINGS_H
#define KINLOOMD_STORE_PAIRINGS_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

inline constexpr Millis PAIRING_TIME = Millis{15} * 60 * 1000; ///< until a code ends
inline constexpr Millis PAIRING_PAUSE = 5'000;                 ///< between two questions of a device, at first

enum class PairingState : int {
    PENDING = 0,
    APPROVED = 1,
    REFUSED = 2,
    TAKEN = 3, ///< the device has its credentials; a code that is given in late is told from one that was made up
};

struct Pairing {
    Id id = 0;
    std::string userCode; ///< what a person reads, without the hyphen
    std::string name;     ///< what the device calls itself
    std::string address;
    Millis expires = 0;
    Millis pause = PAIRING_PAUSE;
    Millis polled = 0; ///< when the device asked last; 0 for never
    PairingState state = PairingState::PENDING;
    Id person = 0; ///< who has taken it in
};

/// A new code for people: eight letters that are hard to mistake for one another, and make no words.
std::string newUserCode();
/// The code in what a person has typed: case, blanks and hyphens aside. Empty for what can be none.
std::string readUserCode(std::string_view typed);
/// The code as a person reads it: "BCDF-GHJK".
std::string shownUserCode(const std::string& code);

/// Nothing for a device that has its credentials already.
std::optional<Pairing> findPairingByKey(DatabaseConnection& connection, const std::string& keyHash);
std::optional<Pairing> findPairingByCode(DatabaseConnection& connection, const std::string& userCode);
/// How many devices wait, in all and on one network.
std::int64_t countPairings(DatabaseConnection& connection);
std::int64_t countPairings(DatabaseConnection& connection, const std::string& network);

// Within a transaction:

/// Adds a device that waits, with a code of its own. \param pairing its name and address. \return what was added.
Pairing addPairing(DatabaseConnection& connection, const std::string& keyHash, const Pairing& pairing, const std::string& network);
/// Takes a device in for a person, or turns it away. \return false when somebody has decided before, or the code has ended.
bool decidePairing(DatabaseConnection& connection, const std::string& userCode, PairingState state, Id person);
void notePoll(DatabaseConnection& connection, const Pairing& pairing, Millis pause);
/// The device gets its credentials: no longer than once. \return whether it does now.
bool takePairing(DatabaseConnection& connection, Id pairing);

/// Codes that a person gave which no device shows, since a time.
struct Guesses {
    std::int64_t ofPerson = 0;
    std::int64_t ofNetwork = 0;
    std::int64_t all = 0;
};
Guesses countGuesses(DatabaseConnection& connection, Id person, const std::string& network, Millis since);
void addGuess(DatabaseConnection& connection, Id person, const std::string& network);

/// Removes what has ended long ago.
void forgetPairings(DatabaseConnection& connection);

} // namespace kinloomd

#endif
