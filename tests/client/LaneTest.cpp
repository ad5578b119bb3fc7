// SPDX-License-Identifier: MIT
// One lane, in this program and in a helper.
#include "ClientFixture.h"

#include "plugin/Library.h"

#include <thread>

using namespace test;
using namespace kinloom;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string nameOfPlace(const testing::TestParamInfo<Lane::Place>& info)
{
    return info.param == Lane::Place::HERE ? "Here" : "InAHelper";
}

/// What holds wherever the plugin is.
class EveryLane : public ClientTest, public testing::WithParamInterface<Lane::Place> {
protected:
    Lane lane{settings(), GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Places, EveryLane, testing::Values(Lane::Place::HERE, Lane::Place::HELPER), nameOfPlace);

TEST_P(EveryLane, MakesEveryOperation)
{
    EXPECT_TRUE(lane.call(RegisterDevice()).ok());
    EXPECT_TRUE(lane.call(SignIn()).ok());
    const W::WPerson person = lane.call(AskPerson()).value();
    EXPECT_EQ(person.getName(), "Ada");
    EXPECT_FALSE(person.getUID().empty());
    const std::string name = "Summer & sea + \xC3\xBC/?#%";
    const W::WGroup group = lane.call(CreateGroup{name, "a b"}).value();
    EXPECT_EQ(group.getName(), name);
    const auto groups = lane.call(ListGroups()).value();
    ASSERT_EQ(groups.size(), 1U);
    EXPECT_EQ(groups.front().getName(), name);
    EXPECT_EQ(groups.front().getDescription(), "a b");

    const std::string picture = makePicture(files.file("picture.gif"));
    const std::string id = lane.call(UploadPhoto{group.getUID(), picture, "image/gif", "A dot & more"}).value().getUID();
    ASSERT_FALSE(id.empty());
    ReadFeed feed;
    feed.group = group.getUID();
    feed.before = "0";
    ASSERT_EQ(lane.call(feed).value().size(), 1U);

    EXPECT_TRUE(lane.call(CreateComment{id, "Fine & well"}).ok());
    const W::WContent content = lane.call(ViewContent{id}).value();
    EXPECT_EQ(content.getDescription(), "A dot & more");
    ASSERT_EQ(content.getComments().size(), 1U);
    EXPECT_EQ(content.getDownloader(), nullptr) << "it belongs to a plugin object that is not the program's";
    EXPECT_FALSE(content.getThumbnails().empty());
    const std::string comment = content.getComments().front().getUID();
    EXPECT_EQ(lane.call(ViewComment{comment}).value().getComment(), "Fine & well");

    EXPECT_EQ(lane.call(AskMimeType{content.getResourceURL()}).value(), "image/gif");
    EXPECT_TRUE(lane.call(DownloadFile{content.getResourceURL(), files.path(), "again.gif", "again"}).ok());
    EXPECT_EQ(readFile(files.file("again.gif")), readFile(picture));

    EXPECT_TRUE(lane.call(DeleteComment{comment}).ok());
    EXPECT_TRUE(lane.call(DeleteContent{id}).ok());
    EXPECT_TRUE(lane.call(DeleteGroup{group.getUID()}).ok());
    EXPECT_THAT(lane.call(ListGroups()).value(), IsEmpty());
    EXPECT_EQ(hits("auth"), 2U) << "one session for all of them, and one more for who it is";
}

TEST_P(EveryLane, TellsOfAFailureWhatItWas)
{
    const auto gone = lane.call(ViewContent{"123456789"});
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.failure().kind, FailureKind::FAILED);
    EXPECT_EQ(gone.failure().status, W::WSTATUS_REJECTED);
    EXPECT_EQ(gone.failure().attempt, "cannot show the content");
    EXPECT_EQ(gone.failure().address, service.url());
    EXPECT_THAT(gone.failure().text(), HasSubstr("there is no content"));

