// SPDX-License-Identifier: MIT
// What the fuzzers found worth keeping, once more, as ordinary tests.
#include "Targets.h"
#include "support/CaptureStdout.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class FuzzReplay : public testing::TestWithParam<fuzz::Target> {};

std::string contentOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

TEST_P(FuzzReplay, KeepsItsPromisesForEveryInput)
{
    const fs::path folder = fs::path(FUZZ_DIR) / "corpus" / GetParam().name;
    ASSERT_TRUE(fs::is_directory(folder)) << folder;
    std::size_t inputs = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        std::string broken;
        {
            const test::CaptureStdout reports;
            try {
                GetParam().routine(contentOf(entry.path()));
            } catch (const std::exception& promise) {
                broken = promise.what();
            }
        }
        EXPECT_EQ(broken, "") << entry.path();
        ++inputs;
    }
    EXPECT_GT(inputs, 0u);
}

TEST_P(FuzzReplay, KeepsItsPromisesForNothingAtAll)
{
    const test::CaptureStdout reports;
    EXPECT_NO_THROW(GetParam().routine({}));
}

TEST_P(FuzzReplay, HasADictionary) { EXPECT_TRUE(fs::exists(fs::path(FUZZ_DIR) / "dictionaries" / GetParam().dictionary)); }

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(fuzz::TARGETS),
                         [](const testing::TestParamInfo<fuzz::Target>& target) { return std::string(target.param.name); });
