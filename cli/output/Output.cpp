// SPDX-License-Identifier: MIT
#include "output/Output.h"

#include "core/Errors.h"
#include "core/Text.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace kinloom {

namespace {

/// Standard error is the process's, and so is what it is to be kept free of.
bool s_quiet = false;

/// \return 0 or an errno.
int writeAll(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

/// A program may be started with its standard descriptors closed; the next file that is opened must not become one of them.
void fillStandardDescriptors()
{
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = open("/dev/null", O_RDWR);
    if (fd > STDERR_FILENO)
        close(fd);
}

/// A number from the environment, when it is there and sensible.
std::size_t numberFrom(const char* variable, std::size_t otherwise)
{
    const char* const text = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    const auto number = text == nullptr ? std::nullopt : wholeNumber(text);
    return number && *number > 0 && *number <= 10'000 ? static_cast<std::size_t>(*number) : otherwise;
}

Output::Size sizeOf(int fd)
{
    Output::Size size;
    winsize window{};
    const bool known = ioctl(fd, TIOCGWINSZ, &window) == 0;
    size.columns = known && window.ws_col > 0 ? window.ws_col : numberFrom("COLUMNS", size.columns);
    size.rows = known && window.ws_row > 0 ? window.ws_row : numberFrom("LINES", size.rows);
    return size;
}

bool isDumbTerminal()
{
    const char* const name = std::getenv("TERM"); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    return name != nullptr && std::string_view(name) == "dumb";
}

} // namespace

Output::Output()
{
    const bool closed = fcntl(STDOUT_FILENO, F_GETFD) < 0;
    fillStandardDescriptors();
    // What stands in for an output that was closed takes nothing, so that results do not get lost in silence.
    m_results =
        Descriptor(closed ? open("/dev/null", O_RDONLY | O_CLOEXEC) : fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!m_results)
        throw std::system_error(errno, std::generic_category(), "standard output");
    m_terminal = isatty(m_results.get()) == 1;
    const char* const noColour = std::getenv("NO_COLOR"); // NOLINT(concurrency-mt-unsafe)
    m_colour = !isDumbTerminal() && (noColour == nullptr || *noColour == '\0');
}

void Output::divertLog(bool toStandardError) const
{
    std::fflush(stdout);
    if (toStandardError) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        // The log is to appear when it is written, also when standard error is a pipe.
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
        return;
    }
    const Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (nowhere)
        dup2(nowhere.get(), STDOUT_FILENO);
}

Output::Size Output::size() const { return sizeOf(m_results.get()); }

void Output::write(std::string_view bytes)
{
    const int error = writeAll(m_results.get(), bytes);
    if (error == EPIPE)
        throw OutputClosed();
    if (error != 0)
        throw fileFailure("standard output", "cannot be written", error);
}

void Output::json(const Json& document)
{
    m_wroteJson = true;
    line(harmlessJson(document));
}

std::string harmlessJson(const Json& document)
{
    const std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace);
    std::string harmless;
    harmless.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const char32_t character = nextCharacter(text, i);
        // Controls below are escaped already where they stand in texts; the others are the line ends of the document.
        if (character < 0x7F || !isControl(character)) {
            appendCharacter(harmless, character);
            continue;
        }
        char escape[12]; // more than any of them needs: all are below U+10000
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned int>(character));
        harmless += escape;
    }
    return harmless;
}

void Output::hint(std::string_view text)
{
    if (!s_quiet)
        note(text);
}

void Output::setQuiet(bool quiet) { s_quiet = quiet; }
bool Output::quiet() { return s_quiet; }

void Output::note(std::string_view text) { message("kinloom: " + neutralised(text) + "\n"); }

bool Output::messagesAreWatched() { return isatty(STDERR_FILENO) == 1 && !isDumbTerminal(); }

std::size_t Output::messageColumns() { return sizeOf(STDERR_FILENO).columns; }

std::size_t Output::messageRows() { return sizeOf(STDERR_FILENO).rows; }

void Output::message(std::string_view bytes) { writeAll(STDERR_FILENO, bytes); }

} // namespace kinloom
