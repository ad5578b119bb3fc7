// SPDX-License-Identifier: MIT
// The television where something goes wrong: in one group of many, on the way, on the disk, at the end.
#include "Detour.h"
#include "TvFixture.h"
#include "support/Wait.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

using namespace test;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

class Trouble : public TvTest {
protected:
    Trouble() { through = detour.url(); }

    /// Pictures that are in the cache.
    std::size_t picturesKept() const
    {
        std::size_t count = 0;
        std::error_code none;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(place.cache() + "/pictures/pictures", none))
            count += entry.is_regular_file() ? 1 : 0;
        return count;
    }
    void startWithSmallFiles(unsigned long bytes)
    {
        signInAs("Ada", place);
        TvProcess::Settings full = settings(place);
        full.fileSizeLimit = bytes;
        // Before a program's first instruction the thread sanitizer writes a file, which would be the end of it; where there is no
        // folder for that it does without.
        full.environment["TMPDIR"] = place.cache() + "/none";
        tv = std::make_unique<TvProcess>(full);
        waitUntilRead();
    }

    std::string family = ada.createGroup("Family");
    Detour detour{service.url()};
};

class TroubleInAGroup : public Trouble, public testing::WithParamInterface<int> {};

TEST_P(TroubleInAGroup, DoesNotKeepTheOthersWaiting)
{
    const std::string garden = ada.createGroup("Garden");
    addPhotos(family, 3);
    addPhotos(garden, 3);
    detour.rule([this](const RawRequest& request) -> std::optional<RawReply> {
        if (!holds(request.target(), "/" + family + "/feeds"))
            return std::nullopt;
        return RawReply::status(GetParam(), "no document");
    });
    start();
    const auto isRead = [](const Json& groups, const std::string& id) {
        for (const Json& group : groups["groups"])
            if (group["id"] == id && group["complete"] == true && group["total"] == 3)
                return true;
        return false;
    };
    EXPECT_TRUE(isRead(tv->until("/api/groups", [&](const Json& groups) { return isRead(groups, garden); }), garden));
    EventLine events(*tv);
    const std::string fresh = ada.upload(garden, makePhoto(files.file("new.jpg"), {"--seed", "77"}));
    const auto told = events.next("content");
    ASSERT_TRUE(told);
    EXPECT_EQ(told->data["content_id"], fresh);
    const std::string old = idsOf(contentsOf(garden)["contents"]).back();
    ada.ok({"content", "delete", "--yes", old});
    const auto gone = events.next("deleted");
    ASSERT_TRUE(gone);
    EXPECT_EQ(gone->data["content_id"], old);
    detour.rule({});
    EXPECT_TRUE(comesTrue([&] { return isRead(tv->json("/api/groups"), family); })) << "it is tried again";
}

INSTANTIATE_TEST_SUITE_P(All, TroubleInAGroup, testing::Values(500, 400, 200));

TEST_F(Trouble, LosesWhatIsDeletedWhileAGroupIsReadAgain)
{
    addPhotos(family, 2500);
    startAndRead();
    const auto ids = idsOf(contentsOf(family)["contents"]);
    const auto rest = idsOf(contentsOf(family, "index=2000&count=1000")["contents"]);
    // What leads to the reading is far behind; what stood in the page before goes when the second one is asked for.
    std::atomic<bool> done{false};
    detour.rule([&](const RawRequest& request) -> std::optional<RawReply> {
        if (holds(request.target(), "search_before=" + ids[999] + "&") && !done.exchange(true))
            ada.ok({"content", "delete", "--yes", ids[5]});
        return std::nullopt;
    });
    ada.ok({"content", "delete", "--yes", rest[400]});
    // The list of groups tells the total before the photos themselves are gone.
    const Json contents = tv->until("/api/groups/" + family + "/contents?index=0&count=1000", [&](const Json& answer) {
        const auto left = idsOf(answer["contents"]);
        return done && answer["total"] == 2498 && std::find(left.begin(), left.end(), ids[5]) == left.end();
    });
    EXPECT_TRUE(done);
    EXPECT_EQ(contents["total"], 2498);
    EXPECT_THAT(idsOf(contents["contents"]), Not(Contains(ids[5])));
}

TEST_F(Trouble, KeepsAGroupThatMovesWhileTheListIsRead)
{
    const std::string moving = ada.createGroup("Moving");
    const std::string first = ada.upload(moving, makePhoto(files.file("a.jpg")));
    for (int number = 0; number < 110; ++number)
        ada.createGroup("Group " + std::to_string(number));
    startAndRead();
    ASSERT_EQ(tv->json("/api/groups")["groups"].size(), 112U);
    EventLine events(*tv);
    std::atomic<bool> begun{false};
    std::atomic<bool> done{false};
    std::string fresh; // written before `done`, and read after it
    detour.rule([&](const RawRequest& request) -> std::optional<RawReply> {
        if (holds(request.target(), "group.list") && holds(request.target(), "search_index=100") && !begun.exchange(true)) {
            fresh = ada.upload(moving, makePhoto(files.file("new.jpg"), {"--seed", "77"}));
            done = true;
        }
        return std::nullopt;
    });
    bool whole = true;
    while (const auto event = events.next()) {
        whole = whole && event->name != "reset";
        if (event->name == "content")
            break;
    }
    EXPECT_TRUE(done);
    EXPECT_TRUE(whole) << "it was taken for gone";
    EXPECT_THAT(idsOf(contentsOf(moving)["contents"]), testing::UnorderedElementsAre(first, fresh));
}

