// SPDX-License-Identifier: MIT
// The television beside its service: what it shows is what is there.
#include "TvFixture.h"

#include <SQLiteCpp/SQLiteCpp.h>

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class Following : public TvTest {
protected:
    std::string family = ada.createGroup("Family");
};

TEST_F(Following, ReadsAllGroupsToTheirEnds)
{
    addPhotos(family, 2500, {"--taken", "2010:05:05 07:04:09"});
    addPhotos(family, 3, {"--taken", "2012:01:01 00:00:00"});
    const std::string garden = ada.createGroup("Garden");
    startAndRead();
    const Json groups = tv->json("/api/groups")["groups"];
    ASSERT_EQ(groups.size(), 2U);
    const Json contents = contentsOf(family);
    EXPECT_EQ(contents["total"], 2503);
    EXPECT_EQ(contents["complete"], true);
    ASSERT_EQ(contents["contents"].size(), 1000U);
    EXPECT_EQ(contents["contents"][0]["created"], "2012-01-01T00:00:00Z");
    EXPECT_EQ(contents["contents"][999]["index"], 999);
    EXPECT_EQ(contentsOf(family, "index=2500&count=1000")["contents"].size(), 3U);
    EXPECT_EQ(contentsOf(garden)["total"], 0);
    const Json months = tv->json("/api/groups/" + family + "/months");
    EXPECT_EQ(months["complete"], true);
    EXPECT_EQ(months["months"],
              Json::parse(R"([{"month":"2012-01","count":3,"index":0},{"month":"2010-05","count":2500,"index":3}])"));
    for (const Json& group : groups) {
        if (group["id"] == family) {
            EXPECT_EQ(group["image"], contents["contents"][0]["media"]["grid"]);
        } else {
            EXPECT_TRUE(group["image"].is_null());
        }
    }
}

TEST_F(Following, SaysOfAContentWhatTheCommandLineSays)
{
    const std::string id = ada.upload(family, makePhoto(files.file("a.jpg"), {"--taken", "2010:05:05 07:04:09", "--width", "64"}));
    ada.ok({"comment", "add", id, "Fine"});
    startAndRead();
    const Json item = contentsOf(family)["contents"][0];
    const Json shown = ada.json({"content", "show", id});
    for (const char* const key : {"id", "format", "description", "size", "resolution", "created", "comment_count"})
        EXPECT_EQ(item[key], shown[key]) << key;
    EXPECT_EQ(item["creator"]["name"], "Ada");
    EXPECT_EQ(item["width"], 64);
    EXPECT_EQ(item["marked"], false);
    EXPECT_EQ(item["media"]["screen"], "/media/" + id + "/screen");
    const Json viewed = tv->json("/api/contents/" + id);
    EXPECT_EQ(viewed["content"]["index"], 0);
    EXPECT_EQ(viewed["total"], 1);
    ASSERT_EQ(viewed["comments"].size(), 1U);
    EXPECT_EQ(viewed["comments"][0]["text"], "Fine");
    EXPECT_EQ(viewed["comments"][0]["author"]["name"], "Ada");
}

TEST_F(Following, TellsOfPhotosThatCome)
{
    const std::string first = ada.upload(family, makePhoto(files.file("a.jpg"), {"--taken", "2010:05:05 07:04:09"}));
    startAndRead();
    EventLine events(*tv);
    const std::string newer = ada.upload(family, makePhoto(files.file("b.jpg"), {"--taken", "2011:05:05 07:04:09", "--seed", "2"}));
    const auto one = events.next("content"); // before the other comes: what is found in one look has no order of its own
    ASSERT_TRUE(one);
    const std::string older = ada.upload(family, makePhoto(files.file("c.jpg"), {"--taken", "2009:05:05 07:04:09", "--seed", "3"}));
    EXPECT_EQ(one->data["group"], family);
    EXPECT_EQ(one->data["content_id"], newer);
    EXPECT_EQ(one->data["index"], 0);
    const auto two = events.next("content");
    ASSERT_TRUE(two);
    EXPECT_EQ(two->data["content_id"], older);
    EXPECT_EQ(two->data["index"], 2);
    EXPECT_THAT(idsOf(contentsOf(family)["contents"]), ElementsAre(newer, first, older));
    // A line that was cut goes on where it was.
    EventLine again(*tv, one->id);
    EXPECT_EQ(again.next("content")->data["content_id"], older);
    EventLine stranger(*tv, "17");
    EXPECT_TRUE(stranger.next("reset"));
}

