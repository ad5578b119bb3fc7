// SPDX-License-Identifier: MIT
// Getting credentials without typing them: a code is shown, and a person takes this device in elsewhere.
#include "commandline/QrCode.h"
#include "commands/Command.h"
#include "core/Text.h"
#include "kinloom/Pairing.h"

#include <climits>
#include <mutex>
#include <stdexcept>
#include <unistd.h>

namespace kinloom {

namespace {

struct PairOptions {
    std::string service;
    std::string name;
};

std::string hostName()
{
    char name[HOST_NAME_MAX + 1] = "";
    gethostname(name, sizeof name - 1);
    return *name == 0 ? "kinloom" : name;
}

/// The QR code of an address; nothing for what fits into none.
std::string qrCode(const std::string& address, bool colours)
{
    using commandline::QrCode;
    try {
        return QrCode(address).lines(colours ? QrCode::Manner::COLOURS : QrCode::Manner::PLAIN) + "\n";
    } catch (const std::runtime_error&) {
        return {};
    }
}

/// Shows a code to the person at the keyboard; where results are for programs, beside them.
void showCode(Context& context, const PairingCode& code)
{
    const std::string text = "Open " + neutralised(code.completeAddress) + "\nor type the code at " + neutralised(code.address) +
                             "\n\n    " + neutralised(code.userCode) + "\n\n" +
                             qrCode(code.completeAddress, context.output.colour()) + "Waiting; the code is good for " +
                             std::to_string(code.lifetime.count() / 60) + " minutes.\n";
    if (context.options.json)
        Output::message(text);
    else
        context.output.write(text);
}

Exit pair(Context& context, const PairOptions& options)
{
    context.client();
    PairingOrder order;
    order.service = options.service;
    order.deviceName = options.name.empty() ? hostName() : options.name;
    // Nobody may read the code any more, which shows on a thread of the library, and ends the program here.
    std::mutex mutex;
    std::exception_ptr unread;
    Interruption given = context.interrupt.interruption();
    order.shown = [&](const PairingCode& code) {
        try {
            showCode(context, code);
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex);
            unread = std::current_exception();
            given.ring();
        }
    };
    CallOptions callOptions;
    callOptions.interruption = given;
    if (context.options.timeout)
        callOptions.patience = std::chrono::milliseconds(static_cast<long>(*context.options.timeout * 1000));
    const Pairing pairing(std::move(order), callOptions);
    const auto outcome = pairing.call().outcome();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (unread)
            std::rethrow_exception(unread);
    }
    if (!outcome)
        throw context.failureOf(outcome.failure());
    W::ConfigFile& file = context.config();
    try {
        keepDevice(outcome.value(), options.service, file);
    } catch (const W::ConfigError& error) {
        throw Failure(Exit::LOCAL_FILE, error.what());
    }
    context.confirm({{"paired", true}, {"service", options.service}, {"duid", outcome.value().duid}, {"path", file.path()}},
                    "This device is paired; " + file.path() + " holds what it signs in with.");
    return Exit::OK;
}

} // namespace

void addPairCommands(commandline::Command program, Action& action)
{
    const commandline::Command command = program.command(
        "pair", "Shows a code, waits until a member of the family takes this device in, and writes the configuration");
    const auto options = onCommand(command, action, pair);
    command.option("URL", options->service, "The service, such as http://127.0.0.1:8750").required();
    command.option("--name", options->name, "What this device is called [the computer's name]").typeName("NAME");
}

} // namespace kinloom
