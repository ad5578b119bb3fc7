// SPDX-License-Identifier: MIT
#include "store/Pairings.h"

#include "core/Digest.h"

#include <string_view>

namespace kinloomd {

namespace {

constexpr std::string_view LETTERS = "BCDFGHJKLMNPQRSTVWXZ";
constexpr std::size_t CODE_LETTERS = 8;
/// How long it can be told that a code has ended.
constexpr Millis PAIRING_MEMORY = 4 * PAIRING_TIME;
constexpr Millis GUESS_MEMORY = 4 * PAIRING_TIME;

Pairing readPairing(const Query& query)
{
    Pairing pairing;
    pairing.id = query.integer(0);
    pairing.userCode = query.text(1);
    pairing.name = query.text(2);
    pairing.address = query.text(3);
    pairing.expires = query.integer(4);
    pairing.pause = query.integer(5);
    pairing.polled = query.integer(6);
    pairing.state = static_cast<PairingState>(query.integer(7));
    pairing.person = query.integer(8);
    return pairing;
}

std::int64_t firstOf(Query& query)
{
    query.step();
    return query.integer(0);
}

} // namespace

std::string newUserCode()
{
    // Bytes above the last multiple of the number of letters would make some letters likelier than others.
    constexpr auto FAIR = static_cast<unsigned char>(256 / LETTERS.size() * LETTERS.size());
    std::string code;
    while (code.size() < CODE_LETTERS) {
        for (const char c : randomBytes(CODE_LETTERS)) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte < FAIR && code.size() < CODE_LETTERS)
                code += LETTERS[byte % LETTERS.size()];
        }
    }
    return code;
}

std::string readUserCode(std::string_view typed)
{
    std::string code;
    for (const char c : typed) {
        if (c == '-' || c == ' ')
            continue;
        const char letter = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        if (LETTERS.find(letter) == std::string_view::npos || code.size() == CODE_LETTERS)
            return {};
        code += letter;
    }
    return code.size() == CODE_LETTERS ? code : std::string();
}

std::string shownUserCode(const std::string& code)
{
    return code.substr(0, CODE_LETTERS / 2) + "-" + code.substr(CODE_LETTERS / 2);
}

std::optional<Pairing> findPairingByKey(DatabaseConnection& connection, const std::string& keyHash)
{
    Query query(connection, Sql::PAIRING_BY_KEY);
    query.bind(keyHash);
    if (!query.step() || !equalsInConstantTime(query.text(9), keyHash))
        return std::nullopt;
    return readPairing(query);
}

std::optional<Pairing> findPairingByCode(DatabaseConnection& connection, const std::string& userCode)
{
    Query query(connection, Sql::PAIRING_BY_CODE);
    query.bind(userCode);
    if (!query.step() || !equalsInConstantTime(query.text(1), userCode))
        return std::nullopt;
    return readPairing(query);
}

std::int64_t countPairings(DatabaseConnection& connection)
{
    Query query(connection, Sql::PAIRINGS_PENDING);
    return firstOf(query.bind(now()));
}

std::int64_t countPairings(DatabaseConnection& connection, const std::string& network)
{
    Query query(connection, Sql::PAIRINGS_PENDING_OF_NETWORK);
    return firstOf(query.bind(network, now()));
}

Pairing addPairing(DatabaseConnection& connection, const std::string& keyHash, const Pairing& pairing, const std::string& network)
{
    Pairing added = pairing;
    added.expires = now() + PAIRING_TIME;
    // A code that another device shows is no code: nothing is added then.
    while (added.id == 0) {
        added.userCode = newUserCode();
        Query query(connection, Sql::PAIRING_ADD);
        query.bind(keyHash, added.userCode, added.name, added.address, network, added.expires, added.pause);
        if (query.step())
            added.id = query.integer(0);
    }
    return added;
}

bool decidePairing(DatabaseConnection& connection, const std::string& userCode, PairingState state, Id person)
{
    return Query(connection, Sql::PAIRING_DECIDE).bind(userCode, static_cast<int>(state), person, now()).run() > 0;
}

void notePoll(DatabaseConnection& connection, const Pairing& pairing, Millis pause)
{
    Query(connection, Sql::PAIRING_POLLED).bind(pairing.id, now(), pause).run();
}

bool takePairing(DatabaseConnection& connection, Id pairing)
{
    return Query(connection, Sql::PAIRING_TAKEN).bind(pairing).run() > 0;
}

Guesses countGuesses(DatabaseConnection& connection, Id person, const std::string& network, Millis since)
{
    Query ofPerson(connection, Sql::GUESSES_OF_PERSON);
    Query ofNetwork(connection, Sql::GUESSES_OF_NETWORK);
    Query all(connection, Sql::GUESSES);
    return {firstOf(ofPerson.bind(person, since)), firstOf(ofNetwork.bind(network, since)), firstOf(all.bind(since))};
}

void addGuess(DatabaseConnection& connection, Id person, const std::string& network)
{
    Query(connection, Sql::GUESS_ADD).bind(network, person, now()).run();
}

void forgetPairings(DatabaseConnection& connection)
{
    Query(connection, Sql::PAIRINGS_FORGET).bind(now() - PAIRING_MEMORY).run();
    Query(connection, Sql::GUESSES_FORGET).bind(now() - GUESS_MEMORY).run();
}

} // namespace kinloomd