    EXPECT_EQ(kindOf(lane.call(DeleteGroup{".."})), FailureKind::INVALID);
    const auto foreign = lane.call(UploadPhoto{"987654", makePicture(files.file("p.gif")), "image/gif", ""});
    EXPECT_EQ(kindOf(foreign), FailureKind::REFUSED);
    EXPECT_THAT(foreign.failure().text(), HasSubstr("a group of yours?"));
    EXPECT_TRUE(lane.call(ListGroups()).ok()) << "and goes on";
}

TEST_P(EveryLane, TellsWhatTheServiceSaidOfAFailure)
{
    const CallFailure gone = lane.call(ViewContent{"123456789"}).failure();
    EXPECT_EQ(gone.httpCode, 404U);
    EXPECT_EQ(gone.retryAfter, -1);
    EXPECT_EQ(gone.cause, "There is nothing here.");

    const std::string picture = makePicture(files.file("p.gif"));
    const std::string group = createGroup(lane, "Summer");
    setFault("upload:status=503*1");
    EXPECT_EQ(lane.call(UploadPhoto{group, picture, "image/gif", ""}).failure().httpCode, 503U) << "of the place for it";
    setFault("upload.file:status=502*1");
    EXPECT_EQ(lane.call(UploadPhoto{group, picture, "image/gif", ""}).failure().httpCode, 502U) << "of the file";
    const std::string url = lane.call(ViewContent{uploadPhoto(lane, group)}).value().getResourceURL();
    setFault("media:status=429*1");
    EXPECT_EQ(lane.call(AskMimeType{url}).failure().httpCode, 429U);

    const CallFailure refused = lane.call(UploadPhoto{"", picture, "image/gif", ""}).failure();
    EXPECT_EQ(refused.httpCode, 0U) << "nothing was asked, and what was before is forgotten";
    setFault("upload:reset*1");
    const CallFailure broken = lane.call(UploadPhoto{group, picture, "image/gif", ""}).failure();
    EXPECT_EQ(broken.httpCode, 0U);
    EXPECT_NE(broken.cause, "");
}

TEST_P(EveryLane, TellsWhyItCannotSignIn)
{
    setFault("auth:status=503*1");
    const CallFailure failure = lane.call(ListGroups()).failure();
    EXPECT_EQ(failure.attempt, "cannot sign in");
    EXPECT_EQ(failure.httpCode, 503U);
}

TEST_P(EveryLane, MakesItsPluginAnewAfterACallThatIsOutOfPatience)
{
    ASSERT_TRUE(lane.call(ListGroups()).ok());
    setFault("group.list:delay=10000*1"); // of the next one, where this has not even been sent
    CallOptions options;
    options.patience = std::chrono::milliseconds(200);
    const auto outcome = lane.call(ListGroups(), options);
    EXPECT_EQ(kindOf(outcome), FailureKind::TIMED_OUT);
    EXPECT_EQ(outcome.failure().status, W::WSTATUS_TIMED_OUT);
    EXPECT_TRUE(lane.call(ListGroups()).ok());
    EXPECT_EQ(hits("auth"), 2U) << "signed in again";
}

TEST_P(EveryLane, EndsACallThatIsInterrupted)
{
    ASSERT_TRUE(lane.call(ListGroups()).ok());
    setFault("group.list:delay=60000*1");
    CallOptions options;
    Interruption bell;
    options.interruption = bell;
    std::thread person([&] {
        EXPECT_TRUE(reaches("group.list", 2));
        bell.ring();
    });
    EXPECT_EQ(kindOf(lane.call(ListGroups(), options)), FailureKind::INTERRUPTED);
    person.join();
    const std::uint64_t before = hits("group.list");
    EXPECT_EQ(kindOf(lane.call(ListGroups(), options)), FailureKind::INTERRUPTED) << "what is begun later too";
    EXPECT_EQ(hits("group.list"), before);
    EXPECT_TRUE(lane.call(ListGroups()).ok());
}

