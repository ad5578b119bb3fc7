// SPDX-License-Identifier: MIT
/// \file What can be asked of the service.
///
/// Each operation is a record with its inputs and the type of its result. Texts and identifiers are given as people write them;
/// they are encoded on the way, since the plugin writes values as they are.
#ifndef KINLOOM_OPERATIONS_H
#define KINLOOM_OPERATIONS_H

#include "W/WKinloomOAI.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace kinloom {

/// The result of operations that give none.
struct Nothing {};

/// A page of groups; it holds one more than the count when more follow.
struct ListGroups {
    using Result = std::vector<W::WGroup>;
    std::string person; ///< empty: the person whose device this is
    unsigned int index = 0;
    unsigned int count = 10;
    W::KL_OPTION_SORT sort = W::KL_SORT_ALPHABETICAL;
    W::KL_OPTION_INCLUDE include = W::KL_INCLUDE_NONE;
};

/// Gives the new group, with name and description as they were given when the service tells no more than its identifier.
struct CreateGroup {
    using Result = W::WGroup;
    std::string name;
    std::string description;
};

struct DeleteGroup {
    using Result = Nothing;
    std::string group;
};

/// A page of a feed; it holds one more than the count when more follow.
struct ReadFeed {
    using Result = std::vector<W::WContent>;
    std::string group;
    std::string before; ///< exactly one of before and after is given
    std::string after;
    unsigned int count = 30;
    W::KL_SEARCH_BASE base = W::KL_BASE_CREATED_TIME;
    W::KL_OPTION_ITEM item = W::KL_ITEM_ALL;
    W::KL_OPTION_INCLUDE include = W::KL_INCLUDE_NONE;
};

/// Fails also when the reply holds no content.
struct ViewContent {
    using Result = W::WContent;
    std::string content;
};

/// Fails also when it is no content: the service would delete a comment of that identifier as well.
struct DeleteContent {
    using Result = Nothing;
    std::string content;
};

/// The MIME type that the service gives for the file behind a URL; empty when it names none.
struct AskMimeType {
    using Result = std::string;
    std::string url;
};

/// Gives the new content, as far as the service describes it. A transfer.
struct UploadPhoto {
    using Result = W::WContent;
    std::string group;
    std::string path;
    std::string mimeType;
    std::string description;
};

/// A transfer. The file appears whole or not at all.
struct DownloadFile {
    using Result = Nothing;
    std::string url;
    std::string folder;
    std::string fileName; ///< in the folder
    std::string name;     ///< for messages
};

/// Looks at the content first, which is signed, as a comment is not.
struct CreateComment {
    using Result = Nothing;
    std::string content;
    std::string text;
};

struct ViewComment {
    using Result = W::WComment;
    std::string comment;
};

/// Fails also when it is no comment: the service would delete a content of that identifier as well.
struct DeleteComment {
    using Result = Nothing;
    std::string comment;
};

/// Signs the lane in, also when it is signed in. Lanes do so by themselves before the first call that needs it.
struct SignIn {
    using Result = Nothing;
};

/// Signs the lane in like \c SignIn, and gives the person whom the service takes it for: identifier and name, each empty where the
/// service does not tell it.
struct AskPerson {
    using Result = W::WPerson;
};

/// Registers this device. The service's refusal shows in the next sign-in.
struct RegisterDevice {
    using Result = Nothing;
};

using Operation = std::variant<ListGroups, CreateGroup, DeleteGroup, ReadFeed, ViewContent, DeleteContent, AskMimeType, UploadPhoto,
                               DownloadFile, CreateComment, ViewComment, DeleteComment, SignIn, RegisterDevice, AskPerson>;

/// A file that was fetched by its address.
struct MediaReply {
    std::string contentType;
    std::string body;        ///< empty when it went to a file
    std::uint64_t bytes = 0; ///< that arrived
};

/// What a device signs in with, once a person has taken it in: the provider's options of its configuration.
struct PairedDevice {
    std::string appId;
    std::string token; ///< a password
    std::string duid;
};

/// Everything that a call can give.
using CallValue = std::variant<Nothing, std::string, W::WGroup, std::vector<W::WGroup>, W::WContent, std::vector<W::WContent>,
                               W::WComment, MediaReply, PairedDevice, W::WPerson>;

} // namespace kinloom

#endif
