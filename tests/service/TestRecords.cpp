// SPDX-License-Identifier: MIT
#include "TestRecords.h"

#include "store/Comments.h"
#include "store/Contents.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace kinloomd_test {

using namespace kinloomd;

namespace {

/// Does something so many times, in transactions that none has to wait for long.
void inParts(Database& database, int count, const std::function<void(DatabaseConnection&, int)>& add)
{
    constexpr int AT_ONCE = 500;
    for (int begin = 0; begin < count; begin += AT_ONCE) {
        database.change([&](DatabaseConnection& connection) {
            for (int i = begin; i < std::min(count, begin + AT_ONCE); ++i)
                add(connection, i);
        });
    }
}

} // namespace

std::vector<Id> addContents(Database& database, Id group, Id creator, int count, const std::string& description)
{
    std::vector<Id> ids(static_cast<std::size_t>(count));
    inParts(database, count, [&](DatabaseConnection& connection, int i) {
        Slot slot;
        slot.group = group;
        slot.id = addSlot(connection, group, creator, ContentType::PHOTO, std::nullopt, description);
        // Many pictures of the same moment, in no order of time.
        if (!commitUpload(connection, slot, {"photo.jpg", Format::JPEG, 10, 4, 3, Millis{i} * 7919 % 50}))
            throw std::runtime_error("a content cannot be added");
        ids[static_cast<std::size_t>(i)] = slot.id;
    });
    return ids;
}

std::vector<Id> addComments(Database& database, Id group, Id content, Id author, int count, const std::string& text)
{
    std::vector<Id> ids(static_cast<std::size_t>(count));
    inParts(database, count, [&](DatabaseConnection& connection, int i) {
        ids[static_cast<std::size_t>(i)] = addComment(connection, group, content, author, text + std::to_string(i));
    });
    return ids;
}

} // namespace kinloomd_test
