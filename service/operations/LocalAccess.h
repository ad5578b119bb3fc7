// SPDX-License-Identifier: MIT
/// \file Who may ask for what is not for the devices of the service.
#ifndef KINLOOMD_OPERATIONS_LOCALACCESS_H
#define KINLOOMD_OPERATIONS_LOCALACCESS_H

#include "httpd/AddressRange.h"
#include "httpd/Request.h"

#include <vector>

namespace kinloomd {

/// Lets programs on this computer pass. Throws ServiceError, FORBIDDEN, for requests from elsewhere, through a proxy too, and for
/// those that a page of another site has a browser on this computer send: they name that site as their origin, or as the host,
/// where its name leads here.
void requireLocal(const httpd::RequestHead& head);

/// Lets programs on this computer pass, and those on computers of these addresses, though no browser sent here by a page.
void requireLocalOr(const std::vector<httpd::AddressRange>& others, const httpd::RequestHead& head);

} // namespace kinloomd

#endif
