// SPDX-License-Identifier: MIT
/// \file JSON on the wire: what the page asks for and is told.
#ifndef KINLOOMD_OPERATIONS_PAGE_JSON_H
#define KINLOOMD_OPERATIONS_PAGE_JSON_H

#include "core/Failure.h"
#include "operations/Request.h"

#include <nlohmann/json.hpp>
#include <string>

namespace kinloomd {

using Json = nlohmann::ordered_json;

/// A reply that nobody keeps.
Reply jsonReply(const Json& document, unsigned status = 200);

/// A failure as the page reads it: a word of a table, and a sentence.
Reply pageFailure(const ServiceError& error);

/// The object that a request's body is. Throws BAD_PARAMETER for anything else, and for a body that is not said to be JSON.
Json bodyOf(const Request& request);

/// A text in an object; empty when it is not there. Throws BAD_PARAMETER for what is none, or is too long.
std::string textMember(const Json& object, const char* name, std::size_t maximum);

} // namespace kinloomd

#endif
