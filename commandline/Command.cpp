// SPDX-License-Identifier: MIT
#include "commandline/Command.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <cmath>
#include <iomanip>
#include <map>
#include <sstream>

namespace commandline {

namespace {

/// A number as people write it.
template <class Number> std::string plain(Number number)
{
    std::ostringstream text;
    if (std::floor(number) == number)
        text << std::fixed << std::setprecision(0);
    text << number;
    return text.str();
}

template <class Number> CLI::Validator range(Number low, Number high, Shown shown)
{
    CLI::Validator limits = CLI::Range(low, high);
    limits.operation([low, high](std::string& text) {
        Number number{};
        const bool fits = CLI::detail::lexical_cast(text, number) && number >= low && number <= high;
        return fits ? std::string() : "needs a number from " + plain(low) + " to " + plain(high);
    });
    if (shown == Shown::NO)
        limits.description("");
    return limits;
}

void shareOptionsOf(CLI::App& app)
{
    app.fallthrough();
    for (CLI::App* const command : app.get_subcommands({}))
        shareOptionsOf(*command);
}

OptionEntry entryOf(const CLI::Option& option)
{
    OptionEntry entry;
    for (const std::string& name : option.get_lnames())
        entry.names.push_back("--" + name);
    for (const std::string& name : option.get_snames())
        entry.names.push_back("-" + name);
    if (entry.names.empty())
        entry.names.push_back(option.get_name(true));
    entry.description = option.get_description();
    entry.takesValue = option.get_items_expected_max() > 0;
    entry.repeats = option.get_items_expected_max() > 1;
    return entry;
}

CommandEntry entryOf(const CLI::App& app)
{
    CommandEntry entry{app.get_name(), app.get_description(), {}, {}};
    for (const CLI::Option* const option : app.get_options())
        entry.options.push_back(entryOf(*option));
    for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; }))
        entry.commands.push_back(entryOf(*command));
    return entry;
}

} // namespace

Option Option::required() const
{
    m_option->required();
    return *this;
}

Option Option::typeName(const std::string& name) const
{
    m_option->type_name(name);
    return *this;
}

Option Option::showDefault() const
{
    m_option->capture_default_str();
    return *this;
}

Option Option::oneAtATime() const
{
    m_option->allow_extra_args(false);
    return *this;
}

Option Option::excludes(Option other) const
{
    m_option->excludes(other.m_option);
    return *this;
}

Option Option::within(int low, int high, Shown shown) const
{
    m_option->check(range(low, high, shown));
    return *this;
}

Option Option::within(double low, double high, Shown shown) const
{
    m_option->check(range(low, high, shown));
    return *this;
}

Option Option::positive() const
{
    m_option->check([](const std::string& text) {
        double number = 0;
        return CLI::detail::lexical_cast(text, number) && number > 0 ? "" : "needs a number above 0";
    });
    return *this;
}

Option Option::among(const std::vector<int>& values) const
{
    m_option->check(CLI::IsMember(values));
    return *this;
}

Option Option::among(const std::vector<std::pair<std::string, int>>& words) const
{
    std::string names;
    for (const auto& word : words)
        names += (names.empty() ? "" : ", ") + word.first;
    const std::map<std::string, int> known(words.begin(), words.end());
    m_option->transform(CLI::Validator(
        [known, names](std::string& text) {
            const auto found = known.find(text);
            if (found == known.end())
                return "needs one of " + names;
            text = std::to_string(found->second);
            return std::string();
        },
        ""));
    return *this;
}

Option Option::check(const Complaint& complaint) const
{
    m_option->check(complaint);
    return *this;
}

Command Command::command(const std::string& name, const std::string& description) const
{
    return Command(m_command->add_subcommand(name, description));
}

Command Command::needsCommand() const
{
    m_command->require_subcommand(1);
    return *this;
}

template <class Value> Option Command::option(const std::string& name, Value& value, const std::string& description) const
{
    return Option(m_command->add_option(name, value, description));
}
template Option Command::option(const std::string&, int&, const std::string&) const;
template Option Command::option(const std::string&, unsigned&, const std::string&) const;
template Option Command::option(const std::string&, long&, const std::string&) const;
template Option Command::option(const std::string&, unsigned long&, const std::string&) const;
template Option Command::option(const std::string&, std::string&, const std::string&) const;
template Option Command::option(const std::string&, std::vector<std::string>&, const std::string&) const;
template Option Command::option(const std::string&, std::optional<double>&, const std::string&) const;

Option Command::textOption(const std::string& name, Complaint take, const std::string& description) const
{
    const std::function<void(const std::string&)> call = [name, take = std::move(take)](const std::string& text) {
        const std::string complaint = take(text);
        if (!complaint.empty())
            throw CLI::ValidationError(name, complaint);
    };
    return Option(m_command->add_option_function(name, call, description));
}

Option Command::flag(const std::string& name, bool& value, const std::string& description) const
{
    return Option(m_command->add_flag(name, value, description));
}

Command Command::footer(const std::string& text) const
{
    m_command->footer(text);
    return *this;
}

void Command::whenChosen(std::function<void()> call) const { m_command->final_callback(std::move(call)); }

Program::Program(const std::string& description, const std::string& name)
    : Command(nullptr), m_app(std::make_unique<CLI::App>(description, name))
{
    m_command = m_app.get();
}

Program::~Program() = default;

void Program::version(const std::string& text) { m_app->set_version_flag("--version", text); }

void Program::shareOptions() { shareOptionsOf(*m_app); }

Command Program::at(const std::string& path) const
{
    CLI::App* command = m_app.get();
    std::istringstream words(path);
    for (std::string word; words >> word;)
        command = command->get_subcommand(word);
    return Command(command);
}

CommandEntry Program::describe() const { return entryOf(*m_app); }

Reading Program::read(const std::vector<std::string>& arguments)
{
    try {
        // The library takes arguments from the back.
        m_app->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        return {Reading::Outcome::UNDERSTOOD, {}};
    } catch (const CLI::CallForHelp&) {
        return {Reading::Outcome::HELP, m_app->help()};
    } catch (const CLI::CallForVersion& version) {
        return {Reading::Outcome::VERSION, version.what()};
    } catch (const CLI::ParseError& error) {
        return {Reading::Outcome::MISTAKE, error.what()};
    }
}

std::optional<int> Program::readOrExplain(int argc, char** argv)
{
    try {
        m_app->parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        return m_app->exit(error);
    }
}

} // namespace commandline
