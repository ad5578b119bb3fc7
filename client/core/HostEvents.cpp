// SPDX-License-Identifier: MIT
#include "core/HostEvents.h"

#include "core/HomeNetwork.h"
#include "kinloom/Route.h"
#include "kinloom/Warning.h"

#include <utility>

namespace kinloom {

namespace {

struct SessionMeaning {
    W::SESSION_STATUS session;
    W::WSTATUS status;
};

/// What is not here is the peer's doing.
constexpr SessionMeaning MEANINGS[] = {
    {W::SESSION_DONE, W::WSTATUS_OK},
    {W::SESSION_NOT_CREATED, W::WSTATUS_NOT_CREATED},
    {W::SESSION_TOO_LARGE, W::WSTATUS_LIMIT_EXCEEDED},
    {W::SESSION_CUT_OFF, W::WSTATUS_CONNECTION_LOST},
    {W::SESSION_UNREACHABLE, W::WSTATUS_UNREACHABLE},
    {W::SESSION_TIMED_OUT, W::WSTATUS_TIMED_OUT},
    {W::SESSION_FILE_ERROR, W::WSTATUS_FILE_ERROR},
    {W::SESSION_CANCELLED, W::WSTATUS_CANCELLED},
};

/// Plugins tag their requests with a provider's identifier, which fits into 32 bits and is not 0.
constexpr bool isOfAPlugin(unsigned long long id) { return id != 0 && id >> 32 == 0; }

} // namespace

W::WSTATUS statusOf(W::SESSION_STATUS session)
{
    for (const SessionMeaning& entry : MEANINGS)
        if (entry.session == session)
            return entry.status;
    return W::WSTATUS_FAILED;
}

std::string warningOf(const W::HttpPlainRequest& request, const W::HttpOptions& options)
{
    return "what goes to " + addressOf(options, request.origin) +
           " is not encrypted: whoever sees it on its way can act as this device. An https address of the service encrypts it.";
}

HostEvents& HostEvents::instance()
{
    static HostEvents& events = *new HostEvents;
    return events;
}

HostEvents::HostEvents()
{
    W::HttpEvents events;
    events.ended = [this](const W::HttpExchange& exchange) {
        if (!isOfAPlugin(exchange.id))
            return;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_exchange = exchange;
    };
    events.unencrypted = [this](const W::HttpPlainRequest& request) {
        if (!staysAtHome(request))
            warn(warningOf(request, W::httpOptions()));
    };
    W::setHttpEvents(std::move(events));
}

void HostEvents::forget()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_exchange = W::HttpExchange();
}

W::HttpExchange HostEvents::lastOfPlugins() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_exchange;
}

void HostEvents::onWarning(std::function<void(const std::string&)> told)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_warned = std::move(told);
    m_hasWarned = false;
}

void HostEvents::warn(const std::string& sentence)
{
    std::function<void(const std::string&)> told;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_hasWarned || !m_warned)
            return;
        m_hasWarned = true;
        told = m_warned;
    }
    told(sentence);
}

void onWarning(std::function<void(const std::string& sentence)> told) { HostEvents::instance().onWarning(std::move(told)); }

} // namespace kinloom
