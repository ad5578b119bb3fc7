// SPDX-License-Identifier: MIT
#include "helper/Process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves the declaration to the program

namespace kinloom {

namespace {

using namespace std::chrono_literals;

/// A helper whose program has gone cancels what it does; then it has no reason to live.
constexpr auto END_PATIENCE = 5s;

/// What a helper's descriptors and signals are to be.
class Surroundings {
public:
    Surroundings(PluginLog log, int socket)
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        if (log == PluginLog::STANDARD_ERROR)
            posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
        else
            posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, socket, HELPER_DESCRIPTOR);
        posix_spawn_file_actions_addclosefrom_np(&actions, HELPER_DESCRIPTOR + 1);

        posix_spawnattr_init(&attributes);
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int number : {SIGINT, SIGQUIT, SIGHUP, SIGTSTP, SIGPIPE})
            sigaddset(&blocked, number);
        sigset_t all;
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes, &blocked);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~Surroundings()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

} // namespace

Process::Process(const std::string& program, PluginLog log, client::Descriptor socket)
{
    // Behind the descriptors that the helper is given, so that none of them takes its place.
    const client::Descriptor high(fcntl(socket.get(), F_DUPFD_CLOEXEC, HELPER_DESCRIPTOR + 1));
    if (!high)
        throw std::system_error(errno, std::generic_category(), "no descriptor is left");
    const Surroundings surroundings(log, high.get());
    std::string path = program.empty() ? "/proc/self/exe" : program;
    std::string argument = HELPER_ARGUMENT;
    char* const arguments[] = {path.data(), argument.data(), nullptr};
    const int error = posix_spawn(&m_pid, path.c_str(), &surroundings.actions, &surroundings.attributes, arguments, environ);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), path);
    m_handle = client::Descriptor(static_cast<int>(syscall(SYS_pidfd_open, m_pid, 0)));
}

Process::~Process()
{
    if (!waitForEnd(END_PATIENCE))
        kill();
    while (waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void Process::kill() const
{
    if (m_handle)
        syscall(SYS_pidfd_send_signal, m_handle.get(), SIGKILL, nullptr, 0);
    else
        ::kill(m_pid, SIGKILL);
}

bool Process::waitForEnd(std::chrono::milliseconds time) const
{
    pollfd event{m_handle.get(), POLLIN, 0};
    return m_handle && poll(&event, 1, static_cast<int>(time.count())) > 0;
}

} // namespace kinloom
