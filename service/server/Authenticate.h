// SPDX-License-Identifier: MIT
/// \file Who a request comes from.
#ifndef KINLOOMD_SERVER_AUTHENTICATE_H
#define KINLOOMD_SERVER_AUTHENTICATE_H

#include "server/Request.h"
#include "server/Router.h"

namespace kinloomd {

class Service;

/// Finds out who sent the request, as far as the operation wants it proved. Throws ServiceError when it is not.
Caller authenticate(Service& service, const Request& request, Access access);

} // namespace kinloomd

#endif
