// SPDX-License-Identifier: MIT
/// \file Who a browser is signed in for, and which page has sent its request.
#ifndef KINLOOMD_OPERATIONS_PAGE_BROWSER_H
#define KINLOOMD_OPERATIONS_PAGE_BROWSER_H

#include "operations/Options.h"
#include "operations/Request.h"

#include <string>
#include <string_view>

namespace kinloomd {

class Service;

/// The person whom the cookie of the request is signed in for. Throws SIGNED_OUT for nobody. Notes the use of the session now and
/// then, and has the browser keep its cookie for longer.
Caller authenticateBrowser(Service& service, Request& request);

/// The hash of the key in the request's cookie; empty for none.
std::string sessionKeyHash(const httpd::RequestHead& head);

/// Lets pass what changes nothing, and what a page of this service has sent. Throws FORBIDDEN.
void requireOwnPage(const Options& options, const httpd::RequestHead& head);
/// Lets pass what no page has sent, and what a page of this service has. Throws FORBIDDEN.
void refuseOtherPages(const Options& options, const httpd::RequestHead& head);

/// The cookie of a session.
std::string sessionCookie(const std::string& key, const httpd::RequestHead& head);
/// The same for the session that the request shows, so that the browser keeps it for longer.
std::string renewedCookie(const httpd::RequestHead& head);
/// The cookie that takes its place when the session has ended.
std::string endedCookie(const httpd::RequestHead& head);

/// What people call a browser that names itself so: "Firefox on Android".
std::string browserName(std::string_view userAgent);

} // namespace kinloomd

#endif
