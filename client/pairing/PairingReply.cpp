// SPDX-License-Identifier: MIT
#include "pairing/PairingReply.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace kinloom {

namespace {

using Json = nlohmann::json;

constexpr std::size_t MOST_TEXT = 4096;
constexpr double SHORTEST_INTERVAL = 0.05; // seconds
constexpr double USUAL_INTERVAL = 5;
constexpr double LONGEST_INTERVAL = 300;
constexpr double LONGEST_LIFE = 24 * 3600;

/// A text that can be shown, sent and kept: not empty, not endless, without controls.
std::string textIn(const Json& object, const char* name)
{
    const auto member = object.find(name);
    if (member == object.end() || !member->is_string())
        return {};
    const auto& text = member->get_ref<const std::string&>();
    const bool plain =
        std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; });
    return plain && text.size() <= MOST_TEXT ? text : std::string();
}

double numberIn(const Json& object, const char* name, double fallback)
{
    const auto member = object.find(name);
    return member != object.end() && member->is_number() ? member->get<double>() : fallback;
}

/// The object that a body is; an empty one for anything else. Bodies are small: the host limits them.
Json objectIn(const std::string& body)
{
    Json object = Json::parse(body, nullptr, false);
    return object.is_object() ? object : Json::object();
}

} // namespace

std::optional<PairingBegun> readPairingBegun(const std::string& body)
{
    const Json object = objectIn(body);
    PairingBegun begun;
    begun.deviceCode = textIn(object, "device_code");
    begun.code.userCode = textIn(object, "user_code");
    begun.code.address = textIn(object, "verification_uri");
    begun.code.completeAddress = textIn(object, "verification_uri_complete");
    if (begun.code.completeAddress.empty())
        begun.code.completeAddress = begun.code.address;
    const double life = numberIn(object, "expires_in", 0);
    const double interval = std::clamp(numberIn(object, "interval", USUAL_INTERVAL), SHORTEST_INTERVAL, LONGEST_INTERVAL);
    begun.code.lifetime = std::chrono::seconds(static_cast<long>(std::clamp(life, 0.0, LONGEST_LIFE)));
    begun.interval = std::chrono::milliseconds(static_cast<long>(interval * 1000));
    const bool whole = !begun.deviceCode.empty() && !begun.code.userCode.empty() && !begun.code.address.empty();
    return whole && begun.code.lifetime.count() > 0 ? std::optional(begun) : std::nullopt;
}

std::optional<PairedDevice> readPairedDevice(const std::string& body)
{
    const Json object = objectIn(body);
    const PairedDevice device = {textIn(object, "app_id"), textIn(object, "AuthToken"), textIn(object, "duid")};
    const bool whole = !device.appId.empty() && !device.token.empty() && !device.duid.empty();
    return whole ? std::optional(device) : std::nullopt;
}

std::string readPairingError(const std::string& body) { return textIn(objectIn(body), "error"); }

} // namespace kinloom
