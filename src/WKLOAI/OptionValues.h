// SPDX-License-Identifier: MIT
/// \file The values of the interface's options. Hosts pass any number; one without a name here has no meaning of its own.
#ifndef WKLOAI_OPTIONVALUES_H
#define WKLOAI_OPTIONVALUES_H

#include "W/WTypes.h"

namespace W {

/// KL_OPTION_SORT
namespace sort_by {
constexpr UINT32 CREATED_TIME = 1;
constexpr UINT32 RECENT_USED = 2;
} // namespace sort_by

/// KL_OPTION_INCLUDE
namespace include {
constexpr UINT32 USAGE = 1;
constexpr UINT32 MEMBER = 2;
constexpr UINT32 CREATOR = 3;
constexpr UINT32 NEW = 4;
constexpr UINT32 ALL = 5;
} // namespace include

/// KL_SEARCH_BASE
namespace search_by {
constexpr UINT32 UPLOAD_TIME = 1;
constexpr UINT32 CONTENT_ID = 2;
} // namespace search_by

/// KL_OPTION_ITEM
namespace item {
constexpr UINT32 PHOTO = 1;
constexpr UINT32 VIDEO = 2;
constexpr UINT32 MUSIC = 3;
} // namespace item

/// KL_CONTENT_TYPE
namespace content_type {
constexpr UINT32 PHOTO = 1;
} // namespace content_type

} // namespace W

#endif
