// SPDX-License-Identifier: MIT
/// \file The host's records as JSON and as rows.
#ifndef KINLOOM_OUTPUT_RECORDS_H
#define KINLOOM_OUTPUT_RECORDS_H

#include "W/WKinloomOAI.h"
#include "output/Json.h"
#include "output/Table.h"

#include <vector>

namespace kinloom {

/// What a list was asked to bring beside the records. Fields that were not asked for are left out of the output: printed, they
/// would look as if they were empty or zero.
struct Included {
    bool usage = true;
    bool creator = true;
};
Included includedBy(W::KL_OPTION_INCLUDE include);

Json toJson(const W::WPerson& person);
Json toJson(const W::WGroup& group, Included included);
Json toJson(const W::WComment& comment);
Json toJson(const W::WContent& content);

Table groupTable(const std::vector<W::WGroup>& groups, Included included);
Table feedTable(const std::vector<W::WContent>& contents);
/// Comments with all their lines, each under a line that says which it is.
/// \param columns of the terminal that they are wrapped for; 0: lines are left as long as they are, with tabs between values.
std::string commentTexts(const std::list<W::WComment>& comments, std::size_t columns);
Sheet contentSheet(const W::WContent& content);
Sheet commentSheet(const W::WComment& comment);

/// A date as a person reads it: local time, to the minute; empty when it is not set.
std::string dateText(const W::WDateTime& date);

/// When a content was made, by whichever of its dates says so.
const W::WDateTime& madeAt(const W::WContent& content);
/// When a content came to the service.
const W::WDateTime& sharedAt(const W::WContent& content);

} // namespace kinloom

#endif
