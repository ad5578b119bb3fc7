// SPDX-License-Identifier: MIT
/// \file What all commands that delete have in common: they tell what will go, and ask.
#ifndef KINLOOM_COMMANDS_DELETION_H
#define KINLOOM_COMMANDS_DELETION_H

#include "commands/Command.h"

#include <functional>
#include <string>

namespace kinloom {

struct DeletionOptions {
    std::string what;
    bool yes = false;
    bool dryRun = false;
};

/// Adds what is to be deleted, known by its place, and --yes and --dry-run.
void addDeletionOptions(commandline::Command command, DeletionOptions& options, const std::string& place,
                        const std::string& description);

/// What a deletion takes away.
struct Doomed {
    std::string kind; ///< such as "group"; the name of the record in the JSON document
    std::string uid;
    std::string sentence; ///< in words, in any text: "group 12 "Summer" with 36 photos"
    Json record;          ///< null where nothing is known of it
};

/// Tells what will go, asks where nobody has said yes, and deletes.
/// \param look finds out what will go. \param remove deletes it.
/// \throw Failure (usage) before anything is sent, when it would have to ask and there is nobody to ask.
Exit deleteAsked(Context& context, const DeletionOptions& options, const std::function<Doomed()>& look,
                 const std::function<void(const Doomed& doomed)>& remove);

/// "1 photo", "2 photos", "no photos".
std::string counted(std::size_t number, const std::string& thing);

/// A text of somebody in quotation marks, in one line and not too long.
std::string quoted(const std::string& text);

} // namespace kinloom

#endif
