// SPDX-License-Identifier: MIT
/// \file Headers that keep a browser from doing with a reply what it is not meant for.
#ifndef KINLOOMD_OPERATIONS_PAGE_SAFEHEADERS_H
#define KINLOOMD_OPERATIONS_PAGE_SAFEHEADERS_H

#include "httpd/Reply.h"
#include "httpd/Request.h"

namespace kinloomd {

/// Adds what holds for everything that a browser gets, except to the operations that devices sign and to their media: nothing of it
/// is for other sites, or for their frames. A reply that has a policy of its own keeps it; any other is no document, and may load
/// nothing.
void addSafety(httpd::Reply& reply, const httpd::RequestHead& head);

} // namespace kinloomd

#endif
