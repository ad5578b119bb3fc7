// SPDX-License-Identifier: MIT
/// \file The operations of the service, and how a request finds its own.
#ifndef KINLOOMD_OPERATIONS_ROUTER_H
#define KINLOOMD_OPERATIONS_ROUTER_H

#include "operations/Request.h"

#include <memory>
#include <string_view>

namespace kinloomd {

class Service;

/// How the path of an operation is built.
enum class PathShape {
    PLAIN,   ///< BASE_PATH, word
    SUBJECT, ///< BASE_PATH, subject, "/", word
    JOINED,  ///< BASE_PATH, subject, word: the subject runs into the word
    MEDIA,   ///< MEDIA_PATH, word, "/", key, "/", what, "/", file name
    CONTROL, ///< CONTROL_PATH, word
    WHOLE,   ///< "/", word, in which each piece "*" stands for one that is handed on
};

/// What a request must prove before it is handled.
enum class Access {
    SIGNED,        ///< the signature of a session
    SIGN_IN,       ///< the same, or the first signature of a session, which is made with empty values
    NEIGHBOURS,    ///< no signature: signed requests beside it tell whose it is
    KEY,           ///< nothing but its address, which holds a key
    LOOPBACK_ONLY, ///< comes from this computer
    BROWSER,       ///< the cookie of a session; and where it changes something, that a page of the service has sent it
    VISITOR,       ///< the last of these alone
    NEW_DEVICE,    ///< that no page of another site has sent it
};

/// One row of the table of operations.
struct Operation {
    const char* name; ///< in faults, hit counts and the log
    const char* method;
    PathShape shape;
    const char* word;
    Access access;
    Reply (*handle)(Service&, Request&);
    /// For an operation whose body is taken as it arrives; \c handle is null then.
    std::unique_ptr<BodySink> (*openBody)(Service&, Request&);
};

/// \return whether failures on the path are told as pages and devices that are being paired read them.
bool isPagePath(std::string_view path);

/// The operation of that name, or null.
const Operation* findOperation(std::string_view name);

/// A request's operation and what its path names.
struct Route {
    const Operation* operation = nullptr;
    std::string subject;
    std::vector<std::string> pieces;
};

/// The methods that a path is known with, as an Allow header lists them; empty for an unknown path.
std::string allowedMethods(std::string_view path);

/// Finds the operation of a method and a path (without query). HEAD is taken for GET.
/// Throws ServiceError: NOT_FOUND for an unknown path, WRONG_METHOD for a known one with another method.
Route route(std::string_view method, std::string_view path);

} // namespace kinloomd

#endif
