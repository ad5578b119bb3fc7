// SPDX-License-Identifier: MIT
#include "operations/Router.h"

#include "core/Failure.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd;

struct RouteCase {
    const char* method;
    std::string path;
    const char* operation;
    const char* subject;
};

std::string base(const std::string& rest) { return "/openapi/service/kinloom/" + rest; }

class KnownPath : public ::testing::TestWithParam<RouteCase> {};

TEST_P(KnownPath, LeadsToItsOperation)
{
    const Route found = route(GetParam().method, GetParam().path);
    ASSERT_NE(found.operation, nullptr);
    EXPECT_STREQ(found.operation->name, GetParam().operation);
    EXPECT_EQ(found.subject, GetParam().subject);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, KnownPath,
    ::testing::Values(
        RouteCase{"POST", base("auth"), "auth", ""}, RouteCase{"POST", base("register"), "register", ""},
        RouteCase{"GET", base("me/group.list"), "group.list", "me"}, RouteCase{"HEAD", base("12/group.list"), "group.list", "12"},
        RouteCase{"POST", base("me/group.create"), "group.create", "me"},
        RouteCase{"POST", base("12group.create"), "group.create", "12"},
        RouteCase{"POST", base("me/group.delete"), "group.delete", "me"}, RouteCase{"GET", base("7/feeds"), "feeds", "7"},
        RouteCase{"GET", base("7/view"), "view", "7"}, RouteCase{"POST", base("7/delete"), "delete", "7"},
        RouteCase{"POST", base("7/upload"), "upload", "7"}, RouteCase{"POST", base("7/upload.file"), "upload.file", "7"},
        RouteCase{"POST", base("7/comment"), "comment", "7"}, RouteCase{"GET", base("7/comment.list"), "comment.list", "7"},
        RouteCase{"GET", base("%37/view"), "view", "7"}, RouteCase{"GET", "/media/original/k/7/a.jpg", "media", ""},
        RouteCase{"GET", "/media/540X405/k/7/a.jpg", "thumbnail", ""},
        RouteCase{"GET", "/media/person/k/7-1/a.jpg", "user.image", ""}, RouteCase{"DELETE", "/control/faults", "control", ""},
        RouteCase{"GET", "/page/groups", "page.groups", ""}, RouteCase{"POST", "/page/groups", "page.group.create", ""},
        RouteCase{"GET", "/page/groups/7/months", "page.months", ""},
        RouteCase{"GET", "/page/media/person/7-1", "page.person.image", ""},
        RouteCase{"GET", "/page/media/7/small", "page.media", ""}, RouteCase{"POST", "/pair", "pair", ""},
        RouteCase{"POST", "/pair/token", "pair.token", ""}, RouteCase{"POST", "/invite/key", "page.invitation.use", ""}));

TEST(Router, HandsOnThePiecesThatStandForSomething)
{
    EXPECT_EQ(route("GET", "/page/groups/%37/months").pieces, std::vector<std::string>{"7"});
    EXPECT_EQ(route("GET", "/page/media/7/small").pieces, (std::vector<std::string>{"7", "small"}));
    EXPECT_EQ(route("POST", "/page/contents/7/restore").pieces, std::vector<std::string>{"7"});
    EXPECT_TRUE(route("GET", "/page/groups").pieces.empty());
    EXPECT_EQ(allowedMethods("/page/contents/7"), "GET, HEAD, DELETE");
}

class UnknownPath : public ::testing::TestWithParam<std::string> {};

TEST_P(UnknownPath, IsNotFound)
{
    try {
        route("GET", GetParam());
        FAIL() << "was found";
    } catch (const ServiceError& error) {
        EXPECT_EQ(error.failure(), Failure::NOT_FOUND);
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, UnknownPath,
                         ::testing::Values("", "/", "*", "/openapi", "/openapi/service/kinloom", base(""), base("me"),
                                           base("group.create"), base("me/me/group.list"), base("me/group.list/"),
                                           base("me//group.list"), base("7/Feeds"), "/media/original/k/7",
                                           "/media/original/k/7/a/b", "/media/1X1/k/7/a", "/media/../kinloomd.db",
                                           "/media/original/k/..%2F..%2Fkinloomd.db", "/control/other",
                                           "//openapi/service/kinloom/auth", "/page", "/page/", "/page/groups/",
                                           "/page/groups//months", "/page/groups/7/months/", "/page/groups/7/x", "/page/media/7",
                                           "/invite/", "/pair/", "/pairs"));

TEST(Router, TellsAWrongMethodFromAnUnknownPath)
{
    for (const char* method : {"GET", "PUT", "DELETE", "OPTIONS", "post"}) {
        try {
            route(method, base("auth"));
            FAIL() << method;
        } catch (const ServiceError& error) {
            EXPECT_EQ(error.failure(), Failure::WRONG_METHOD);
        }
    }
}

TEST(Router, KnowsOperationsByName)
{
    EXPECT_NE(findOperation("group.list"), nullptr);
    EXPECT_EQ(findOperation("group.lis"), nullptr);
}

} // namespace
