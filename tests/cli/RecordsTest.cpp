// SPDX-License-Identifier: MIT
#include "output/Records.h"

#include <gtest/gtest.h>

using namespace kinloom;

namespace {

TEST(Records, SayNullInJsonOfWhatIsNotKnown)
{
    const Json content = toJson(W::WContent());
    for (const char* key : {"type", "format", "size", "resolution", "created", "uploaded", "creator", "url"})
        EXPECT_TRUE(content.contains(key) && content[key].is_null()) << key;
    EXPECT_EQ(content["description"], "") << "a content without words has no description";
    EXPECT_TRUE(toJson(W::WComment())["author"].is_null());
    EXPECT_TRUE(toJson(W::WGroup(), {true, true})["master"].is_null());
}

TEST(Records, NameAPersonOfWhomAnythingIsKnown)
{
    W::WPerson person;
    person.setName("Ada");
    W::WContent content;
    content.setUser(person);
    content.setType("photo");
    EXPECT_EQ(toJson(content)["creator"]["name"], "Ada");
    EXPECT_EQ(toJson(content)["type"], "photo");
}

} // namespace
