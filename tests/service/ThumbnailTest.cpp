// SPDX-License-Identifier: MIT
#include "HostilePictures.h"
#include "ServiceFixture.h"
#include "TestPictures.h"

#include "pictures/Confinement.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace {

using namespace kinloomd_test;

class Thumbnails : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
        addMember(m_group, "Ben");
    }

    HttpReply get(const std::string& url) { return request(port(), "GET", targetOf(url)); }
    /// As a client does that comes again when it is told to.
    HttpReply getPatiently(const std::string& url)
    {
        HttpReply reply;
        do {
            reply = get(url);
            EXPECT_TRUE(reply.status != 503 || !reply.header("retry-after").empty());
        } while (reply.status == 503);
        return reply;
    }
    static std::string urlOf(const HttpReply& upload) { return field(upload, "contentThumbnail_540X405"); }
    std::string idOf(const HttpReply& upload) { return field(upload, "contentId"); }
    /// The processes that the service has started.
    std::vector<pid_t> processes() const
    {
        std::vector<pid_t> children;
        for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(m_process->pid()) + "/task")) {
            std::ifstream file(thread.path() / "children");
            for (pid_t pid = 0; file >> pid;)
                children.push_back(pid);
        }
        return children;
    }

    std::string m_group;
};

TEST_F(Thumbnails, AreLeftOutWhereTheProgramThatDecodesIsMissing)
{
    m_process->stop();
    const std::string alone = m_folder / "kinloomd";
    std::filesystem::copy_file(kinloomdProgram(), alone);
    m_settings.program = alone;
    m_settings.keepStandardError = true;
    start();
    const HttpReply reply = anna().upload(m_group, makePicture(640, 480));
    ASSERT_EQ(reply.status, 200);
    EXPECT_EQ(get(urlOf(reply)).status, 503);
    EXPECT_NE(m_process->standardError().find("kinloom-pictures, which decodes photos, is not where"), std::string::npos);
    // With it again they follow.
    m_process->stop();
    m_settings.program.clear();
    start();
    EXPECT_EQ(getPatiently(urlOf(reply)).status, 200);
}

TEST_F(Thumbnails, FollowTheUpload)
{
    const HttpReply reply = anna().upload(m_group, makePicture(640, 480));
    ASSERT_EQ(reply.status, 200);
    const HttpReply thumbnail = get(urlOf(reply));
    ASSERT_EQ(thumbnail.status, 200);
    EXPECT_EQ(lookAt(thumbnail.body)->width, 540);
    expectConsistent();
}

TEST_F(Thumbnails, OfWhatCameBackFromTheTrashAreThere)
{
    const HttpReply reply = anna().upload(m_group, makePicture(4000, 3000));
    ASSERT_EQ(reply.status, 200);
    // At once, so that they are still to be made.
    ASSERT_EQ(anna().post(ServiceClient::path(idOf(reply) + "/delete"), "").status, 200);
    EXPECT_EQ(get(urlOf(reply)).status, 404);
    ASSERT_EQ(command({"trash", "restore", "1"}).exitCode, 0);
    EXPECT_EQ(getPatiently(urlOf(reply)).status, 200);
    expectConsistent();
}

TEST_F(Thumbnails, OfWhatCannotBeDecodedAreNotThere)
{
    std::vector<std::string> ids;
    for (const char* suffix : {".jpg", ".png", ".webp", ".gif"}) {
        const TestPicture picture = cutPicture(suffix);
        const HttpReply reply = anna().upload(m_group, picture);
        ASSERT_EQ(reply.status, 200) << suffix << reply.body;
        EXPECT_EQ(Xml(reply.body).text("//width"), "640") << suffix;
        EXPECT_EQ(get(field(reply, "contentUrl")).body, picture.bytes) << "the file is kept as it came";
        EXPECT_EQ(getPatiently(urlOf(reply)).status, 404) << suffix;
        ids.push_back(idOf(reply));
    }
    const HttpReply good = anna().upload(m_group, smallPicture());
    EXPECT_EQ(get(urlOf(good)).status, 200);
    m_process.reset();
    const CommandResult check = command({"check"});
    EXPECT_EQ(check.exitCode, 3);
    for (const std::string& id : ids)
        EXPECT_NE(check.out.find("content " + id + " cannot be decoded"), std::string::npos) << check.out;
    EXPECT_NE(check.out.find("4 problems"), std::string::npos) << check.out;
}