TEST_F(Following, LosesPhotosThatAreDeleted)
{
    addPhotos(family, 1500);
    startAndRead();
    const auto ids = idsOf(contentsOf(family)["contents"]);
    EventLine events(*tv);
    ada.ok({"content", "delete", "--yes", ids[700]});
    const auto gone = events.next("deleted");
    ASSERT_TRUE(gone);
    EXPECT_EQ(gone->data["content_id"], ids[700]);
    EXPECT_EQ(contentsOf(family)["total"], 1499);
    // One goes and another comes between two looks: the total is as it was.
    ada.ok({"content", "delete", "--yes", ids[0]});
    const std::string fresh = ada.upload(family, makePhoto(files.file("z.jpg"), {"--seed", "9"}));
    const Json contents = tv->until("/api/groups/" + family + "/contents?count=1000", [&](const Json& answer) {
        const auto now = idsOf(answer["contents"]);
        return std::count(now.begin(), now.end(), ids[0]) == 0 && std::count(now.begin(), now.end(), fresh) == 1;
    });
    EXPECT_EQ(contents["total"], 1499);
    const auto now = idsOf(contents["contents"]);
    EXPECT_EQ(std::count(now.begin(), now.end(), ids[0]), 0);
    EXPECT_EQ(std::count(now.begin(), now.end(), fresh), 1);
}

TEST_F(Following, LosesGroupsThatAreGone)
{
    const std::string garden = ada.createGroup("Garden");
    const std::string secret = ada.upload(garden, makePhoto(files.file("a.jpg")));
    startAndRead();
    ASSERT_EQ(tv->get("/media/" + secret + "/grid").status, 200);
    ada.ok({"group", "delete", "--yes", garden});
    const Json groups = tv->until("/api/groups", [](const Json& answer) { return answer["groups"].size() == 1; });
    EXPECT_EQ(groups["groups"].size(), 1U);
    EXPECT_EQ(tv->get("/api/groups/" + garden + "/contents").status, 404);
    EXPECT_EQ(tv->get("/media/" + secret + "/grid").status, 404);
}

TEST_F(Following, TellsOfComments)
{
    const std::string id = ada.upload(family, makePhoto(files.file("a.jpg")));
    startAndRead();
    EventLine events(*tv);
    ada.ok({"comment", "add", id, "From afar"});
    const auto told = events.next("comment");
    ASSERT_TRUE(told);
    EXPECT_EQ(told->data["content_id"], id);
    EXPECT_EQ(contentsOf(family)["contents"][0]["comment_count"], 1);
    const HttpReply written =
        tv->change("POST", "/api/contents/" + id + "/comments", {{"text", "From the couch & more \xE2\x9D\xA4"}});
    EXPECT_EQ(written.status, 201);
    EXPECT_EQ(Json::parse(written.body)["author"]["name"], "Ada");
    ASSERT_TRUE(events.next("comment"));
    const Json comments = ada.json({"content", "show", id})["comments"];
    ASSERT_EQ(comments.size(), 2U);
    EXPECT_EQ(comments[1]["text"], "From the couch & more \xE2\x9D\xA4");
    EXPECT_EQ(tv->change("POST", "/api/contents/" + id + "/comments", {{"text", " \n"}}).status, 400);
    EXPECT_EQ(tv->change("POST", "/api/contents/" + id + "/comments", {{"text", std::string(5000, 'x')}}).status, 400);
    EXPECT_EQ(tv->change("POST", "/api/contents/99999/comments", {{"text", "nobody"}}).status, 404);
}

TEST_F(Following, FindsMonthsWhoseContentsItHasNotReadYet)
{
    addPhotos(family, 1200, {"--taken", "2012:05:05 07:04:09"});
    addPhotos(family, 3, {"--taken", "2003:02:05 07:04:09"});
    setFault("feeds:delay=3000*100");
    start();
    const Json months = tv->until(
        "/api/groups/" + (tv->until("/api/groups", [](const Json& a) { return !a["groups"].empty(); }), family) + "/months",
        [](const Json& answer) { return answer.contains("months") && answer["months"].size() > 100; });
    EXPECT_EQ(months["complete"], false);
    EXPECT_EQ(months["total"], 1203);
    EXPECT_EQ(months["months"].back()["month"], "2003-02");
    EXPECT_TRUE(months["months"].back()["index"].is_null());
    const Json page = contentsOf(family, "month=2003-02&count=10");
    EXPECT_EQ(page["month"], "2003-02");
    EXPECT_EQ(page["contents"].size(), 3U);
    EXPECT_EQ(contentsOf(family, "month=2004-07&count=10")["contents"].size(), 0U);
    EXPECT_EQ(tv->get("/api/groups/" + family + "/contents?month=2003-13").status, 400);
}

