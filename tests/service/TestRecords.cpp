// SPDX-License-Identifier: MIT
#include "TestRecords.h"

#include "store/Comments.h"
#include "store/Contents.h"

#include <stdexcept>

namespace kinloomd_test {

using namespace kinloomd;

std::vector<Id> addContents(Database& database, Id group, Id creator, int count, const std::string& description)
{
    std::vector<Id> ids;
    const auto connection = database.write();
    Transaction transaction(connection);
    for (int i = 0; i < count; ++i) {
        Slot slot;
        slot.group = group;
        slot.id = addSlot(connection, group, creator, ContentType::PHOTO, std::nullopt, description);
        // Many pictures of the same moment, in no order of time.
        if (!commitUpload(connection, slot, {"photo.jpg", Format::JPEG, 10, 4, 3, Millis{i} * 7919 % 50}))
            throw std::runtime_error("a content cannot be added");
        ids.push_back(slot.id);
    }
    transaction.commit();
    return ids;
}

std::vector<Id> addComments(Database& database, Id group, Id content, Id author, int count, const std::string& text)
{
    std::vector<Id> ids;
    ids.reserve(count);
    const auto connection = database.write();
    Transaction transaction(connection);
    for (int i = 0; i < count; ++i)
        ids.push_back(addComment(connection, group, content, author, text + std::to_string(i)));
    transaction.commit();
    return ids;
}

} // namespace kinloomd_test
