// SPDX-License-Identifier: MIT
/// \file The client that goes to the network: HttpDelegator, and what a request asks of its client.
#include "W/WStatus.h"
#include "http/Execute.h"
#include "http/RequestCheck.h"
#include "http/StatusMap.h"
#include "http/TransferSetup.h"
#include "http/Worker.h"

#include <new>

namespace W {

HttpDelegator::HttpDelegator() = default;
HttpDelegator::~HttpDelegator() = default;

HttpDelegator* HttpDelegator::getInstance()
{
    // Never destroyed, like the worker: plugins may use it until the process has ended.
    static HttpDelegator* const instance = new HttpDelegator;
    return instance;
}

WSTATUS HttpDelegator::addRequest(HttpRequest* request)
{
    try {
        return http::Worker::instance().add(request);
    } catch (const std::bad_alloc&) {
        // Nothing fails any more once the request is in the queue, so it is still the caller's.
        return WSTATUS_OUT_OF_MEMORY;
    }
}

WSTATUS HttpDelegator::flushHttpRequests(unsigned long long id)
{
    http::Worker::instance().flush(id);
    return 0;
}

WSTATUS HttpRequest::execute()
{
    const WSTATUS checked = http::checkRequest(*this);
    return checked < 0 ? checked : http::statusOf(http::executeHere(*this));
}

namespace WHOST_INTERNAL http {

void requestIsMade() {}
void requestIsGone() noexcept {}
void requestIsCancelled(HttpRequest& request) noexcept { Worker::instance().noticeCancel(request.impl().loop.load()); }

void handleIsGiven(HttpRequest& request)
{
    HttpRequest::Impl& impl = request.impl();
    // The parts of a URL that setUrl keeps on the handle would win over a URL that the caller sets.
    forgetOrigin(*impl.easy);
    // From here on a handle without other authorities in its options trusts whom its caller wants.
    forgetAuthorities(*impl.easy);
    if (impl.type != HTTP_REQUEST_POST)
        return;
    // Without fields libcurl would read the body from standard input. The caller's own fields take their place.
    curl_easy_setopt(impl.easy->curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(-1));
    curl_easy_setopt(impl.easy->curl, CURLOPT_POSTFIELDS, "");
}

} // namespace http

} // namespace W
