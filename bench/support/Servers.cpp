// SPDX-License-Identifier: MIT
#include "support/Servers.h"

#include <cerrno>
#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace bench {

namespace {

unsigned short freePort()
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    const bool bound = bind(listener, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                       getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    ::close(listener);
    if (!bound)
        throw std::system_error(errno, std::generic_category(), "bind");
    return ntohs(address.sin_port);
}

/// As it is set up for files: one worker, the kernel sends them. All that it may write stands in its own folder.
void writeConfiguration(const std::string& path, const std::string& root, unsigned short port)
{
    std::ofstream file(path);
    file << "daemon off;\nmaster_process off;\npid nginx.pid;\nerror_log stderr notice;\n"
         << "events { worker_connections 256; }\n"
         << "http {\n  access_log off; sendfile on; tcp_nopush on; default_type application/octet-stream;\n"
         << "  client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path fastcgi; uwsgi_temp_path uwsgi;\n"
         << "  scgi_temp_path scgi;\n"
         << "  server { listen 127.0.0.1:" << port << "; root " << root << "; }\n}\n";
}

} // namespace

SmallServer::SmallServer()
    : m_process({KINLOOM_BENCH_SERVER}), m_port(static_cast<unsigned short>(std::stoul("0" + m_process.readLine())))
{
    if (m_port == 0)
        throw std::runtime_error("the benchmark server did not start");
}

std::string SmallServer::url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(m_port) + path; }

#ifdef KINLOOM_BENCH_SERVICE
Service::Service() : m_folder("/var/tmp")
{
    std::ofstream(configuration()) << runCommand(
        {KINLOOM_BENCH_SERVICE, "device", "add", "--data", m_folder.file("data"), "--person", "Ada"});
    runCommand({KINLOOM_BENCH_PHOTO, m_folder.file("photo.jpg"), "--width", "64", "--height", "48"});
    m_process = std::make_unique<Process>(
        std::vector<std::string>{KINLOOM_BENCH_SERVICE, "serve", "--data", m_folder.file("data"), "--listen", "127.0.0.1:0"});
    const std::string line = m_process->readLine();
    const std::size_t colon = line.rfind(':');
    if (line.find("listening") == std::string::npos || colon == std::string::npos)
        throw std::runtime_error("the service did not start");
    m_port = static_cast<unsigned short>(std::stoul(line.substr(colon + 1)));
}

void Service::fill(const std::string& group, unsigned int contents) const
{
    runCommand({KINLOOM_BENCH_SERVICE, "content", "add", "--data", m_folder.file("data"), "--group", group, "--person", "Ada",
                "--copies", std::to_string(contents), m_folder.file("photo.jpg")});
}
#endif

Nginx::Nginx(const std::string& root) : m_folder("/tmp")
{
    // nginx cannot choose a port by itself. One that was free a moment ago may be taken by the time nginx is up; then it gives up.
    constexpr int ATTEMPTS = 5;
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        m_port = freePort();
        writeConfiguration(m_folder.file("nginx.conf"), root, m_port);
        m_process = std::make_unique<Process>(std::vector<std::string>{findProgram("nginx"), "-e", "stderr", "-p", m_folder.path(),
                                                                       "-c", m_folder.file("nginx.conf")},
                                              Process::Read::ERRORS);
        // It names its way of waiting for events once the port is open.
        for (std::string line = m_process->readLine(); !line.empty(); line = m_process->readLine())
            if (line.find("event method") != std::string::npos)
                return;
    }
    throw std::runtime_error("nginx did not start");
}

std::string Nginx::url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(m_port) + path; }

} // namespace bench
