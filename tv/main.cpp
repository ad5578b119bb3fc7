// SPDX-License-Identifier: MIT
// kinloom-tv: the living room's program.
#include "kinloom/Lane.h"
#include "tv/Program.h"

int main(int argc, char** argv)
{
    kinloom::runLaneIfAsked(argc, argv); // calls of the service are made by copies of this program
    return tv::runProgram(argc, argv);
}
