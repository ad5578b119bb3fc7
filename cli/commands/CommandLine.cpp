// SPDX-License-Identifier: MIT
#include "commands/CommandLine.h"

#include "commands/Completion.h"
#include "commands/Help.h"

#include <algorithm>
#include <csignal>

namespace kinloom {

namespace {

/// All families of commands, in the order in which help shows them.
constexpr AddCommands FAMILIES[] = {
    addPairCommands,   addConfigCommands,   addAccountCommands, addGroupCommands,   addFeedCommands, addContentCommands,
    addUploadCommands, addDownloadCommands, addSaveCommands,    addCommentCommands, addShowCommands,
};

constexpr const char* NAME = "kinloom";
constexpr const char* DESCRIPTION = "kinloom: Kinloom's groups and photos on the command line";
/// The word with which shells ask what a word may become. It is no command of the table: people have no use for it.
constexpr const char* COMPLETE = "complete";

constexpr double LONGEST_TIMEOUT = 86'400; // seconds

void addGlobalOptions(commandline::Command program, GlobalOptions& options)
{
    program
        .option("--service", options.service,
                "Leads what goes to the plugin's endpoint to this service, such as http://127.0.0.1:8750")
        .typeName("URL");
    program.option("--config", options.config, "The configuration file, instead of ~/.config/kinloom/host.toml").typeName("FILE");
    program.option("--plugin", options.plugin, "The plugin's library").typeName("FILE");
    program.option("--timeout", options.timeout, "The longest wait for a reply, or for a transfer to move on")
        .typeName("SECONDS")
        .within(0.001, LONGEST_TIMEOUT);
    program.option("--retries", options.retries, "How often to try again what failed in passing; 0: never")
        .typeName("N")
        .showDefault()
        .within(0, 100);
    program.flag("--json", options.json, "Prints JSON");
    program.flag("--verbose", options.verbose, "Tells what happens, with the plugin's own log, on standard error");
    program.flag("--no-color", options.noColour, "Prints without colours");
    program.flag("--quiet", options.quiet, "Tells no more than was asked for: no progress, no hints, no word when all goes well");
    program.flag("--table", options.tables, "Aligns tables also where the output is no terminal");
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
                           {"status", statusOrNull(failure.status())},
                           {"http", failure.httpCode() == 0 ? Json(nullptr) : Json(failure.httpCode())},
                           {"name", failure.status() == W::WSTATUS_OK
                                        ? Json(nullptr)
                                        : Json(W::WSTATUS2STRING(static_cast<unsigned int>(failure.status())))}}}});
        } catch (const Failure&) {
            // Standard output cannot be written to; the message has been written to standard error above.
        }
    }
    return static_cast<int>(failure.exitCode());
}

/// Makes the words of the program. What they are bound to is the request's.
void addWords(commandline::Program& program, Request& request)
{
    const commandline::Command& words = program;
    program.needsCommand();
    addGlobalOptions(words, request.options);
    program.version("kinloom " KINLOOM_VERSION);
    for (const AddCommands add : FAMILIES)
        add(words, request.action);
    addExamples(program);
    program.shareOptions();
}

int runGuarded(Output& output, const std::vector<std::string>& arguments)
{
    if (!arguments.empty() && arguments.front() == COMPLETE)
        return answerShell(output, commandTable(), std::vector<std::string>(arguments.begin() + 1, arguments.end()));
    const std::unique_ptr<Request> request = readCommandLine(arguments);
    if (!request->action) {
        output.write(request->toPrint);
        return static_cast<int>(Exit::OK);
    }
    if (request->options.noColour)
        output.setColour(false);
    if (request->options.tables)
        output.setTables();
    Output::setQuiet(request->options.quiet);
    const Interrupt interrupt;
    Context context(request->options, output, interrupt);
    return static_cast<int>(request->action(context));
}

} // namespace

std::unique_ptr<Request> readCommandLine(const std::vector<std::string>& arguments)
{
    auto request = std::make_unique<Request>();
    commandline::Program program(DESCRIPTION, NAME);
    addWords(program, *request);
    const commandline::Reading reading = program.read(arguments);
    if (reading.outcome == commandline::Reading::Outcome::MISTAKE)
        throw Failure(Exit::USAGE, explainMistake(program.describe(), arguments, reading.text));
    if (reading.outcome != commandline::Reading::Outcome::UNDERSTOOD) {
        request->action = nullptr;
        request->toPrint = reading.text + "\n";
    }
    return request;
}

commandline::CommandEntry commandTable()
{
    Request request;
    commandline::Program program(DESCRIPTION, NAME);
    addWords(program, request);
    return program.describe();
}

int runProgram(const std::vector<std::string>& arguments)
{
    // Without the signal, a write to a pipe whose reader has gone fails, and the program ends by itself (OutputClosed).
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
