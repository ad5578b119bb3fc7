// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "commands/Lookup.h"
#include "commands/Names.h"
#include "core/Text.h"
#include "media/DataFolder.h"
#include "store/Contents.h"

#include <cstdio>
#include <stdexcept>

namespace kinloomd {

void addEvent(const DataPlace& data, const EventArguments& arguments)
{
    Database database(DataFolder::existing(data).database());
    const auto content = parseId(arguments.content);
    const auto starts = parseTime(arguments.starts);
    const auto ends = parseTime(arguments.ends.empty() ? arguments.starts : arguments.ends);
    if (!starts || !ends || *ends < *starts)
        throw UsageError("the event needs a start and perhaps a later end, such as 2010-05-05T07:04:09Z");
    Event event;
    event.member = requirePerson(database, arguments.person);
    event.title = checkedName(arguments.title);
    event.type = cleanText(arguments.type);
    event.description = cleanText(arguments.description);
    event.starts = *starts;
    event.ends = *ends;
    const Id id = database.change([&](DatabaseConnection& connection) {
        if (!content || !findContent(connection, *content))
            throw std::runtime_error("there is no content '" + visibleText(arguments.content) + "'");
        if (standingAtContent(connection, *content, event.member.id).role == Role::STRANGER)
            throw std::runtime_error(visibleText(event.member.name) + " is not a member of the content's group");
        return addEvent(connection, *content, event);
    });
    std::printf("%lld\t%s\n", static_cast<long long>(id), visibleText(event.title).c_str());
}

} // namespace kinloomd
