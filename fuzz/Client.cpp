// SPDX-License-Identifier: MIT
// What the client library reads of others: a service's refusals, and the messages of helper processes.
#include "Targets.h"
#include "core/ErrorDocument.h"
#include "helper/Codec.h"
#include "helper/Messages.h"
#include "pairing/PairingReply.h"

#include <algorithm>

namespace fuzz {

void errorDocument(std::string_view input)
{
    constexpr std::size_t LONGEST = 300;
    const kinloom::ErrorDocument document = kinloom::ErrorDocument::read(input);
    require(document.sentence.size() <= LONGEST, "a sentence is short");
    for (const char c : document.sentence)
        require(c != '\n' && c != '\r' && c != '\t', "a sentence is one line");
}

void helperMessage(std::string_view input)
{
    namespace message = kinloom::message;
    try {
        const std::string written = message::encode(message::decode(input));
        require(message::encode(message::decode(written)) == written, "a message reads back what it writes");
    } catch (const kinloom::BrokenMessage&) {
        // refused with a reason
    }
}

void pairingReply(std::string_view input)
{
    const auto requireText = [](const std::string& text) {
        const bool plain = std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
        require(!text.empty() && plain, "what is shown and kept is a text of one line");
    };
    const std::string body(input);
    if (const auto begun = kinloom::readPairingBegun(body)) {
        for (const std::string& text : {begun->deviceCode, begun->code.userCode, begun->code.address, begun->code.completeAddress})
            requireText(text);
        require(begun->interval.count() >= 50 && begun->interval.count() <= 300'000, "a pause is neither none nor for ever");
        require(begun->code.lifetime.count() > 0, "a code lives for a while");
    }
    if (const auto device = kinloom::readPairedDevice(body)) {
        for (const std::string& text : {device->appId, device->token, device->duid})
            requireText(text);
    }
    kinloom::readPairingError(body);
}

} // namespace fuzz
