// SPDX-License-Identifier: MIT
#include "operations/Actions.h"

#include "operations/Allowance.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Comments.h"
#include "store/Groups.h"
#include "store/Locks.h"
#include "store/People.h"

namespace kinloomd {

Comment writeComment(Service& service, const Person& person, Id content, const std::string& text)
{
    if (text.empty())
        throw ServiceError(Failure::MISSING_PARAMETER, "A comment needs a text.");
    return service.database().change([&](DatabaseConnection& connection) {
        const Id group = lockGroupOfContent(connection, content);
        const auto comment = writeComment(connection, group, content, person, text);
        requirePermission(Action::WRITE_COMMENT, comment ? Role::MEMBER : Role::STRANGER);
        return *comment;
    });
}

Group createGroup(Service& service, Id person, Role owner, const std::string& name, const std::string& description)
{
    if (name.empty())
        throw ServiceError(Failure::MISSING_PARAMETER, "A group needs a name.");
    requirePermission(Action::CREATE_GROUP_FOR_PERSON, owner);
    return service.database().change([&](DatabaseConnection& connection) {
        lockPerson(connection, person);
        requireGroup(service.options().limits, connection, person);
        return *findGroup(connection, addGroup(connection, name, description, person));
    });
}

void deleteThing(Service& service, Id person, Id thing, EntityKind expected)
{
    service.database().change([&](DatabaseConnection& connection) {
        const EntityKind kind = kindOf(connection, thing);
        if (expected != EntityKind::NONE && kind != expected)
            throw ServiceError(Failure::NOT_FOUND);
        if (kind == EntityKind::CONTENT) {
            requirePermission(Action::DELETE_CONTENT, standingAtContent(connection, thing, person).role);
            trashContent(connection, thing, person);
        } else if (kind == EntityKind::COMMENT) {
            const Standing standing = standingAtComment(connection, thing, person);
            requirePermission(Action::DELETE_COMMENT, standing.role);
            trashComment(connection, standing, thing, person);
        } else {
            throw ServiceError(Failure::NOT_FOUND);
        }
    });
}

void restoreThing(Service& service, Id person, TrashKind kind, Id thing)
{
    service.database().change([&](DatabaseConnection& connection) {
        const auto entry = findTrashOf(connection, kind, thing);
        Role role = entry ? roleInGroup(connection, entry->group, person) : Role::STRANGER;
        if (role != Role::STRANGER && entry->byId == person)
            role = Role::AUTHOR;
        requirePermission(Action::RESTORE, role);
        if (restoreTrash(connection, *entry) != Obstacle::NONE)
            throw ServiceError(Failure::GONE);
    });
}

Slot reserveSlot(Service& service, Id person, Id group, std::optional<std::int64_t> size, const std::string& description)
{
    const Limits& limits = service.options().limits;
    if (size && *size > limits.uploadBytes)
        throw ServiceError(Failure::TOO_LARGE, "The file is larger than this service takes.");
    return service.database().change([&](DatabaseConnection& connection) {
        lockPerson(connection, person);
        requirePermission(Action::RESERVE_UPLOAD, roleInGroup(connection, group, person));
        expireSlots(connection, now() - limits.slotTime.count());
        requireSlot(limits, connection, person);
        requireRoom(limits, usedBytes(connection, person), size.value_or(1));
        const Id id = addSlot(connection, group, person, ContentType::PHOTO, size, description);
        return *findSlot(connection, id, person);
    });
}

} // namespace kinloomd
