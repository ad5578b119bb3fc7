// SPDX-License-Identifier: MIT
/// \file A service, a device, and lanes to it.
#ifndef TESTS_CLIENT_CLIENTFIXTURE_H
#define TESTS_CLIENT_CLIENTFIXTURE_H

#include "KinloomdProcess.h"
#include "kinloom/Client.h"
#include "support/TempDir.h"
#include "support/Wait.h" // IWYU pragma: export

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/types.h>

namespace test {

/// For main: misbehaving helpers, and a program that is to be killed with helpers of its own. Returns when none is asked for.
void playHelperIfAsked(int argc, char** argv);

/// Names the misbehaviour of the helpers that this process starts from now on; empty: none.
class HelperMisbehaves {
public:
    explicit HelperMisbehaves(const std::string& how);
    ~HelperMisbehaves();
    HelperMisbehaves(const HelperMisbehaves&) = delete;
    HelperMisbehaves& operator=(const HelperMisbehaves&) = delete;
};

/// Child processes of a process, dead ones that were not waited for included.
std::set<pid_t> childrenOf(pid_t parent);

/// A service on a free port with faults on demand, and a person with a device.
class ClientTest : public testing::Test {
protected:
    ClientTest();

    /// Sets faults, a line each, such as "media:stall-after=1000*1".
    void setFault(const std::string& line) const;
    /// How often an operation was asked for.
    std::uint64_t hits(const std::string& operation) const;
    bool reaches(const std::string& operation, std::uint64_t count) const;

    /// Settings of the person's device.
    kinloom::Settings settings() const;
    /// Makes a group and a content in it.
    std::string createGroup(kinloom::Lane& lane, const std::string& name) const;
    std::string uploadPhoto(kinloom::Lane& lane, const std::string& group) const;

    kinloomd_test::TemporaryFolder data;
    kinloomd_test::KinloomdProcess service;
    kinloomd_test::DeviceCredentials device;
    TempDir files;
};

/// A small picture. \return its path.
std::string makePicture(const std::string& path);

/// The kind of an outcome's failure; fails when there is none.
template <class Value> kinloom::FailureKind kindOf(const kinloom::Outcome<Value>& outcome)
{
    if (!outcome)
        return outcome.failure().kind;
    ADD_FAILURE() << "the call went well";
    return kinloom::FailureKind::FAILED;
}

} // namespace test

namespace kinloom {
// For messages of tests.
inline void PrintTo(FailureKind kind, std::ostream* out) { *out << nameOf(kind); }
} // namespace kinloom

#endif
