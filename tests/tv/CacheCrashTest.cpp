// SPDX-License-Identifier: MIT
// A program that is killed while it writes.
#include "CacheContents.h"

#include "support/TempDir.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace tv;
namespace fs = std::filesystem;

/// A program that writes until it is killed; a process of its own from the first instruction on, since this one has threads.
pid_t startWriter(const std::string& folder, int output)
{
    std::string program = CACHE_WRITER;
    std::string argument = folder;
    char* const arguments[] = {program.data(), argument.data(), nullptr};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, CACHE_WRITER, &actions, nullptr, arguments, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

TEST(CacheCrash, KilledAtAnyMomentItHoldsOnlyWholePictures)
{
    const test::TempDir dir;
    const std::string folder = dir.file("cache");
    std::mt19937 random(12);
    std::size_t found = 0;
    for (int round = 0; round < 40; ++round) {
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        const pid_t child = startWriter(folder, ends[1]);
        ::close(ends[1]);
        ASSERT_GE(child, 0);
        char letter = 0;
        ASSERT_EQ(::read(ends[0], &letter, 1), 1);
        ::close(ends[0]);
        // Any moment will do.
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 15'000));
        ASSERT_EQ(::kill(child, SIGKILL), 0);
        ASSERT_EQ(::waitpid(child, nullptr, 0), child);

        // Every file that has a name is whole: find() removes none of them.
        std::size_t files = 0;
        for (const auto& entry : fs::recursive_directory_iterator(folder + "/pictures"))
            files += entry.is_regular_file() ? 1 : 0;
        Cache cache(folder, 10 * CACHE_LIMIT); // lets nothing go
        std::size_t whole = 0;
        for (int content = 0; content < CACHE_CONTENTS; ++content) {
            const auto picture = cache.find(cacheNameOf(content));
            if (!picture)
                continue;
            ++whole;
            std::string bytes(static_cast<std::size_t>(picture->length), '\0');
            ASSERT_EQ(::pread(picture->file.get(), bytes.data(), bytes.size(), picture->offset), picture->length);
            EXPECT_EQ(bytes.size(), cacheBytesFor(content, 0).size());
            EXPECT_EQ(bytes.find_first_not_of(bytes[0]), std::string::npos);
        }
        EXPECT_EQ(whole, files);
        EXPECT_TRUE(cache.keep(cacheNameOf(0), "image/jpeg", cacheBytesFor(0, 0), [] { return true; }));
        found += whole;
    }
    EXPECT_GT(found, 0U);
}

} // namespace
