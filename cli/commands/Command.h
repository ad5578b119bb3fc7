// SPDX-License-Identifier: MIT
/// \file What the families of commands have in common.
#ifndef KINLOOM_COMMANDS_COMMAND_H
#define KINLOOM_COMMANDS_COMMAND_H

#include "commandline/Command.h"
#include "commands/Context.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kinloom {

/// What the command line asks for, once it is read.
using Action = std::function<Exit(Context&)>;

/// Adds a family's commands to the program; the command that is chosen sets the action.
using AddCommands = void (*)(commandline::Command program, Action& action);

void addConfigCommands(commandline::Command program, Action& action);
void addPairCommands(commandline::Command program, Action& action);
void addAccountCommands(commandline::Command program, Action& action);
void addGroupCommands(commandline::Command program, Action& action);
void addFeedCommands(commandline::Command program, Action& action);
void addContentCommands(commandline::Command program, Action& action);
void addUploadCommands(commandline::Command program, Action& action);
void addDownloadCommands(commandline::Command program, Action& action);
void addSaveCommands(commandline::Command program, Action& action);
void addCommentCommands(commandline::Command program, Action& action);
void addShowCommands(commandline::Command program, Action& action);

/// The keys of all options that 'kinloom config' knows.
std::vector<std::string> configKeys();

/// A word of the command line and what it stands for.
template <class Value> struct Word {
    const char* word;
    Value value;
};

/// Adds an option that takes one of a table's words; the first is the default.
template <class Value, std::size_t COUNT>
commandline::Option addWordOption(commandline::Command command, const std::string& name, Value& value,
                                  const Word<Value> (&words)[COUNT], const std::string& description)
{
    value = words[0].value;
    std::string names;
    for (const Word<Value>& entry : words)
        names.append(names.empty() ? "" : "|").append(entry.word);
    const auto take = [&value, &words, names](const std::string& text) {
        for (const Word<Value>& entry : words) {
            if (text == entry.word) {
                value = entry.value;
                return std::string();
            }
        }
        return "'" + text + "' is none of " + names;
    };
    return command.textOption(name, take, description + ": " + names).typeName("WORD");
}

/// The options of a command that has none.
struct NoOptions {};

/// Makes a command set its action: a function of the context and of options of its own, which \p bind ties to the command line.
template <class Options>
std::shared_ptr<Options> onCommand(commandline::Command command, Action& action, Exit (*run)(Context&, const Options&))
{
    auto options = std::make_shared<Options>();
    command.whenChosen([&action, options, run] { action = [options, run](Context& context) { return run(context, *options); }; });
    return options;
}

} // namespace kinloom

#endif
