// SPDX-License-Identifier: MIT
// Helpers that die, misbehave, or cannot be started.
#include "ClientFixture.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves the declaration to the program

using namespace test;
using namespace kinloom;
using testing::HasSubstr;

namespace {

class HelperTest : public ClientTest {};

TEST_F(HelperTest, ThatCannotBeStartedIsAClearFailure)
{
    Settings broken = settings();
    broken.helperProgram = files.file("missing");
    Lane missing(broken, Lane::Place::HELPER);
    const auto outcome = missing.call(ListGroups());
    EXPECT_EQ(kindOf(outcome), FailureKind::LANE_NOT_STARTED);
    EXPECT_THAT(outcome.failure().text(), HasSubstr("missing"));

    broken.helperProgram = "/bin/false";
    Lane other(broken, Lane::Place::HELPER);
    EXPECT_EQ(kindOf(other.call(ListGroups())), FailureKind::LANE_NOT_STARTED);
}

TEST_F(HelperTest, ThatIsNoneIsAClearFailure)
{
    Lane lane(settings(), Lane::Place::HELPER);
    for (const char* how : {"garbage at once", "another version"}) {
        const HelperMisbehaves misbehaving(how);
        EXPECT_EQ(kindOf(lane.call(ListGroups())), FailureKind::LANE_NOT_STARTED) << how;
    }
    EXPECT_TRUE(lane.call(ListGroups()).ok()) << "the next call gets a good one";
}

TEST_F(HelperTest, ThatBreaksTheProtocolTakesItsCallAndNothingElse)
{
    Lane lane(settings(), Lane::Place::HELPER);
    for (const char* how :
         {"dies in the call", "garbage in the call", "endless message", "result of another call", "result of another kind"}) {
        const HelperMisbehaves misbehaving(how);
        const auto outcome = lane.call(ListGroups());
        EXPECT_EQ(kindOf(outcome), FailureKind::LANE_DIED) << how;
        EXPECT_EQ(outcome.failure().attempt, "cannot list the groups");
    }
    EXPECT_TRUE(lane.call(ListGroups()).ok());
}

TEST_F(HelperTest, ThatDiesBeforeTheCallBeginsIsTriedOnceMore)
{
    Lane lane(settings(), Lane::Place::HELPER);
    const HelperMisbehaves misbehaving("dies before the call begins");
    const auto outcome = lane.call(ListGroups());
    EXPECT_EQ(kindOf(outcome), FailureKind::LANE_DIED);
    EXPECT_THAT(outcome.failure().text(), HasSubstr("again and again"));
}

TEST_F(HelperTest, ThatDiesBetweenTwoCallsIsMadeAnewUnseen)
{
    const std::set<pid_t> before = childrenOf(getpid());
    Lane lane(settings(), Lane::Place::HELPER);
    ASSERT_TRUE(lane.call(ListGroups()).ok());
    for (const pid_t pid : childrenOf(getpid())) {
        if (before.count(pid) == 0) {
            ASSERT_EQ(kill(pid, SIGKILL), 0);
        }
    }
    EXPECT_TRUE(lane.call(ListGroups()).ok());
}

TEST_F(HelperTest, GetsCredentialsNeitherAsArgumentsNorInItsEnvironmentAndNoDescriptorOfItsProgram)
{
    writeFile(files.file("open"), "");
    const int leak = open(files.file("open").c_str(), O_RDONLY); // without O_CLOEXEC
    const std::set<pid_t> before = childrenOf(getpid());
    Lane lane(settings(), Lane::Place::HELPER);
    ASSERT_TRUE(lane.call(ListGroups()).ok());
    for (const pid_t pid : childrenOf(getpid())) {
        if (before.count(pid) != 0)
            continue;
        const std::string folder = "/proc/" + std::to_string(pid);
        EXPECT_FALSE(readFile(folder + "/cmdline").empty());
        EXPECT_EQ(readFile(folder + "/cmdline").find(device.token), std::string::npos);
        EXPECT_EQ(readFile(folder + "/environ").find(device.token), std::string::npos);
        for (const auto& entry : std::filesystem::directory_iterator(folder + "/fd")) {
            std::error_code gone;
            EXPECT_NE(std::filesystem::read_symlink(entry.path(), gone), files.file("open"));
        }
    }
    close(leak);
}

/// True when a process has ended, whether or not anybody has waited for it.
bool hasEnded(pid_t pid)
{
    const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    const std::size_t name = stat.rfind(')');
    return name == std::string::npos || stat.substr(name, 3) == ") Z";
}

TEST_F(HelperTest, VanishesWhenItsProgramIsKilled)
{
    std::filesystem::create_directories(files.file("kinloom"));
    writeFile(files.file("kinloom/host.toml"), device.section + "\n[client]\nconnect_to = [\"" + routeTo(service.url()) + "\"]\n");
    setFault("group.list:delay=60000");

    std::string home = "XDG_CONFIG_HOME=" + files.path();
    std::vector<char*> environment = {home.data()};
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (std::string(*variable).rfind("XDG_CONFIG_HOME=", 0) != 0)
            environment.push_back(*variable);
    environment.push_back(nullptr);
    std::string program = "/proc/self/exe";
    std::string argument = "--test-parent";
    char* const arguments[] = {program.data(), argument.data(), nullptr};
    pid_t parent = -1;
    ASSERT_EQ(posix_spawn(&parent, program.c_str(), nullptr, nullptr, arguments, environment.data()), 0);
    ASSERT_TRUE(reaches("group.list", 2));
    const std::set<pid_t> helpers = childrenOf(parent);
    EXPECT_EQ(helpers.size(), 2U);
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);
    for (const pid_t helper : helpers)
        EXPECT_TRUE(comesTrue([&] { return hasEnded(helper); }));
}

} // namespace