TEST_F(Trouble, LeavesNothingOfAGroupThatIsGone)
{
    const std::string garden = ada.createGroup("Garden");
    addPhotos(garden, 3);
    startAndRead();
    const auto ids = idsOf(contentsOf(garden)["contents"]);
    for (const std::string& id : ids)
        ASSERT_EQ(tv->get("/media/" + id + "/grid").status, 200);
    EXPECT_EQ(tv->change("PUT", "/api/contents/" + ids[1] + "/hide", {{"hidden", true}}).status, 200);
    ASSERT_EQ(picturesKept(), 3U);
    ada.ok({"group", "delete", "--yes", garden});
    EXPECT_TRUE(comesTrue([&] { return picturesKept() == 0; })) << "what was hidden here goes as well";
    EXPECT_EQ(tv->get("/media/" + ids[1] + "/grid").status, 404);
}

TEST_F(Trouble, AnswersSoonWithWhatItKnows)
{
    addPhotos(family, 2);
    startAndRead();
    const auto ids = idsOf(contentsOf(family)["contents"]);
    detour.rule([](const RawRequest& request) -> std::optional<RawReply> {
        return holds(request.target(), "/view") ? std::optional(RawReply().stall()) : std::nullopt;
    });
    const auto begin = Clock::now();
    const Json stalled = tv->json("/api/contents/" + ids[0]);
    EXPECT_LT(Clock::now() - begin, 9s) << "without what is known it would be ten";
    EXPECT_EQ(stalled["complete"], false);
    EXPECT_EQ(stalled["content"]["id"], ids[0]);
    detour.rule([](const RawRequest& request) -> std::optional<RawReply> {
        return holds(request.target(), "/view") ? RawReply().stall() : RawReply::status(503);
    });
    ASSERT_EQ(tv->until("/api/state", [](const Json& state) { return state["service"] == "away"; })["service"], "away");
    const auto again = Clock::now();
    EXPECT_EQ(tv->json("/api/contents/" + ids[1])["complete"], false);
    EXPECT_LT(Clock::now() - again, 3s) << "that it is away is known already";
}

TEST_F(Trouble, LetsGoOfWhatNobodyWaitsFor)
{
    addPhotos(family, 1);
    startAndRead();
    const std::string id = idsOf(contentsOf(family)["contents"])[0];
    std::atomic<int> stalled{0};
    detour.rule([&](const RawRequest& request) -> std::optional<RawReply> {
        if (!holds(request.target(), "/88888"))
            return std::nullopt;
        ++stalled;
        return RawReply().stall();
    });
    {
        HttpConnection one(tv->address());
        HttpConnection two(tv->address());
        for (HttpConnection* const page : {&one, &two})
            page->send("GET /api/contents/88888" + std::to_string(page == &one ? 1 : 2) + " HTTP/1.1\r\nHost: " + tv->address() +
                       "\r\nCookie: " + tv->cookie() + "\r\n\r\n");
        ASSERT_TRUE(comesTrue([&] { return stalled == 2; }));
    }
    const auto begin = Clock::now();
    EXPECT_TRUE(comesTrue([&] { return tv->json("/api/contents/" + id)["complete"] == true; }));
    EXPECT_LT(Clock::now() - begin, 8s) << "pages that have gone do not keep others waiting";
}

TEST_F(Trouble, WritesACommentOnceThoughItsAnswerIsLost)
{
    const std::string id = ada.upload(family, makePhoto(files.file("a.jpg")));
    startAndRead();
    std::atomic<int> sent{0};
    detour.rule([&](const RawRequest& request) -> std::optional<RawReply> {
        if (!holds(request.target(), "/comment"))
            return std::nullopt;
        ++sent;
        detour.handOn(request);
        return RawReply().close();
    });
    const std::string target = "/api/contents/" + id + "/comments";
    EXPECT_EQ(tv->change("POST", target, {{"text", "Fine"}}).status, 503);
    EXPECT_EQ(sent, 1);
    detour.rule({});
    const HttpReply again = tv->change("POST", target, {{"text", "Fine"}});
    EXPECT_EQ(again.status, 201);
    EXPECT_FALSE(Json::parse(again.body)["id"].is_null());
    EXPECT_EQ(ada.json({"content", "show", id})["comments"].size(), 1U);
    EXPECT_EQ(tv->change("POST", target, {{"text", "Fine"}}).status, 201);
    EXPECT_EQ(ada.json({"content", "show", id})["comments"].size(), 2U) << "said twice on purpose";
}

