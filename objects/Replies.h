// SPDX-License-Identifier: MIT
/// \file The documents in which a store answers. They come from elsewhere: whatever they hold, reading them costs little and
/// reaches nothing else. What is no such document throws MalformedReply.
#ifndef OBJECTS_REPLIES_H
#define OBJECTS_REPLIES_H

#include "objects/Errors.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace objects {

/// A document that cannot be read.
class MalformedReply : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An object in a list.
struct ObjectEntry {
    std::string key;
    std::int64_t size = 0;
    std::time_t modified = 0;
};

/// An upload in parts that was begun and not ended.
struct UnfinishedUpload {
    std::string key;
    std::string upload;
    std::time_t begun = 0;
};

/// A piece of a list of objects.
struct ObjectPage {
    std::vector<ObjectEntry> objects;
    std::string next; ///< asks for the next piece; empty behind the last
};

/// A piece of a list of uploads.
struct UploadPage {
    std::vector<UnfinishedUpload> uploads;
    std::string nextKey; ///< these two ask for the next piece; empty behind the last
    std::string nextUpload;
};

/// What a store says of something that it has not done.
struct StoreComplaint {
    std::string code; ///< empty when the text is no such document
    std::string message;
};

/// Takes any text: what a proxy before the store says is no document.
StoreComplaint readComplaint(std::string_view text);
ObjectPage readObjectPage(std::string_view text);
UploadPage readUploadPage(std::string_view text);
/// The number of an upload that was begun.
std::string readBegunUpload(std::string_view text);

/// A time as lists have it, such as "2009-10-12T17:50:30.000Z". \return 0 for none.
std::time_t parseListTime(std::string_view text);

} // namespace objects

#endif
