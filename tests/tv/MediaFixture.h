// SPDX-License-Identifier: MIT
/// \file Pictures of a television, and a service that says what a test wants.
#ifndef TESTS_TV_MEDIAFIXTURE_H
#define TESTS_TV_MEDIAFIXTURE_H

#include "TestPictures.h" // IWYU pragma: export

#include "support/RawServer.h"
#include "support/TempDir.h"
#include "support/Wait.h" // IWYU pragma: export

#include "tv/media/Pictures.h"

#include <condition_variable>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tv_test {

using namespace tv;

/// Addresses as a test wants them: for a content, "/CONTENT/grid" and so on of a server, unless told otherwise.
class TestSource : public PictureSource {
public:
    explicit TestSource(const test::RawServer& server) : m_server(&server) {}

    void find(const std::string& content, bool anew, Done done) override;

    /// From now on.
    void lead(const test::RawServer& server);
    void say(const std::string& content, Answer answer, PictureAddresses addresses = {});
    /// What is said once somebody asks anew.
    void sayAnew(const std::string& content, Answer answer, PictureAddresses addresses = {});
    /// Answers only when released.
    void hold();
    void release();
    unsigned asked(bool anew) const;

    PictureAddresses usual(const std::string& content) const;

private:
    struct Reply {
        Answer answer;
        PictureAddresses addresses;
    };
    mutable std::mutex m_mutex;
    const test::RawServer* m_server;
    std::map<std::string, Reply> m_replies;
    std::map<std::string, Reply> m_repliesAnew;
    bool m_holding = false;
    std::vector<std::function<void()>> m_held;
    unsigned m_asked = 0;
    unsigned m_askedAnew = 0;
};

/// Somebody who waits for a picture.
class Asker {
public:
    /// Asks at once.
    Asker(Pictures& pictures, const std::string& content, PictureSize size = PictureSize::GRID, PictureBox box = {});
    Asker(const Asker&) = delete;
    Asker& operator=(const Asker&) = delete;

    /// Waits for it. \return how it ended; nothing when it did not in time.
    std::optional<PictureResult> result();
    bool answered() const;
    /// How often it was answered.
    unsigned answers() const;
    std::string bytes();
    const Picture& picture();
    Pictures::Ticket ticket() const { return m_ticket; }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<Picture> picture;
        unsigned answers = 0;
    };
    std::shared_ptr<State> m_state = std::make_shared<State>();
    Pictures::Ticket m_ticket = 0;
};

std::string bytesOf(const Picture& picture);
/// Contents as pictures of a grid.
std::vector<WantedPicture> grids(const std::vector<std::string>& contents);

class MediaTest : public ::testing::Test {
protected:
    MediaTest();

    /// Ends the pictures, and begins with the same folder.
    void restart();
    PictureSettings settings() const;
    Pictures& pictures() { return *m_pictures; }
    /// Serves the body for all requests whose target ends with that.
    void serve(const std::string& end, const std::string& body);
    unsigned requestsFor(const std::string& end) const;

    test::TempDir m_dir;
    std::uint64_t m_limit = std::uint64_t{100} << 20;
    test::RawServer m_server;
    TestSource m_source{m_server};
    std::mutex m_mutex;
    std::map<std::string, std::string> m_bodies;
    std::unique_ptr<Pictures> m_pictures;
};

} // namespace tv_test

#endif
