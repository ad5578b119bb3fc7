// SPDX-License-Identifier: MIT
/// \file Calls of the service that a request of the page waits for.
#ifndef KINLOOM_TV_API_WAITING_H
#define KINLOOM_TV_API_WAITING_H

#include "httpd/Connection.h"
#include "tv/service/Connection.h"

#include <chrono>
#include <utility>

namespace tv {

/// Waits for a call, for as long as its page waits, and at most so long; a call that nobody waits for any more is cancelled.
/// \return what ended the wait: READABLE when the call has ended.
httpd::Connection::Event waitForCall(kinloom::AnyCall& call, const httpd::Connection& page, std::chrono::milliseconds patience);

/// What to throw when a wait ended otherwise.
CallTrouble troubleOfWait(httpd::Connection::Event event);

/// Makes a call that a page waits for. The time counts from here: also while others are before it. Throws CallTrouble.
template <class Order>
typename Order::Result callFor(const httpd::Connection& page, Connection& service, Order order, std::chrono::milliseconds patience)
{
    auto call = service.submit(Connection::Lane::PERSON, std::move(order), patience);
    const auto event = waitForCall(call, page, patience);
    if (event != httpd::Connection::Event::READABLE)
        throw troubleOfWait(event);
    return service.valueOf(call);
}

} // namespace tv

#endif