TEST_F(Thumbnails, OfOnePersonsSlowPicturesDoNotKeepOthersWaiting)
{
    TestPicture slow = narrowPicture();
    for (int i = 0; i < 4; ++i) {
        slow.bytes += "x";
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(anna().upload(m_group, slow).status, 200);
        // One of them takes half a minute to be decoded, which nobody waits for.
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    }
    const HttpReply reply = ben().upload(m_group, makePicture(640, 480));
    ASSERT_EQ(reply.status, 200);
    EXPECT_EQ(getPatiently(urlOf(reply)).status, 200);
}

TEST_F(Thumbnails, OfHugePicturesInSmallFilesAreNotThere)
{
    const HttpReply reply = anna().upload(m_group, lacedPicture());
    ASSERT_EQ(reply.status, 200) << reply.body;
    EXPECT_EQ(field(reply, "width"), "10240");
    const HttpReply wordy = anna().upload(m_group, wordyPicture());
    ASSERT_EQ(wordy.status, 200) << wordy.body;
    EXPECT_EQ(field(wordy, "width"), "16");
    // Processes that a sanitizer watches have no bounds.
    EXPECT_EQ(getPatiently(urlOf(reply)).status, pictures::SANITIZED ? 200 : 404);
}

TEST_F(Thumbnails, ThatAServiceWasKilledOverAreMadeByTheNext)
{
    // Something slow first, so that the other still waits when the service is killed.
    ASSERT_EQ(anna().upload(m_group, narrowPicture()).status, 200);
    const HttpReply reply = anna().upload(m_group, makePicture(640, 480));
    ASSERT_EQ(reply.status, 200);
    m_process->kill();
    m_process.reset();
    start();
    EXPECT_EQ(getPatiently(urlOf(reply)).status, 200);
}

TEST_F(Thumbnails, AreMadeThoughProcessesAreKilled)
{
    for (int i = 0; i < 6; ++i) {
        for (const pid_t pid : processes())
            ::kill(pid, SIGKILL);
        const HttpReply reply = anna().upload(m_group, anotherPicture());
        ASSERT_EQ(reply.status, 200);
        EXPECT_EQ(getPatiently(urlOf(reply)).status, 200);
    }
    expectConsistent();
}

TEST_F(Thumbnails, ProcessesEndWithTheService)
{
    ASSERT_EQ(anna().upload(m_group, narrowPicture()).status, 200);
    const auto children = processes();
    EXPECT_FALSE(children.empty());
    m_process->kill();
    for (const pid_t pid : children) {
        while (::kill(pid, 0) == 0) {
            // Its end is under way: whoever takes over orphans buries it.
            std::ifstream status("/proc/" + std::to_string(pid) + "/stat");
            std::string line;
            std::getline(status, line);
            if (line.find(") Z") != std::string::npos || line.empty())
                break;
            std::this_thread::yield();
        }
    }
}

TEST_F(Thumbnails, OfTelephonesPicturesAreJpeg)
{
    const TestPicture picture = makePicture(640, 480, ".heic");
    const HttpReply reply = anna().upload(m_group, picture);
    ASSERT_EQ(reply.status, 200) << reply.body;
    EXPECT_EQ(field(reply, "format"), "heic");
    EXPECT_EQ(field(reply, "width"), "640");
    const HttpReply original = get(field(reply, "contentUrl"));
    EXPECT_EQ(original.body, picture.bytes);
    EXPECT_EQ(original.header("content-type"), "image/heic");
    const HttpReply thumbnail = get(urlOf(reply));
    ASSERT_EQ(thumbnail.status, 200);
    EXPECT_EQ(thumbnail.header("content-type"), "image/jpeg");
    EXPECT_EQ(lookAt(thumbnail.body)->upperLeft, "red");
    expectConsistent();
}

} // namespace
