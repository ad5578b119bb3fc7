// SPDX-License-Identifier: MIT
#include "kinloom/Failure.h"

#include <algorithm>

namespace kinloom {

namespace {

struct StatusText {
    W::WSTATUS status;
    std::string_view text; ///< "{address}" stands for the service's address
};

/// The first one stands for every status without a text of its own.
constexpr StatusText STATUSES[] = {
    {W::WSTATUS_FAILED, "the service's reply reports a failure or makes no sense"},
    {W::WSTATUS_INVALID_ARGUMENT, "the plugin or the service refuses an argument"},
    {W::WSTATUS_NOT_CREATED, "this computer has no resources left for a request"},
    {W::WSTATUS_OUT_OF_MEMORY, "this computer has no memory left"},
    {W::WSTATUS_FILE_ERROR, "a file of this computer cannot be read or written"},
    {W::WSTATUS_EXCEPTION_PENDING, "the service asks for an answer before it lets this device in"},
    {W::WSTATUS_LIMIT_EXCEEDED, "the reply is larger than this host accepts"},
    {W::WSTATUS_CANCEL_PENDING, "another cancel is still under way"},
    {W::WSTATUS_NOT_SUPPORTED, "the service does not offer this"},
    {W::WSTATUS_UNREACHABLE, "the service at {address} cannot be reached"},
    {W::WSTATUS_TIMED_OUT, "the service at {address} did not answer in time"},
    {W::WSTATUS_CONNECTION_LOST, "the service at {address} failed or broke the connection off"},
    {W::WSTATUS_CANCELLED, "the transfer was cancelled"},
    {W::WSTATUS_LOGIN_REFUSED, "the service refuses this device's credentials"},
    {W::WSTATUS_NOT_LOGGED_IN, "the service does not accept this device"},
    {W::WSTATUS_CONFLICT, "the service's state forbids it"},
    {W::WSTATUS_REJECTED, "the service refuses it: there is no such thing, or it is not yours to touch"},
    {W::WSTATUS_AUTH_FAILED, "the service does not know this device"},
    {W::WSTATUS_CHALLENGE_REQUIRED, "the service asks for an answer before it lets this device in"},
};

struct KindName {
    FailureKind kind;
    const char* name;
};

constexpr KindName KINDS[] = {
    {FailureKind::INVALID, "invalid"},
    {FailureKind::REFUSED, "refused"},
    {FailureKind::FAILED, "failed"},
    {FailureKind::TIMED_OUT, "timed out"},
    {FailureKind::CANCELLED, "cancelled"},
    {FailureKind::INTERRUPTED, "interrupted"},
    {FailureKind::DROPPED, "dropped"},
    {FailureKind::LANE_DIED, "lane died"},
    {FailureKind::LANE_NOT_STARTED, "lane not started"},
    {FailureKind::NOT_LOADED, "not loaded"},
    {FailureKind::NOT_A_PLUGIN, "not a plugin"},
};

} // namespace

const char* nameOf(FailureKind kind)
{
    for (const KindName& entry : KINDS)
        if (entry.kind == kind)
            return entry.name;
    return "unknown";
}

std::string statusText(W::WSTATUS status, std::string_view address)
{
    constexpr std::string_view PLACE = "{address}";
    const StatusText* found = &STATUSES[0];
    for (const StatusText& entry : STATUSES)
        if (entry.status == status)
            found = &entry;
    std::string text(found->text);
    if (const std::size_t at = text.find(PLACE); at != std::string::npos)
        text.replace(at, PLACE.size(), address);
    return text;
}

std::string numbersOf(const CallFailure& failure)
{
    std::string text;
    const auto add = [&](const std::string& word) { text.append(text.empty() ? "" : ", ").append(word); };
    if (failure.status != W::WSTATUS_OK) {
        add(W::WSTATUS2STRING(static_cast<unsigned int>(failure.status)));
        add(std::to_string(failure.status));
    }
    const bool wellAnswered = failure.httpCode >= 200 && failure.httpCode <= 299; // what failed is not the answer's fault then
    if (failure.httpCode != 0 && !wellAnswered)
        add("HTTP " + std::to_string(failure.httpCode));
    return text;
}

std::string CallFailure::text() const
{
    std::string line = attempt;
    if (!line.empty())
        line += ": ";
    line += detail.empty() ? statusText(status, address) : detail;
    if (const std::string numbers = numbersOf(*this); !numbers.empty())
        line.append(" (").append(numbers).append(")");
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    std::replace_if(line.begin(), line.end(), isControl, '?');
    return line;
}

} // namespace kinloom
