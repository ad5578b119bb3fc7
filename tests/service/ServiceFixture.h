// SPDX-License-Identifier: MIT
/// \file A running service with three people, for tests over the wire.
#ifndef TESTS_SERVICE_SERVICEFIXTURE_H
#define TESTS_SERVICE_SERVICEFIXTURE_H

#include "ServiceClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kinloomd_test {

/// Each test has a service of its own. Anna, Ben and Carla have a device each.
class ServiceFixture : public ::testing::Test {
protected:
    /// Options beyond the folder and the port; set them before \c start.
    KinloomdProcess::Settings m_settings;

    void start() { m_process = std::make_unique<KinloomdProcess>(m_data, m_settings); }
    void startWith(std::vector<std::string> arguments)
    {
        m_settings.arguments = std::move(arguments);
        start();
    }
    void restart()
    {
        if (m_process)
            m_process->stop();
        start();
    }

    unsigned short port() const { return m_process->port(); }
    ServiceClient anna() { return {port(), m_anna}; }
    ServiceClient ben() { return {port(), m_ben}; }
    ServiceClient carla() { return {port(), m_carla}; }

    /// Runs a command on the service's folder.
    CommandResult command(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.end(), {"--data", m_data});
        return runKinloomd(arguments);
    }
    void addMember(const std::string& group, const std::string& person)
    {
        const CommandResult result = command({"member", "add", group, person});
        ASSERT_EQ(result.exitCode, 0) << result.err;
    }
    /// Stops the service and compares its records with its files.
    void expectConsistent()
    {
        m_process.reset();
        const CommandResult result = command({"check"});
        EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    }

    TemporaryFolder m_folder;
    std::string m_data = m_folder / "data";
    DeviceCredentials m_anna = addDevice(m_data, "Anna");
    DeviceCredentials m_ben = addDevice(m_data, "Ben");
    DeviceCredentials m_carla = addDevice(m_data, "Carla");
    std::unique_ptr<KinloomdProcess> m_process;
};

} // namespace kinloomd_test

#endif
