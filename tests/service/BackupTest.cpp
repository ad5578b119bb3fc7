// SPDX-License-Identifier: MIT
#include "HostilePictures.h"
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace kinloomd_test;

class Backup : public ServiceFixture {
protected:
    void SetUp() override
    {
        SKIP_ON_POSTGRESQL("it has means of its own");
        start();
        m_group = anna().createGroup("Family");
    }

    CommandResult backup() { return command({"backup", "--to", m_backup}); }
    static CommandResult check(const std::string& folder) { return runKinloomd({"check", "--data", folder}); }
    CommandResult restore(const std::string& to) { return runKinloomd({"restore", "--from", m_backup, "--data", to}); }
    std::string photo() { return anna().uploadPhoto(m_group, anotherPicture()); }
    /// Waits until the thumbnails are there, so that nothing is left to be done.
    void settle(const std::string& id)
    {
        const HttpReply view = anna().get(ServiceClient::path(id + "/view"));
        EXPECT_EQ(request(port(), "GET", targetOf(field(view, "contentThumbnail_116X87"))).status, 200);
    }
    void expectWhole(const std::string& folder)
    {
        const CommandResult result = check(folder);
        EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    }
    static std::string contentsIn(const std::string& folder)
    {
        const std::string out = check(folder).out;
        const auto begin = out.find("contents ");
        return out.substr(begin, out.find(',', begin) - begin);
    }
    static std::vector<fs::path> mediaIn(const std::string& folder)
    {
        std::vector<fs::path> files;
        for (const auto& entry : fs::recursive_directory_iterator(folder + "/media")) {
            if (entry.is_regular_file())
                files.push_back(entry.path());
        }
        return files;
    }

    /// Kills the program some microseconds after a file of its has appeared, unless it has come to its end before.
    static void killSometime(KinloomdRun& run, const std::string& file, unsigned long micros)
    {
        while (!fs::exists(file) && !run.hasEnded())
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(micros));
        run.kill();
    }

    std::string m_group;
    std::string m_backup = m_folder / "backup";
    std::string m_restored = m_folder / "restored";
};

TEST_F(Backup, TakesNoOtherServicesPlace)
{
    photo();
    ASSERT_EQ(backup().exitCode, 0);
    const std::string other = m_folder / "other";
    ASSERT_EQ(runKinloomd({"person", "add", "Carla", "--data", other}).exitCode, 0);
    const CommandResult result = runKinloomd({"backup", "--data", other, "--to", m_backup});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find("another service"), std::string::npos) << result.err;
    EXPECT_EQ(mediaIn(m_backup).size(), 1U);
    expectWhole(m_backup);
    ASSERT_EQ(restore(m_restored).exitCode, 0);
    EXPECT_EQ(runKinloomd({"backup", "--data", m_restored, "--to", m_backup}).exitCode, 0) << "a restored service is the same one";
}

TEST_F(Backup, ThatLacksAFileSaysSoWhenItIsRestored)
{
    photo();
    ASSERT_EQ(backup().exitCode, 0);
    fs::remove(mediaIn(m_backup).at(0));
    const CommandResult result = restore(m_restored);
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_NE(result.err.find("has no file"), std::string::npos) << result.err;
}

TEST_F(Backup, HoldsAllThatARunningServiceHolds)
{
    const std::string id = photo();
    anna().commentId(id, "text");
    std::ofstream(m_folder / "face.jpg", std::ios::binary) << smallPicture().bytes;
    ASSERT_EQ(command({"person", "image", "Anna", m_folder / "face.jpg"}).exitCode, 0);
    const CommandResult result = backup();
    ASSERT_EQ(result.exitCode, 0) << result.err;
    expectWhole(m_backup);
    ASSERT_EQ(restore(m_restored).exitCode, 0);
    expectWhole(m_restored);
    const HttpReply before = anna().get(ServiceClient::path(id + "/view"));
    const std::string bytes = request(port(), "GET", targetOf(field(before, "contentUrl"))).body;
    EXPECT_NE(bytes, "");
    m_process.reset();
    m_data = m_restored;
    start();
    const HttpReply after = anna().get(ServiceClient::path(id + "/view"));
    EXPECT_EQ(after.body, before.body) << "addresses of media too";
    EXPECT_EQ(request(port(), "GET", targetOf(field(after, "contentUrl"))).body, bytes);
    for (const char* url : {"contentThumbnail_540X405", "userImageThumbnail_72X72"})
        EXPECT_EQ(request(port(), "GET", targetOf(field(after, url))).status, 200) << url;
    expectConsistent();
}

TEST_F(Backup, BringsOnlyWhatIsNewAndForgetsWhatIsGone)
{
    const std::string first = photo();
    const std::string second = photo();
    ASSERT_EQ(backup().exitCode, 0);
    const std::vector<fs::path> before = mediaIn(m_backup);
    EXPECT_EQ(before.size(), 2U);
    photo();
    anna().post(ServiceClient::path(first + "/delete"), "");
    ASSERT_EQ(command({"trash", "empty", "--yes"}).exitCode, 0);
    const CommandResult result = backup();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.out.find("new: 1 linked, 0 copied"), std::string::npos) << result.out;
    EXPECT_EQ(mediaIn(m_backup).size(), 2U);
    EXPECT_EQ(contentsIn(m_backup), "contents 2");
    expectWhole(m_backup);
    EXPECT_NE(backup().out.find("new: 0 linked, 0 copied"), std::string::npos);
}

