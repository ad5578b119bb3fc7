// SPDX-License-Identifier: MIT
#include "output/Question.h"

#include "output/Output.h"

#include <cerrno>
#include <memory>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace kinloom {

namespace {

constexpr std::size_t LONGEST_ANSWER = 1024;

/// A line of standard input; empty when it has no end: a person who ends the input has not answered. The signals that ask the
/// program to end are another thread's, so they do not end a read by themselves.
std::string answerLine(const Interrupt& interrupt)
{
    // Shared: who rings may do so for a moment longer than this function runs.
    const auto bell = std::make_shared<const Descriptor>(eventfd(0, EFD_CLOEXEC));
    const auto watch = interrupt.interruption().watch([bell] { eventfd_write(bell->get(), 1); });
    std::string line;
    while (line.size() < LONGEST_ANSWER) {
        interrupt.check();
        pollfd events[] = {{STDIN_FILENO, POLLIN, 0}, {bell->get(), POLLIN, 0}};
        if (poll(events, 2, -1) < 0 || events[0].revents == 0)
            continue;
        char character = 0;
        const ssize_t count = read(STDIN_FILENO, &character, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        if (character == '\n')
            return line;
        line += character;
    }
    return {};
}

} // namespace

bool canAsk() { return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1; }

bool asksForYes(const std::string& question, const Interrupt& interrupt)
{
    Output::message(question);
    const std::string answer = answerLine(interrupt);
    return answer == "y" || answer == "yes";
}

} // namespace kinloom
