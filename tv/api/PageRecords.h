// SPDX-License-Identifier: MIT
/// \file Groups, contents and comments as the page reads them.
#ifndef KINLOOM_TV_API_PAGERECORDS_H
#define KINLOOM_TV_API_PAGERECORDS_H

#include "W/WComment.h"
#include "W/WContent.h" // IWYU pragma: export
#include "tv/core/Json.h"
#include "tv/index/Entry.h"

#include <cstdint>
#include <optional>

namespace tv {

class Television;

Json jsonOf(const W::WComment& comment);

/// A content. \param index its place in its group; nothing while that is not known
Json itemOf(Television& television, const Entry& entry, std::optional<std::int64_t> index);

/// A content, with the place that the index knows.
Json itemOf(Television& television, const Entry& entry);

/// How many contents of a group the page sees: while its index is not whole, as many as the service counts.
std::int64_t visibleTotal(Television& television, const GroupEntry& group);

Json jsonOf(Television& television, const GroupEntry& group);

} // namespace tv

#endif
