// SPDX-License-Identifier: MIT
/// \file What the client sees of a request.
#ifndef HTTP_REQUESTIMPL_H
#define HTTP_REQUESTIMPL_H

#include "W/Http.h"
#include "http/EasyHandle.h"
#include "http/TransferState.h"
#include "whost/HttpRequests.h"

#include <atomic>

namespace W {

struct WHOST_INTERNAL HttpRequest::Impl {
    Impl(HTTP_REQUEST_TYPE requestType, const STRING& requestUrl, const HttpHeader& fields, const STRING& requestBody,
         HttpCompletion done, VOID* doneContext, const STRING& filePath)
        : type(requestType),
          url(requestUrl),
          header(fields),
          body(requestBody),
          path(filePath),
          completion(done),
          context(doneContext)
    {
    }

    // What the caller gave.
    const HTTP_REQUEST_TYPE type;
    const STRING url;
    const HttpHeader header;
    const STRING body;
    const STRING path;
    const HttpCompletion completion;
    VOID* const context;
    unsigned long long id = 0;
    http::Form form;
    http::HeaderList partHeader; ///< what getHeaderList returns, once it was asked
    std::uint64_t bodyLimit = 0; ///< of this request alone; 0: none

    HttpResponse response;
    HttpExchange exchange; ///< how the response came, or did not

    // Written by whoever runs the transfer, read by any thread.
    std::atomic<double> bytesDone{0.0};
    std::atomic<double> bytesTotal{0.0};

    std::atomic<bool> cancelled{false};
    /// The transfer loop that a cancel wakes up; null while none has the request. Loops are never destroyed.
    std::atomic<CURLM*> loop{nullptr};

    http::TransferState transfer;
    /// The request's place in one of the delegator's lists; guarded like the list.
    HttpRequest* previous = nullptr;
    HttpRequest* next = nullptr;
    std::uint64_t sequence = 0; ///< place in the order of queueing

    /// Declared last, so that it goes back to the pool before what is set on it is freed.
    http::EasyPointer easy;
};

namespace WHOST_INTERNAL http {

/// Told whenever a request is about to be made; throws std::bad_alloc to have it fail. Each client defines its own.
void requestIsMade();
/// Told when a request is gone. Each client defines its own.
void requestIsGone() noexcept;
/// Told when a request was marked as cancelled. Any thread. Each client defines its own.
void requestIsCancelled(HttpRequest& request) noexcept;

/// Told when a handle is about to be given to the request's caller for the first time. Each client defines its own.
void handleIsGiven(HttpRequest& request);

/// The request's handle, taken from the pool when it has none yet; null when there is no memory.
EasyHandle* easyOf(HttpRequest::Impl& impl) noexcept;

} // namespace http

} // namespace W

#endif
