// SPDX-License-Identifier: MIT
#include "tv/core/Favourites.h"

#include "support/TempDir.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <system_error>

using namespace tv;
using testing::ElementsAre;

namespace {

using Kind = Favourites::Kind;

TEST(FavouritesTest, AreKept)
{
    const test::TempDir folder;
    {
        Favourites favourites(folder.file("f.json"));
        favourites.beginFor("Ada");
        EXPECT_TRUE(favourites.set(Kind::MARKED, "1", true));
        EXPECT_FALSE(favourites.set(Kind::MARKED, "1", true));
        EXPECT_TRUE(favourites.set(Kind::HIDDEN, "2", true));
    }
    const Favourites again(folder.file("f.json"));
    EXPECT_EQ(again.owner(), "Ada");
    EXPECT_THAT(again.list(Kind::MARKED), ElementsAre("1"));
    EXPECT_TRUE(again.is(Kind::HIDDEN, "2"));
}

TEST(FavouritesTest, AreNotSaidToBeKeptBeforeTheyAre)
{
    const test::TempDir folder;
    const std::string place = folder.file("away");
    Favourites favourites(place + "/f.json");
    EXPECT_THROW(favourites.set(Kind::HIDDEN, "1", true), std::system_error);
    EXPECT_TRUE(favourites.is(Kind::HIDDEN, "1")) << "it holds until the end of the program";
    EXPECT_THROW(favourites.set(Kind::HIDDEN, "1", true), std::system_error) << "nothing has changed, and nothing is kept";
    favourites.keepAgain();
    std::filesystem::create_directory(place);
    favourites.keepAgain();
    EXPECT_TRUE(Favourites(place + "/f.json").is(Kind::HIDDEN, "1"));
    EXPECT_FALSE(favourites.set(Kind::HIDDEN, "1", true));
}

} // namespace
