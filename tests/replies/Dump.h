// SPDX-License-Identifier: MIT
/// \file Records as text: what they hold, one value a line, and nothing of what is empty or as it was made.
#ifndef REPLIES_DUMP_H
#define REPLIES_DUMP_H

#include "W/WContainer.h"
#include "W/WGroup.h"
#include "W/WKLGallery.h"

#include <string>

namespace test {

std::string dump(const W::WContent& content);
std::string dump(const W::WGroup& group);
std::string dump(const W::WKLGallery& gallery);
std::string dump(const W::WComment& comment);
std::string dump(const W::WEvent& event);
std::string dump(const W::WMessage& message);
std::string dump(const W::WPerson& person);
std::string dump(const W::WMediaResource& resource);

/// The container's count, and its records in their order.
template <class Record> std::string dump(const W::WContainer<Record>& container)
{
    std::string text = "count " + std::to_string(container.getCount()) + "\n";
    for (const Record& record : container.getData())
        text += dump(record);
    return text;
}

} // namespace test

#endif
