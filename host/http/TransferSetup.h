// SPDX-License-Identifier: MIT
/// \file How an easy handle is set up for a request.
#ifndef HTTP_TRANSFERSETUP_H
#define HTTP_TRANSFERSETUP_H

#include "http/RequestImpl.h"

namespace W {
namespace WHOST_INTERNAL http {

/// Sets what is the same for all requests of a loop under these options, unless the handle has it already.
void setOptions(EasyHandle& easy, const std::shared_ptr<const ClientOptions>& options, Connections& connections);

/// Sets the URL of a hop. Comes after setMethod. What libcurl says of the URL afterwards (CURLINFO_EFFECTIVE_URL and the like) may
/// be that of an earlier request. \return false when there is no memory. \throw std::bad_alloc
bool setUrl(HttpRequest::Impl& impl, const STRING& url);

/// Has the handle forget what setUrl keeps on it from one request to the next.
void forgetOrigin(EasyHandle& easy) noexcept;

/// Has the handle trust whom the system trusts, whatever the options that it is set up for say.
void forgetAuthorities(EasyHandle& easy) noexcept;

/// Sets method, body and what suits their kind. Comes after setOptions.
void setMethod(HttpRequest::Impl& impl);

/// Builds the header list and sets it. Comes after setMethod. \return false when libcurl refuses it. \throw std::bad_alloc
bool setHeader(HttpRequest::Impl& impl);

/// True when every file that a form names is a regular one. libcurl would read "-" from standard input, wait for a writer at a
/// FIFO, and send an empty part for a directory.
bool formFilesAreRegular(const curl_httppost* form);

} // namespace http
} // namespace W

#endif
