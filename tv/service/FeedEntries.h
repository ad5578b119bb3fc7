// SPDX-License-Identifier: MIT
/// \file The plugin's records as the index keeps them.
#ifndef KINLOOM_TV_SERVICE_FEEDENTRIES_H
#define KINLOOM_TV_SERVICE_FEEDENTRIES_H

#include "W/WContent.h"
#include "W/WGroup.h"
#include "tv/index/Entry.h"
#include "tv/media/Pictures.h"

#include <string>
#include <vector>

namespace tv {

/// The marker of a feed's end: of the newest one for "before", of the oldest for "after".
inline constexpr const char* FEED_END = "0";

Entry entryOf(const W::WContent& content, const std::string& group);
GroupEntry entryOf(const W::WGroup& group);
PictureAddresses addressesOf(const W::WContent& content);

/// A date in milliseconds; 0 when it is not set.
Millis millisOf(const W::WDateTime& date);

/// A page without the extra record that says that more follow, and without what has no identifier. \param more whether there are.
std::vector<W::WContent> pageOf(std::vector<W::WContent> reply, unsigned int count, bool& more);

} // namespace tv

#endif
