// SPDX-License-Identifier: MIT
/// \file A reply as it arrives: what libcurl calls during a transfer, and where the body goes.
#ifndef HTTP_RECEPTION_H
#define HTTP_RECEPTION_H

#include "http/RequestImpl.h"

namespace W {
namespace WHOST_INTERNAL http {

// What libcurl calls during a transfer, on the thread that drives it; the user pointer is the EasyHandle, whose request is set.
// What goes wrong stands in the transfer's state as its failure; libcurl is only told to stop.

/// CURLOPT_WRITEFUNCTION: a piece of the body, decoded. \return \p size; 0 stops the transfer.
std::size_t onBody(char* data, std::size_t, std::size_t size, void* user) noexcept;
/// CURLOPT_HEADERFUNCTION: one line of a reply's head. \return \p size; 0 stops the transfer.
std::size_t onHeaderLine(char* line, std::size_t, std::size_t size, void* user) noexcept;
/// CURLOPT_SOCKOPTFUNCTION: a socket was made for the transfer.
int onSocket(void* user, curl_socket_t socket, curlsocktype) noexcept;
/// CURLOPT_PREREQFUNCTION: a connection is there and the request about to be sent. Stops the transfer when it is a kept connection
/// that no request may be sent on any more, or when a POST would be sent again.
int onConnected(void* user, char*, char*, int remotePort, int localPort) noexcept;
/// CURLOPT_XFERINFOFUNCTION: how far the transfer is. Stops a transfer that was cancelled.
int onProgress(void* user, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal, curl_off_t up) noexcept;

/// Forgets the reply of the hop before.
void beginReply(TransferState& transfer);

/// Fills the response from a reply that arrived whole, and gives a downloaded file its name.
/// \return SESSION_DONE, or why there is no response after all. \throw std::bad_alloc
SESSION_STATUS endReply(HttpRequest::Impl& impl, long code);

/// Whether the caller's fields hold credentials: whoever reads them can act as the caller.
bool isSigned(const HttpRequest::Impl& impl);

/// The HTTP code of the handle's last reply; 0 when there was none.
long responseCode(CURL* curl);

/// The Location of a reply with this code that a GET follows, or null; libcurl's, valid until the handle's next transfer.
const char* redirectLocation(const HttpRequest::Impl& impl, long code);

} // namespace http
} // namespace W

#endif
