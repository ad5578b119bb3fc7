// SPDX-License-Identifier: MIT
// What a process pays for having the plugin: memory while it is signed in and idle, and time until its first request is out. Every
// measurement is taken in a fresh process, which is this program again.
#include "support/Plugin.h"
#include "support/RawClient.h"
#include "support/Report.h"
#include "support/Servers.h"
#include "support/Usage.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <exception>
#include <libxml/parser.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace bench {

namespace {

constexpr double MB = 1 << 20;

/// The libraries that the host and the plugin stand on.
std::set<std::string> foreignLibraries()
{
    std::set<std::string> libraries;
    for (const std::string& path : loadedLibraries()) {
        const std::string name = path.substr(path.rfind('/') + 1);
        if (name.rfind("libwhost", 0) != 0 && name.rfind("libwkloai", 0) != 0 && name.rfind("ld-linux", 0) != 0)
            libraries.insert(path);
    }
    return libraries;
}

/// Prints the resident memory, the same with whole libraries, and the libraries.
void printMemory()
{
    const std::set<std::string> libraries = foreignLibraries();
    const double used = residentMemory();
    touchLibraries(libraries);
    std::printf("%.0f %.0f", used, residentMemory());
    for (const std::string& library : libraries)
        std::printf(" %s", library.c_str());
    std::printf("\n");
}

/// The child that signs in and idles.
void idle(unsigned short port)
{
    const Plugin plugin(port);
    printMemory();
}

/// The child that does with the libraries alone what the sign-in does with them: a request, a signature, a parse.
void useLibraries(unsigned short port)
{
    RawClient client({"http://" + ENDPOINT_HOST + "/openapi/service/kinloom/auth", {}, optionsFor(port).connectTo.front()}, 1);
    client.run(1);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    const std::string& body = client.body();
    HMAC(EVP_sha1(), body.data(), static_cast<int>(body.size()), reinterpret_cast<const unsigned char*>(body.data()), body.size(),
         digest, &length);
    xmlFreeDoc(xmlReadMemory(body.data(), static_cast<int>(body.size()), "", nullptr, 0));
    printMemory();
}

/// A listening socket that notes when the first byte of a request arrives.
class FirstByte {
public:
    FirstByte() : m_listener(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_listener, 1) != 0 ||
            getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no port to listen on");
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { wait(); });
    }
    ~FirstByte() { ::close(m_listener); }
    FirstByte(const FirstByte&) = delete;
    FirstByte& operator=(const FirstByte&) = delete;

    unsigned short port() const { return m_port; }
    /// Waits for the byte. \return when it came.
    double time()
    {
        m_thread.join();
        return m_time;
    }

private:
    void wait()
    {
        const int connection = accept(m_listener, nullptr, nullptr);
        char byte = 0;
        if (recv(connection, &byte, 1, 0) == 1)
            m_time = now();
        ::close(connection);
    }

    int m_listener;
    unsigned short m_port = 0;
    double m_time = 0;
    std::thread m_thread;
};

/// The child that loads the plugin and sends one request: prints the milliseconds of each step.
void load()
{
    FirstByte server;
    W::setHttpOptions(optionsFor(server.port()));
    setProviderOptions();

    const double begin = now();
    void* const library = dlopen(pluginPath(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
        throw std::runtime_error(dlerror());
    const double loaded = now();
    auto* const create = reinterpret_cast<void* (*)()>(dlsym(library, "createPlugin"));
    auto* const object = static_cast<W::WKinloomOAI*>(create());
    object->setHandle(1);
    const double created = now();
    if (object->authKL([](W::WSTATUS, const W::WContentProvider&, void*) {}, nullptr) < 0)
        throw std::runtime_error("the sign-in was refused");
    const double returned = now();
    const double sent = server.time();
    // The worker may be faster than the return.
    const double called = std::min(returned, sent);
    std::printf("%f %f %f %f\n", (loaded - begin) * 1e3, (created - loaded) * 1e3, (called - created) * 1e3, (sent - called) * 1e3);
    std::fflush(stdout);
    _exit(0); // the request is still on its way
}

std::string self()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return std::string(path, length > 0 ? static_cast<std::size_t>(length) : 0);
}

/// Resident memory of a child, in MB, above that of a process that has only loaded the same libraries.
struct Memory {
    double used;  ///< as it is: pages of a library count once something on them has run
    double whole; ///< with all pages of the libraries in memory on both sides, so that only what is not theirs is left
};

Memory memoryAbove(const char* child, const SmallServer& server)
{
    std::istringstream mine(runCommand({self(), child, std::to_string(server.port())}));
    Memory memory{};
    mine >> memory.used >> memory.whole;
    std::vector<std::string> command{KINLOOM_BENCH_BARE};
    for (std::string library; mine >> library;)
        command.push_back(library);
    std::istringstream bare(runCommand(command));
    Memory floor{};
    bare >> floor.used >> floor.whole;
    return {(memory.used - floor.used) / MB, (memory.whole - floor.whole) / MB};
}

void run(const Arguments& arguments)
{
    Report report(arguments);
    const std::size_t rounds = arguments.choose<std::size_t>(21, 5);
    const SmallServer server;
    std::vector<double> whole;
    std::vector<double> used;
    std::vector<double> floor;
    for (std::size_t round = 0; round < rounds; ++round) {
        const Memory memory = memoryAbove("child-idle", server);
        whole.push_back(memory.whole);
        used.push_back(memory.used);
        floor.push_back(memoryAbove("child-raw", server).used);
    }
    report.figure("rss_idle", summarise(whole), "MB", 2, Better::LOWER);
    report.figure("rss_idle_used", summarise(used), "MB", Better::LOWER);
    report.figure("rss_idle_used_raw", summarise(floor), "MB", Better::LOWER);

    std::vector<double> shares[5];
    for (std::size_t round = 0; round < rounds; ++round) {
        std::istringstream line(runCommand({self(), "child-load"}));
        double sum = 0;
        for (std::size_t i = 1; i < std::size(shares); ++i) {
            double milliseconds = 0;
            line >> milliseconds;
            shares[i].push_back(milliseconds);
            sum += milliseconds;
        }
        shares[0].push_back(sum);
    }
    report.figure("load_ms", summarise(shares[0]), "ms", 15, Better::LOWER);
    report.figure("load_ms_dlopen", summarise(shares[1]), "ms", Better::LOWER);
    report.figure("load_ms_create", summarise(shares[2]), "ms", Better::LOWER);
    report.figure("load_ms_call", summarise(shares[3]), "ms", Better::LOWER);
    report.figure("load_ms_send", summarise(shares[4]), "ms", Better::LOWER);
}

} // namespace

} // namespace bench

int main(int argc, char** argv)
{
    try {
        const std::string mode = argc > 1 ? argv[1] : "";
        if (mode == "child-idle" && argc == 3)
            bench::idle(static_cast<unsigned short>(std::stoul(argv[2])));
        else if (mode == "child-raw" && argc == 3)
            bench::useLibraries(static_cast<unsigned short>(std::stoul(argv[2])));
        else if (mode == "child-load")
            bench::load();
        else
            bench::run(bench::Arguments::read(argc, argv));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
