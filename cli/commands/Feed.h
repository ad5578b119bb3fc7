// SPDX-License-Identifier: MIT
/// \file Walking a feed.
#ifndef KINLOOM_COMMANDS_FEED_H
#define KINLOOM_COMMANDS_FEED_H

#include "commands/Context.h"
#include "kinloom/Operations.h"

#include <functional>

namespace kinloom {

/// The marker of a feed's end: before it lies everything, from the newest on; after it everything, from the oldest on.
inline constexpr const char* FEED_END = "0";

/// Reads a feed from the query's marker to its end, query.count contents at a time, each content once.
/// \param visit is given each content; false ends the walk.
void forEachContent(Context& context, ReadFeed query, const std::function<bool(const W::WContent&)>& visit);

} // namespace kinloom

#endif
