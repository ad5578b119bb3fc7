// SPDX-License-Identifier: MIT
/// \file Who a request comes from.
#ifndef KINLOOMD_OPERATIONS_AUTHENTICATE_H
#define KINLOOMD_OPERATIONS_AUTHENTICATE_H

#include "operations/Request.h"
#include "operations/Router.h"

namespace kinloomd {

class Service;

/// Finds out who sent the request, as far as the operation wants it proved. Throws ServiceError when it is not. A
/// browser's request may be given a cookie, for its reply.
Caller authenticate(Service& service, Request& request, Access access);

} // namespace kinloomd

#endif