TEST_P(EveryLane, SaysOfAChangeThatNobodyKnowsWhetherItWasMade)
{
    ASSERT_TRUE(lane.call(ListGroups()).ok());
    CallOptions options;
    Interruption bell;
    options.interruption = bell;
    setFault("group.create:delay=60000*1");
    std::thread person([&] {
        EXPECT_TRUE(reaches("group.create", 1));
        bell.ring();
    });
    const CallFailure interrupted = lane.call(CreateGroup{"Summer", ""}, options).failure();
    person.join();
    EXPECT_EQ(interrupted.kind, FailureKind::INTERRUPTED);
    EXPECT_TRUE(interrupted.unsettled);
    EXPECT_FALSE(lane.call(CreateGroup{"Summer", ""}, options).failure().unsettled) << "it was not begun";

    setFault("group.create:cut-after=10*1");
    const CallFailure cut = lane.call(CreateGroup{"Autumn", ""}).failure();
    EXPECT_EQ(cut.status, W::WSTATUS_CONNECTION_LOST);
    EXPECT_TRUE(cut.unsettled);
    const std::string group = createGroup(lane, "Winter");
    const std::string id = uploadPhoto(lane, group);
    setFault("view:cut-after=10*1");
    EXPECT_FALSE(lane.call(CreateComment{id, "x"}).failure().unsettled) << "only its look at the content had begun";
    EXPECT_FALSE(lane.call(DeleteGroup{"987654"}).failure().unsettled) << "the service says no";
    setFault("group.list:cut-after=10*1");
    EXPECT_FALSE(lane.call(ListGroups()).failure().unsettled) << "it changes nothing";
}

TEST_P(EveryLane, AnAnswerThatSignsNobodyInIsThatOfAnotherService)
{
    setFault("auth:garbage*1");
    const CallFailure failure = lane.call(ListGroups()).failure();
    EXPECT_EQ(failure.reason, FailureReason::UNEXPECTED_ANSWER);
    EXPECT_EQ(failure.attempt, "cannot sign in");
    EXPECT_THAT(failure.text(), HasSubstr("what answers at " + service.url() + " does not sign this device in"));
    setFault("upload:garbage*1");
    const auto photo = lane.call(UploadPhoto{createGroup(lane, "Summer"), makePicture(files.file("p.gif")), "image/gif", ""});
    EXPECT_EQ(photo.failure().reason, FailureReason::UNEXPECTED_ANSWER);
    EXPECT_THAT(photo.failure().text(), HasSubstr("names no place"));
}

TEST_P(EveryLane, SignsInAgainWhenTheServiceHasForgotten)
{
    ASSERT_TRUE(lane.call(ListGroups()).ok());
    setFault("group.list:status=401*1");
    EXPECT_EQ(lane.call(ListGroups()).failure().status, W::WSTATUS_NOT_LOGGED_IN);
    EXPECT_TRUE(lane.call(ListGroups()).ok());
    EXPECT_EQ(hits("auth"), 2U);
}

