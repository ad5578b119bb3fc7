// SPDX-License-Identifier: MIT
#include "commandline/Mistake.h"

#include <algorithm>
#include <numeric>

namespace commandline {

namespace {

/// How many letters two words differ in.
std::size_t distance(const std::string& one, const std::string& other)
{
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= one.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (one[i - 1] == other[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row.back();
}

std::string suggestion(const std::vector<CommandEntry>& commands, const std::string& word)
{
    // In a short word two letters are half of it.
    const std::size_t farthest = word.size() < 5 ? 1 : 2;
    const auto closer = [&](const CommandEntry& a, const CommandEntry& b) {
        return distance(a.name, word) < distance(b.name, word);
    };
    const auto nearest = std::min_element(commands.begin(), commands.end(), closer);
    const bool near = nearest != commands.end() && distance(nearest->name, word) <= farthest && word.size() > 2;
    return near ? ". Did you mean '" + nearest->name + "'?" : std::string();
}

std::string namesOf(const std::vector<CommandEntry>& commands)
{
    std::string names;
    for (const CommandEntry& command : commands)
        names.append(names.empty() ? "" : ", ").append(command.name);
    return names;
}

/// A command line as far as it was understood.
struct Understood {
    std::vector<std::string> words; ///< that are no options and no values of them
    std::size_t depth = 0;          ///< how many of the words, from the first on, are commands
    const CommandEntry* command = nullptr;
    std::string path;          ///< "kinloom group create"
    std::string strangeOption; ///< the first one that the command does not have; empty: there is none
};

const OptionEntry* optionOf(const CommandEntry& command, const std::string& name)
{
    const auto found = std::find_if(command.options.begin(), command.options.end(), [&](const OptionEntry& option) {
        return std::find(option.names.begin(), option.names.end(), name) != option.names.end();
    });
    return found == command.options.end() ? nullptr : &*found;
}

Understood understand(const CommandEntry& program, const std::vector<std::string>& arguments)
{
    Understood line;
    line.command = &program;
    line.path = program.name;
    for (std::size_t i = 0; i < arguments.size() && arguments[i] != "--"; ++i) {
        const std::string& word = arguments[i];
        if (word.size() > 1 && word.front() == '-') {
            const std::string name = word.substr(0, word.find('='));
            const OptionEntry* option = optionOf(*line.command, name);
            if (option == nullptr)
                option = optionOf(program, name);
            if (option == nullptr && line.strangeOption.empty())
                line.strangeOption = name;
            if (option != nullptr && option->takesValue && name == word)
                ++i;
            continue;
        }
        const auto& commands = line.command->commands;
        const auto found =
            std::find_if(commands.begin(), commands.end(), [&](const CommandEntry& one) { return one.name == word; });
        if (found != commands.end() && line.depth == line.words.size()) {
            line.command = &*found;
            line.path += " " + word;
            ++line.depth;
        }
        line.words.push_back(word);
    }
    return line;
}

/// What is wrong with the words of the line; empty when something else is.
std::string complaintAbout(const Understood& line, const std::vector<Elsewhere>& elsewhere, const WordShown& shown)
{
    for (const Elsewhere& entry : elsewhere)
        if (line.words.size() >= entry.words.size() && std::equal(entry.words.begin(), entry.words.end(), line.words.begin()))
            return entry.where;
    const std::vector<CommandEntry>& commands = line.command->commands;
    if (!commands.empty() && line.depth == line.words.size())
        return "'" + line.path + "' needs a command: " + namesOf(commands);
    if (!commands.empty()) {
        const std::string& word = line.words[line.depth];
        return "there is no command '" + shown(word) + "' of '" + line.path + "'" + suggestion(commands, word);
    }
    if (!line.strangeOption.empty())
        return "'" + line.path + "' has no option '" + shown(line.strangeOption) +
               "'; a word that begins with a dash and is none stands behind '--'";
    return {};
}

} // namespace

std::string explainMistake(const CommandEntry& program, const std::vector<std::string>& arguments, const std::string& otherwise,
                           const std::vector<Elsewhere>& elsewhere, const WordShown& shown)
{
    const Understood line = understand(program, arguments);
    std::string text = complaintAbout(line, elsewhere, shown);
    if (text.empty())
        text = otherwise;
    return text + (text.back() == '?' ? " '" : ". '") + line.path + " --help' shows what there is.";
}

} // namespace commandline