TEST_F(Trouble, KeepsNoPictureOfWhomItIsNotSure)
{
    addPhotos(family, 3);
    const std::string duid = signInAs("Ada", place);
    startAndRead();
    const auto ids = idsOf(contentsOf(family)["contents"]);
    ASSERT_EQ(tv->get("/media/" + ids[0] + "/grid").status, 200);
    const auto loseIndex = [&] {
        tv->kill();
        std::filesystem::remove(place.cache() + "/index.db-wal");
        writeFile(place.cache() + "/index.db", "this is no database");
        ASSERT_EQ(picturesKept(), 1U);
    };
    loseIndex();
    ASSERT_EQ(kinloomd_test::runKinloomd({"device", "remove", duid, "--data", data.path()}).exitCode, 0);
    start();
    EXPECT_TRUE(comesTrue([&] { return tv->json("/api/state")["service"] == "refused" && picturesKept() == 0; }));

    // The same where somebody has taken the credentials away.
    tv.reset();
    signInAs("Ada", place);
    startAndRead();
    ASSERT_EQ(tv->get("/media/" + ids[0] + "/grid").status, 200);
    loseIndex();
    std::filesystem::remove(place.config());
    tv = std::make_unique<TvProcess>(settings(place));
    EXPECT_EQ(picturesKept(), 0U);
}

TEST_F(Trouble, HidesThoughTheDiskIsFull)
{
    addPhotos(family, 5);
    startWithSmallFiles(0);
    const auto ids = idsOf(contentsOf(family)["contents"]);
    for (int press = 0; press < 2; ++press) {
        const HttpReply reply = tv->change("PUT", "/api/contents/" + ids[2] + "/hide", {{"hidden", true}});
        EXPECT_EQ(reply.status, 507) << "nothing is kept";
        EXPECT_EQ(contentsOf(family)["total"], 4) << "it holds until the program ends";
    }
    EXPECT_THAT(idsOf(tv->json("/api/hidden")["contents"]), testing::ElementsAre(ids[2]));
}

TEST_F(Trouble, ShowsThoughTheDiskIsFull)
{
    addPhotos(family, 3000);
    startWithSmallFiles(12'000);
    for (const char* const index : {"0", "2990", "3000"}) {
        const HttpReply page = tv->get(std::string("/api/show?of=all&order=shuffle&seed=3&count=10&index=") + index);
        ASSERT_EQ(page.status, 200) << page.body;
        EXPECT_EQ(Json::parse(page.body)["items"].size(), 10U);
    }
}

TEST_F(Trouble, EndsWellAtAnyMoment)
{
    addPhotos(family, 3000);
    signInAs("Ada", place);
    for (int moment = 0; moment < 8; ++moment) {
        tv = std::make_unique<TvProcess>(settings(place));
        for (int picture = 1; picture < 20; ++picture)
            HttpConnection(tv->address())
                .send("GET /media/" + std::to_string(picture) + "/grid HTTP/1.1\r\nHost: " + tv->address() +
                      "\r\nCookie: " + tv->cookie() + "\r\n\r\n");
        std::this_thread::sleep_for(moment * 60ms); // what matters is where it is then
        EXPECT_EQ(tv->stop(), 0) << tv->log();
    }
}

class GuestsOfTheShow : public Trouble {
protected:
    Json guests() const { return tv->json("/api/state")["guests"]; }
    void letIn(const std::string& group)
    {
        ASSERT_EQ(tv->change("POST", "/api/guests", {{"group", group}}).status, 200);
        ASSERT_FALSE(guests().is_null());
    }
};

TEST_F(GuestsOfTheShow, EndWithTheirGroup)
{
    const std::string garden = ada.createGroup("Garden");
    addPhotos(garden, 1);
    startAndRead({"--lan", "127.0.0.1:0"});
    const EventLine page(*tv);
    letIn(garden);
    ada.ok({"group", "delete", "--yes", garden});
    EXPECT_TRUE(comesTrue([&] { return tv->json("/api/groups")["groups"].size() == 1; }));
    EXPECT_TRUE(comesTrue([&] { return guests().is_null(); }));
}

TEST_F(GuestsOfTheShow, EndWhenNoPageIsOpenAnyMore)
{
    startAndRead({"--lan", "127.0.0.1:0"});
    const auto begin = Clock::now();
    {
        EventLine page(*tv);
        letIn(family);
        const auto seen = Clock::now() + 6s; // longer than it would last with nobody there
        EXPECT_TRUE(comesTrue([&] { return Clock::now() > seen || guests().is_null(); }));
        EXPECT_FALSE(guests().is_null());
    }
    EXPECT_GE(Clock::now() - begin, 6s);
    EXPECT_TRUE(comesTrue([&] { return guests().is_null(); }));
}

} // namespace