TEST_F(Backup, HoldsWhatIsInTheTrash)
{
    const std::string id = photo();
    photo();
    addMember(m_group, "Ben");
    std::ofstream(m_folder / "face.jpg", std::ios::binary) << smallPicture().bytes;
    ASSERT_EQ(command({"person", "image", "Ben", m_folder / "face.jpg"}).exitCode, 0);
    const std::string bytes =
        request(port(), "GET", targetOf(field(anna().get(ServiceClient::path(id + "/view")), "contentUrl"))).body;
    ASSERT_EQ(anna().post(ServiceClient::path(id + "/delete"), "").status, 200);
    ASSERT_EQ(command({"person", "remove", "Ben", "--yes"}).exitCode, 0);
    ASSERT_EQ(backup().exitCode, 0);
    EXPECT_EQ(mediaIn(m_backup).size(), 2U);
    expectWhole(m_backup);
    ASSERT_EQ(backup().exitCode, 0);
    EXPECT_EQ(mediaIn(m_backup).size(), 2U) << "the next one does not remove it either";
    ASSERT_EQ(restore(m_restored).exitCode, 0);
    m_process.reset();
    m_data = m_restored;
    for (const std::string& entry : {std::string("1"), std::string("2")})
        ASSERT_EQ(command({"trash", "restore", entry}).exitCode, 0) << entry;
    start();
    const HttpReply view = anna().get(ServiceClient::path(id + "/view"));
    EXPECT_EQ(request(port(), "GET", targetOf(field(view, "contentUrl"))).body, bytes);
    EXPECT_EQ(request(port(), "GET", targetOf(field(view, "contentThumbnail_540X405"))).status, 200);
    const HttpReply members = anna().get(ServiceClient::path("me/group.list?option_include=member"));
    const auto faces = Xml(members.body).texts("//userImageThumbnail_72X72[. != '']");
    ASSERT_EQ(faces.size(), 1U) << members.body;
    EXPECT_EQ(request(port(), "GET", targetOf(faces.at(0))).status, 200);
    expectConsistent();
}

TEST_F(Backup, TellsOfPicturesOfPeopleThatTheServiceLacks)
{
    std::ofstream(m_folder / "face.jpg", std::ios::binary) << smallPicture().bytes;
    ASSERT_EQ(command({"person", "image", "Ben", m_folder / "face.jpg"}).exitCode, 0);
    ASSERT_EQ(command({"person", "remove", "Ben", "--yes"}).exitCode, 0);
    fs::remove_all(m_data + "/people");
    fs::create_directory(m_data + "/people");
    EXPECT_EQ(backup().exitCode, 3);
    for (const std::string& folder : {m_data, m_backup}) {
        const CommandResult result = check(folder);
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_NE(result.out.find("the picture of person 2 has no file"), std::string::npos) << result.out;
    }
}

TEST_F(Backup, SharesFilesOnOneFileSystemAndCopiesThemElsewhere)
{
    photo();
    ASSERT_EQ(backup().exitCode, 0);
    EXPECT_EQ(fs::hard_link_count(mediaIn(m_backup).at(0)), 2U);
    // The tests' folder lies in memory where it can; this is another file system then.
    const fs::path elsewhere = fs::path("/var/tmp") / ("kinloomd-backup-" + std::to_string(::getpid()));
    const CommandResult result = command({"backup", "--to", elsewhere.string()});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    expectWhole(elsewhere.string());
    const bool sameSystem = fs::hard_link_count(mediaIn(elsewhere.string()).at(0)) > 1;
    EXPECT_NE(result.out.find(sameSystem ? "new: 1 linked, 0 copied" : "new: 0 linked, 1 copied"), std::string::npos) << result.out;
    const CommandResult restored = runKinloomd({"restore", "--from", elsewhere.string(), "--data", m_restored});
    EXPECT_EQ(restored.exitCode, 0) << restored.err;
    expectWhole(m_restored);
    fs::remove_all(elsewhere);
}

TEST_F(Backup, IsConsistentWhileContentsComeAndGo)
{
    std::atomic<bool> ended{false};
    std::vector<std::thread> people;
    people.reserve(2);
    for (int i = 0; i < 2; ++i) {
        people.emplace_back([&] {
            std::vector<std::string> mine;
            while (!ended) {
                mine.push_back(photo());
                if (mine.size() > 3) {
                    anna().post(ServiceClient::path(mine.front() + "/delete"), "");
                    mine.erase(mine.begin());
                }
            }
        });
    }
    // What is deleted loses its file when the trash is emptied.
    people.emplace_back([&] {
        while (!ended)
            EXPECT_EQ(command({"trash", "empty", "--yes"}).exitCode, 0);
    });
    for (int round = 0; round < 8; ++round) {
        const CommandResult result = backup();
        EXPECT_EQ(result.exitCode, 0) << result.err;
        expectWhole(m_backup);
    }
    ended = true;
    for (std::thread& person : people)
        person.join();
}

