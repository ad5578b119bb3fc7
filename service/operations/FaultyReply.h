// SPDX-License-Identifier: MIT
/// \file Replies that misbehave on their way out.
#ifndef KINLOOMD_OPERATIONS_FAULTYREPLY_H
#define KINLOOMD_OPERATIONS_FAULTYREPLY_H

#include "httpd/Reply.h"
#include "operations/Faults.h"

namespace kinloomd {

/// The reply as the fault has it sent: with garbage for a body, or with a body that stalls or is cut.
httpd::Reply withFault(httpd::Reply reply, const Fault& fault);

} // namespace kinloomd

#endif
