// SPDX-License-Identifier: MIT
// Records that are being moved: nobody changes them, whichever engine keeps them.
#include "store/Moving.h"
#include "store/People.h"

#include "KinloomdProcess.h"

#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using namespace kinloomd;
using kinloomd_test::databaseOf;
using kinloomd_test::TemporaryFolder;
using ::testing::HasSubstr;

class Moving : public ::testing::Test {
protected:
    void mark(Database& database, MoveState state)
    {
        database.change(
            [&](DatabaseConnection& connection) {
                setMoveMark(connection, {state, "1", "2", "3", "a new place"});
            },
            Database::Purpose::ALONE);
    }
    static void add(Database& database)
    {
        database.change([](DatabaseConnection& connection) { addPerson(connection, "Anna", ""); });
    }
    /// Begins a mover's work in the midst of a change: it must wait until that has ended, and nothing can be changed behind it.
    template <typename Work> void moveInTheMidstOfAChange(const Work& work)
    {
        std::atomic<bool> moved{false};
        std::thread mover;
        m_database.change([&](DatabaseConnection& connection) {
            mover = std::thread([&] {
                work();
                moved = true;
            });
            // The mover has every chance to be too early.
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            EXPECT_FALSE(moved);
            addPerson(connection, "Anna", "");
        });
        mover.join();
        EXPECT_EQ(listPeople(m_database.read()).size(), 1U);
        EXPECT_THROW(add(m_database), DatabaseReadOnly);
    }

    TemporaryFolder m_folder;
    Database m_database{databaseOf(m_folder.path())};
    Database m_other{databaseOf(m_folder.path())};
};

TEST_F(Moving, LetsRecordsBeReadAndNotChanged)
{
    add(m_database);
    for (const MoveState state : {MoveState::LEAVING, MoveState::GONE, MoveState::ARRIVING}) {
        mark(m_other, state);
        try {
            add(m_database);
            FAIL() << "changed";
        } catch (const DatabaseReadOnly& error) {
            EXPECT_THAT(error.what(), HasSubstr("a new place"));
            EXPECT_EQ(error.cause(), state == MoveState::GONE ? ReadOnlyCause::MOVED : ReadOnlyCause::MOVING);
        }
        EXPECT_NO_THROW(m_database.note([](DatabaseConnection& connection) { addPerson(connection, "Ben", ""); }));
        EXPECT_EQ(listPeople(m_database.read()).size(), 1U);
        const MoveMark found = findMoveMark(m_database.read());
        EXPECT_EQ(found.state, state);
        EXPECT_TRUE((found == MoveMark{state, "1", "2", "3", "a new place"}));
    }
    mark(m_other, MoveState::NONE);
    add(m_database);
    EXPECT_EQ(listPeople(m_database.read()).size(), 2U);
}

TEST_F(Moving, LeavesAConnectionUsableThatWasRefused)
{
    mark(m_database, MoveState::LEAVING);
    for (int i = 0; i < 40; ++i) // more than connections there are
        EXPECT_THROW(add(m_database), DatabaseReadOnly);
    EXPECT_EQ(listPeople(m_database.read()).size(), 0U);
}

TEST_F(Moving, OfAnUnknownKindKeepsEverybodyOut)
{
    m_database.change([](DatabaseConnection& connection) { changeSetting(connection, MOVE_SETTING, "newer 1 2 3 somewhere"); });
    EXPECT_THROW(add(m_database), DatabaseReadOnly);
    EXPECT_THROW(requireServable(m_database.read()), std::runtime_error);
}

TEST_F(Moving, OfMediaKeepsOutThoseWhoKnowThePlaceOfBefore)
{
    m_database.setMediaNumber("");
    add(m_database);
    m_other.change(
        [](DatabaseConnection& connection) {
            changeSetting(connection, MEDIA_SETTING, "s3://photos/new");
            changeSetting(connection, MEDIA_NUMBER_SETTING, "1");
        },
        Database::Purpose::ALONE);
    for (int i = 0; i < 40; ++i) { // more than connections there are
        try {
            add(m_database);
            FAIL() << "changed";
        } catch (const DatabaseReadOnly& error) {
            EXPECT_THAT(error.what(), HasSubstr("--media s3://photos/new"));
            EXPECT_EQ(error.cause(), ReadOnlyCause::MEDIA_MOVED);
        }
    }
    EXPECT_NO_THROW(m_database.note([](DatabaseConnection& connection) { addPerson(connection, "Ben", ""); }));
    EXPECT_THROW(requireChangeable(m_database.read()), DatabaseReadOnly);
    EXPECT_EQ(listPeople(m_database.read()).size(), 1U);
    EXPECT_NO_THROW(add(m_other)) << "what has nothing to do with media";
    Database next(databaseOf(m_folder.path()));
    next.setMediaNumber("1");
    add(next);
}

TEST_F(Moving, OfMediaWaitsForAChangeThatWasBegunBefore)
{
    m_database.setMediaNumber("");
    moveInTheMidstOfAChange([this] {
        m_other.change([](DatabaseConnection& mine) { changeSetting(mine, MEDIA_NUMBER_SETTING, "1"); }, Database::Purpose::ALONE);
    });
}

TEST_F(Moving, BeginsServicesOnlyWhereTheRecordsAre)
{
    const auto servable = [this](MoveState state) {
        mark(m_database, state);
        try {
            requireServable(m_database.read());
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    };
    EXPECT_TRUE(servable(MoveState::NONE));
    EXPECT_TRUE(servable(MoveState::LEAVING));
    EXPECT_FALSE(servable(MoveState::GONE));
    EXPECT_FALSE(servable(MoveState::ARRIVING));
}

TEST_F(Moving, WaitsForAChangeThatWasBegunBefore)
{
    moveInTheMidstOfAChange([this] { mark(m_other, MoveState::LEAVING); });
}

TEST_F(Moving, SeesNothingChangeBehindItsMark)
{
    for (int round = 0; round < 20; ++round) {
        std::atomic<bool> stop{false};
        std::vector<std::thread> writers;
        writers.reserve(4);
        for (int i = 0; i < 4; ++i) {
            writers.emplace_back([&, i] {
                while (!stop) {
                    try {
                        add(i % 2 == 0 ? m_database : m_other);
                    } catch (const DatabaseReadOnly&) {
                        std::this_thread::yield();
                    } catch (const DatabaseUnavailable&) {
                        std::this_thread::yield(); // the mover had to be waited for too long
                    }
                }
            });
        }
        mark(m_other, MoveState::LEAVING);
        const auto before = listPeople(m_database.read()).size();
        for (int i = 0; i < 20; ++i) {
            std::this_thread::yield();
            EXPECT_EQ(listPeople(m_database.read()).size(), before);
        }
        stop = true;
        for (std::thread& writer : writers)
            writer.join();
        EXPECT_EQ(listPeople(m_database.read()).size(), before);
        mark(m_other, MoveState::NONE);
    }
}

} // namespace
