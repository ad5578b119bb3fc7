// SPDX-License-Identifier: MIT
// What people do from the couch: pair, show, mark, hide, set.
#include "TvFixture.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <algorithm>
#include <set>
#include <sys/stat.h>

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Pairing : public TvTest {
protected:
    void startUnpaired() { tv = std::make_unique<TvProcess>(settings(place)); }
    std::string codeShown() const
    {
        const Json state = tv->until("/api/state", [](const Json& answer) {
            return !answer["pairing"].is_null() && answer["pairing"]["state"] == "waiting";
        });
        return state["pairing"]["user_code"];
    }
};

TEST_F(Pairing, ShowsACodeAndGoesOnByItselfOnceSomebodyApproves)
{
    const std::string family = ada.createGroup("Family");
    addPhotos(family, 2);
    startUnpaired();
    const std::string code = codeShown();
    const Json pairing = tv->json("/api/state")["pairing"];
    EXPECT_EQ(tv->json("/api/state")["paired"], false);
    EXPECT_EQ(pairing["verification_uri_complete"], service.url() + "/pair/" + code);
    EXPECT_GT(pairing["expires_in"], 800);
    EXPECT_EQ(pairing["qr"]["rows"].size(), pairing["qr"]["size"]);
    EXPECT_FALSE(exists(place.config()));
    EventLine events(*tv);
    ASSERT_EQ(kinloomd_test::runKinloomd({"device", "approve", code, "--person", "Ada", "--data", data.path()}).exitCode, 0);
    while (const auto state = events.next("state"))
        if (state->data["paired"] == true && !state->data["person"].is_null())
            break;
    struct stat info {};
    ASSERT_EQ(::stat(place.config().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    waitUntilRead();
    EXPECT_EQ(contentsOf(family)["total"], 2);
    const Json state = tv->json("/api/state");
    EXPECT_TRUE(state["pairing"].is_null());
    EXPECT_EQ(state["person"]["name"], "Ada");
    tv.reset();
    start();
    EXPECT_EQ(tv->json("/api/state")["paired"], true);
}

TEST_F(Pairing, SaysThatItWaitsOnlyWhileThereIsACode)
{
    startUnpaired();
    const std::string code = codeShown();
    ASSERT_EQ(kinloomd_test::runKinloomd({"device", "approve", code, "--person", "Ada", "--data", data.path()}).exitCode, 0);
    // Asked again and again, also in the moment between the approval and the first sign-in.
    Json state;
    do {
        state = tv->json("/api/state");
        const Json& pairing = state["pairing"];
        ASSERT_TRUE(pairing.is_null() || pairing["state"] != "waiting" || !pairing["user_code"].is_null()) << state;
    } while (state["paired"] != true || state["person"].is_null());
}

TEST_F(Pairing, BeginsAnewAfterARefusal)
{
    startUnpaired();
    const std::string code = codeShown();
    {
        SQLite::Database database(data.path() + "/kinloomd.db", SQLite::OPEN_READWRITE, 10'000);
        database.exec("UPDATE pairing SET state = 2");
    }
    const Json denied = tv->until(
        "/api/state", [](const Json& answer) { return !answer["pairing"].is_null() && answer["pairing"]["state"] == "denied"; });
    EXPECT_EQ(denied["pairing"]["state"], "denied");
    EXPECT_TRUE(denied["pairing"]["user_code"].is_null());
    EXPECT_EQ(tv->change("POST", "/api/pairing", Json::object()).status, 200);
    EXPECT_NE(codeShown(), code);
}

TEST_F(Pairing, WaitsForAServiceThatIsAway)
{
    const std::string url = service.url();
    service.stop();
    startUnpaired();
    const Json state = tv->until(
        "/api/state", [](const Json& answer) { return !answer["pairing"].is_null() && answer["pairing"]["state"] == "failed"; });
    EXPECT_EQ(state["pairing"]["state"], "failed");
    EXPECT_THAT(state["pairing"]["message"].get<std::string>(), HasSubstr(url));
}

TEST_F(Pairing, ForgetsTheFamilyWhenItIsToldTo)
{
    const std::string family = ada.createGroup("Family");
    addPhotos(family, 2);
    startAndRead();
    const std::string id = idsOf(contentsOf(family)["contents"])[0];
    ASSERT_EQ(tv->get("/media/" + id + "/grid").status, 200);
    EXPECT_EQ(tv->change("POST", "/api/signout", Json::object()).status, 200);
    EXPECT_EQ(tv->json("/api/state")["paired"], false);
    EXPECT_THAT(tv->json("/api/groups")["groups"], IsEmpty());
    EXPECT_EQ(tv->get("/media/" + id + "/grid").status, 404);
    EXPECT_FALSE(codeShown().empty());
    EXPECT_THAT(readFile(place.config()), testing::Not(HasSubstr("AuthToken")));
}

class Couch : public TvTest {
protected:
    std::string family = ada.createGroup("Family");
    std::string garden = ada.createGroup("Garden");

    std::vector<std::string> show(const std::string& query, int from, int steps) const
    {
        std::vector<std::string> ids;
        for (int index = from; index < from + steps;) {
            const Json page = tv->json("/api/show?" + query + "&index=" + std::to_string(index) +
                                       "&count=" + std::to_string(std::min(7, from + steps - index)));
            for (const Json& item : page["items"])
                ids.push_back(item["id"]);
            if (page["next"] == index)
                break;
            index = page["next"];
        }
        return ids;
    }
};

TEST_F(Couch, ShowsEverythingOnceInARound)
{
    addPhotos(family, 30, {"--taken", "2010:05:05 07:04:09"});
    addPhotos(garden, 20, {"--taken", "2011:05:05 07:04:09"});
    startAndRead();
    const auto shuffled = show("of=all&order=shuffle&seed=5", 0, 50);
    EXPECT_EQ(std::set<std::string>(shuffled.begin(), shuffled.end()).size(), 50U);
    EXPECT_NE(show("of=all&order=shuffle&seed=5", 50, 50), shuffled);
    EXPECT_EQ(tv->json("/api/show?of=all&order=shuffle&seed=5&index=50&count=1")["round"], 1);
    EXPECT_NE(show("of=all&order=shuffle&seed=6", 0, 50), shuffled);
    const auto inOrder = show("of=all&order=time&group=" + family, 0, 30);
    EXPECT_EQ(inOrder, idsOf(contentsOf(family)["contents"]));
    const auto all = show("of=all&order=time", 0, 50);
    EXPECT_EQ(std::vector<std::string>(all.begin(), all.begin() + 20), idsOf(contentsOf(garden)["contents"]));
}

TEST_F(Couch, ShowsNothingTwiceThoughPhotosComeAndGo)
{
    addPhotos(family, 40, {"--taken", "2010:05:05 07:04:09"});
    startAndRead();
    const std::string query = "of=all&order=shuffle&seed=5&group=" + family;
    auto seen = show(query, 0, 20);
    const auto all = idsOf(contentsOf(family)["contents"]);
    const std::string hidden = *std::find_if(
        all.begin(), all.end(), [&](const std::string& id) { return std::find(seen.begin(), seen.end(), id) == seen.end(); });
    EXPECT_EQ(tv->change("PUT", "/api/contents/" + hidden + "/hide", {{"hidden", true}}).status, 200);
    EventLine events(*tv);
    const std::string fresh = ada.upload(family, makePhoto(files.file("new.jpg"), {"--seed", "77"}));
    ASSERT_TRUE(events.next("content"));
    const auto rest = show(query, 20, 20);
    seen.insert(seen.end(), rest.begin(), rest.end());
    const std::set<std::string> once(seen.begin(), seen.end());
    EXPECT_EQ(seen.size(), 39U);
    EXPECT_EQ(once.size(), 39U) << "each once, and all but the hidden one";
    EXPECT_EQ(once.count(hidden), 0U);
    const auto next = show(query, 40, 40);
    EXPECT_EQ(std::count(next.begin(), next.end(), fresh), 1) << "it is in the next round";
}

TEST_F(Couch, ShowsThisDayInEveryYear)
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char day[32];
    std::strftime(day, sizeof day, ":%m:%d 12:00:00", &parts);
    for (const char* const year : {"2008", "2016", "2020"})
        addPhotos(family, 2, {"--taken", std::string(year) + day});
    parts.tm_mday = parts.tm_mday == 1 ? 2 : 1;
    std::strftime(day, sizeof day, ":%m:%d 12:00:00", &parts);
    addPhotos(family, 5, {"--taken", std::string("2016") + day});
    startAndRead();
    const Json page = tv->json("/api/show?of=day&order=time&group=" + family);
    EXPECT_EQ(page["total"], 6);
    EXPECT_EQ(page["items"][0]["created"].get<std::string>().substr(0, 4), "2020");
    EXPECT_EQ(page["items"][5]["created"].get<std::string>().substr(0, 4), "2008");
    char month[32];
    std::strftime(month, sizeof month, "2016-%m", &parts);
    EXPECT_EQ(tv->json("/api/show?of=" + std::string(month))["total"], 7);
    EXPECT_EQ(tv->json("/api/show?of=1999-01")["total"], 0);
    EXPECT_THAT(tv->json("/api/show?of=1999-01")["items"], IsEmpty());
    for (const char* const query : {"of=everything", "order=sideways", "count=0", "index=-1", "seed=x", "of=2016-13"})
        EXPECT_EQ(tv->get(std::string("/api/show?") + query).status, 400) << query;
    EXPECT_EQ(tv->get("/api/show?group=999").status, 404);
}

TEST_F(Couch, MarksAndHides)
{
    addPhotos(family, 5);
    startAndRead();
    const auto ids = idsOf(contentsOf(family)["contents"]);
    EXPECT_EQ(tv->change("PUT", "/api/contents/" + ids[1] + "/mark", {{"marked", true}}).status, 200);
    EXPECT_EQ(tv->change("PUT", "/api/contents/" + ids[2] + "/mark", {{"marked", true}}).status, 200);
    EXPECT_EQ(tv->change("PUT", "/api/contents/" + ids[2] + "/mark", {{"marked", false}}).status, 200);
    EventLine events(*tv);
    EXPECT_EQ(tv->change("PUT", "/api/contents/" + ids[3] + "/hide", {{"hidden", true}}).status, 200);
    EXPECT_EQ(events.next("deleted")->data["content_id"], ids[3]);
    const Json contents = contentsOf(family);
    EXPECT_EQ(contents["total"], 4);
    EXPECT_THAT(idsOf(contents["contents"]), ElementsAre(ids[0], ids[1], ids[2], ids[4]));
    EXPECT_EQ(contents["contents"][1]["marked"], true);
    EXPECT_EQ(contents["contents"][3]["index"], 3);
    EXPECT_THAT(idsOf(tv->json("/api/marked")["contents"]), ElementsAre(ids[1]));
    EXPECT_THAT(idsOf(tv->json("/api/hidden")["contents"]), ElementsAre(ids[3]));
    EXPECT_THAT(idsOf(tv->json("/api/show?of=marked")["items"]), ElementsAre(ids[1]));
    tv->kill();
    startAndRead();
    EXPECT_THAT(idsOf(tv->json("/api/marked")["contents"]), ElementsAre(ids[1]));
    EXPECT_EQ(contentsOf(family)["total"], 4);
    EventLine again(*tv);
    EXPECT_EQ(tv->change("PUT", "/api/contents/" + ids[3] + "/hide", {{"hidden", false}}).status, 200);
    EXPECT_EQ(again.next("content")->data["index"], 3);
    EXPECT_EQ(idsOf(contentsOf(family)["contents"]), ids);
    EXPECT_EQ(tv->change("PUT", "/api/contents/none/mark", {{"marked", true}}).status, 404);
    EXPECT_EQ(tv->change("PUT", "/api/contents/" + ids[3] + "/mark", {{"marked", "yes"}}).status, 400);
}

TEST_F(Couch, KeepsItsSettings)
{
    start();
    const Json first = tv->json("/api/settings");
    EXPECT_EQ(first["seconds"], 8);
    EXPECT_EQ(first["order"], "shuffle");
    EXPECT_TRUE(first["night"].is_null());
    EventLine events(*tv);
    const Json wanted = {{"seconds", 0.5}, {"night", {{"from", "22:00"}, {"to", "07:30"}}}, {"phrases", {"Oh!", "\xE2\x9D\xA4"}}};
    EXPECT_EQ(tv->change("PUT", "/api/settings", wanted).status, 200);
    EXPECT_EQ(events.next("settings")->data["seconds"], 0.5);
    tv->kill();
    start();
    const Json kept = tv->json("/api/settings");
    for (const auto& [name, value] : wanted.items())
        EXPECT_EQ(kept[name], value) << name;
    EXPECT_EQ(tv->json("/api/state")["settings"], kept);
    const char* const wrong[] = {R"({"seconds":0})",          R"({"seconds":"8"})",
                                 R"({"order":"sideways"})",   R"({"night":{"from":"25:00","to":"07:00"}})",
                                 R"({"night":{"from":"7"}})", R"({"clock":1})",
                                 R"({"phrases":[""]})",       R"({"none":1})",
                                 R"({"language":"xx"})",      R"({"idle_minutes":-1})"};
    for (const char* const text : wrong)
        EXPECT_EQ(tv->change("PUT", "/api/settings", Json::parse(text)).status, 400) << text;
    EXPECT_EQ(tv->json("/api/settings"), kept) << "what is wrong changes nothing";
    EXPECT_EQ(tv->send("PUT", "/api/settings", {{"Cookie", tv->cookie()}, {"Origin", "http://" + tv->address()}}, "{}").status,
              400);
}

TEST_F(Couch, WantsPicturesInAdvance)
{
    addPhotos(family, 3);
    startAndRead();
    const auto ids = idsOf(contentsOf(family)["contents"]);
    Json pictures = Json::array();
    for (const std::string& id : ids)
        pictures.push_back({{"id", id}, {"size", "screen"}});
    EXPECT_EQ(tv->change("POST", "/api/watching", {{"contents", pictures}, {"tab", "a"}}).status, 200);
    // What was wanted is there when the service is away.
    const std::uint64_t wanted = 3;
    ASSERT_TRUE(reaches("thumbnail", wanted));
    ASSERT_TRUE(comesTrue([&] {
        return std::all_of(ids.begin(), ids.end(),
                           [&](const std::string& id) { return tv->get("/media/" + id + "/screen").status == 200; });
    }));
    service.kill();
    for (const std::string& id : ids)
        EXPECT_EQ(tv->get("/media/" + id + "/screen").status, 200);
    const Json wrong[] = {"1", Json::array({"1"}), Json::parse(R"([{"id":"1","size":"huge"}])"),
                          Json::parse(R"([{"size":"grid"}])"), Json::parse(R"([{"id":"1","size":"full","width":"wide"}])")};
    for (const Json& contents : wrong)
        EXPECT_EQ(tv->change("POST", "/api/watching", {{"contents", contents}}).status, 400) << contents;
}

} // namespace