TEST_F(Backup, KilledAtAnyMomentLeavesTheOneBeforeOrTheNewOne)
{
    std::mt19937 random(20100505);
    ASSERT_EQ(backup().exitCode, 0);
    const std::string file = m_folder / "small.jpg";
    std::ofstream(file, std::ios::binary) << smallPicture().bytes;
    int halves = 0;
    for (int round = 0; round < 12; ++round) {
        ASSERT_EQ(command({"content", "add", "--group", "Family", "--person", "Anna", "--copies", "40", file}).exitCode, 0);
        KinloomdRun run({"backup", "--data", m_data, "--to", m_backup});
        // At once in every other round.
        killSometime(run, m_backup + "/kinloomd.db.new", round % 2 * (random() % 8'000));
        halves += fs::exists(m_backup + "/kinloomd.db.new") ? 1 : 0;
        expectWhole(m_backup);
        fs::remove_all(m_restored);
        ASSERT_EQ(restore(m_restored).exitCode, 0);
        expectWhole(m_restored);
    }
    EXPECT_GT(halves, 0);
    ASSERT_EQ(backup().exitCode, 0);
    EXPECT_EQ(contentsIn(m_backup), "contents 480");
    EXPECT_EQ(mediaIn(m_backup).size(), 480U);
}

TEST_F(Backup, RestoredHalfIsNoServicesFolderAndCanBeBegunAnew)
{
    std::mt19937 random(20100505);
    const std::string file = m_folder / "small.jpg";
    std::ofstream(file, std::ios::binary) << smallPicture().bytes;
    ASSERT_EQ(command({"content", "add", "--group", "Family", "--person", "Anna", "--copies", "400", file}).exitCode, 0);
    ASSERT_EQ(backup().exitCode, 0);
    int halves = 0;
    for (int round = 0; round < 12; ++round) {
        fs::remove_all(m_restored);
        KinloomdRun run({"restore", "--from", m_backup, "--data", m_restored});
        // At once in every other round.
        killSometime(run, m_restored + "/restore.lock", round % 2 * (random() % 8'000));
        if (fs::exists(m_restored + "/restore.lock")) {
            ++halves;
            for (const char* word : {"serve", "check"}) {
                const CommandResult refused = runKinloomd({word, "--data", m_restored});
                EXPECT_EQ(refused.exitCode, 1) << word << refused.out;
                EXPECT_NE(refused.err.find("kinloomd restore"), std::string::npos) << refused.err;
            }
            const CommandResult again = restore(m_restored);
            EXPECT_EQ(again.exitCode, 0) << again.err;
        }
        expectWhole(m_restored);
        EXPECT_EQ(contentsIn(m_restored), "contents 400");
    }
    EXPECT_GT(halves, 0);
}

TEST_F(Backup, GoesNowhereElse)
{
    photo();
    for (const std::string& target : {m_data, m_data + "/backup", m_folder.path()}) {
        const CommandResult result = command({"backup", "--to", target});
        EXPECT_EQ(result.exitCode, 1) << target;
        EXPECT_NE(result.err.find(target), std::string::npos) << result.err;
    }
    EXPECT_EQ(restore(m_restored).exitCode, 1) << "there is no backup yet";
    ASSERT_EQ(backup().exitCode, 0);
    EXPECT_EQ(restore(m_data).exitCode, 1) << "the folder of a service";
    EXPECT_EQ(restore(m_folder.path()).exitCode, 1) << "a folder that is not empty";
    for (const char* word : {"serve", "person"}) {
        std::vector<std::string> arguments = {word, "--data", m_backup};
        if (arguments[0] == "person")
            arguments.insert(arguments.begin() + 1, "list");
        const CommandResult result = runKinloomd(arguments);
        EXPECT_EQ(result.exitCode, 1) << word;
        EXPECT_NE(result.err.find("is a backup"), std::string::npos) << result.err;
    }
    expectWhole(m_backup);
}

TEST_F(Backup, TellsOfWhatCannotBeDecoded)
{
    settle(photo());
    const std::string broken = anna().uploadPhoto(m_group, cutPicture());
    ASSERT_EQ(backup().exitCode, 0);
    ASSERT_EQ(restore(m_restored).exitCode, 0);
    for (const std::string& folder : {m_backup, m_restored}) {
        const CommandResult result = check(folder);
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_NE(result.out.find("content " + broken + " cannot be decoded"), std::string::npos) << result.out;
        EXPECT_NE(result.out.find("1 problems"), std::string::npos) << result.out;
    }
}

TEST_F(Backup, TellsOfFilesThatTheServiceLacks)
{
    const std::string id = photo();
    settle(id);
    photo();
    fs::remove(mediaIn(m_data).at(0));
    const CommandResult result = backup();
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_NE(result.err.find("has no file"), std::string::npos) << result.err;
    EXPECT_EQ(mediaIn(m_backup).size(), 1U);
}

} // namespace
