// SPDX-License-Identifier: MIT
/// \file The words of a program: its commands, their options, and what a command line makes of them.
///
/// Commands and options belong to their program and live as long as it; a Command and an Option only point at one, and may be
/// copied. Values that options are bound to must outlive the reading. Used by one thread.
#ifndef COMMANDLINE_COMMAND_H
#define COMMANDLINE_COMMAND_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace commandline {

/// A function that says what is wrong with a text; empty when nothing is.
using Complaint = std::function<std::string(const std::string& text)>;

/// Whether the help names what an option's values are limited to.
enum class Shown { NO, YES };

/// An option, a flag, or a value that is known by its place. Each member returns the option itself.
class Option {
public:
    explicit Option(CLI::Option* option) : m_option(option) {}

    /// The command line must hold it.
    Option required() const;
    /// What the help calls its value.
    Option typeName(const std::string& name) const;
    /// The help shows the value that the variable has now.
    Option showDefault() const;
    /// It takes one value each time it is given.
    Option oneAtATime() const;
    /// It cannot stand beside the other one.
    Option excludes(Option other) const;
    /// Its value is from \p low to \p high, both included.
    Option within(int low, int high, Shown shown = Shown::NO) const;
    Option within(double low, double high, Shown shown = Shown::NO) const;
    /// Its value is above 0.
    Option positive() const;
    /// Its value is one of these.
    Option among(const std::vector<int>& values) const;
    /// Its value is one of these words; the variable gets the number that the word stands for.
    Option among(const std::vector<std::pair<std::string, int>>& words) const;
    /// Its value is one that the function has nothing to say against.
    Option check(const Complaint& complaint) const;

private:
    CLI::Option* m_option;
};

/// A command, with commands of its own or with options.
class Command {
public:
    explicit Command(CLI::App* command) : m_command(command) {}

    Command command(const std::string& name, const std::string& description) const;
    /// One of its commands must be named.
    Command needsCommand() const;
    /// An option that starts with dashes, or a value that is known by its place.
    /// \tparam Value int, unsigned, long, unsigned long, std::string, a vector of these strings, or an optional double.
    template <class Value> Option option(const std::string& name, Value& value, const std::string& description) const;
    /// An option whose text a function takes, or complains of.
    Option textOption(const std::string& name, Complaint take, const std::string& description) const;
    Option flag(const std::string& name, bool& value, const std::string& description) const;
    /// What the command's help ends with.
    Command footer(const std::string& text) const;
    /// Called when the whole command line is understood and names this command.
    void whenChosen(std::function<void()> call) const;

protected:
    CLI::App* m_command;
};

/// An option, or a value that is known by its place, as the help shows it.
struct OptionEntry {
    std::vector<std::string> names; ///< "--count"; a value that is known by its place has one without dashes: "GROUP"
    std::string description;
    bool takesValue = true;
    bool repeats = false; ///< takes value after value

    bool byPlace() const { return names.front().front() != '-'; }
};

/// A command as the help shows it.
struct CommandEntry {
    std::string name;
    std::string description;
    std::vector<OptionEntry> options;
    std::vector<CommandEntry> commands;
};

/// What a command line was.
struct Reading {
    enum class Outcome { UNDERSTOOD, HELP, VERSION, MISTAKE };
    Outcome outcome;
    std::string text; ///< the help, the version, or what is wrong, without the end of the line
};

/// A whole program.
class Program : public Command {
public:
    /// \param name is what the help calls it.
    Program(const std::string& description, const std::string& name);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Adds --version, which shows the text.
    void version(const std::string& text);
    /// Lets every command that there is now take the options of those above it behind its own.
    void shareOptions();

    /// The command that blanks stand between the words of, such as "group create"; empty: the program. It must be there.
    Command at(const std::string& path) const;
    /// All words of the program.
    CommandEntry describe() const;

    /// Reads a command line without the program's name, fills the variables, and calls what the chosen commands are to call.
    Reading read(const std::vector<std::string>& arguments);
    /// Reads main's arguments. \return nothing when the program is to go on; else help, version or a complaint is printed, and this
    /// is 0 or, for a complaint, another exit code.
    std::optional<int> readOrExplain(int argc, char** argv);

private:
    std::unique_ptr<CLI::App> m_app;
};

} // namespace commandline

#endif