TEST_F(Following, GoesOnWhereItWasAfterAKill)
{
    addPhotos(family, 3300);
    start();
    tv->until("/api/groups/" + (tv->until("/api/groups", [](const Json& a) { return !a["groups"].empty(); }), family) +
                  "/contents?count=1",
              [](const Json& answer) { return answer.contains("contents") && !answer["contents"].empty(); });
    tv->kill();
    startAndRead();
    EXPECT_EQ(contentsOf(family)["total"], 3300);
    tv->kill();
    const std::uint64_t before = hits("feeds");
    startAndRead();
    const Json contents = contentsOf(family, "index=3000&count=1000");
    EXPECT_EQ(contents["contents"].size(), 300U);
    EXPECT_LT(hits("feeds") - before, 4U + 40U) << "it is not read anew";
}

TEST_F(Following, ShowsWhatIsThereWithoutAService)
{
    addPhotos(family, 5);
    startAndRead();
    const auto ids = idsOf(contentsOf(family)["contents"]);
    for (const std::string& id : ids)
        ASSERT_EQ(tv->get("/media/" + id + "/grid").status, 200);
    tv.reset();
    service.stop();
    start();
    EXPECT_EQ(tv->until("/api/state", [](const Json& state) { return state["service"] == "away"; })["service"], "away");
    const Json state = tv->json("/api/state");
    EXPECT_EQ(state["paired"], true);
    EXPECT_EQ(state["person"]["name"], "Ada");
    EXPECT_EQ(idsOf(contentsOf(family)["contents"]), ids);
    EXPECT_EQ(tv->get("/media/" + ids[0] + "/grid").status, 200);
    EXPECT_EQ(tv->get("/media/" + ids[0] + "/screen").status, 503);
    EXPECT_EQ(tv->json("/api/contents/" + ids[0])["complete"], false);
    const HttpReply comment = tv->change("POST", "/api/contents/" + ids[0] + "/comments", {{"text", "Hello"}});
    EXPECT_EQ(comment.status, 503);
    EXPECT_EQ(Json::parse(comment.body)["error"], "away");
}

TEST_F(Following, PicksUpAgainByItself)
{
    addPhotos(family, 5);
    startAndRead();
    EventLine events(*tv);
    // A connection that breaks is made anew by the host some times, before anybody notices.
    for (const char* const fault : {"status=503*1", "status=429*1", "status=500*1", "garbage*1", "reset*12"}) {
        setFault("group.list:" + std::string(fault));
        bool away = false;
        std::optional<EventLine::Event> state;
        while ((state = events.next("state")) && !(away && state->data["service"] == "ok"))
            away = away || state->data["service"] == "away";
        EXPECT_TRUE(away && state) << fault;
    }
    EXPECT_EQ(contentsOf(family)["total"], 5);
}

TEST_F(Following, ShowsNothingOnceItIsTurnedAway)
{
    addPhotos(family, 5);
    const std::string duid = signInAs("Ada", place);
    startAndRead();
    const std::string id = idsOf(contentsOf(family)["contents"])[0];
    ASSERT_EQ(tv->get("/media/" + id + "/grid").status, 200);
    ASSERT_EQ(tv->change("PUT", "/api/contents/" + id + "/mark", {{"marked", true}}).status, 200);
    EventLine events(*tv);
    ASSERT_EQ(kinloomd_test::runKinloomd({"device", "remove", duid, "--data", data.path()}).exitCode, 0);
    EXPECT_TRUE(events.next("reset"));
    const Json state = tv->until("/api/state", [](const Json& answer) { return answer["service"] == "refused"; });
    EXPECT_EQ(state["service"], "refused");
    EXPECT_THAT(tv->json("/api/groups")["groups"], IsEmpty());
    EXPECT_EQ(tv->get("/media/" + id + "/grid").status, 404);
    tv->kill();
    for (const std::string& name : {std::string("index.db"), std::string("index.db-wal")})
        EXPECT_THAT(readFile(place.cache() + "/" + name), Not(HasSubstr("Family"))) << name;
}

TEST_F(Following, ShowsAnotherPersonNothingOfTheFirst)
{
    addPhotos(family, 5);
    startAndRead();
    const std::string id = idsOf(contentsOf(family)["contents"])[0];
    ASSERT_EQ(tv->get("/media/" + id + "/grid").status, 200);
    ASSERT_EQ(tv->change("PUT", "/api/contents/" + id + "/mark", {{"marked", true}}).status, 200);
    tv.reset();
    // The same person on another device keeps everything, another person gets nothing.
    signInAs("Ada", place);
    startAndRead();
    EXPECT_EQ(tv->json("/api/marked")["total"], 1);
    tv.reset();
    signInAs("Ben", place);
    start();
    EXPECT_EQ(tv->until("/api/state",
                        [](const Json& answer) {
                            return !answer["person"].is_null() && answer["person"]["name"] == "Ben";
                        })["person"]["name"],
              "Ben");
    EXPECT_THAT(tv->json("/api/groups")["groups"], IsEmpty());
    EXPECT_EQ(tv->get("/media/" + id + "/grid").status, 404);
    EXPECT_EQ(tv->json("/api/marked")["total"], 0);
    EXPECT_EQ(tv->get("/api/contents/" + id).status, 404);
}

