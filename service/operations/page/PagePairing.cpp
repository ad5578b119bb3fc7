// SPDX-License-Identifier: MIT
// Devices that cannot be typed at: they show a code, which a person gives in on the page (RFC 8628).
#include "core/Failure.h"
#include "core/Text.h"
#include "httpd/Address.h"
#include "operations/Parameters.h"
#include "operations/Paths.h"
#include "operations/Service.h"
#include "operations/page/Json.h"
#include "operations/page/PageHandlers.h"
#include "store/Locks.h"
#include "store/Pairings.h"
#include "store/People.h"
#include "store/Sessions.h"

namespace kinloomd {

namespace {

constexpr std::size_t NAME_OF_DEVICE = 100; ///< characters
constexpr std::int64_t MOST_PENDING = 1'000;
constexpr std::int64_t MOST_PENDING_OF_NETWORK = 10;
/// A device that counts its pause from the reply may seem to ask a little early.
constexpr Millis POLL_TOLERANCE = 500;

// Of 20^8 codes at most 1,000 are pending. So many guesses while a code lives find one of them once in 25,000 times.
constexpr Millis GUESS_TIME = PAIRING_TIME;
constexpr std::int64_t MOST_GUESSES = 1'000;
constexpr std::int64_t MOST_GUESSES_OF_NETWORK = 20;
constexpr std::int64_t MOST_GUESSES_OF_PERSON = 10;

[[noreturn]] void refuseTooMany(const char* why, Millis time)
{
    throw ServiceError(Failure::TOO_MANY_REQUESTS, why, static_cast<unsigned>(time / 1000));
}

/// The device of the code in the request; nothing for a code that no device shows. Such codes are counted, whoever gives them in:
/// beyond some of them not even a right one is looked at. Within a transaction.
std::optional<Pairing> findPending(DatabaseConnection& connection, const Request& request)
{
    const Id person = request.caller.person.id;
    const std::string network = httpd::networkOf(request.head.address);
    // A person's guesses are counted one after the other. Of a network, and of all, some more may slip through at the same moment:
    // as many as there are processes and people, which says nothing against so large a number of codes.
    lockPerson(connection, person);
    const Guesses guesses = countGuesses(connection, person, network, now() - GUESS_TIME);
    if (guesses.ofPerson >= MOST_GUESSES_OF_PERSON || guesses.ofNetwork >= MOST_GUESSES_OF_NETWORK || guesses.all >= MOST_GUESSES)
        refuseTooMany("There were too many wrong codes. Try again in a quarter of an hour.", GUESS_TIME);
    auto pairing = findPairingByCode(connection, readUserCode(request.pieces[0]));
    if (!pairing) {
        addGuess(connection, person, network);
        return std::nullopt;
    }
    if (pairing->expires <= now())
        throw ServiceError(Failure::EXPIRED, "This code is no longer good. Let the device show a new one.");
    if (pairing->state != PairingState::PENDING)
        throw ServiceError(Failure::USED, "Somebody has decided on this device already.");
    return pairing;
}

/// \return the pairing that the work found. Throws WRONG_CODE when it found none: its guess is written down by then.
template <typename Work> Pairing requirePending(Service& service, const Work& work)
{
    auto pairing = service.database().change(work);
    if (!pairing)
        throw ServiceError(Failure::WRONG_CODE);
    return std::move(*pairing);
}

Reply tokenFailure(const char* error) { return jsonReply({{"error", error}}, 400); }

/// What a device that waits is told.
Reply answerPoll(DatabaseConnection& connection, const Pairing& pairing)
{
    if (pairing.expires <= now())
        return tokenFailure("expired_token");
    if (pairing.state == PairingState::PENDING) {
        // A clock that was set back says nothing about how long ago the device asked.
        const Millis passed = now() - pairing.polled;
        const bool early = pairing.polled != 0 && passed >= 0 && passed < pairing.pause - POLL_TOLERANCE;
        notePoll(connection, pairing, early ? pairing.pause + PAIRING_PAUSE : pairing.pause);
        return tokenFailure(early ? "slow_down" : "authorization_pending");
    }
    // Who has taken it in may have been removed since.
    if (pairing.state == PairingState::REFUSED || !findPerson(connection, pairing.person))
        return tokenFailure("access_denied");
    // Of two who ask at the same time, one gets it.
    if (!takePairing(connection, pairing.id))
        return tokenFailure("invalid_grant");
    const DeviceCredentials made = makeDevice(connection, pairing.person, pairing.name);
    return jsonReply({{"app_id", made.appId}, {"AuthToken", made.token}, {"duid", made.duid}});
}

} // namespace

Reply handlePair(Service& service, Request& request)
{
    Pairing pairing;
    pairing.name = textParameter(request.form, "device_name", NAME_OF_DEVICE);
    if (foldForLikeness(pairing.name).empty())
        throw ServiceError(Failure::MISSING_PARAMETER, "A device needs a name: device_name is missing.");
    pairing.address = request.head.address;
    const std::string network = httpd::networkOf(request.head.address);
    const std::string deviceCode = newKey();
    pairing = service.database().change([&](DatabaseConnection& connection) {
        if (countPairings(connection, network) >= MOST_PENDING_OF_NETWORK)
            refuseTooMany("Too many devices of this address wait to be taken in.", PAIRING_TIME);
        if (countPairings(connection) >= MOST_PENDING)
            refuseTooMany("Too many devices wait to be taken in.", PAIRING_TIME);
        forgetPairings(connection);
        return addPairing(connection, hashOfKey(deviceCode), pairing, network);
    });
    const std::string shown = shownUserCode(pairing.userCode);
    const std::string address = service.options().ownAddress + std::string(PAIRING_PATH);
    return jsonReply({{"device_code", deviceCode},
                      {"user_code", shown},
                      {"verification_uri", address},
                      {"verification_uri_complete", address + "/" + shown},
                      {"expires_in", PAIRING_TIME / 1000},
                      {"interval", PAIRING_PAUSE / 1000}});
}

Reply handlePairToken(Service& service, Request& request)
{
    const std::string_view code = request.form.get("device_code");
    if (code.empty())
        return tokenFailure("invalid_request");
    return service.database().change([&](DatabaseConnection& connection) {
        const auto pairing = findPairingByKey(connection, hashOfKey(code));
        return pairing ? answerPoll(connection, *pairing) : tokenFailure("invalid_grant");
    });
}

Reply handlePagePairing(Service& service, Request& request)
{
    const Pairing pairing =
        requirePending(service, [&](DatabaseConnection& connection) { return findPending(connection, request); });
    return jsonReply({{"user_code", shownUserCode(pairing.userCode)},
                      {"device_name", pairing.name},
                      {"address", pairing.address},
                      {"expires_in", (pairing.expires - now()) / 1000}});
}

Reply handlePagePairingDecide(Service& service, Request& request)
{
    const Json body = bodyOf(request);
    const auto approve = body.find("approve");
    if (approve == body.end() || !approve->is_boolean())
        throw ServiceError(Failure::MISSING_PARAMETER, "approve is neither true nor false.");
    const bool approved = approve->get<bool>();
    const PairingState state = approved ? PairingState::APPROVED : PairingState::REFUSED;
    const Pairing pairing = requirePending(service, [&](DatabaseConnection& connection) {
        auto found = findPending(connection, request);
        if (found && !decidePairing(connection, found->userCode, state, request.caller.person.id))
            throw ServiceError(Failure::USED);
        return found;
    });
    return jsonReply({{"approved", approved}, {"device_name", pairing.name}});
}

} // namespace kinloomd
