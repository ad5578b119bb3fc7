// SPDX-License-Identifier: MIT
/// \file A service that is moved to another place, and what stands at both ends.
#ifndef TESTS_SERVICE_MIGRATEFIXTURE_H
#define TESTS_SERVICE_MIGRATEFIXTURE_H

#include "commands/Migrate.h"
#include "store/Contents.h"
#include "store/People.h"

#include "PageClient.h"
#include "TestPictures.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kinloomd_test {

/// A service of Anna's with photos, one of them in the trash, a comment, a picture of hers and a browser.
class Migrate : public PageFixture {
protected:
    using DataPlace = kinloomd::DataPlace;
    using Move = kinloomd::Move;
    using MoveTarget = kinloomd::MoveTarget;

    void SetUp() override
    {
        PageFixture::SetUp();
        m_group = anna().createGroup("Family");
        for (int i = 0; i < 3; ++i)
            m_photos.push_back(anna().uploadPhoto(m_group, anotherPicture()));
        anna().commentId(m_photos.front(), "lovely");
        anna().post(ServiceClient::path(m_photos.back() + "/delete"), "");
        std::ofstream(m_folder / "face.jpg", std::ios::binary) << smallPicture().bytes;
        EXPECT_EQ(command({"person", "image", "Anna", m_folder / "face.jpg"}).exitCode, 0);
        m_browser.emplace(browserOf("Anna"));
        const HttpReply view = anna().get(ServiceClient::path(m_photos.front() + "/view"));
        m_addresses = {targetOf(field(view, "contentUrl")), targetOf(field(view, "contentThumbnail_116X87")),
                       targetOf(field(view, "userImageThumbnail_72X72"))};
        for (const std::string& id : {m_photos[0], m_photos[1]}) {
            const HttpReply each = anna().get(ServiceClient::path(id + "/view"));
            EXPECT_EQ(request(port(), "GET", targetOf(field(each, "contentThumbnail_116X87"))).status, 200);
        }
    }

    static DataPlace placeOf(const std::string& folder)
    {
        DataPlace place(folder);
        if (onPostgresql())
            place.database = databaseOf(folder);
        return place;
    }
    static MoveTarget targetAt(const std::string& folder)
    {
        MoveTarget target;
        target.folder = folder;
        if (onPostgresql())
            target.database = databaseOf(folder);
        return target;
    }
    static std::vector<std::string> wordsOf(const std::string& from, const std::string& to)
    {
        std::vector<std::string> words = {"migrate", "--from", from};
        if (onPostgresql())
            words.insert(words.end(), {"--from-database", databaseOf(from)});
        if (!to.empty())
            words.insert(words.end(), {"--to", to});
        if (!to.empty() && onPostgresql())
            words.insert(words.end(), {"--to-database", databaseOf(to)});
        return words;
    }
    static CommandResult migrate(const std::string& from, const std::string& to) { return runKinloomd(wordsOf(from, to)); }
    static CommandResult cancel(const std::string& from, const std::string& to = {})
    {
        std::vector<std::string> words = wordsOf(from, to);
        words.emplace_back("--cancel");
        return runKinloomd(words);
    }
    static void expectWhole(const std::string& folder)
    {
        const CommandResult result = runKinloomd({"check", "--data", folder});
        EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    }
    /// All that a device and a browser see.
    std::vector<std::string> seen()
    {
        std::vector<std::string> all = {
            anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest&option_include=creator")).body,
            anna().get(ServiceClient::path(m_photos.front() + "/view")).body, ben().get(ServiceClient::path("me/group.list")).body};
        PageClient browser(port());
        browser.setCookie(m_browser->cookie());
        all.push_back(browser.get("/page/groups/" + m_group + "/contents").body);
        for (const std::string& address : m_addresses) {
            const HttpReply reply = request(port(), "GET", address);
            EXPECT_EQ(reply.status, 200) << address;
            all.push_back(reply.body);
        }
        return all;
    }
    void serveAt(const std::string& folder)
    {
        m_process.reset();
        m_data = folder;
        start();
    }
    static kinloomd::MoveStep throwingAt(int number, std::atomic<int>& count)
    {
        return [number, &count](const char*, std::int64_t) {
            if (++count == number)
                throw std::runtime_error("stopped by the test");
        };
    }
    static void noStep(const char*, std::int64_t) {}

    /// What a program on another computer would not see.
    static void forgetLocks(const std::string& folder)
    {
        for (const char* lock : {"/serve.lock", "/migrate.lock"})
            std::filesystem::remove(folder + lock);
    }
    static kinloomd::MoveMark markOf(const std::string& folder)
    {
        kinloomd::Database database(databaseOf(folder));
        return kinloomd::findMoveMark(database.read());
    }
    /// The target of a move that was finished, as 'kinloomd migrate --cancel' leaves it when it is killed while it compares.
    void markAgain()
    {
        kinloomd::MoveMark mark = markOf(m_data);
        ASSERT_EQ(mark.state, kinloomd::MoveState::GONE);
        ASSERT_EQ(markOf(m_target).state, kinloomd::MoveState::NONE);
        mark.state = kinloomd::MoveState::ARRIVING;
        mark.mover = "killed";
        mark.place = m_data;
        kinloomd::Database database(databaseOf(m_target));
        database.change([&](kinloomd::DatabaseConnection& connection) { setMoveMark(connection, mark); },
                        kinloomd::Database::Purpose::ALONE);
    }
    /// Which attempt brought the original of a content.
    std::int64_t attemptOf(const std::string& content) const
    {
        kinloomd::Database database(databaseOf(m_data));
        const auto names = kinloomd::keptOriginals(database.read());
        const auto name =
            std::find_if(names.begin(), names.end(), [&](const auto& each) { return std::to_string(each.content) == content; });
        return name == names.end() ? -1 : name->attempt;
    }
    static void addPersonTo(const std::string& folder, const std::string& name)
    {
        kinloomd::Database database(databaseOf(folder));
        database.change([&](kinloomd::DatabaseConnection& connection) { kinloomd::addPerson(connection, name, ""); });
    }
    static std::vector<kinloomd::TableSum> sumsOf(const std::string& folder)
    {
        kinloomd::Database database(databaseOf(folder));
        std::vector<kinloomd::TableSum> sums;
        for (const kinloomd::TableEntry& table : kinloomd::recordTables())
            sums.push_back(sumOf(database, table, noStep));
        return sums;
    }

    std::string m_group;
    std::vector<std::string> m_photos;
    std::optional<PageClient> m_browser;
    std::vector<std::string> m_addresses; ///< of media
    std::string m_target = m_folder / "target";
};

} // namespace kinloomd_test

#endif
