// SPDX-License-Identifier: MIT
/// \file One file of the cache: a line that says what it holds, then a picture.
#ifndef KINLOOM_TV_MEDIA_CACHEFILE_H
#define KINLOOM_TV_MEDIA_CACHEFILE_H

#include "common/UniqueFd.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tv {

/// A picture in an open file.
struct CachedPicture {
    common::UniqueFd file; ///< open for reading
    std::int64_t offset = 0;
    std::int64_t length = 0;
    std::string type; ///< its MIME type
    std::string tag;  ///< for ETag, quoted
};

/// How long the line is, its end included.
inline constexpr std::int64_t CACHE_HEAD = 160;

/// Writes a picture to an empty file, behind its line. The line holds a digest of name, type and bytes: a file that was cut,
/// changed or given another name is none. Throws std::system_error.
CachedPicture writeCacheFile(common::UniqueFd file, const std::string& name, const std::string& type, std::string_view bytes);

/// Reads all of a file. \return the picture; nothing unless it is whole and was written under that name.
std::optional<CachedPicture> readCacheFile(common::UniqueFd file, const std::string& name);

} // namespace tv

#endif
