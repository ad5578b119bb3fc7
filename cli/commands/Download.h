// SPDX-License-Identifier: MIT
/// \file What commands that download have in common.
#ifndef KINLOOM_COMMANDS_DOWNLOAD_H
#define KINLOOM_COMMANDS_DOWNLOAD_H

#include "commands/Context.h"
#include "files/LocalFile.h"

#include <string>

namespace kinloom {

/// Downloads a URL into a staging folder, and shows how far it is. \param name of the file to come, for people.
void fetch(Context& context, const std::string& url, const Staging& staging, const std::string& name);

} // namespace kinloom

#endif
