// SPDX-License-Identifier: MIT
/// \file What may stand where a person types.
#ifndef KINLOOM_COMMANDS_COMPLETION_H
#define KINLOOM_COMMANDS_COMPLETION_H

#include "commandline/Command.h"
#include "commands/Context.h"
#include "core/Naming.h"

#include <functional>
#include <string>
#include <vector>

namespace kinloom {

/// What a word may become.
struct Completions {
    struct Candidate {
        std::string text;
        std::string description;
    };
    enum class Files : std::uint8_t {
        NONE,
        FILES,
        FOLDERS,
    };
    std::vector<Candidate> candidates;
    Files files = Files::NONE; ///< whether the shell is to offer names of files too
};

/// What the last of the words may become.
/// \param program all words that there are. \param words of a command line, without the program's name; the last one is being
/// typed. \param groups asked for only where a group may stand.
Completions complete(const commandline::CommandEntry& program, const std::vector<std::string>& words,
                     const std::function<std::vector<Named>()>& groups);

/// The words of a command line as a shell reads it, as far as it was typed; the last one, which may be empty, is being typed.
std::vector<std::string> wordsOf(const std::string& line);

/// Names of the person's groups, kept for a minute so that a shell may ask with every key.
class GroupNames {
public:
    /// From the note, or from the service. \throw Failure.
    static std::vector<Named> get(Context& context);
    /// They have changed.
    static void forget(Context& context);
};

/// Answers a shell: 'kinloom complete' is no command for people. The first argument says how the rest is to be read:
/// "--" words, or "--line" LINE. One line goes out for each candidate: "=", the candidate, a tab, the description. "@files" and
/// "@folders" ask the shell for its own. Nothing goes wrong aloud.
int answerShell(Output& output, const commandline::CommandEntry& program, const std::vector<std::string>& arguments);

} // namespace kinloom

#endif
