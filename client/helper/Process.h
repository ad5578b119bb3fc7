// SPDX-License-Identifier: MIT
/// \file A helper process.
#ifndef KINLOOM_CLIENT_PROCESS_H
#define KINLOOM_CLIENT_PROCESS_H

#include "core/Descriptor.h"
#include "kinloom/Settings.h"

#include <chrono>
#include <string>
#include <sys/types.h>

namespace kinloom {

/// The descriptor on which a helper finds its end of the socket.
constexpr int HELPER_DESCRIPTOR = 3;
/// The one argument of a helper.
constexpr const char* HELPER_ARGUMENT = "--kinloom-lane";

/// Whether this program can be started as a helper: runLaneIfAsked() was called.
bool isHelperProgram();

/// A helper process. It inherits its end of a socket and the standard descriptors, of which the input is empty, and nothing else;
/// it never sees the signals of a terminal, since it ends with its program.
class Process {
public:
    /// Starts the program. \param program empty: this one. \param socket the helper's end.
    /// \throw std::system_error when it cannot be started.
    Process(const std::string& program, PluginLog log, client::Descriptor socket);
    /// Waits a while for its end, which its socket's end brings about, and kills it then. Nothing is left of it.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void kill() const;

private:
    bool waitForEnd(std::chrono::milliseconds time) const;

    pid_t m_pid = -1;
    client::Descriptor m_handle; ///< means this process alone, also when its number belongs to another one by now
};

} // namespace kinloom

#endif
