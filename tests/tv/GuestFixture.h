// SPDX-License-Identifier: MIT
/// \file A guests' page, telephones, and somebody who sends their photos.
#ifndef TESTS_TV_GUESTFIXTURE_H
#define TESTS_TV_GUESTFIXTURE_H

#include "TestPictures.h" // IWYU pragma: export

#include "support/HttpConnection.h"
#include "support/TempDir.h"
#include "support/Wait.h"

#include "tv/guests/Guests.h"

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tv_test {

using namespace tv;
using test::HttpConnection;
using test::HttpReply;

/// Sends nothing anywhere: keeps what it is given, and ends it as a test says.
class TestUploads : public GuestUploads {
public:
    struct Sent {
        GuestPhoto photo;
        std::string bytes; ///< of its file, when it was given
        Progress progress;
        Done done;
        bool cancelled = false;
    };

    void send(const GuestPhoto& photo, Progress progress, Done done) override
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_sent.push_back({photo, test::readFile(photo.path), progress, done});
        m_changed.notify_all();
        if (m_holding)
            return;
        m_sent.back().done = nullptr;
        lock.unlock();
        done(m_result);
    }
    void cancel(const std::string& id) override
    {
        Done done;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            for (Sent& sent : m_sent) {
                if (sent.photo.id != id)
                    continue;
                sent.cancelled = true;
                done = std::exchange(sent.done, nullptr);
            }
        }
        if (done)
            done(GuestResult::AWAY);
    }

    /// From now on photos wait for \c end.
    void hold() { m_holding = true; }
    void answer(GuestResult result) { m_result = result; }
    bool waitFor(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, test::PATIENCE, [&] { return m_sent.size() >= count; });
    }
    void end(std::size_t which, GuestResult result)
    {
        Done done;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            done = std::exchange(m_sent.at(which).done, nullptr);
        }
        done(result);
    }
    Sent sent(std::size_t which) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_sent.at(which);
    }
    std::size_t count() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_sent.size();
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Sent> m_sent;
    std::atomic<bool> m_holding{false};
    std::atomic<GuestResult> m_result{GuestResult::DONE};
};

class GuestTest : public ::testing::Test {
protected:
    GuestTest()
    {
        std::filesystem::create_directories(m_dir.file("web/guest/assets"));
        test::writeFile(m_dir.file("web/guest/index.html"), "<title>Add photos</title>");
        test::writeFile(m_dir.file("web/guest/assets/guest.js"), "'use strict'");
        m_guests = std::make_unique<Guests>(GuestSettings{"127.0.0.1:0", m_dir.file("web"), m_dir.file("guests")}, m_uploads,
                                            [this] { ++m_changes; });
    }

    GuestSnapshot open(const GuestLimits& limits = {})
    {
        GuestSnapshot snapshot = m_guests->start("77", "Summer <b>", limits);
        const std::string start = "http://" + m_guests->address();
        EXPECT_EQ(snapshot.url.compare(0, start.size(), start), 0) << snapshot.url;
        m_path = snapshot.url.substr(start.size());
        return snapshot;
    }
    HttpReply ask(const std::string& method, const std::string& target, const std::string& headers = "",
                  const std::string& body = "")
    {
        HttpConnection connection(m_guests->address());
        connection.send(head(method, target, headers, body.size()) + body);
        return connection.receive(method == "HEAD");
    }
    std::string head(const std::string& method, const std::string& target, const std::string& headers, std::size_t size) const
    {
        const std::string host = headers.find("Host:") == std::string::npos ? "Host: " + m_guests->address() + "\r\n" : "";
        const std::string length = method == "POST" ? "Content-Length: " + std::to_string(size) + "\r\n" : "";
        return method + " " + target + " HTTP/1.1\r\n" + host + length + headers + "\r\n";
    }
    std::string origin() const { return "Origin: http://" + m_guests->address() + "\r\n"; }
    HttpReply add(const std::string& bytes, const std::string& name = "lake.jpg")
    {
        return ask("POST", m_path + "photos?name=" + name, origin(), bytes);
    }
    GuestTransfer last() const { return m_guests->snapshot().transfers.back(); }
    /// Files of guests' photos that are there.
    std::size_t files() const
    {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(m_dir.file("guests")))
            ++count;
        return count;
    }

    test::TempDir m_dir;
    TestUploads m_uploads;
    std::atomic<unsigned> m_changes{0};
    std::unique_ptr<Guests> m_guests;
    std::string m_path; ///< "/KEY/"
};

} // namespace tv_test

#endif
