// SPDX-License-Identifier: MIT
/// \file Comments on contents.
#ifndef KINLOOMD_STORE_COMMENTS_H
#define KINLOOMD_STORE_COMMENTS_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

std::optional<Comment> findComment(DatabaseConnection& connection, Id id);
/// A page of a content's comments, oldest first.
std::vector<Comment> listComments(DatabaseConnection& connection, Id content, std::int64_t index, std::int64_t count);
/// The newest comments of a content, oldest of them first.
std::vector<Comment> latestComments(DatabaseConnection& connection, Id content, std::int64_t count);
Standing standingAtComment(DatabaseConnection& connection, Id comment, Id person);

// Within a transaction:

/// Adds a comment and counts it. \return its identifier; 0 when the content is gone.
Id addComment(DatabaseConnection& connection, Id group, Id content, Id author, const std::string& text);
/// \return false when there is no such comment.
bool deleteComment(DatabaseConnection& connection, const Standing& comment, Id id);

} // namespace kinloomd

#endif
