// SPDX-License-Identifier: MIT
/// \file What the families of commands have in common.
#ifndef KINLOOM_COMMANDS_COMMAND_H
#define KINLOOM_COMMANDS_COMMAND_H

#include "commands/Context.h"

#include <CLI/App.hpp>
#include <functional>
#include <memory>
#include <string>

namespace kinloom {

/// What the command line asks for, once it is read.
using Action = std::function<Exit(Context&)>;

/// Adds a family's commands to the program; the command that is chosen sets the action.
using AddCommands = void (*)(CLI::App& app, Action& action);

void addConfigCommands(CLI::App& app, Action& action);
void addAccountCommands(CLI::App& app, Action& action);
void addGroupCommands(CLI::App& app, Action& action);
void addFeedCommands(CLI::App& app, Action& action);
void addContentCommands(CLI::App& app, Action& action);
void addUploadCommands(CLI::App& app, Action& action);
void addDownloadCommands(CLI::App& app, Action& action);
void addSaveCommands(CLI::App& app, Action& action);
void addCommentCommands(CLI::App& app, Action& action);
void addShowCommands(CLI::App& app, Action& action);

/// A word of the command line and what it stands for.
template <class Value> struct Word {
    const char* word;
    Value value;
};

/// Adds an option that takes one of a table's words; the first is the default.
template <class Value, std::size_t COUNT>
CLI::Option* addWordOption(CLI::App& command, const std::string& name, Value& value, const Word<Value> (&words)[COUNT],
                           const std::string& description)
{
    value = words[0].value;
    std::string names;
    for (const Word<Value>& entry : words)
        names.append(names.empty() ? "" : "|").append(entry.word);
    const auto take = [&value, &words, name, names](const std::string& text) {
        for (const Word<Value>& entry : words) {
            if (text == entry.word) {
                value = entry.value;
                return;
            }
        }
        throw CLI::ValidationError(name, "'" + text + "' is none of " + names);
    };
    return command.add_option_function<std::string>(name, take, description + ": " + names)->type_name("WORD");
}

/// Makes a command set its action: a function of the context and of options of its own, which \p bind ties to the command line.
template <class Options>
std::shared_ptr<Options> onCommand(CLI::App& command, Action& action, Exit (*run)(Context&, const Options&))
{
    auto options = std::make_shared<Options>();
    command.final_callback(
        [&action, options, run] { action = [options, run](Context& context) { return run(context, *options); }; });
    return options;
}

} // namespace kinloom

#endif
