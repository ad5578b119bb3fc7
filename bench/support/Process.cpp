// SPDX-License-Identifier: MIT
#include "support/Process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace bench {

namespace {

constexpr int NOT_STARTED = 127;

std::vector<char*> pointers(const std::vector<std::string>& texts)
{
    std::vector<char*> all;
    all.reserve(texts.size() + 1);
    for (const std::string& text : texts)
        all.push_back(const_cast<char*>(text.c_str()));
    all.push_back(nullptr);
    return all;
}

} // namespace

Process::Process(const std::vector<std::string>& command, Read read)
{
    const std::vector<char*> arguments = pointers(command);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], read == Read::OUTPUT ? STDOUT_FILENO : STDERR_FILENO);
        execvp(arguments[0], arguments.data());
        _exit(NOT_STARTED);
    }
    ::close(ends[1]);
    m_output = ends[0];
    if (m_pid < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
}

Process::~Process()
{
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        wait();
    }
    ::close(m_output);
}

std::string Process::readLine()
{
    std::string line;
    char c = '\0';
    while (::read(m_output, &c, 1) == 1 && c != '\n')
        line += c;
    return line;
}

std::string Process::readAll()
{
    std::string all;
    char buffer[4096];
    for (ssize_t count = 0; (count = ::read(m_output, buffer, sizeof buffer)) > 0;)
        all.append(buffer, static_cast<std::size_t>(count));
    return all;
}

int Process::wait()
{
    int status = 0;
    while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string runCommand(const std::vector<std::string>& command)
{
    Process process(command);
    std::string output = process.readAll();
    if (const int status = process.wait(); status != 0)
        throw std::runtime_error(command.front() + " failed with " + std::to_string(status));
    return output;
}

std::string findProgram(const std::string& name)
{
    const char* const path = std::getenv("PATH");
    std::istringstream folders(std::string(path ? path : "") + ":/usr/sbin:/usr/local/sbin");
    for (std::string file; std::getline(folders, file, ':');) {
        file.append("/").append(name);
        if (access(file.c_str(), X_OK) == 0)
            return file;
    }
    throw std::runtime_error(name + " is not installed; scripts/setup --for bench installs it");
}

} // namespace bench
