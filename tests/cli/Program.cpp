// SPDX-License-Identifier: MIT
#include "Program.h"

#include "support/ArgumentPointers.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

namespace {

using Clock = std::chrono::steady_clock;

/// Long enough for a loaded machine under a sanitizer.
constexpr std::chrono::seconds PATIENCE{60};

/// In the child. What is needed was prepared before the fork.
[[noreturn]] void execute(const std::string& folder, const std::vector<char*>& arguments, const std::vector<char*>& environment)
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGPIPE, SIG_DFL);
    if (folder.empty() || chdir(folder.c_str()) == 0)
        execve(arguments[0], arguments.data(), environment.data());
    _exit(127);
}

std::vector<std::string> linesOf(const std::map<std::string, std::string>& environment)
{
    std::vector<std::string> lines;
    lines.reserve(environment.size());
    for (const auto& [name, value] : environment)
        lines.push_back(name + "=" + value);
    return lines;
}

/// Reads what is there. \return false at the end.
bool take(int fd, std::string& text)
{
    char block[16 << 10];
    const ssize_t count = read(fd, block, sizeof block);
    if (count > 0)
        text.append(block, static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR); // a terminal whose program has ended gives EIO
}

void closeDescriptor(int& fd)
{
    if (fd >= 0)
        close(fd);
    fd = -1;
}

} // namespace

Program::Program(const Settings& settings)
{
    if (settings.terminal)
        startInTerminal(settings);
    else
        startWithPipes(settings);
}

Program::~Program()
{
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    closeDescriptor(m_out);
    closeDescriptor(m_err);
}

void Program::startWithPipes(const Settings& settings)
{
    const std::vector<char*> arguments = pointersTo(settings.command);
    const std::vector<std::string> lines = linesOf(settings.environment);
    const std::vector<char*> environment = pointersTo(lines);
    int in[2];
    int out[2];
    int err[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipes");
    if (settings.nobodyReads)
        closeDescriptor(out[0]);
    m_pid = fork();
    if (m_pid == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        execute(settings.folder, arguments, environment);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    if (write(in[1], settings.input.data(), settings.input.size()) != static_cast<ssize_t>(settings.input.size()))
        throw std::runtime_error("the program's input is too long");
    close(in[1]);
    m_out = out[0];
    m_err = err[0];
}

void Program::startInTerminal(const Settings& settings)
{
    const std::vector<char*> arguments = pointersTo(settings.command);
    const std::vector<std::string> lines = linesOf(settings.environment);
    const std::vector<char*> environment = pointersTo(lines);
    winsize size{settings.rows, settings.columns, 0, 0};
    m_pid = forkpty(&m_out, nullptr, nullptr, &size);
    if (m_pid < 0)
        throw std::runtime_error("no terminal");
    if (m_pid == 0)
        execute(settings.folder, arguments, environment);
    fcntl(m_out, F_SETFD, FD_CLOEXEC);
}

bool Program::readUntil(const std::function<bool()>& done)
{
    const auto deadline = Clock::now() + PATIENCE;
    while (!done()) {
        pollfd fds[] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0 || (m_out < 0 && m_err < 0))
            return done();
        if (poll(fds, 2, static_cast<int>(left)) <= 0)
            continue;
        if (fds[0].revents != 0 && !take(m_out, m_result.out))
            closeDescriptor(m_out);
        if (fds[1].revents != 0 && !take(m_err, m_result.err))
            closeDescriptor(m_err);
    }
    return true;
}

bool Program::waitFor(const std::string& text)
{
    return readUntil([&] { return m_result.out.find(text) != std::string::npos || m_result.err.find(text) != std::string::npos; });
}

void Program::type(const std::string& bytes)
{
    if (write(m_out, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the terminal takes nothing");
}

void Program::signal(int number) { kill(m_pid, number); }

ProgramResult Program::wait()
{
    if (!readUntil([&] { return m_out < 0 && m_err < 0; }))
        kill(m_pid, SIGKILL);
    int status = 0;
    waitpid(m_pid, &status, 0);
    m_pid = -1;
    m_result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return m_result;
}

} // namespace test
