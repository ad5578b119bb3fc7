// SPDX-License-Identifier: MIT
/// \file How media are named, in folders and in buckets.
#ifndef KINLOOMD_MEDIA_MEDIUMNAMES_H
#define KINLOOMD_MEDIA_MEDIUMNAMES_H

#include "store/Records.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace kinloomd {

/// A number that nobody else has made up: more than 0, of 48 bits.
std::int64_t randomNumber();

/// What an original is called that comes where others may come for the same content at the same time: nobody else has that attempt.
OriginalName newOriginalName(Id content);

/// "CONTENT", or "CONTENT-ATTEMPT" for one of an attempt.
std::string fileNameOf(const OriginalName& original);

/// The numbers in a name.
struct NumberedName {
    Id id = 0;               ///< 0 for a name that is none of ours
    std::int64_t number = 0; ///< behind it; 0 for none
};
/// Reads "ID" and "ID-NUMBER".
NumberedName parseNumberedName(std::string_view name);

/// The content that a thumbnail's name, "CONTENT-SIZE", begins with; 0 for a name that is none of ours.
Id contentOfThumbnail(std::string_view name);

} // namespace kinloomd

#endif
