// SPDX-License-Identifier: MIT
/// \file A person at the keyboard, with a service behind.
#ifndef TESTS_CLI_CLIFIXTURE_H
#define TESTS_CLI_CLIFIXTURE_H

#include "KinloomdProcess.h"
#include "Program.h"
#include "support/RawServer.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace test {

using Json = nlohmann::ordered_json;
using Arguments = std::vector<std::string>;

/// Someone with a device, and a home of his or her own.
class User {
public:
    /// Configured for the service when there is an address, else not at all.
    User(const std::string& dataFolder, const std::string& name, const std::string& serviceUrl);
    explicit User(const std::string& serviceUrl = "");

    /// Runs kinloom to its end.
    ProgramResult run(const Arguments& arguments, const std::string& input = "") const;
    /// The same, and expects that it goes well.
    std::string ok(const Arguments& arguments, const std::string& input = "") const;
    /// The same with --json.
    Json json(const Arguments& arguments) const;
    /// Starts kinloom in a terminal.
    Program::Settings inTerminal(const Arguments& arguments) const;
    /// Starts kinloom between pipes.
    Program::Settings between(const Arguments& arguments) const;

    /// Creates a group. \return its identifier.
    std::string createGroup(const std::string& name) const;
    /// Uploads a file. \return the content's identifier.
    std::string upload(const std::string& group, const std::string& file) const;
    /// The address of a content's original.
    std::string urlOf(const std::string& content) const;

    const TempDir& home() const { return m_home; }
    const std::string& token() const { return m_token; }
    const std::string& appId() const { return m_appId; }
    /// Sets a variable of the environment that the programs get.
    void setVariable(const std::string& name, const std::string& value) { m_environment[name] = value; }

private:
    TempDir m_home;
    std::map<std::string, std::string> m_environment;
    std::string m_token;
    std::string m_appId;
};

/// A service on a free port, a person with a device, and a folder for files.
class CliTest : public testing::Test {
protected:
    CliTest();

    /// Sets faults, a line each, such as "media:stall-after=1000*1".
    void setFault(const std::string& line) const;
    /// How often an operation was asked for.
    std::uint64_t hits(const std::string& operation) const;
    /// Waits until it was asked for so often. \return false when it was not in time.
    bool reaches(const std::string& operation, std::uint64_t count) const;

    kinloomd_test::TemporaryFolder data;
    kinloomd_test::KinloomdProcess service;
    User ada;
    TempDir files;
};

/// A section of the configuration for a service that takes every device.
inline constexpr const char* ANY_DEVICE = "[provider.Kinloom]\napp_id = \"app\"\nAuthToken = \"token\"\nduid = \"duid\"\n";

/// A content in a feed, as far as a transfer needs it.
std::string contentDocument(const std::string& id, const std::string& size, const std::string& url);
/// Has a server of the test's own take the place of a service whose groups hold these contents. What it is asked for below
/// "/media/endless.jpg" has no end; all other media are the same.
void pretendService(RawServer& server, const std::string& contents, const std::string& media);

/// Makes a photograph. \return its path.
std::string makePhoto(const std::string& path, const Arguments& options = {});

/// Lines of a text.
std::vector<std::string> linesOf(const std::string& text);
/// Cells of a line.
std::vector<std::string> cellsOf(const std::string& line);

} // namespace test

#endif
