// SPDX-License-Identifier: MIT
// Registering and signing in.
#include "commands/Command.h"

namespace kinloom {

namespace {

Exit registerDevice(Context& context, const NoOptions&)
{
    context.registerDevice();
    context.confirm({{"registered", true}, {"service", context.lane().address()}},
                    "This device is registered with the service at " + context.lane().address() + ".");
    return Exit::OK;
}

Exit login(Context& context, const NoOptions&)
{
    context.signIn();
    context.confirm({{"signed_in", true}, {"service", context.lane().address()}},
                    "Signed in to the service at " + context.lane().address() + ".");
    return Exit::OK;
}

} // namespace

void addAccountCommands(commandline::Command program, Action& action)
{
    onCommand(program.command("register", "Registers this device with the service"), action, registerDevice);
    onCommand(program.command("login", "Signs in, to see whether the service accepts this device"), action, login);
}

} // namespace kinloom
