// SPDX-License-Identifier: MIT
/// \file The JSON that the program writes.
#ifndef KINLOOM_OUTPUT_JSON_H
#define KINLOOM_OUTPUT_JSON_H

#include <nlohmann/json.hpp>

namespace kinloom {

/// A document whose members stay in the order in which they were written.
using Json = nlohmann::ordered_json;

} // namespace kinloom

#endif
