// SPDX-License-Identifier: MIT
/// \file Other processes: servers that run beside a benchmark, and commands that it is compared with.
#ifndef SUPPORT_PROCESS_H
#define SUPPORT_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace bench {

/// A child process that is killed when the object ends.
class Process {
public:
    /// Which of its outputs the object reads.
    enum class Read { OUTPUT, ERRORS };

    /// \param command the program and its arguments; the program is looked for in PATH.
    /// \throw std::system_error
    explicit Process(const std::vector<std::string>& command, Read read = Read::OUTPUT);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// The next line that it writes, without the end; empty when there is no more.
    std::string readLine();
    /// Everything else that it writes.
    std::string readAll();
    /// Waits for its end. \return the exit status, 128 and more when a signal ended it.
    int wait();

private:
    pid_t m_pid = -1;
    int m_output = -1;
};

/// Runs a command to its end. \return what it wrote. \throw std::runtime_error when it fails.
std::string runCommand(const std::vector<std::string>& command);

/// The path of a program in PATH or in the folders for the administrator. \throw std::runtime_error when there is none.
std::string findProgram(const std::string& name);

} // namespace bench

#endif
