// SPDX-License-Identifier: MIT
/// \file The store of objects that a run of tests has begun.
#ifndef SUPPORT_TESTSTORE_H
#define SUPPORT_TESTSTORE_H

#include <string>

namespace test {

/// Where it is and who may use it.
struct TestStore {
    std::string endpoint;
    std::string region;
    std::string accessKey;
    std::string secretKey;

    /// Puts the keys into the environment of this process and of those that it starts.
    void lendKeys() const;

    /// The store whose file the environment names in KINLOOM_TEST_STORE. Throws std::runtime_error when there is none.
    static TestStore ofEnvironment();
    /// A name that no bucket has yet.
    static std::string newBucket();
};

} // namespace test

#endif
