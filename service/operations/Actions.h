// SPDX-License-Identifier: MIT
/// \file What people do to groups, contents and comments, whichever way they ask for it: signed by a device, or on the page.
///
/// Each is one transaction: it asks for the permission, keeps to the limits, and does it. Throws ServiceError when it may not be.
#ifndef KINLOOMD_OPERATIONS_ACTIONS_H
#define KINLOOMD_OPERATIONS_ACTIONS_H

#include "store/Contents.h"
#include "store/Records.h"

#include <string>

namespace kinloomd {

class Service;

/// \param text as it was checked by checkedText
Comment writeComment(Service& service, const Person& person, Id content, const std::string& text);

/// Makes a group for a person. \param owner what the caller is to that person.
Group createGroup(Service& service, Id person, Role owner, const std::string& name, const std::string& description);

/// Puts a content or a comment into the trash. \param expected which of them it must be; NONE takes both.
void deleteThing(Service& service, Id person, Id thing, EntityKind expected);

/// Brings back what the person has put into the trash.
void restoreThing(Service& service, Id person, TrashKind kind, Id thing);

/// Reserves a place for an upload.
Slot reserveSlot(Service& service, Id person, Id group, std::optional<std::int64_t> size, const std::string& description);

} // namespace kinloomd

#endif
