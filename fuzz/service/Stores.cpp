// SPDX-License-Identifier: MIT
#include "Targets.h"
#include "objects/Replies.h"

namespace fuzz {

namespace {

/// Reads a document, or finds that it is none.
template <class Read> void takeAsDocument(Read read)
{
    try {
        read();
    } catch (const objects::MalformedReply&) {
        // Most inputs are none.
    }
}

} // namespace

void storeReply(std::string_view input)
{
    takeAsDocument([&] {
        for (const objects::ObjectEntry& entry : objects::readObjectPage(input).objects)
            require(!entry.key.empty() && entry.size >= 0, "an object in a list has a key and a size");
    });
    takeAsDocument([&] {
        const objects::UploadPage page = objects::readUploadPage(input);
        for (const objects::UnfinishedUpload& upload : page.uploads)
            require(!upload.key.empty() && !upload.upload.empty(), "an upload in a list has a key and a number");
        require(!page.nextKey.empty() || page.nextUpload.empty(), "a list of uploads goes on at a key");
    });
    takeAsDocument([&] { require(!objects::readBegunUpload(input).empty(), "an upload that was begun has a number"); });
    objects::readComplaint(input);
}

} // namespace fuzz
