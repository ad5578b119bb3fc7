// SPDX-License-Identifier: MIT
#include "operations/SharedSigners.h"

#include <algorithm>

namespace kinloomd {

namespace {

constexpr Millis WINDOW = std::chrono::duration_cast<std::chrono::milliseconds>(Signers::WINDOW).count();

/// The traces of a place whose devices may have signed there within the window, the newest first.
std::vector<Signer> tracesOf(const std::vector<Signer>& traces, const std::string& place, Millis present)
{
    std::vector<Signer> there;
    std::copy_if(traces.begin(), traces.end(), std::back_inserter(there),
                 [&](const Signer& trace) { return trace.address == place && trace.at > present - WINDOW - SharedSigners::PART; });
    std::sort(there.begin(), there.end(), [](const Signer& a, const Signer& b) { return a.at > b.at; });
    return there;
}

/// By what a trace is remembered: of a connection the last one counts, and of an address that of each device.
std::string keyOf(const Signer& trace, const httpd::RequestHead& head)
{
    return trace.address == head.address ? trace.address + " " + trace.duid : trace.address;
}

} // namespace

std::string SharedSigners::creditedBy(const std::vector<Signer>& traces, const httpd::RequestHead& head, Millis present)
{
    const auto isFresh = [present](const Signer& trace) { return trace.at > present - WINDOW; };
    if (head.forwarded) {
        const auto there = tracesOf(traces, head.connection, present);
        if (!there.empty() && isFresh(there.front())) {
            // The device of an older trace may have signed once more since, and later than that of the newest one.
            const bool certain = there.size() == 1 || there[1].at + PART <= there.front().at;
            return certain ? there.front().duid : std::string();
        }
    }
    const auto there = tracesOf(traces, head.address, present);
    return there.size() == 1 && isFresh(there.front()) ? there.front().duid : std::string();
}

/// The traces that must be written for a signed request.
std::vector<Signer> SharedSigners::due(const httpd::RequestHead& head, const std::string& duid, Millis present) const
{
    std::vector<Signer> traces;
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const std::string& place : {head.address, head.forwarded ? head.connection : std::string()}) {
        const Signer trace{place, duid, present};
        const auto noted = m_noted.find(keyOf(trace, head));
        const bool known = noted != m_noted.end() && noted->second.duid == duid && present - noted->second.at < PART;
        if (!place.empty() && !known)
            traces.push_back(trace);
    }
    return traces;
}

void SharedSigners::remember(const std::vector<Signer>& traces, const httpd::RequestHead& head)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // What is forgotten costs a statement more, and nothing else.
    if (m_noted.size() >= Signers::REMEMBERED)
        m_noted.clear();
    for (const Signer& trace : traces)
        m_noted.insert_or_assign(keyOf(trace, head), trace);
}

void SharedSigners::note(const httpd::RequestHead& head, const std::string& duid)
{
    if (!head.forwarded)
        m_connections.note(head, duid);
    const std::vector<Signer> traces = due(head, duid, now());
    if (traces.empty())
        return;
    m_database.note([&traces](DatabaseConnection& connection) {
        for (const Signer& trace : traces)
            noteSigner(connection, trace);
    });
    remember(traces, head);
}

std::string SharedSigners::credited(const httpd::RequestHead& head)
{
    if (head.connection.empty())
        return {};
    if (!head.forwarded) {
        const std::string signer = m_connections.credited(head);
        if (!signer.empty())
            return signer;
    }
    const Millis present = now();
    const auto connection = m_database.read();
    return creditedBy(signersAt(connection, {head.address, head.connection}, present - WINDOW - PART), head, present);
}

} // namespace kinloomd
