// SPDX-License-Identifier: MIT
// kinloom: a host for the plugin that a person can type at.
#include "commands/CommandLine.h"
#include "kinloom/Lane.h"

int main(int argc, char** argv)
{
    kinloom::runLaneIfAsked(argc, argv); // for many transfers at a time
    return kinloom::runProgram(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
}
