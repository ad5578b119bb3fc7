// SPDX-License-Identifier: MIT
/// \file A real kinloomd process, for tests of the service and of its clients.
#ifndef TESTS_SERVICE_KINLOOMDPROCESS_H
#define TESTS_SERVICE_KINLOOMDPROCESS_H

#include "TestDatabase.h" // IWYU pragma: export

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kinloomd_test {

/// A folder of its own in memory, or under TMPDIR or the system's folder for temporary files; removed with all in it at the end of
/// its life.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// \return whether services are begun with their media in the store of objects that the environment names, since it says
/// KINLOOM_TEST_MEDIA=s3. Tests of files in the folder have nothing to look at then.
bool mediaAreInAStore();

/// What a command has left behind.
struct CommandResult {
    int exitCode = -1; ///< 128 plus the signal for a program that was killed
    std::string out;
    std::string err;
};

/// The program.
const std::string& kinloomdProgram();

/// A run of "kinloomd ARGUMENTS..." that may be ended at any moment.
class KinloomdRun {
public:
    explicit KinloomdRun(const std::vector<std::string>& arguments);
    KinloomdRun(const KinloomdRun&) = delete;
    KinloomdRun& operator=(const KinloomdRun&) = delete;
    ~KinloomdRun();

    pid_t pid() const { return m_pid; }
    /// \return whether the program has come to its end.
    bool hasEnded() const;
    /// SIGKILL, then waits.
    void kill();

private:
    TemporaryFolder m_folder;
    pid_t m_pid = -1;
};

/// Runs "kinloomd ARGUMENTS..." to its end. Throws std::runtime_error when it cannot be started.
CommandResult runKinloomd(const std::vector<std::string>& arguments);

/// What the host's configuration of a device holds.
struct DeviceCredentials {
    std::string appId;
    std::string token;
    std::string duid;
    std::string section; ///< as it was printed
};

/// Runs "kinloomd device add". Throws std::runtime_error when it fails.
DeviceCredentials addDevice(const std::string& dataFolder, const std::string& person);

/// "kinloomd serve" on a free loopback port. Ended at the end of its life.
class KinloomdProcess {
public:
    struct Settings {
        std::vector<std::string> arguments; ///< beyond --data and --listen
        bool keepStandardError = false;     ///< into \c standardError, in place of the test's own
        std::string listenAddress = "127.0.0.1:0";
        std::optional<unsigned long> fileSizeLimit; ///< the largest file that the process may write
        std::string program{};                      ///< in place of the one that was built
    };

    /// Returns when the service is ready. Throws std::runtime_error when it does not get there within half a minute.
    explicit KinloomdProcess(const std::string& dataFolder);
    KinloomdProcess(const std::string& dataFolder, const Settings& settings);
    KinloomdProcess(const KinloomdProcess&) = delete;
    KinloomdProcess& operator=(const KinloomdProcess&) = delete;
    ~KinloomdProcess();

    pid_t pid() const { return m_pid; }
    unsigned short port() const { return m_port; }
    /// "http://127.0.0.1:43211", or https
    const std::string& url() const { return m_url; }
    /// What the service has written on standard error so far, when that is kept.
    std::string standardError() const;

    /// SIGTERM, then waits. \return the exit code, 128 plus the signal for one that did not end by itself within ten seconds.
    int stop();
    /// SIGKILL, then waits.
    void kill();

private:
    void start(const std::string& dataFolder, const Settings& settings);
    void readReadyLine(int fd);
    int waitForEnd(std::chrono::milliseconds time);

    pid_t m_pid = -1;
    unsigned short m_port = 0;
    std::string m_url;
    std::optional<TemporaryFolder> m_errorFolder;
};

} // namespace kinloomd_test

#endif
