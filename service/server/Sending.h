// SPDX-License-Identifier: MIT
/// \file Replies on their way out, whole or misbehaving.
#ifndef KINLOOMD_SERVER_SENDING_H
#define KINLOOMD_SERVER_SENDING_H

#include "core/StopSignal.h"
#include "operations/Faults.h"
#include "operations/Request.h"
#include "server/Connections.h"

#include <microhttpd.h>
#include <optional>

namespace kinloomd {

/// Hands the reply to the HTTP library; its body or file is moved out of it. \return the library's verdict.
MHD_Result sendReply(MHD_Connection* connection, Reply& reply, const std::optional<Fault>& fault, const StopSignal& stop,
                     Connections& connections, int socket, bool closeAfter);

/// Ends a connection with a reset: what the client has not read yet is lost to it.
void resetConnection(int socket);

} // namespace kinloomd

#endif