TEST_P(EveryLane, CallsOfSeveralThreadsTakeTurns)
{
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            for (int call = 0; call < 10; ++call) {
                const bool refused = (i + call) % 4 == 0;
                if (refused)
                    EXPECT_EQ(kindOf(lane.call(ViewContent{"123456789"})), FailureKind::FAILED);
                else
                    EXPECT_TRUE(lane.call(ListGroups()).ok());
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_P(EveryLane, NamesTheOptionThatIsMissing)
{
    Settings bare = settings();
    bare.options.erase("duid");
    Lane unconfigured(bare, GetParam());
    const auto outcome = unconfigured.call(ListGroups());
    EXPECT_EQ(kindOf(outcome), FailureKind::REFUSED);
    EXPECT_THAT(outcome.failure().text(), HasSubstr("duid is not set"));
}

TEST_P(EveryLane, RefusesAFileThatIsNoPlugin)
{
    struct {
        std::string file;
        FailureKind kind;
        const char* says;
    } const cases[] = {
        {files.file("missing.so"), FailureKind::NOT_LOADED, "missing.so"},
        {makePicture(files.file("picture.so")), FailureKind::NOT_LOADED, "picture.so"},
        {WHOST_LIBRARY, FailureKind::NOT_A_PLUGIN, "createPlugin"},
        {NONE_PLUGIN, FailureKind::FAILED, "makes no plugin"},
        {OTHER_PLUGIN, FailureKind::NOT_A_PLUGIN, "another service, 'Other'"},
    };
    for (const auto& entry : cases) {
        Settings broken = settings();
        broken.plugin = entry.file;
        Lane strange(broken, GetParam());
        const auto outcome = strange.call(ListGroups());
        EXPECT_EQ(kindOf(outcome), entry.kind) << entry.file;
        EXPECT_THAT(outcome.failure().text(), HasSubstr(entry.says));
    }
}

TEST_P(EveryLane, TellsOfAnUnreachableServiceByItsAddress)
{
    Settings nowhere = settings();
    nowhere.client.connectTo = {routeTo("http://127.0.0.1:1")};
    Lane lost(nowhere, GetParam());
    const auto outcome = lost.call(ListGroups());
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.failure().status, W::WSTATUS_UNREACHABLE);
    EXPECT_EQ(outcome.failure().attempt, "cannot sign in");
    EXPECT_THAT(outcome.failure().text(), HasSubstr("http://127.0.0.1:1"));
}

class LocalLaneTest : public ClientTest {};

TEST_F(LocalLaneTest, LanesOfOneProcessTakeTurnsAndLoseNoCall)
{
    Lane first(settings());
    Lane second(settings());
    const auto work = [&](Lane& lane, int offset) {
        for (int call = 0; call < 20; ++call) {
            if ((call + offset) % 3 == 0)
                EXPECT_EQ(lane.call(ViewContent{"123456789"}).failure().status, W::WSTATUS_REJECTED);
            else
                EXPECT_TRUE(lane.call(ListGroups()).ok());
        }
    };
    std::thread beside([&] { work(second, 1); });
    work(first, 0);
    beside.join();
}

TEST_F(LocalLaneTest, EndOfALaneWaitsForTheCallOfAnother)
{
    Lane first(settings());
    auto second = std::make_unique<Lane>(settings());
    ASSERT_TRUE(first.call(ListGroups()).ok());
    ASSERT_TRUE(second->call(ListGroups()).ok());
    setFault("group.list:delay=500*1");
    std::thread beside([&] { EXPECT_TRUE(first.call(ListGroups()).ok()); });
    EXPECT_TRUE(reaches("group.list", 3));
    second.reset(); // at once, and drops nothing
    beside.join();
}

TEST_F(LocalLaneTest, CallThatAnotherObjectDropsEndsAtOnce)
{
    Lane lane(settings());
    ASSERT_TRUE(lane.call(ListGroups()).ok());
    auto other = std::make_unique<Plugin>(std::make_shared<Library>(KINLOOM_PLUGIN));
    setFault("group.list:delay=60000*1");
    std::thread beside([&] {
        EXPECT_TRUE(reaches("group.list", 2));
        other.reset();
    });
    EXPECT_EQ(kindOf(lane.call(ListGroups())), FailureKind::DROPPED);
    beside.join();
    EXPECT_TRUE(lane.call(ListGroups()).ok());
    EXPECT_EQ(hits("auth"), 2U);
}

TEST_F(LocalLaneTest, ProgressComesOnTheCallersThreadAndACancelLeavesNoFile)
{
    Lane lane(settings());
    const std::string group = createGroup(lane, "Summer");
    const std::string url = lane.call(ViewContent{uploadPhoto(lane, group)}).value().getResourceURL();
    setFault("media:stall-after=10*1");
    Interruption bell;
    CallOptions options;
    options.interruption = bell;
    const auto caller = std::this_thread::get_id();
    int reports = 0;
    options.progress = [&](double done, double) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        ++reports;
        if (done >= 10)
            bell.ring();
    };
    EXPECT_EQ(kindOf(lane.call(DownloadFile{url, files.path(), "half.gif", "half"}, options)), FailureKind::INTERRUPTED);
    EXPECT_GT(reports, 0);
    EXPECT_FALSE(exists(files.file("half.gif")));
    EXPECT_TRUE(lane.call(ListGroups()).ok());
    EXPECT_EQ(hits("auth"), 1U) << "a transfer that was cancelled in time leaves the session as it was";
}

} // namespace
