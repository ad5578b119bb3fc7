// SPDX-License-Identifier: MIT
// Registering and signing in.
#include "commands/Command.h"

namespace kinloom {

namespace {

struct NoOptions {};

Exit registerDevice(Context& context, const NoOptions&)
{
    context.session().registerDevice();
    // The plugin reports a registration that the service has refused like one that it has accepted; a sign-in tells.
    context.session().signIn();
    context.say({{"registered", true}, {"service", context.session().address()}},
                "This device is registered with the service at " + context.session().address() + ".");
    return Exit::OK;
}

Exit login(Context& context, const NoOptions&)
{
    context.operations();
    context.say({{"signed_in", true}, {"service", context.session().address()}},
                "Signed in to the service at " + context.session().address() + ".");
    return Exit::OK;
}

} // namespace

void addAccountCommands(CLI::App& app, Action& action)
{
    onCommand(*app.add_subcommand("register", "Registers this device with the service"), action, registerDevice);
    onCommand(*app.add_subcommand("login", "Signs in, to see whether the service accepts this device"), action, login);
}

} // namespace kinloom
