// SPDX-License-Identifier: MIT
/// \file The host's HTTP client: what a plugin asks of it.
#ifndef W_HTTP_H
#define W_HTTP_H

#include "W/WTypes.h"

#include <memory>
#include <utility>
#include <vector>

struct curl_slist;

namespace W {

class HttpRequest;

enum HTTP_REQUEST_TYPE : UINT32 {
    HTTP_REQUEST_GET = 0,
    HTTP_REQUEST_POST = 1,
};

/// How a transfer ended. The numbers are service statuses, so that each kind of failure reaches the host as a status of its own.
enum SESSION_STATUS : UINT32 {
    SESSION_DONE = 0,             ///< a reply arrived whole, whatever its HTTP code
    SESSION_NOT_CREATED = 5,      ///< the client ran out of resources
    SESSION_TOO_LARGE = 22,       ///< the reply exceeds a limit of the client
    SESSION_CUT_OFF = 29,         ///< the connection broke during the exchange
    SESSION_UNREACHABLE = 41,     ///< no connection could be made
    SESSION_TIMED_OUT = 42,       ///< connecting took too long, or the transfer stalled
    SESSION_FILE_ERROR = 61,      ///< a local file could not be read or written
    SESSION_CANCELLED = 81,       ///< HttpRequest::setCancel stopped the transfer
    SESSION_PROTOCOL_ERROR = 101, ///< the peer does not speak HTTP, or redirects where the client will not go
};

/// An HTTP status code, such as 404.
enum HTTP_RESPONSE_CODE : UINT32 {
    HTTP_NO_RESPONSE = 0,
    HTTP_OK = 200,
    HTTP_FORBIDDEN = 403,
    HTTP_INTERNAL_SERVER_ERROR = 500,
};

/// An ordered list of header fields.
class HttpHeader {
public:
    void add(const STRING& name, const STRING& value) { m_fields.emplace_back(name, value); }
    const std::vector<std::pair<STRING, STRING>>& fields() const { return m_fields; }

private:
    std::vector<std::pair<STRING, STRING>> m_fields;
};

/// The response to a finished request. A value type; the setters are the client's.
class HttpResponse {
public:
    HTTP_RESPONSE_CODE getHttpResponseCode() const { return m_code; }
    void setHttpResponseCode(HTTP_RESPONSE_CODE code) { m_code = code; }

    const STRING& getContentType() const { return m_contentType; }
    void setContentType(const STRING& type) { m_contentType = type; }

    /// The decoded body; empty when it went to a file.
    const STRING& getPayload() const { return m_payload; }
    void setPayload(STRING payload) { m_payload = std::move(payload); }
    /// The body, for the client to append to.
    STRING& payload() { return m_payload; }

private:
    HTTP_RESPONSE_CODE m_code = HTTP_NO_RESPONSE;
    STRING m_contentType;
    STRING m_payload;
};

/// Told once that a queued request has ended, on the delegator's worker thread. The callee deletes the request; the client does
/// not touch it after the call.
typedef VOID (*HttpCompletion)(SESSION_STATUS, HttpRequest*, VOID* context);

/// One request. The caller owns it until HttpDelegator::addRequest accepts it; from then on the delegator does, until it calls
/// the completion, which hands the request back to the callee, or drops it in a flush, which deletes it.
class HttpRequest {
public:
    /// \param url sent as given, except that what may not stand in a URL is percent-encoded on the wire.
    /// \param body the body of a POST; may be empty.
    /// \param completion may be null when the request is only executed.
    HttpRequest(HTTP_REQUEST_TYPE type, const STRING& url, const HttpHeader& header, const STRING& body, HttpCompletion completion,
                VOID* context);

    /// The form for transfers of files.
    /// \param path GET: the file that a 2xx body is written to; it appears whole or not at all. Empty: the body goes to the
    /// payload. POST: the file that a form sends; for information only.
    HttpRequest(HTTP_REQUEST_TYPE type, const STRING& url, const HttpHeader& header, HttpCompletion completion, VOID* context,
                const STRING& path);

    /// Releases everything the request owns, its form included. Also how a flush drops a request.
    virtual ~HttpRequest();
    HttpRequest(const HttpRequest&) = delete;
    HttpRequest& operator=(const HttpRequest&) = delete;

    /// Tags the request for HttpDelegator::flushHttpRequests.
    void setID(unsigned long long id);
    unsigned long long getID() const;

    /// Performs the request on the calling thread, without the delegator and without the completion.
    /// \return 0 when a response arrived, whatever its code; negative otherwise.
    WSTATUS execute();

    /// The response; filled when execute has returned or the completion runs.
    HttpResponse& getResponse();
    const HttpResponse& response() const;

    /// Bytes of body transferred so far and bytes expected, 0 while unknown. Callable from any thread while the request lives.
    void getProgressStatus(double& done, double& total) const;

    /// Asks the transfer to stop; it then ends with SESSION_CANCELLED. Only sets a flag; callable from any thread while the
    /// request lives.
    void setCancel();

    /// The libcurl easy handle (a CURL*), for options of the transfer; owned by the request. Not to be used once queued.
    VOID* getHandle();

    /// The header fields as a libcurl list; owned by the request, null when there are none.
    curl_slist* getHeaderList();

    /// Makes the request a multipart/form-data POST. The form is the body, whatever post fields are set on the handle.
    /// \param form the first element of a form built with curl_formadd; the request takes it over.
    void setFormPost(VOID* form);

    /// What only the client sees of a request.
    struct Impl;
    Impl& impl() { return *m_impl; }
    const Impl& impl() const { return *m_impl; }

private:
    std::unique_ptr<Impl> m_impl;
};

/// The process-wide client: runs queued requests on one worker thread of its own and calls their completions there, one at a time.
class HttpDelegator {
public:
    /// \return the one client; never null, not owned by the caller.
    static HttpDelegator* getInstance();

    /// Queues a request.
    /// \param request made with new; taken over when it is accepted, and then not to be touched by the caller any more: its
    /// completion may already have run.
    /// \return 0 when accepted; negative when the client cannot run the request, which then stays the caller's.
    WSTATUS addRequest(HttpRequest* request);

    /// Drops and deletes every queued or running request with the given tag; their completions do not run.
    ///
    /// Off the worker it returns when no completion of that tag runs or can start. On the worker it returns at once and spares the
    /// request that is completing. Requests queued after the call are untouched.
    /// \return 0.
    WSTATUS flushHttpRequests(unsigned long long id);

    HttpDelegator(const HttpDelegator&) = delete;
    HttpDelegator& operator=(const HttpDelegator&) = delete;

private:
    HttpDelegator();
    ~HttpDelegator(); // NOLINT(performance-trivially-destructible): its body is the host's, which may have something to destroy
};

} // namespace W

#endif
