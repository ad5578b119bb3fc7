// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <atomic>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <thread>

namespace {

using namespace kinloomd_test;

class Crash : public ServiceFixture {
protected:
    /// Uploads until the service is gone. Notes what was acknowledged.
    void uploadUntilGone(const std::string& group, std::atomic<int>& started)
    {
        try {
            for (;;) {
                ++started;
                const TestPicture picture = anotherPicture();
                const HttpReply reply = anna().upload(group, picture);
                if (reply.status != 200 || !reply.whole)
                    return;
                const std::lock_guard<std::mutex> lock(m_mutex);
                m_acknowledged.emplace(field(reply, "contentId"), picture.bytes);
            }
        } catch (const std::runtime_error&) {
            // The connection was refused.
        }
    }

    std::mutex m_mutex;
    std::map<std::string, std::string> m_acknowledged; ///< identifiers and bytes
};

TEST_F(Crash, AtAnyMomentLosesNoAcknowledgedUploadAndLeavesNoRecordWithoutFile)
{
    start();
    const std::string group = anna().createGroup("Family");
    std::mt19937 random(20100505);
    constexpr int ROUNDS = 6;
    for (int round = 0; round < ROUNDS; ++round) {
        std::atomic<int> started{0};
        std::vector<std::thread> uploaders;
        uploaders.reserve(3);
        for (int i = 0; i < 3; ++i)
            uploaders.emplace_back([&] { uploadUntilGone(group, started); });
        // Killed after some number of uploads, which differs each time.
        const int target = static_cast<int>(3 + random() % 20);
        while (started < target)
            std::this_thread::yield();
        m_process->kill();
        for (std::thread& uploader : uploaders)
            uploader.join();
        // At once: no record without its file.
        const CommandResult after = command({"check"});
        EXPECT_EQ(after.out.find("has no file"), std::string::npos) << after.out;
        EXPECT_EQ(after.out.find("of another size"), std::string::npos) << after.out;
        EXPECT_EQ(after.out.find("wrong"), std::string::npos) << after.out;
        m_process.reset();
        start();
        for (const auto& [id, bytes] : m_acknowledged) {
            const HttpReply view = anna().get(ServiceClient::path(id + "/view"));
            ASSERT_EQ(view.status, 200) << id;
            EXPECT_EQ(request(port(), "GET", targetOf(field(view, "contentUrl"))).body, bytes);
        }
    }
    EXPECT_GT(m_acknowledged.size(), 3U);
    // After a start: no file without record either.
    restart();
    expectConsistent();
}

TEST_F(Crash, LosesNoAcknowledgedCommentOrGroup)
{
    start();
    const std::string group = anna().createGroup("Family");
    const std::string photo = anna().uploadPhoto(group, smallPicture());
    const std::string comment = anna().commentId(photo, "text");
    m_process->kill();
    m_process.reset();
    start();
    EXPECT_EQ(anna().groupNames("").size(), 1U);
    EXPECT_EQ(anna().get(ServiceClient::path(comment + "/view")).status, 200);
    m_process->kill();
    m_process.reset();
    expectConsistent();
}

TEST_F(Crash, LeftoversAreSweptUpAtTheNextStart)
{
    start();
    const std::string group = anna().createGroup("Family");
    const std::string photo = anna().uploadPhoto(group, smallPicture());
    m_process.reset();
    std::ofstream(m_data + "/tmp/0123456789abcdef") << "half an upload";
    // A file that was moved to its place, and whose record never came.
    const std::string folder = [&] {
        char name[3];
        std::snprintf(name, sizeof name, "%02x", std::stoi(photo) % 256);
        return m_data + "/media/" + name;
    }();
    std::ofstream(folder + "/" + std::to_string(std::stoi(photo) + 256)) << "orphan";
    const CommandResult before = command({"check"});
    EXPECT_EQ(before.exitCode, 3);
    EXPECT_NE(before.out.find("file without record"), std::string::npos) << before.out;
    start();
    expectConsistent();
}

TEST_F(Crash, InTheMiddleOfALargeUploadLeavesNothing)
{
    start();
    const std::string group = anna().createGroup("Family");
    TestPicture picture = smallPicture();
    picture.bytes.resize(20'000'000, '\0');
    const std::string target = targetOf(field(anna().reserve(group, "type=photo&"), "uploadUrl"));
    Wire wire(port());
    const std::string bytes =
        requestBytes("POST", target, multipartBody(picture, "BB"),
                     {{"Authorization", authorizationOf(m_anna)}, {"Content-Type", "multipart/form-data; boundary=BB"}});
    ASSERT_TRUE(wire.send(std::string_view(bytes).substr(0, bytes.size() / 2)));
    m_process->kill();
    m_process.reset();
    start();
    EXPECT_EQ(Xml(anna().get(ServiceClient::path(group + "/feeds?&search_before=latest")).body).count("//content"), 0U);
    // The place that was reserved is still there for another try.
    EXPECT_EQ(
        anna().post(target, multipartBody(smallPicture(), "BB"), {{"Content-Type", "multipart/form-data; boundary=BB"}}).status,
        200);
    expectConsistent();
}

} // namespace
