// SPDX-License-Identifier: MIT
/// \file A program as a person or a script runs it.
#ifndef TESTS_CLI_PROGRAM_H
#define TESTS_CLI_PROGRAM_H

#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

/// What a program has left behind.
struct ProgramResult {
    int exitCode = -1; ///< 128 plus the signal for a program that was killed
    std::string out;   ///< with a terminal: all that was seen on it
    std::string err;
};

/// A running program, with pipes around it or in a terminal of its own. Killed at the end of its life if it still runs.
class Program {
public:
    struct Settings {
        std::vector<std::string> command;
        std::map<std::string, std::string> environment; ///< all of it
        std::string input;                              ///< what it reads, to the end
        std::string folder;                             ///< where it works; empty: where the test does
        bool terminal = false;                          ///< reads from and writes to a terminal
        unsigned short columns = 80;
        unsigned short rows = 24;
        bool nobodyReads = false; ///< its output goes to a pipe without a reader
    };

    /// \throw std::runtime_error when it cannot be started.
    explicit Program(const Settings& settings);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Waits until its output, or what its terminal shows, holds a text.
    bool waitFor(const std::string& text);
    /// Types on its terminal.
    void type(const std::string& bytes);
    void signal(int number);
    /// Waits for its end. A program that does not end is killed.
    ProgramResult wait();

private:
    void startWithPipes(const Settings& settings);
    void startInTerminal(const Settings& settings);
    bool readUntil(const std::function<bool()>& done);

    pid_t m_pid = -1;
    int m_out = -1; ///< the terminal's, where there is one
    int m_err = -1;
    ProgramResult m_result;
};

} // namespace test

#endif
