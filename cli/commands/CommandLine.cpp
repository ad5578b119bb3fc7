// SPDX-License-Identifier: MIT
#include "commands/CommandLine.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <csignal>

namespace kinloom {

namespace {

/// All families of commands, in the order in which help shows them.
constexpr AddCommands FAMILIES[] = {
    addConfigCommands, addAccountCommands,  addGroupCommands, addFeedCommands,    addContentCommands,
    addUploadCommands, addDownloadCommands, addSaveCommands,  addCommentCommands, addShowCommands,
};

constexpr const char* FOOTER =
    "\nExit codes: 0 done, 1 failed, 2 bad usage, 3 not configured or not signed in, 4 service unreachable,\n"
    "5 a local file cannot be used, 130 interrupted. 'man kinloom' tells all.";

constexpr double LONGEST_TIMEOUT = 86'400; // seconds

void addGlobalOptions(CLI::App& app, GlobalOptions& options)
{
    app.add_option("--service", options.service, "Leads all requests to this service, such as http://127.0.0.1:8750")
        ->type_name("URL");
    app.add_option("--config", options.config, "The configuration file, instead of ~/.config/kinloom/host.toml")->type_name("FILE");
    app.add_option("--plugin", options.plugin, "The plugin's library")->type_name("FILE");
    app.add_option("--timeout", options.timeout, "The longest wait for a reply, or for a transfer to move on")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, LONGEST_TIMEOUT).description(""));
    app.add_flag("--json", options.json, "Prints JSON");
    app.add_flag("--verbose", options.verbose, "Tells what happens, with the plugin's own log, on standard error");
    app.add_flag("--no-color", options.noColour, "Prints without colours");
    app.add_flag("--table", options.tables, "Aligns tables also where the output is no terminal");
    app.set_version_flag("--version", "kinloom " KINLOOM_VERSION);
}

/// Lets every command take the global options behind its own.
void fallThrough(CLI::App& app)
{
    app.fallthrough();
    for (CLI::App* const command : app.get_subcommands({}))
        fallThrough(*command);
}

bool wantsJson(const std::vector<std::string>& arguments)
{
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

/// Reports what ended the program, on standard error and, where JSON is wanted and none was written yet, there too.
int report(Output& output, bool json, const Failure& failure)
{
    Output::note(failure.what());
    if (json && !output.wroteJson()) {
        try {
            output.json({{"error",
                          {{"message", failure.what()},
                           {"exit", static_cast<int>(failure.exitCode())},
                           {"status", failure.status()},
                           {"name", W::WSTATUS2STRING(static_cast<unsigned int>(failure.status()))}}}});
        } catch (const Failure&) {
            // Said already, where somebody reads it.
        }
    }
    return static_cast<int>(failure.exitCode());
}

int runGuarded(Output& output, const std::vector<std::string>& arguments)
{
    const std::unique_ptr<Request> request = readCommandLine(arguments);
    if (!request->action) {
        output.write(request->toPrint);
        return static_cast<int>(Exit::OK);
    }
    if (request->options.noColour)
        output.setColour(false);
    if (request->options.tables)
        output.setTables();
    const Interrupt interrupt;
    Context context(request->options, output, interrupt);
    return static_cast<int>(request->action(context));
}

} // namespace

std::unique_ptr<Request> readCommandLine(const std::vector<std::string>& arguments)
{
    auto request = std::make_unique<Request>();
    CLI::App app("kinloom: Kinloom's groups and photos on the command line", "kinloom");
    app.require_subcommand(1);
    app.footer(FOOTER);
    addGlobalOptions(app, request->options);
    for (const AddCommands add : FAMILIES)
        add(app, request->action);
    fallThrough(app);
    try {
        // The library takes arguments from the back.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        request->action = nullptr;
        request->toPrint = app.help() + "\n";
    } catch (const CLI::CallForVersion& version) {
        request->action = nullptr;
        request->toPrint = std::string(version.what()) + "\n";
    } catch (const CLI::ParseError& error) {
        throw Failure(Exit::USAGE, std::string(error.what()) + ". 'kinloom --help' shows what there is.");
    }
    return request;
}

int runProgram(const std::vector<std::string>& arguments)
{
    // A reader that goes away shows in the result of a write.
    std::signal(SIGPIPE, SIG_IGN); // NOLINT(cert-err33-c)
    try {
        Output output;
        try {
            return runGuarded(output, arguments);
        } catch (const OutputClosed& closed) {
            return static_cast<int>(closed.exitCode());
        } catch (const Failure& failure) {
            return report(output, wantsJson(arguments), failure);
        } catch (const std::exception& error) {
            return report(output, wantsJson(arguments), Failure(Exit::FAILED, error.what()));
        }
    } catch (const std::exception& error) {
        Output::note(error.what());
        return static_cast<int>(Exit::FAILED);
    }
}

} // namespace kinloom
