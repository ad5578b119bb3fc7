// SPDX-License-Identifier: MIT
/// \file The servers at the other end, each in a process of its own.
#ifndef SUPPORT_SERVERS_H
#define SUPPORT_SERVERS_H

#include "support/Folder.h"
#include "support/Process.h"

#include <memory>

namespace bench {

/// The benchmark server.
class SmallServer {
public:
    SmallServer();
    unsigned short port() const { return m_port; }
    /// "http://127.0.0.1:PORT" and what follows.
    std::string url(const std::string& path) const;

private:
    Process m_process;
    unsigned short m_port;
};

/// kinloomd with a folder of its own and the device of one person, Ada.
class Service {
public:
    /// \throw std::runtime_error
    Service();
    unsigned short port() const { return m_port; }
    /// The file with what the device signs in with.
    std::string configuration() const { return m_folder.file("device.toml"); }
    /// Puts so many contents into a group, by name or number.
    void fill(const std::string& group, unsigned int contents) const;

private:
    Folder m_folder;
    std::unique_ptr<Process> m_process;
    unsigned short m_port = 0;
};

/// nginx with a configuration of its own, which serves the files of one folder.
class Nginx {
public:
    /// \param root the folder whose files are served.
    explicit Nginx(const std::string& root);
    std::string url(const std::string& path) const;

private:
    Folder m_folder;
    unsigned short m_port = 0;
    std::unique_ptr<Process> m_process;
};

} // namespace bench

#endif
