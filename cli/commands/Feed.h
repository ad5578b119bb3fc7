// SPDX-License-Identifier: MIT
/// \file Walking a feed.
#ifndef KINLOOM_COMMANDS_FEED_H
#define KINLOOM_COMMANDS_FEED_H

#include "commands/Context.h"
#include "kinloom/Operations.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kinloom {

/// The marker for either end of a feed. Before it, a feed is read from the newest content on; after it, from the oldest on.
inline constexpr const char* FEED_END = "0";

/// Reads a feed from the query's marker to its end, query.count contents at a time, each content once.
/// \param visit is given each content; false ends the walk.
void forEachContent(Context& context, ReadFeed query, const std::function<bool(const W::WContent&)>& visit);

/// What it means to the person at the keyboard that the file of a content could not be fetched.
/// \param announced how many bytes the service says that it has, which was the fetch's limit; nothing when it does not say.
Failure fetchFailure(Context& context, const std::string& content, std::optional<std::uint64_t> announced,
                     const CallFailure& failure);

/// What it means that it has arrived with another size.
Failure sizeFailure(const std::string& content, std::uint64_t announced, std::uint64_t arrived);

} // namespace kinloom

#endif
