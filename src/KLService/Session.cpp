// SPDX-License-Identifier: MIT
// The session's credentials: where they come from, and how they change.
#include "KLService/Session.h"

#include "KLService/Dispatch.h" // IWYU pragma: keep -- the body of dispatch
#include "W/WConfigManager.h"

#include <algorithm>
#include <libxml++/nodes/node.h>
#include <libxml/tree.h>

namespace W {

void Session::sign()
{
    signature.clear();
    KLService::getAPISignature(appID, authToken, signature);
    authorization = KLService::getAuthorization(appID, authToken, duid, signature);
}

std::shared_ptr<const Session> Session::signedOut()
{
    auto session = std::make_shared<Session>();
    session->sign();
    return session;
}

bool KLService::isLoggedIn() const { return !session()->authToken.empty(); }
const STRING& KLService::getUserID() const { return session()->userID; }
const STRING& KLService::getAppID() const { return session()->appID; }
const STRING& KLService::getAuthToken() const { return session()->authToken; }
const STRING& KLService::getAppToken() const { return session()->appToken; }
const STRING& KLService::getDUID() const { return session()->duid; }

// A state that comes back is taken up again: most changes go back and forth between signed out and one credential. The last ones
// are kept, so that a reference that a getter has just returned stays good.
template <class Change> void KLService::changeSession(Change&& change)
{
    Lock lock(m_listMutex);
    Session next = *session();
    change(next);
    const auto isNext = [&](const std::shared_ptr<const Session>& known) { return *known == next; };
    const auto known = std::find_if(m_sessions.begin(), m_sessions.end(), isNext);
    if (known != m_sessions.end()) {
        m_sessions.splice(m_sessions.begin(), m_sessions, known);
    } else {
        next.sign();
        m_sessions.push_front(std::make_shared<const Session>(std::move(next)));
        if (m_sessions.size() > KEPT_SESSIONS)
            m_sessions.pop_back();
    }
    std::atomic_store_explicit(&m_session, m_sessions.front(), std::memory_order_release);
}

// Needs no memory: signing out must not fail.
void KLService::clearSession()
{
    Lock lock(m_listMutex); // a change that is being made must not bring the old state back
    std::atomic_store_explicit(&m_session, m_signedOut, std::memory_order_release);
}

void KLService::setUserID(const STRING& userID)
{
    changeSession([&](Session& session) { session.userID = userID; });
}

void KLService::setUserCredential(const xmlpp::Node* node, const WContentProvider& provider)
{
    if (!node) {
        clearSession();
        return;
    }
    if (!node->cobj()->children)
        return;

    WConfigManager* const config = WConfigManager::getInstance();
    const STRING appID = config->getCPOption(provider, "app_id").toString();
    const STRING authToken = config->getCPOption(provider, "AuthToken").toString();
    const STRING duid = config->getCPOption(provider, "duid").toString();
    changeSession([&](Session& session) {
        session.appID = appID;
        session.authToken = authToken;
        session.duid = duid;
    });
}

WSTATUS KLService::login(const STRING& url, const Headers& headers, const STRING& body, KLServiceCMD* command)
{
    return postDataRequest(url, headers, body, command);
}

WSTATUS KLService::login(const STRING&, const STRING&, const STRING&, const STRING&, const STRING& url, const Headers& headers,
                         const STRING& body, KLServiceCMD* command)
{
    return postDataRequest(url, headers, body, command);
}

WSTATUS KLService::logout(KLServiceCMD* command)
{
    clearSession();
    // Nothing listens on the discard port: the request only brings the completion onto the worker, like any other's.
    static const STRING NOWHERE = "http://127.0.0.1:9/";
    return dispatch(command, {log_line::LOGOUT_NOT_CREATED, log_line::LOGOUT_REFUSED}, Tracking::NONE, [&](KLServiceArgs* args) {
        return std::make_unique<ServiceRequest>(http_method::GET, NOWHERE, HttpHeader(), STRING(), args);
    });
}

} // namespace W
