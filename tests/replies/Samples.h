// SPDX-License-Identifier: MIT
/// \file Replies as a service full of families would send them: lists of any length, the same for the same arguments.
#ifndef REPLIES_SAMPLES_H
#define REPLIES_SAMPLES_H

#include "replies/Reply.h"

namespace test {

/// A feed: contents of about 1.1 kB below "data".
std::string feedReply(std::size_t contents, Shape shape, Layout layout = Layout::COMPACT);
/// A view: contents with comments and events below "data" and "group".
std::string viewReply(std::size_t contents, std::size_t commentsEach, Shape shape, Layout layout = Layout::COMPACT);
/// A list of groups.
std::string groupsReply(std::size_t groups, Shape shape, Layout layout = Layout::COMPACT);
/// Comments beside "data".
std::string commentsReply(std::size_t comments, Shape shape, Layout layout = Layout::COMPACT);
/// One gallery with contents.
std::string galleryReply(std::size_t contents, Shape shape, Layout layout = Layout::COMPACT);

Element feedContent(std::size_t number);
Element galleryContent(std::size_t number, std::size_t comments);
Element groupRecord(std::size_t number);
Element commentRecord(std::size_t number);

} // namespace test

#endif
