// SPDX-License-Identifier: MIT
/// \file The calls that tell the program of events.
#ifndef HTTP_EVENTS_H
#define HTTP_EVENTS_H

#include "Internal.h"
#include "whost/HttpEvents.h"

#include <memory>

namespace W {
namespace WHOST_INTERNAL http {

/// What the program wants to be told of; null when that is nothing. Any thread.
std::shared_ptr<const HttpEvents> currentEvents();

} // namespace http
} // namespace W

#endif
