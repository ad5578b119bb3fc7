// SPDX-License-Identifier: MIT
#include "support/TestStore.h"

#include "support/TempDir.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace test {

TestStore TestStore::ofEnvironment()
{
    const char* const path = std::getenv("KINLOOM_TEST_STORE");
    std::istringstream lines(path != nullptr ? readFile(path) : "");
    std::map<std::string, std::string> values;
    for (std::string line; std::getline(lines, line);)
        values[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    if (values["S3_ENDPOINT"].empty())
        throw std::runtime_error("there is no store: ctest --preset engines begins one");
    return {values["S3_ENDPOINT"], values["S3_REGION"], values["AWS_ACCESS_KEY_ID"], values["AWS_SECRET_ACCESS_KEY"]};
}

void TestStore::lendKeys() const
{
    ::setenv("AWS_ACCESS_KEY_ID", accessKey.c_str(), 1);
    ::setenv("AWS_SECRET_ACCESS_KEY", secretKey.c_str(), 1);
}

std::string TestStore::newBucket()
{
    static std::atomic<unsigned> count{0};
    const auto present = std::chrono::system_clock::now().time_since_epoch().count();
    return "test-" + std::to_string(::getpid()) + "-" + std::to_string(present) + "-" + std::to_string(++count);
}

} // namespace test
