// SPDX-License-Identifier: MIT
/// \file The JSON that the page and this program exchange.
#ifndef KINLOOM_TV_CORE_JSON_H
#define KINLOOM_TV_CORE_JSON_H

#include <nlohmann/json.hpp>
#include <string>

namespace tv {

/// A document whose members stay in the order in which they were written.
using Json = nlohmann::ordered_json;

/// The document on one line; bytes that are no UTF-8 become U+FFFD.
inline std::string textOf(const Json& document) { return document.dump(-1, ' ', false, Json::error_handler_t::replace); }

} // namespace tv

#endif
