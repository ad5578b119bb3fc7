// SPDX-License-Identifier: MIT
// Registering and signing in.
#include "commands/Command.h"

namespace kinloom {

namespace {

struct NoOptions {};

Exit registerDevice(Context& context, const NoOptions&)
{
    context.registerDevice();
    context.say({{"registered", true}, {"service", context.lane().address()}},
                "This device is registered with the service at " + context.lane().address() + ".");
    return Exit::OK;
}

Exit login(Context& context, const NoOptions&)
{
    context.signIn();
    context.say({{"signed_in", true}, {"service", context.lane().address()}},
                "Signed in to the service at " + context.lane().address() + ".");
    return Exit::OK;
}

} // namespace

void addAccountCommands(CLI::App& app, Action& action)
{
    onCommand(*app.add_subcommand("register", "Registers this device with the service"), action, registerDevice);
    onCommand(*app.add_subcommand("login", "Signs in, to see whether the service accepts this device"), action, login);
}

} // namespace kinloom