TEST_F(Following, KeepsTwoFamiliesApart)
{
    addPhotos(family, 5);
    startAndRead();
    const std::string id = idsOf(contentsOf(family)["contents"])[0];
    Place theirs;
    signInAs("Ben", theirs);
    const User ben(data.path(), "Ben", service.url());
    const std::string group = ben.createGroup("The others");
    const TvProcess other(settings(theirs));
    const Json groups = other.until("/api/groups", [](const Json& answer) { return !answer["groups"].empty(); })["groups"];
    ASSERT_EQ(groups.size(), 1U);
    EXPECT_EQ(groups[0]["name"], "The others");
    EXPECT_EQ(other.get("/api/groups/" + family + "/contents").status, 404);
    EXPECT_EQ(other.get("/api/contents/" + id).status, 404);
    EXPECT_EQ(other.get("/media/" + id + "/grid").status, 404);
    EXPECT_EQ(other.send("GET", "/api/state", {{"Cookie", tv->cookie()}}).status, 403);
}

TEST_F(Following, ShowsHostileNamesAsTheyAre)
{
    const std::vector<std::string> names = {"<script>alert(1)</script>", "a\"b'c\\d", "../../etc/passwd", "\xE2\x80\xAEgnp",
                                            "data: x"};
    for (const std::string& name : names)
        ada.createGroup(name);
    const std::string photo = makePhoto(files.file("a.jpg"));
    const std::string id = ada.json({"upload", family, photo, "--desc", "id: 7\nevent: reset\ndata: {}"})["files"][0]["id"];
    start();
    EventLine events(*tv);
    const Json groups = tv->until("/api/groups", [&](const Json& answer) { return answer["groups"].size() == names.size() + 1; });
    std::vector<std::string> found;
    for (const Json& group : groups["groups"])
        found.push_back(group["name"]);
    for (const std::string& name : names)
        EXPECT_THAT(found, testing::Contains(name));
    for (const char* const target : {"/api/groups/..%2f..%2fetc/contents", "/api/contents/%00", "/api/contents/%2e%2e",
                                     "/media/..%2f..%2fx/grid", "/media/%2e%2e/grid", "/api/contents/", "/api/groups//months"})
        EXPECT_GE(tv->get(target).status, 400) << target;
    const Json content = tv->until("/api/contents/" + id, [](const Json& answer) { return answer.contains("content"); });
    EXPECT_EQ(content["content"]["description"], "id: 7\nevent: reset\ndata: {}");
}

TEST_F(Following, SurvivesADamagedIndex)
{
    addPhotos(family, 1500);
    startAndRead();
    tv->kill();
    std::string bytes = readFile(place.cache() + "/index.db");
    for (std::size_t at = 4096; at + 4096 < bytes.size(); at += 3 * 4096)
        bytes.replace(at, 2000, std::string(2000, '\x5A'));
    writeFile(place.cache() + "/index.db", bytes);
    startAndRead();
    EXPECT_EQ(contentsOf(family)["total"], 1500);
    EXPECT_EQ(contentsOf(family, "index=1400&count=1000")["contents"].size(), 100U);
}

TEST_F(Following, ShowsPhotosThoughTheDiskIsFull)
{
    addPhotos(family, 3000);
    signInAs("Ada", place);
    TvProcess::Settings full = settings(place);
    full.fileSizeLimit = 60'000;
    tv = std::make_unique<TvProcess>(full);
    waitUntilRead();
    const Json contents = contentsOf(family, "index=2990&count=100");
    EXPECT_EQ(contents["contents"].size(), 10U);
    EXPECT_EQ(tv->get(contents["contents"][0]["media"]["grid"]).status, 200);
}

TEST_F(Following, LosesNothingOfWhatPeopleWaitForWhenACallIsRefused)
{
    const std::string id = ada.upload(family, makePhoto(files.file("a.jpg")));
    startAndRead();
    // Calls that are refused, one after the other, beside calls that are not.
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(tv->get("/api/contents/999999").status, 404);
        EXPECT_EQ(tv->get("/api/contents/" + id).status, 200);
        EXPECT_EQ(tv->json("/api/contents/" + id)["complete"], true);
    }
    EXPECT_EQ(tv->json("/api/state")["service"], "ok");
}

} // namespace
