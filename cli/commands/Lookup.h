// SPDX-License-Identifier: MIT
/// \file What a word of the command line stands for.
#ifndef KINLOOM_COMMANDS_LOOKUP_H
#define KINLOOM_COMMANDS_LOOKUP_H

#include "commands/Context.h"
#include "core/Naming.h"

#include <string>
#include <vector>

namespace kinloom {

/// All groups of the person whose device this is. \throw Failure.
std::vector<W::WGroup> allGroups(Context& context, W::KL_OPTION_INCLUDE include);

/// Their numbers and names.
std::vector<Named> namesOf(const std::vector<W::WGroup>& groups);

/// The number of the group that a word means; the service is asked only when it is a name. \throw Failure.
std::string groupNumber(Context& context, const std::string& word);

/// The number of the person that a word means. People are known by the groups that they lead and by what they have shared lately.
/// \throw Failure.
std::string personNumber(Context& context, const std::string& word);

} // namespace kinloom

#endif
