// SPDX-License-Identifier: MIT
#include "KinloomdProcess.h"

#include "support/ArgumentPointers.h"
#include "support/TestStore.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves the declaration to the program

namespace kinloomd_test {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds READY_TIME{90'000};
constexpr milliseconds STOP_TIME{60'000};

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what + ": " + std::strerror(errno)); }

std::string readWholeFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// Services bring everything to the disk before they answer; in memory that takes no time.
std::string parentFolder()
{
    if (std::getenv("TMPDIR") == nullptr && ::access("/dev/shm", W_OK | X_OK) == 0)
        return "/dev/shm";
    return std::filesystem::temp_directory_path().string();
}

/// Services of one folder have one bucket.
void addStore(std::vector<std::string>& arguments, const std::string& dataFolder)
{
    const test::TestStore store = test::TestStore::ofEnvironment();
    store.lendKeys();
    const std::string bucket = "data-" + std::to_string(::getpid()) + "-" + std::to_string(std::hash<std::string>()(dataFolder));
    for (const std::string& each : {std::string("--media"), "s3://" + bucket + "/family", std::string("--s3-endpoint"),
                                    store.endpoint, std::string("--s3-region"), store.region})
        arguments.push_back(each);
}

struct Manner {
    std::string program; ///< in place of the one that was built
    std::string output;  ///< a file; empty keeps the test's own
    int outputFd = -1;   ///< or a descriptor
    std::string error;
};

/// The arguments, and where the database of their folder is.
std::vector<std::string> withDatabase(std::vector<std::string> arguments)
{
    const auto data = std::find(arguments.begin(), arguments.end(), "--data");
    if (data == arguments.end() || data + 1 == arguments.end() || arguments.front() == "restore")
        return arguments;
    const auto more = databaseArguments(*(data + 1));
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

pid_t spawn(const std::vector<std::string>& arguments, const Manner& manner)
{
    std::vector<std::string> words = {manner.program.empty() ? kinloomdProgram() : manner.program};
    for (std::string& argument : withDatabase(arguments))
        words.push_back(std::move(argument));
    const std::vector<char*> argv = test::pointersTo(words);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC;
    if (manner.outputFd >= 0)
        ::posix_spawn_file_actions_adddup2(&actions, manner.outputFd, STDOUT_FILENO);
    else if (!manner.output.empty())
        ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, manner.output.c_str(), FLAGS, 0600);
    if (!manner.error.empty())
        ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, manner.error.c_str(), FLAGS, 0600);

    // Signals that the test blocks or ignores must not be so in the program.
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, words.front().c_str(), &actions, &attributes, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        errno = error;
        fail("cannot start " + words.front());
    }
    return pid;
}

int exitCodeOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

int wait(pid_t pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            fail("cannot wait for kinloomd");
    }
    return exitCodeOf(status);
}

/// The text between quotes in the line "NAME = \"...\"".
std::string valueOf(const std::string& section, const std::string& name)
{
    const auto line = section.find("\n" + name + " = \"");
    if (line == std::string::npos)
        throw std::runtime_error("kinloomd printed no " + name);
    const auto begin = section.find('"', line) + 1;
    return section.substr(begin, section.find('"', begin) - begin);
}

} // namespace

TemporaryFolder::TemporaryFolder()
{
    m_path = parentFolder() + "/kinloomd-test-XXXXXX";
    if (::mkdtemp(m_path.data()) == nullptr)
        fail("cannot make a temporary folder");
}

