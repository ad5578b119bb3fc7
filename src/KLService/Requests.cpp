// SPDX-License-Identifier: MIT
// The requests: queued GET, POST and download, and the two that run on the caller's thread.
#include "KLService/Dispatch.h"
#include "KLService/Lock.h"

#ifndef KINLOOM_ENDPOINT
#error "KINLOOM_ENDPOINT must name the service's default endpoint"
#endif

namespace W {

HttpHeader KLService::makeHeader(const Headers& headers)
{
    HttpHeader header;
    for (const auto& [name, value] : headers)
        header.add(name, value);
    return header;
}

const STRING& KLService::getBaseURL()
{
    static const STRING URL = KINLOOM_ENDPOINT;
    return URL;
}

KLService::KLService(const STRING& name, const WContentProvider& provider)
    : m_name(name),
      m_signedOut(Session::signedOut()),
      m_session(m_signedOut),
      m_delegator(HttpDelegator::getInstance()),
      m_requestID(provider.getID())
{
    pthread_mutex_init(&m_listMutex, nullptr);
    pthread_mutex_init(&m_transferMutex, nullptr);
    forgetTransfer();
}

KLService::~KLService()
{
    // A request must not outlive its service. The facade has closed already; a service that stands alone does it here.
    if (hasLiveRequests())
        close();
    for (WException* exception : m_exceptions)
        delete exception;
    pthread_mutex_destroy(&m_listMutex);
    pthread_mutex_destroy(&m_transferMutex);
}

WSTATUS KLService::getDataRequest(const STRING& url, const Headers& headers, const STRING& body, KLServiceCMD* command)
{
    return dispatch(command, {log_line::GET_NOT_CREATED, log_line::GET_REFUSED}, Tracking::NONE, [&](KLServiceArgs* args) {
        return std::make_unique<ServiceRequest>(*this, HTTP_REQUEST_GET, url, makeHeader(headers), body, args);
    });
}

WSTATUS KLService::postDataRequest(const STRING& url, const Headers& headers, const STRING& body, KLServiceCMD* command)
{
    return dispatch(command, {log_line::POST_NOT_CREATED, log_line::POST_REFUSED}, Tracking::NONE, [&](KLServiceArgs* args) {
        return std::make_unique<ServiceRequest>(*this, HTTP_REQUEST_POST, url, makeHeader(headers), body, args);
    });
}

WSTATUS KLService::retrieveFData(const STRING& url, const STRING&, KLServiceCMD* command, const STRING& path)
{
    if (path.empty()) {
        CommandGuard dropped(*this, command);
        return logServiceError(WSTATUS_INVALID_ARGUMENT, log_line::DOWNLOAD_PATH_EMPTY);
    }
    const LogLines lines{log_line::DOWNLOAD_NOT_CREATED, log_line::DOWNLOAD_REFUSED};
    return dispatch(command, lines, Tracking::TRANSFER, [&](KLServiceArgs* args) {
        return std::make_unique<ServiceRequest>(*this, HTTP_REQUEST_GET, url, HttpHeader(), args, path);
    });
}

WSTATUS KLService::execute(HTTP_REQUEST_TYPE type, const STRING& url, const Headers& headers, const STRING& body, int logLine,
                           HttpResponse& out)
{
    WSTATUS status = WSTATUS_NOT_CREATED;
    try {
        HttpRequest request(type, url, makeHeader(headers), body, nullptr, nullptr);
        request.setID(m_requestID);
        status = request.execute();
        if (status >= 0) {
            out = std::move(request.getResponse());
            return WSTATUS_OK;
        }
    } catch (const std::exception&) {
        status = WSTATUS_NOT_CREATED;
    }
    return logServiceError(status, logLine);
}

WSTATUS KLService::retrieveFData(const STRING& url, const STRING&, HttpResponse& out)
{
    return execute(HTTP_REQUEST_GET, url, Headers(), STRING(), log_line::SYNC_GET_FAILED, out);
}

WSTATUS KLService::postFData(const STRING& url, const Headers& headers, const STRING& body, HttpResponse& out)
{
    return execute(HTTP_REQUEST_POST, url, headers, body, log_line::SYNC_POST_FAILED, out);
}

void KLService::addARGS(KLServiceArgs* args)
{
    Lock lock(m_listMutex);
    m_liveArgs.insert(args);
}

bool KLService::hasLiveRequests()
{
    Lock lock(m_listMutex);
    return !m_liveArgs.empty();
}

void KLService::cleanupARGS(KLServiceArgs* args)
{
    {
        Lock lock(m_listMutex);
        const auto found = m_liveArgs.find(args);
        if (found == m_liveArgs.end())
            return;
        m_liveArgs.erase(found);
    }
    // Outside the lock: a command's destructor may be anybody's code.
    delete args->command;
    delete args;
}

} // namespace W
