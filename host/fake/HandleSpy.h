// SPDX-License-Identifier: MIT
/// \file What a program sets on libcurl's easy handles.
#ifndef FAKE_HANDLESPY_H
#define FAKE_HANDLESPY_H

#include "Internal.h"
#include "W/WTypes.h"

#include <curl/curl.h>
#include <optional>

namespace W {
namespace WHOST_INTERNAL fake {

/// The post fields of a handle, as far as they were set since it was made or reset.
struct PostFields {
    std::optional<STRING> fields;
    std::optional<long long> size;
};

PostFields postFieldsOf(CURL* handle);

} // namespace fake
} // namespace W

#endif
