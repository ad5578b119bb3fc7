// SPDX-License-Identifier: MIT
/// \file libcurl's easy handles, reused.
#ifndef HTTP_EASYHANDLE_H
#define HTTP_EASYHANDLE_H

#include "Internal.h"
#include "W/Http.h"
#include "http/HeaderList.h"

#include <curl/curl.h>
#include <memory>
#include <string>

namespace W {
namespace WHOST_INTERNAL http {

class ClientOptions;
class Connections;

/// What the buffers and the encodings of a handle are set up for.
enum class TransferKind { UNKNOWN, MEMORY, FILE, UPLOAD };

/// An easy handle that keeps its settings from one request to the next, so that only what differs has to be set.
struct EasyHandle {
    CURL* curl = nullptr;
    /// The options that the handle is set up for; null when it is fresh.
    std::shared_ptr<const ClientOptions> settings;
    TransferKind kind = TransferKind::UNKNOWN;
    /// Scheme and authority of the URLs that the handle is set up for, as text and taken apart; see setUrl.
    std::string origin;
    CURLU* originUrl = nullptr;
    /// The header fields of the request, as sent; set on the handle.
    HeaderList header;
    /// True once a caller has the handle and may set any option of it, or a form is set, which goes with its request. Such a handle
    /// is reset before it goes back to the pool.
    bool touched = false;
    /// Where the sockets of the loop's connections are known; null when the handle is fresh.
    Connections* connections = nullptr;
    /// The socket made last for the handle's transfer.
    curl_socket_t lastSocket = CURL_SOCKET_BAD;
    /// What libcurl says of the last failure.
    char errorText[CURL_ERROR_SIZE] = {};
    /// The request that the handle's callbacks work for.
    HttpRequest* request = nullptr;
};

/// Gives a handle back to the pool.
struct EasyReturn {
    void operator()(EasyHandle* easy) const noexcept;
};
using EasyPointer = std::unique_ptr<EasyHandle, EasyReturn>;

/// A handle from the pool, or a new one; null when there is no memory. Any thread.
EasyPointer takeEasy() noexcept;

/// Sets libcurl up, once for the process. It is never shut down: others in the process may use it too. Any thread.
bool initialiseCurl() noexcept;

} // namespace http
} // namespace W

#endif
