// SPDX-License-Identifier: MIT
/// \file Comments on contents.
#ifndef KINLOOMD_STORE_COMMENTS_H
#define KINLOOMD_STORE_COMMENTS_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

std::optional<Comment> findComment(DatabaseConnection& connection, Id id);

/// A page of a content's comments, oldest first, or what is left of it.
struct CommentPage {
    Id content = 0;
    Id after = 0;           ///< the comment that it follows; 0 is before all
    std::int64_t index = 0; ///< how many to pass over first
    std::int64_t count = 0; ///< comments at most
};
/// Reads on in a page, and moves it past each comment that is taken. \return whether nothing is left of the page.
bool readComments(DatabaseConnection& connection, CommentPage& page, const Taker<Comment>& take);
/// The page of a content's newest comments.
CommentPage latestComments(DatabaseConnection& connection, Id content, std::int64_t count);

Standing standingAtComment(DatabaseConnection& connection, Id comment, Id person);

// Within a transaction:

/// Adds a comment and counts it, with its group locked. \return nothing when the content is gone, or its author is no member of the
/// group.
std::optional<Comment> writeComment(DatabaseConnection& connection, Id group, Id content, const Person& author,
                                    const std::string& text);
/// The same, and locks the group. \return the comment's identifier; 0 for none.
Id addComment(DatabaseConnection& connection, Id group, Id content, Id author, const std::string& text);
/// Adds to the numbers of comments of a content and its group.
void countComments(DatabaseConnection& connection, Id group, Id content, int change);

} // namespace kinloomd

#endif
