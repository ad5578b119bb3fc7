// SPDX-License-Identifier: MIT
#include "pictures/PictureProcess.h"

#include "pictures/Confinement.h"

#include "HostilePictures.h"
#include "TestPictures.h"

#include "support/Wait.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <sched.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace common;
using namespace pictures;
using namespace kinloomd_test;
using std::chrono::milliseconds;

/// The sizes that a service keeps, and the picture of a person.
const PictureTask BOXES = {PictureOrder::FIT, {{1920, 1080}, {540, 405}, {274, 204}, {116, 87}}};
const PictureTask SQUARE = {PictureOrder::FILL, {{72, 72}}};

class PictureProcesses : public ::testing::Test {
protected:
    static UniqueFd fileOf(const std::string& bytes)
    {
        UniqueFd file(::memfd_create("picture", MFD_CLOEXEC));
        writeAll(file.get(), bytes, "picture");
        return file;
    }

    PictureOutcome make(const TestPicture& picture, milliseconds time = PictureProcess::PATIENCE)
    {
        return makeWith(m_process, {fileOf(picture.bytes), 1}, time);
    }

    /// A picture and the person who brought it.
    struct Brought {
        UniqueFd file;
        std::int64_t whose = 0;
    };

    PictureOutcome makeWith(PictureProcess& process, const Brought& picture, milliseconds time = PictureProcess::PATIENCE)
    {
        m_outputs.clear();
        std::vector<int> outputs;
        for (std::size_t i = 0; i < BOXES.boxes.size(); ++i) {
            m_outputs.push_back(fileOf({}));
            outputs.push_back(m_outputs.back().get());
        }
        return process.run(BOXES, {picture.file.get(), picture.whose}, outputs, {std::int64_t{1} << 28, time, m_giveUp});
    }

