// SPDX-License-Identifier: MIT
/// \file The JSON that the program writes.
#ifndef KINLOOM_OUTPUT_JSON_H
#define KINLOOM_OUTPUT_JSON_H

#include <nlohmann/json.hpp>

namespace kinloom {

/// A document whose members stay in the order in which they were written.
using Json = nlohmann::ordered_json;

/// A status, or null where nothing has reported one.
inline Json statusOrNull(int status) { return status == 0 ? Json(nullptr) : Json(status); }

} // namespace kinloom

#endif
