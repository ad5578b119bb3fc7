// SPDX-License-Identifier: MIT
#include "http/StatusMap.h"

#include "W/WStatus.h"

#include <algorithm>
#include <iterator>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// What keeps a connection from being encrypted.
constexpr CURLcode TLS_FAILURES[] = {
    CURLE_PEER_FAILED_VERIFICATION, CURLE_SSL_CONNECT_ERROR, CURLE_SSL_CACERT_BADFILE, CURLE_SSL_CRL_BADFILE,
    CURLE_SSL_ISSUER_ERROR,         CURLE_SSL_CERTPROBLEM,   CURLE_SSL_CIPHER,         CURLE_SSL_INVALIDCERTSTATUS,
};

struct ResultMeaning {
    CURLcode result;
    SESSION_STATUS status;
};

/// All other results but those of TLS mean that the peer broke the protocol.
constexpr ResultMeaning RESULTS[] = {
    {CURLE_OK, SESSION_DONE},
    {CURLE_FAILED_INIT, SESSION_NOT_CREATED},
    {CURLE_OUT_OF_MEMORY, SESSION_NOT_CREATED},
    {CURLE_COULDNT_RESOLVE_PROXY, SESSION_UNREACHABLE},
    {CURLE_COULDNT_RESOLVE_HOST, SESSION_UNREACHABLE},
    {CURLE_COULDNT_CONNECT, SESSION_UNREACHABLE},
    {CURLE_INTERFACE_FAILED, SESSION_UNREACHABLE},
    {CURLE_PROXY, SESSION_UNREACHABLE},
    {CURLE_OPERATION_TIMEDOUT, SESSION_TIMED_OUT},
    {CURLE_PARTIAL_FILE, SESSION_CUT_OFF},
    {CURLE_GOT_NOTHING, SESSION_CUT_OFF},
    {CURLE_SEND_ERROR, SESSION_CUT_OFF},
    {CURLE_RECV_ERROR, SESSION_CUT_OFF},
    {CURLE_READ_ERROR, SESSION_FILE_ERROR},
    {CURLE_FILE_COULDNT_READ_FILE, SESSION_FILE_ERROR},
    {CURLE_FILESIZE_EXCEEDED, SESSION_TOO_LARGE},
    {CURLE_ABORTED_BY_CALLBACK, SESSION_CANCELLED},
};

struct StatusMeaning {
    SESSION_STATUS session;
    WSTATUS status;
};

constexpr StatusMeaning STATUSES[] = {
    {SESSION_DONE, WSTATUS_OK},
    {SESSION_NOT_CREATED, WSTATUS_NOT_CREATED},
    {SESSION_TOO_LARGE, WSTATUS_LIMIT_EXCEEDED},
    {SESSION_CUT_OFF, WSTATUS_CONNECTION_LOST},
    {SESSION_UNREACHABLE, WSTATUS_UNREACHABLE},
    {SESSION_TIMED_OUT, WSTATUS_TIMED_OUT},
    {SESSION_FILE_ERROR, WSTATUS_FILE_ERROR},
    {SESSION_CANCELLED, WSTATUS_CANCELLED},
};

} // namespace

SESSION_STATUS sessionStatusOf(CURLcode result)
{
    for (const ResultMeaning& entry : RESULTS)
        if (entry.result == result)
            return entry.status;
    return isTlsFailure(result) ? SESSION_UNREACHABLE : SESSION_PROTOCOL_ERROR;
}

bool isTlsFailure(CURLcode result)
{
    return std::find(std::begin(TLS_FAILURES), std::end(TLS_FAILURES), result) != std::end(TLS_FAILURES);
}

WSTATUS statusOf(SESSION_STATUS status)
{
    for (const StatusMeaning& entry : STATUSES)
        if (entry.session == status)
            return entry.status;
    return WSTATUS_FAILED;
}

} // namespace http
} // namespace W