TemporaryFolder::~TemporaryFolder()
{
    dropDatabasesOf(m_path);
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

const std::string& kinloomdProgram()
{
    static const std::string program = KINLOOMD_PROGRAM;
    return program;
}

KinloomdRun::KinloomdRun(const std::vector<std::string>& arguments)
{
    Manner manner;
    manner.output = m_folder / "out";
    manner.error = m_folder / "err";
    m_pid = spawn(arguments, manner);
}

KinloomdRun::~KinloomdRun() { kill(); }

bool KinloomdRun::hasEnded() const
{
    siginfo_t info = {};
    return ::waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == m_pid;
}

void KinloomdRun::kill()
{
    if (m_pid < 0)
        return;
    ::kill(m_pid, SIGKILL);
    wait(std::exchange(m_pid, -1));
}

bool mediaAreInAStore()
{
    const char* const media = std::getenv("KINLOOM_TEST_MEDIA");
    return media != nullptr && std::string(media) == "s3";
}

CommandResult runKinloomd(const std::vector<std::string>& arguments)
{
    const TemporaryFolder folder;
    Manner manner;
    manner.output = folder / "out";
    manner.error = folder / "err";
    CommandResult result;
    result.exitCode = wait(spawn(arguments, manner));
    result.out = readWholeFile(manner.output);
    result.err = readWholeFile(manner.error);
    return result;
}

DeviceCredentials addDevice(const std::string& dataFolder, const std::string& person)
{
    const CommandResult result = runKinloomd({"device", "add", "--data", dataFolder, "--person", person});
    if (result.exitCode != 0)
        throw std::runtime_error("cannot add a device: " + result.err);
    return {valueOf(result.out, "app_id"), valueOf(result.out, "AuthToken"), valueOf(result.out, "duid"), result.out};
}

KinloomdProcess::KinloomdProcess(const std::string& dataFolder) { start(dataFolder, Settings()); }

KinloomdProcess::KinloomdProcess(const std::string& dataFolder, const Settings& settings) { start(dataFolder, settings); }

KinloomdProcess::~KinloomdProcess()
{
    if (m_pid > 0)
        stop();
}

void KinloomdProcess::start(const std::string& dataFolder, const Settings& settings)
{
    std::vector<std::string> arguments = {"serve", "--data", dataFolder, "--listen", settings.listenAddress};
    arguments.insert(arguments.end(), settings.arguments.begin(), settings.arguments.end());
    if (mediaAreInAStore())
        addStore(arguments, dataFolder);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        fail("cannot make a pipe");
    Manner manner;
    manner.program = settings.program;
    manner.outputFd = ends[1];
    if (settings.keepStandardError) {
        m_errorFolder.emplace();
        manner.error = *m_errorFolder / "err";
    }
    try {
        m_pid = spawn(arguments, manner);
        ::close(ends[1]);
        if (settings.fileSizeLimit) {
            const rlimit limit = {*settings.fileSizeLimit, *settings.fileSizeLimit};
            ::prlimit(m_pid, RLIMIT_FSIZE, &limit, nullptr);
        }
        readReadyLine(ends[0]);
    } catch (...) {
        ::close(ends[0]);
        if (m_pid > 0)
            kill();
        throw;
    }
    ::close(ends[0]);
}

void KinloomdProcess::readReadyLine(int fd)
{
    const auto end = Clock::now() + READY_TIME;
    std::string line;
    while (line.empty() || line.back() != '\n') {
        const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now()).count();
        pollfd event = {fd, POLLIN, 0};
        char c = 0;
        if (left <= 0 || (::poll(&event, 1, static_cast<int>(left)) > 0 && ::read(fd, &c, 1) <= 0))
            throw std::runtime_error("kinloomd did not become ready; it printed: " + line);
        if (c != 0)
            line += c;
    }
    const auto url = line.find("http");
    const auto colon = line.rfind(':');
    if (url == std::string::npos || colon == std::string::npos)
        throw std::runtime_error("kinloomd printed: " + line);
    m_url = line.substr(url, line.size() - url - 1);
    m_port = static_cast<unsigned short>(std::stoul(line.substr(colon + 1)));
}

std::string KinloomdProcess::standardError() const { return m_errorFolder ? readWholeFile(*m_errorFolder / "err") : std::string(); }

int KinloomdProcess::waitForEnd(milliseconds time)
{
    const int handle = static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0));
    if (handle < 0)
        fail("cannot watch kinloomd");
    pollfd event = {handle, POLLIN, 0};
    const int ready = ::poll(&event, 1, static_cast<int>(time.count()));
    ::close(handle);
    if (ready <= 0)
        ::kill(m_pid, SIGKILL);
    return wait(std::exchange(m_pid, -1));
}

int KinloomdProcess::stop()
{
    ::kill(m_pid, SIGTERM);
    return waitForEnd(STOP_TIME);
}

void KinloomdProcess::kill()
{
    ::kill(m_pid, SIGKILL);
    wait(std::exchange(m_pid, -1));
}

} // namespace kinloomd_test