    static std::string bytesOf(const UniqueFd& file)
    {
        std::string bytes(static_cast<std::size_t>(sizeOf(file.get(), "picture")), '\0');
        EXPECT_EQ(::pread(file.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        return bytes;
    }

    Seen thumbnail(std::size_t size) const { return lookAt(bytesOf(m_outputs.at(size))).value_or(Seen()); }

    std::function<bool()> m_giveUp;
    PictureProcess m_process{PICTURE_PROGRAM};
    std::vector<UniqueFd> m_outputs;
};

TEST_F(PictureProcesses, MakeThumbnailsOfEveryFormat)
{
    const pid_t pid = m_process.pid();
    for (const char* suffix : {".jpg", ".png", ".webp", ".gif", ".heic"}) {
        ASSERT_EQ(make(makePicture(640, 480, suffix, 1)), PictureOutcome::DONE) << suffix;
        const Seen seen = thumbnail(1);
        EXPECT_EQ(seen.width, 540);
        EXPECT_EQ(seen.upperLeft, "red") << suffix;
    }
    EXPECT_EQ(m_process.pid(), pid) << "one process for all of them";
}

TEST_F(PictureProcesses, MakeThumbnailsOfLargePhotographs)
{
    // 24 and 100 million pixels.
    for (const auto& [width, height] : {std::pair{6000, 4000}, std::pair{12'000, 8'400}})
        EXPECT_EQ(make(makePicture(width, height)), PictureOutcome::DONE) << width;
}

TEST_F(PictureProcesses, TurnAndCutLikeALibraryWould)
{
    ASSERT_EQ(make(makePicture(800, 400, ".jpg", 6)), PictureOutcome::DONE);
    EXPECT_EQ(thumbnail(0).width, 400);
    EXPECT_EQ(thumbnail(0).height, 800);
}

TEST_F(PictureProcesses, SayWhatCannotBeDecodedAndAreReplaced)
{
    const pid_t pid = m_process.pid();
    EXPECT_EQ(make(cutPicture()), PictureOutcome::UNDECODABLE);
    EXPECT_NE(m_process.pid(), pid);
    EXPECT_EQ(make(smallPicture()), PictureOutcome::DONE);
}

TEST_F(PictureProcesses, HaveBoundedMemory)
{
    if (SANITIZED)
        GTEST_SKIP() << "a sanitizer needs more";
    const PictureOutcome outcome = make(lacedPicture());
    EXPECT_TRUE(outcome == PictureOutcome::UNDECODABLE || outcome == PictureOutcome::DIED) << static_cast<int>(outcome);
    EXPECT_EQ(make(smallPicture()), PictureOutcome::DONE);
}

TEST_F(PictureProcesses, HaveBoundedTime)
{
    EXPECT_EQ(make(narrowPicture(), milliseconds(300)), PictureOutcome::OVERTIME);
    EXPECT_EQ(make(wordyPicture(), milliseconds(300)), PictureOutcome::OVERTIME);
    EXPECT_EQ(make(smallPicture()), PictureOutcome::DONE);
}

TEST_F(PictureProcesses, AreGivenUpWhenThatIsAskedFor)
{
    ASSERT_EQ(make(smallPicture()), PictureOutcome::DONE);
    m_giveUp = [] { return true; };
    EXPECT_EQ(make(narrowPicture()), PictureOutcome::GIVEN_UP);
}

TEST_F(PictureProcesses, ThatDieCostOnePictureAndAreReplaced)
{
    ASSERT_EQ(make(smallPicture()), PictureOutcome::DONE);
    const pid_t pid = m_process.pid();
    // Killed while it works: the question comes when a picture is under way.
    m_giveUp = [pid] {
        ::kill(pid, SIGKILL);
        return false;
    };
    EXPECT_EQ(make(narrowPicture()), PictureOutcome::DIED);
    m_giveUp = nullptr;
    EXPECT_EQ(make(smallPicture()), PictureOutcome::DONE);
}

TEST_F(PictureProcesses, DecodeThePicturesOfOnePersonEach)
{
    ASSERT_EQ(makeWith(m_process, {fileOf(smallPicture().bytes), 1}), PictureOutcome::DONE);
    const pid_t pid = m_process.pid();
    ASSERT_EQ(makeWith(m_process, {fileOf(smallPicture().bytes), 1}), PictureOutcome::DONE);
    EXPECT_EQ(m_process.pid(), pid);
    ASSERT_EQ(makeWith(m_process, {fileOf(smallPicture().bytes), 2}), PictureOutcome::DONE);
    EXPECT_NE(m_process.pid(), pid);
    EXPECT_EQ(thumbnail(0).width, lookAt(smallPicture().bytes)->width);
}

/// Picture processes that were taken over by a picture, whose bytes say what they do.
class Impostors : public PictureProcesses {
protected:
    PictureOutcome makeWithImpostor(const char* manner, milliseconds time = PictureProcess::PATIENCE)
    {
        return makeWith(m_impostor, {fileOf(manner), 1}, time);
    }

    PictureProcess m_impostor{PICTURE_IMPOSTOR};
};

TEST_F(Impostors, ThatAnswerAheadAreNotGivenTheNextPicture)
{
    ASSERT_EQ(makeWithImpostor("ahead"), PictureOutcome::DONE);
    const pid_t pid = m_impostor.pid();
    // It writes once more when it has given the answer to a picture that it has not seen.
    ASSERT_TRUE(test::comesTrue([&] { return sizeOf(m_outputs[0].get(), "picture") == 2; }));
    EXPECT_EQ(makeWithImpostor("ahead"), PictureOutcome::DONE);
    EXPECT_NE(m_impostor.pid(), pid);
    EXPECT_NE(sizeOf(m_outputs[0].get(), "picture"), 0);
}

TEST_F(Impostors, ThatHaveManyThreadsAreEnded)
{
    EXPECT_EQ(makeWithImpostor("threads", milliseconds(2000)), PictureOutcome::UNDECODABLE);
}

TEST_F(Impostors, ThatShareMuchMemoryAreEnded)
{
    if (SANITIZED)
        GTEST_SKIP() << "a sanitizer needs more";
    EXPECT_EQ(makeWithImpostor("memory", milliseconds(5000)), PictureOutcome::UNDECODABLE);
}

/// A variable of this process, for as long as it is in sight.
class Variable {
public:
    Variable(const char* name, const char* value) : m_name(name)
    {
        if (const char* const before = std::getenv(name))
            m_before = before;
        ::setenv(name, value, 1);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable()
    {
        if (m_before)
            ::setenv(m_name, m_before->c_str(), 1);
        else
            ::unsetenv(m_name);
    }

private:
    const char* m_name;
    std::optional<std::string> m_before;
};

TEST_F(Impostors, AreToldNothingOfTheEnvironmentThatDecodingDoesNotNeed)
{
    const Variable password("PGPASSWORD", "secret");
    const Variable key("AWS_SECRET_ACCESS_KEY", "secret");
    const Variable unknown("OF_SOMETHING_ELSE", "secret");
    const Variable alike("MY_TZ", "secret");
    const Variable zone("TZ", "Asia/Seoul");
    const Variable language("LC_ALL", "C.UTF-8");
    PictureProcess impostor(PICTURE_IMPOSTOR);
    ASSERT_EQ(makeWith(impostor, {fileOf("environment"), 1}), PictureOutcome::DONE);
    const std::string told = bytesOf(m_outputs[0]);
    EXPECT_EQ(told.find("secret"), std::string::npos) << told;
    EXPECT_NE(told.find("TZ=Asia/Seoul\n"), std::string::npos) << told;
    EXPECT_NE(told.find("LC_ALL=C.UTF-8\n"), std::string::npos) << told;
}

TEST_F(PictureProcesses, ThatCannotBeStartedAreNoFaultOfThePicture)
{
    PictureProcess none("/nonexistent");
    const UniqueFd output = fileOf({});
    EXPECT_EQ(none.run(SQUARE, {fileOf(smallPicture().bytes).get(), 1}, {output.get()}, {1000, PictureProcess::PATIENCE, {}}),
              PictureOutcome::FAILED);
}

TEST_F(PictureProcesses, AreNoneWhereNoProgramWasNamed)
{
    PictureProcess none; // a test program that started itself in place of one would run all tests again, in each of which it does
    EXPECT_EQ(none.pid(), -1);
    const UniqueFd output = fileOf({});
    EXPECT_EQ(none.run(SQUARE, {fileOf(smallPicture().bytes).get(), 1}, {output.get()}, {1000, PictureProcess::PATIENCE, {}}),
              PictureOutcome::FAILED);
}

TEST_F(PictureProcesses, TellWhenNothingCanBeWritten)
{
    const UniqueFd full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(
        m_process.run(SQUARE, {fileOf(smallPicture().bytes).get(), 1}, {full.get()}, {1'000'000, PictureProcess::PATIENCE, {}}),
        PictureOutcome::FAILED);
}

void map(int flags) { ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, flags, -1, 0); }

/// What a process that was taken over by its picture might try.
struct Attempt {
    const char* name;
    void (*run)();
};

class Confined : public ::testing::TestWithParam<Attempt> {};

TEST_P(Confined, ProcessesEndWhenTheyTryMoreThanTheyMay)
{
    if (SANITIZED)
        GTEST_SKIP() << "a sanitizer needs more calls";
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            confine();
            GetParam().run();
            ::_exit(0);
        },
        ::testing::KilledBySignal(SIGSYS), "");
}

