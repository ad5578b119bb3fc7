// SPDX-License-Identifier: MIT
#include "tv/Browser.h"

#include "common/Digest.h"
#include "common/Files.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tv {

namespace {

using namespace std::chrono_literals;

constexpr const char* PROGRAMS[] = {"chromium", "chromium-browser"};
constexpr auto END_TIME = 5s; ///< that the browser has to end by itself

/// What keeps a browser from showing anything but the page, and from asking anybody but this program.
constexpr const char* SWITCHES[] = {"--kiosk",
                                    "--incognito", // pictures stay in memory: emptying the cache must leave none on the disk
                                    "--ozone-platform-hint=auto",
                                    "--no-first-run",
                                    "--no-default-browser-check",
                                    "--noerrdialogs",
                                    "--disable-infobars",
                                    "--disable-session-crashed-bubble",
                                    "--disable-features=Translate",
                                    "--disable-component-update",
                                    "--disable-background-networking",
                                    "--disable-sync",
                                    "--disable-quic",
                                    "--password-store=basic",
                                    "--overscroll-history-navigation=0",
                                    "--disable-pinch",
                                    "--autoplay-policy=no-user-gesture-required"};

/// A page that leads on to the address. It must hold nothing that could be taken for markup, which keys and addresses do not.
std::string leadingTo(const std::string& address)
{
    return "<!doctype html><meta charset=\"utf-8\"><meta name=\"referrer\" content=\"no-referrer\">"
           "<meta http-equiv=\"refresh\" content=\"0;url=" +
           address + "\"><title>Kinloom</title>\n";
}

/// Becomes the browser; only in a child, and only with what may be called there.
[[noreturn]] void become(const char* program, char* const* arguments, pid_t parent, int report)
{
    // Signals that this program waits for must reach the browser, and its output must not stand among this program's. A program
    // that is killed takes the browser with it: the next one could not begin with another.
    sigset_t none;
    sigemptyset(&none);
    if (::prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && ::getppid() == parent) {
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::setpgid(0, 0);
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
        ::execvp(program, arguments);
    }
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(report, &error, sizeof error);
    ::_exit(EXIT_FAILURE);
}

/// \return the browser's process; -1 with errno where there is none.
pid_t start(const std::string& program, std::vector<std::string> arguments)
{
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC) != 0)
        return -1;
    const common::UniqueFd reading(pipe[0]);
    common::UniqueFd writing(pipe[1]);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid == 0)
        become(program.c_str(), pointers.data(), parent, writing.get());
    writing.reset();
    int error = 0;
    if (pid < 0 || ::read(reading.get(), &error, sizeof error) != sizeof error)
        return pid; // the end of what the child has open: it is the browser
    ::waitpid(pid, nullptr, 0);
    errno = error;
    return -1;
}

} // namespace

Browser::Browser(const std::string& address, const std::string& folder)
    : m_file(folder + "/open.html"), m_profile(folder + "/browser/" + common::toHex(common::randomBytes(8)))
{
    // A profile that is in use leads to its browser, which may be one that is just ending, and shows nothing new.
    std::error_code none;
    std::filesystem::remove_all(folder + "/browser", none);
    common::makePrivateFolder(folder + "/browser");
    common::removeFile(m_file);
    {
        const common::UniqueFd file = common::createPrivateFile(m_file);
        common::writeAll(file.get(), leadingTo(address), m_file);
    }
    std::vector<std::string> arguments = {"chromium"};
    arguments.insert(arguments.end(), std::begin(SWITCHES), std::end(SWITCHES));
    arguments.push_back("--user-data-dir=" + m_profile);
    arguments.push_back("file://" + m_file);
    const char* const chosen = std::getenv("CHROMIUM");
    if (chosen != nullptr && *chosen != 0)
        m_pid = start(chosen, arguments);
    else
        for (const char* const program : PROGRAMS)
            if (m_pid < 0)
                m_pid = start(program, arguments);
    if (m_pid < 0) {
        const std::string why = std::system_category().message(errno);
        common::removeFile(m_file);
        throw std::runtime_error("chromium cannot be started (" + why + "); CHROMIUM names the program");
    }
}

Browser::~Browser()
{
    common::removeFile(m_file);
    if (m_pid >= 0)
        end();
    std::error_code none;
    std::filesystem::remove_all(m_profile, none);
}

void Browser::end()
{
    ::kill(-m_pid, SIGTERM);
    for (auto end = std::chrono::steady_clock::now() + END_TIME; std::chrono::steady_clock::now() < end && !hasEnded();)
        std::this_thread::sleep_for(50ms);
    if (!hasEnded()) {
        ::kill(-m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
}

bool Browser::hasEnded()
{
    if (m_pid >= 0 && ::waitpid(m_pid, nullptr, WNOHANG) == m_pid)
        m_pid = -1;
    return m_pid < 0;
}

} // namespace tv
