// SPDX-License-Identifier: MIT
#include "pictures/PictureProcess.h"

#include "pictures/Confinement.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/wait.h>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves the declaration to the program

namespace pictures {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds LOOK{25};              ///< between two looks at what a picture costs
constexpr milliseconds START_TIME{30'000};    ///< until a process that says nothing counts as dead
constexpr unsigned PICTURES_EACH = 100;       ///< until a process is replaced
constexpr int WAITING_FACTOR = 10;            ///< how much longer than its time a picture may take when the processor is busy
constexpr std::uint64_t SANITIZER_FACTOR = 4; ///< how much more memory a sanitizer takes

/// How the variables begin that a picture process gets: where programs and libraries are, language and time zone, and what
/// sanitizers are told. All others stay behind: they may hold passwords and keys, and what a picture has made of the process could
/// read them.
constexpr std::string_view PASSED_ON[] = {
    "PATH=", "LD_LIBRARY_PATH=", "LANG=", "LANGUAGE=", "LC_", "TZ=", "ASAN_", "LSAN_", "TSAN_", "UBSAN_",
};

bool isPassedOn(std::string_view variable)
{
    return std::any_of(std::begin(PASSED_ON), std::end(PASSED_ON),
                       [variable](std::string_view begin) { return variable.substr(0, begin.size()) == begin; });
}

/// The environment of a picture process, with a null at its end. What it points to belongs to the environment of this one.
std::vector<char*> passedOn()
{
    std::vector<char*> variables;
    for (char** each = environ; each != nullptr && *each != nullptr; ++each) {
        if (isPassedOn(*each))
            variables.push_back(*each);
    }
    variables.push_back(nullptr);
    return variables;
}

/// Reads one answer; nothing when the other end is gone.
std::optional<PictureAnswer> readAnswer(int socket)
{
    PictureAnswer answer{};
    ssize_t count = 0;
    do {
        count = ::recv(socket, &answer, sizeof answer, 0);
    } while (count < 0 && errno == EINTR);
    return count == sizeof answer ? std::optional<PictureAnswer>(answer) : std::nullopt;
}

PictureOutcome outcomeOf(std::optional<PictureAnswer> answer)
{
    if (answer == PictureAnswer::DONE)
        return PictureOutcome::DONE;
    if (answer == PictureAnswer::UNDECODABLE)
        return PictureOutcome::UNDECODABLE;
    return answer == PictureAnswer::NOT_WRITTEN ? PictureOutcome::FAILED : PictureOutcome::DIED;
}

/// The number that follows a word; 0 when there is none.
std::uint64_t numberBehind(std::string_view word, std::string_view lines)
{
    const auto at = lines.find(word);
    if (at == std::string_view::npos)
        return 0;
    lines.remove_prefix(at + word.size());
    lines.remove_prefix(std::min(lines.find_first_not_of(" \t"), lines.size()));
    std::uint64_t number = 0;
    std::from_chars(lines.data(), lines.data() + lines.size(), number);
    return number;
}

/// What is to become of descriptors in a new process.
class SpawnActions {
public:
    SpawnActions() { ::posix_spawn_file_actions_init(&m_actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&m_actions); }

    void keepOnly(int socket)
    {
        ::posix_spawn_file_actions_adddup2(&m_actions, socket, PICTURE_SOCKET);
        ::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        // Libraries complain about broken files there; a sanitizer about us.
        if (!SANITIZED)
            ::posix_spawn_file_actions_addopen(&m_actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_addclosefrom_np(&m_actions, PICTURE_SOCKET + 1);
    }
    const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
};

/// Signals in a new process: those that end a service are not for it, since the service itself ends it.
class SpawnSignals {
public:
    SpawnSignals()
    {
        ::posix_spawnattr_init(&m_attributes);
        sigset_t blocked;
        sigset_t all;
        sigemptyset(&blocked);
        for (const int signal : {SIGTERM, SIGINT, SIGHUP})
            sigaddset(&blocked, signal);
        sigfillset(&all);
        ::posix_spawnattr_setsigmask(&m_attributes, &blocked);
        ::posix_spawnattr_setsigdefault(&m_attributes, &all);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    SpawnSignals(const SpawnSignals&) = delete;
    SpawnSignals& operator=(const SpawnSignals&) = delete;
    ~SpawnSignals() { ::posix_spawnattr_destroy(&m_attributes); }

    const posix_spawnattr_t* get() const { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes{};
};

PictureOrder orderFor(const PictureTask& task, const PictureBounds& bounds)
{
    PictureOrder order;
    order.what = task.what;
    order.pixels = bounds.pixels;
    std::copy_n(task.boxes.begin(), std::min(task.boxes.size(), order.boxes.size()), order.boxes.begin());
    return order;
}

std::string& pictureProgram()
{
    static std::string program;
    return program;
}

} // namespace

void usePictureProgram(std::string program) { pictureProgram() = std::move(program); }

PictureProcess::PictureProcess() : PictureProcess(pictureProgram()) {}

PictureProcess::PictureProcess(std::string program) : m_program(std::move(program)) { start(); }

PictureProcess::~PictureProcess() { end(); }

bool PictureProcess::start()
{
    if (m_program.empty())
        return false;
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return false;
    common::UniqueFd ours(ends[0]);
    const common::UniqueFd theirs(ends[1]);
    SpawnActions actions;
    actions.keepOnly(theirs.get());
    const SpawnSignals signals;
    std::string name = program_invocation_short_name;
    std::string word = PICTURE_WORD;
    const std::array<char*, 3> arguments = {name.data(), word.data(), nullptr};
    const std::vector<char*> environment = passedOn();
    pid_t pid = -1;
    if (::posix_spawn(&pid, m_program.c_str(), actions.get(), signals.get(), arguments.data(), environment.data()) != 0)
        return false;
    m_pid = pid;
    m_socket = std::move(ours);
    m_ready = false;
    m_pictures = 0;
    return true;
}

void PictureProcess::end()
{
    m_socket.reset();
    if (m_pid <= 0)
        return;
    ::kill(m_pid, SIGKILL);
    while (::waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
}

bool PictureProcess::isAlive() const
{
    siginfo_t info = {};
    return ::waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
}

/// Waits until a process that was started just now is confined.
bool PictureProcess::isReady(const PictureBounds& bounds)
{
    const auto end = Clock::now() + START_TIME;
    while (!m_ready && Clock::now() < end && !(bounds.giveUp && bounds.giveUp())) {
        pollfd event = {m_socket.get(), POLLIN, 0};
        if (::poll(&event, 1, static_cast<int>(LOOK.count())) <= 0)
            continue;
        if (readAnswer(m_socket.get()) != PictureAnswer::READY)
            return false;
        m_ready = true;
    }
    return m_ready;
}

/// \return whether the process has said nothing unasked: that would be taken for the answer to the next picture.
bool PictureProcess::isSilent() const
{
    pollfd event = {m_socket.get(), POLLIN, 0};
    return ::poll(&event, 1, 0) == 0;
}

bool PictureProcess::send(const PictureOrder& order, int source, const std::vector<int>& outputs)
{
    std::vector<int> files = {source};
    files.insert(files.end(), outputs.begin(),
                 outputs.begin() + static_cast<std::ptrdiff_t>(std::min(outputs.size(), MOST_OUTPUTS)));
    const std::size_t size = files.size() * sizeof(int);
    alignas(cmsghdr) std::array<char, CMSG_SPACE((MOST_OUTPUTS + 1) * sizeof(int))> control{};
    PictureOrder copy = order;
    iovec bytes = {&copy, sizeof copy};
    msghdr message = {};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = CMSG_SPACE(size);
    cmsghdr* const part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(size);
    std::memcpy(CMSG_DATA(part), files.data(), size);
    return ::sendmsg(m_socket.get(), &message, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof copy);
}

std::chrono::nanoseconds PictureProcess::processorTime() const
{
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(m_pid, &clock) != 0 || ::clock_gettime(clock, &time) != 0)
        return {};
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// \return whether the process has more of the machine's memory, beside files, or more threads than it may.
bool PictureProcess::takesTooMuch() const
{
    constexpr std::uint64_t MEMORY = SANITIZED ? PICTURE_MEMORY * SANITIZER_FACTOR : PICTURE_MEMORY;
    constexpr std::uint64_t KILOBYTE = 1024;
    const common::UniqueFd file(::open(("/proc/" + std::to_string(m_pid) + "/status").c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 4096> text{};
    const ssize_t size = file ? ::read(file.get(), text.data(), text.size()) : -1;
    if (size <= 0)
        return false;
    // The process chooses the name that the first line holds; the system writes the end of a line in it as something else.
    const std::string_view lines(text.data(), static_cast<std::size_t>(size));
    const std::uint64_t memory = numberBehind("\nRssAnon:", lines) + numberBehind("\nRssShmem:", lines);
    return memory * KILOBYTE > MEMORY || numberBehind("\nThreads:", lines) > PICTURE_THREADS;
}

PictureOutcome PictureProcess::wait(const PictureBounds& bounds)
{
    const auto used = processorTime();
    const auto end = Clock::now() + bounds.time * WAITING_FACTOR;
    for (;;) {
        pollfd event = {m_socket.get(), POLLIN, 0};
        if (::poll(&event, 1, static_cast<int>(LOOK.count())) > 0)
            return outcomeOf(readAnswer(m_socket.get()));
        if (bounds.giveUp && bounds.giveUp())
            return PictureOutcome::GIVEN_UP;
        if (processorTime() - used > bounds.time || Clock::now() > end)
            return PictureOutcome::OVERTIME;
        if (takesTooMuch())
            return PictureOutcome::UNDECODABLE;
    }
}

PictureOutcome PictureProcess::run(const PictureTask& task, const PictureSource& source, const std::vector<int>& outputs,
                                   const PictureBounds& bounds)
{
    if (m_pictures > 0 && source.whose != m_whose)
        end();
    m_whose = source.whose;
    const auto givenUp = [&bounds] { return bounds.giveUp && bounds.giveUp(); };
    // One that was killed while it waited, or before it was ready, says nothing about the picture.
    for (int tries = 0; tries < 2 && !(m_socket && isAlive() && isReady(bounds) && isSilent()) && !givenUp(); ++tries) {
        end();
        if (!start())
            return PictureOutcome::FAILED;
    }
    PictureOutcome outcome = PictureOutcome::FAILED;
    if (m_socket && isReady(bounds))
        outcome = send(orderFor(task, bounds), source.file, outputs) ? wait(bounds) : PictureOutcome::DIED;
    else if (givenUp())
        outcome = PictureOutcome::GIVEN_UP;
    // A process that met something odd is not given anyone else's picture.
    if (outcome != PictureOutcome::DONE || ++m_pictures >= PICTURES_EACH) {
        end();
        if (outcome != PictureOutcome::GIVEN_UP)
            start();
    }
    return outcome;
}

PictureOutcome PictureProcess::runTwice(const PictureTask& task, const PictureSource& source, const std::vector<int>& outputs,
                                        const PictureBounds& bounds)
{
    const PictureOutcome outcome = run(task, source, outputs, bounds);
    return outcome == PictureOutcome::DIED ? run(task, source, outputs, bounds) : outcome;
}

const char* sentenceOf(PictureOutcome outcome)
{
    switch (outcome) {
    case PictureOutcome::DONE:
        return "The picture is there.";
    case PictureOutcome::UNDECODABLE:
    case PictureOutcome::DIED:
        return "The file is not a picture that can be read.";
    case PictureOutcome::OVERTIME:
        return "The picture takes too long to be read.";
    case PictureOutcome::GIVEN_UP:
        return "It was given up.";
    case PictureOutcome::FAILED:
        break;
    }
    return "The picture could not be read: no process could be started for it, or its result not be written.";
}

} // namespace pictures