INSTANTIATE_TEST_SUITE_P(
    Attempts, Confined,
    ::testing::Values(
        Attempt{"a connection", [] { ::socket(AF_INET, SOCK_STREAM, 0); }},
        Attempt{"a program", [] { ::execl("/bin/true", "true", nullptr); }}, Attempt{"a process", [] { ::fork(); }},
        Attempt{"code", [] { ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0); }},
        Attempt{"a signal", [] { ::kill(::getpid(), 0); }}, Attempt{"a name", [] { ::unlink("/tmp/nothing"); }},
        Attempt{"the owner of a descriptor, who gets its signals", [] { ::fcntl(STDIN_FILENO, F_SETOWN, ::getpid()); }},
        Attempt{"the signal of a descriptor", [] { ::fcntl(STDIN_FILENO, F_SETSIG, SIGKILL); }},
        Attempt{"signals from a descriptor", [] { ::fcntl(STDIN_FILENO, F_SETFL, O_ASYNC); }},
        Attempt{"memory that is shared", [] { map(MAP_SHARED | MAP_ANONYMOUS); }},
        Attempt{"memory that grows", [] { map(MAP_PRIVATE | MAP_ANONYMOUS | MAP_GROWSDOWN); }}),
    [](const auto& attempt) { return "N" + std::to_string(attempt.index); });

TEST(Confinement, LetsNoFileBeOpened)
{
    if (SANITIZED)
        GTEST_SKIP() << "a sanitizer needs more calls";
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            confine();
            ::_exit(::open("/etc/passwd", O_RDONLY) < 0 && errno == EACCES ? 7 : 0);
        },
        ::testing::ExitedWithCode(7), "");
}

long slowDown(pid_t process)
{
    // The structure's size and the policy; zeros behind them.
    const std::array<std::uint32_t, 12> idle = {sizeof idle, SCHED_IDLE};
    return ::syscall(SYS_sched_setattr, process, idle.data(), 0);
}

TEST(Confinement, LetsNoOtherProcessBeSlowedDown)
{
    if (SANITIZED)
        GTEST_SKIP() << "a sanitizer needs more calls";
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const pid_t other = ::getppid();
            confine();
            ::_exit(slowDown(other) != 0 && errno == EPERM ? 7 : 0);
        },
        ::testing::ExitedWithCode(7), "");
}

} // namespace
