// SPDX-License-Identifier: MIT
/// \file Which contents wait for their thumbnails, and which service makes them.
///
/// A content that waits is its own entry in the queue: its record says that thumbnails are pending, and stands in an index of its
/// own for as long. A service takes it by writing its number into that record, and the time until which nobody else takes it. So a
/// content enters the queue, as one that is taken, with the statement that commits its upload; an index that is empty is all that
/// an idle service looks at; and of a service that dies nothing has to be cleared away.
#ifndef KINLOOMD_STORE_THUMBNAILQUEUE_H
#define KINLOOMD_STORE_THUMBNAILQUEUE_H

#include "store/Contents.h"

#include <limits>

namespace kinloomd {

/// A time by which everything that was taken is free: for a service that is the only one.
inline constexpr Millis TAKEN_BY_NOBODY = std::numeric_limits<Millis>::max();

/// Takes contents that nobody else makes thumbnails of, the oldest first, for \p taker. Those that were taken again and again in
/// vain are left out, but for the only service: it takes everything at each start.
/// \param free what was taken until before that time is free \param count at most
std::vector<PendingContent> takeForThumbnails(DatabaseConnection& connection, const ThumbnailTaker& taker, Millis free,
                                              std::int64_t count);
/// Takes one content, whose thumbnails may be lost as well as pending. \return nothing when another service makes them, when none
/// can be made, or when there is no such content.
std::optional<PendingContent> takeOneForThumbnails(DatabaseConnection& connection, const ThumbnailTaker& taker, Millis free,
                                                   Id content);
/// \return whether thumbnails of a content are to be expected.
bool areThumbnailsPending(DatabaseConnection& connection, Id content);
/// Leaves a content that \p taker has taken to whoever asks for its thumbnails, and to everybody after a pause, which is the longer
/// the more often that has happened.
void putOffThumbnails(DatabaseConnection& connection, std::int64_t taker, Id content);
/// Frees all that \p taker has taken.
void giveBackThumbnails(DatabaseConnection& connection, std::int64_t taker);

} // namespace kinloomd

#endif
