// SPDX-License-Identifier: MIT
/// \file A store whose answers a test says.
#ifndef OBJECTS_TESTS_SCRIPTEDSTORE_H
#define OBJECTS_TESTS_SCRIPTEDSTORE_H

#include "objects/ObjectStore.h"
#include "support/RawServer.h"

#include <gtest/gtest.h>
#include <string>

namespace objects_test {

/// What nobody waits for long in a test.
inline objects::StoreLimits shortLimits()
{
    objects::StoreLimits limits;
    limits.retries.firstPause = std::chrono::milliseconds(1);
    limits.retries.longestPause = std::chrono::milliseconds(2);
    return limits;
}

/// An error as stores tell it.
inline std::string complaint(const std::string& code)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>" + code + "</Code><Message>No.</Message></Error>";
}

class ScriptedStore : public testing::Test {
protected:
    explicit ScriptedStore(const objects::StoreLimits& limits = shortLimits())
        : m_store({m_server.url(""), "eu-1", "photos"}, {"key", "secret", ""}, limits)
    {
    }

    test::RawServer m_server;
    objects::ObjectStore m_store;
};

} // namespace objects_test

#endif
