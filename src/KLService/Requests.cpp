// SPDX-License-Identifier: MIT
// The requests: queued GET, POST and download, and the two that run on the caller's thread.
#include "KLService/Dispatch.h"

namespace W {

HttpHeader KLService::makeHeader(const Headers& headers)
{
    HttpHeader header;
    for (const auto& [name, value] : headers)
        header.add(name, value);
    return header;
}

WSTATUS KLService::getDataRequest(const STRING& url, const Headers& headers, const STRING& body, KLServiceCMD* command)
{
    return dispatch(command, {log_line::GET_NOT_CREATED, log_line::GET_REFUSED}, Tracking::NONE, [&](KLServiceArgs* args) {
        return std::make_unique<ServiceRequest>(http_method::GET, url, makeHeader(headers), body, args);
    });
}

WSTATUS KLService::postDataRequest(const STRING& url, const Headers& headers, const STRING& body, KLServiceCMD* command)
{
    return dispatch(command, {log_line::POST_NOT_CREATED, log_line::POST_REFUSED}, Tracking::NONE, [&](KLServiceArgs* args) {
        return std::make_unique<ServiceRequest>(http_method::POST, url, makeHeader(headers), body, args);
    });
}

WSTATUS KLService::retrieveFData(const STRING& url, const STRING&, KLServiceCMD* command, const STRING& path)
{
    if (path.empty()) {
        CommandGuard dropped(*this, command);
        return logServiceError(wstatus::INVALID_ARGUMENT, log_line::DOWNLOAD_PATH_EMPTY);
    }
    const LogLines lines{log_line::DOWNLOAD_NOT_CREATED, log_line::DOWNLOAD_REFUSED};
    return dispatch(command, lines, Tracking::TRANSFER, [&](KLServiceArgs* args) {
        return std::make_unique<ServiceRequest>(http_method::GET, url, HttpHeader(), args, path);
    });
}

WSTATUS KLService::execute(HTTP_REQUEST_TYPE type, const STRING& url, const Headers& headers, const STRING& body, int logLine,
                           HttpResponse& out)
{
    WSTATUS status = wstatus::NOT_CREATED;
    try {
        HttpRequest request(type, url, makeHeader(headers), body, nullptr, nullptr);
        request.setID(m_requestID);
        status = request.execute();
        if (status >= 0) {
            out = std::move(request.getResponse());
            return wstatus::OK;
        }
    } catch (const std::exception&) {
        status = wstatus::NOT_CREATED;
    }
    return logServiceError(status, logLine);
}

WSTATUS KLService::retrieveFData(const STRING& url, const STRING&, HttpResponse& out)
{
    return execute(http_method::GET, url, Headers(), STRING(), log_line::SYNC_GET_FAILED, out);
}

WSTATUS KLService::postFData(const STRING& url, const Headers& headers, const STRING& body, HttpResponse& out)
{
    return execute(http_method::POST, url, headers, body, log_line::SYNC_POST_FAILED, out);
}

} // namespace W
