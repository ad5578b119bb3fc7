// SPDX-License-Identifier: MIT
// How every kind of request reaches the client, and every way in which it does not.
#include "plugin/support/Service.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr const char* URL = "http://openapi.kinloom.example/x?a=b";

class Dispatch : public ServiceTest {};

/// A call of the service that takes a command.
struct DispatchCase {
    const char* name;
    WSTATUS (*call)(KLService& service, KLServiceCMD* command, const TempFolder& folder);
    int notCreated; ///< line of the report when the request cannot be made
    int refused;    ///< line of the report when the client refuses it
};

const DispatchCase DISPATCHES[] = {
    {"Get",
     [](KLService& service, KLServiceCMD* command, const TempFolder&) { return service.getDataRequest(URL, {}, "", command); }, 607,
     612},
    {"Post",
     [](KLService& service, KLServiceCMD* command, const TempFolder&) { return service.postDataRequest(URL, {}, "a=b", command); },
     360, 365},
    {"UploadOfAFile",
     [](KLService& service, KLServiceCMD* command, const TempFolder& folder) {
         return service.postDataRequest(URL, {{"filename", "image/jpeg"}}, {}, command, folder.write("photo.jpg", "photo"), 5);
     },
     418, 445},
    {"UploadWithFields",
     [](KLService& service, KLServiceCMD* command, const TempFolder& folder) {
         return service.postDataRequest(URL, {{"title", "us"}}, {}, {{"filename", "image/jpeg"}}, command,
                                        folder.write("photo.jpg", "photo"));
     },
     418, 445},
    {"Download",
     [](KLService& service, KLServiceCMD* command, const TempFolder& folder) {
         return service.retrieveFData(URL, "", command, folder.file("saved.jpg"));
     },
     655, 671},
    {"Logout", [](KLService& service, KLServiceCMD* command, const TempFolder&) { return service.logout(command); }, 233, 238},
    {"Login", [](KLService& service, KLServiceCMD* command, const TempFolder&) { return service.login(URL, {}, "a=b", command); },
     360, 365},
    {"LoginWithAnAnswer",
     [](KLService& service, KLServiceCMD* command, const TempFolder&) {
         return service.login("user", "secret", "challenge", "answer", URL, {}, "a=b", command);
     },
     360, 365},
};

class EachDispatch : public ServiceTest, public testing::WithParamInterface<DispatchCase> {
protected:
    WSTATUS call(KLServiceCMD* command) { return GetParam().call(*service, command, folder); }
};

} // namespace

TEST_F(Dispatch, SendsAGetWithItsHeadersInOrder)
{
    EXPECT_EQ(service->getDataRequest(URL, someHeaders(), "", new CountedCMD), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_EQ(seen.url, URL);
    EXPECT_THAT(seen.header, ElementsAre(Pair("Authorization", " me"), Pair("DATE", "today"), Pair("appToken", "")));
    EXPECT_EQ(seen.body, "");
    EXPECT_EQ(seen.path, "");
    EXPECT_FALSE(seen.hasForm);
    EXPECT_FALSE(seen.executed);
}

TEST_F(Dispatch, SendsAPostWithItsBody)
{
    EXPECT_EQ(service->postDataRequest(URL, someHeaders(), "a=1&b=two words", new CountedCMD), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, URL);
    EXPECT_THAT(seen.header, ElementsAre(Pair("Authorization", " me"), Pair("DATE", "today"), Pair("appToken", "")));
    EXPECT_EQ(seen.body, "a=1&b=two words");
}

TEST_F(Dispatch, SendsADownloadWithoutHeaders)
{
    EXPECT_EQ(service->retrieveFData(URL, "ignored", new CountedCMD, folder.file("saved.jpg")), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_THAT(seen.header, IsEmpty());
    EXPECT_EQ(seen.path, folder.file("saved.jpg"));
}

TEST_F(Dispatch, AddsNothingToTheUrlAndTakesNothingFromIt)
{
    for (const STRING& url : {STRING("http://h.example/a//b?&c=d&"), STRING("http://h.example/"), STRING("http://h.example/?x")}) {
        EXPECT_EQ(service->getDataRequest(url, {}, "", new CountedCMD), 0);
        EXPECT_EQ(fake::requests().back().url, url);
    }
}

TEST_F(Dispatch, HandsReplyAndCommandToTheRoutine)
{
    fake::answerNext(fake::reply("a payload", 418));
    auto* const command = new CountedCMD;
    EXPECT_EQ(service->getDataRequest(URL, {}, "", command), 0);
    const std::vector<Completed> all = completed();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].status, SESSION_DONE);
    EXPECT_EQ(all[0].code, 418u);
    EXPECT_EQ(all[0].payload, "a payload");
    EXPECT_EQ(all[0].command, command);
    EXPECT_TRUE(all[0].onWorker);
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(Dispatch, HandsOnAnySessionStatusUnchanged)
{
    fake::answerNext(fake::failure(static_cast<SESSION_STATUS>(0xABCDEF)));
    EXPECT_EQ(service->getDataRequest(URL, {}, "", new CountedCMD), 0);
    const std::vector<Completed> all = completed();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].status, 0xABCDEFu);
}

TEST_F(Dispatch, RefusesADownloadWithoutAPath)
{
    EXPECT_EQ(service->retrieveFData(URL, "", new CountedCMD, ""), -1);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-1, 645)));
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Dispatch, WorksWithoutARoutine)
{
    service->setFnCallbackPtr(nullptr);
    service->setFnDropPtr(nullptr);
    EXPECT_EQ(service->getDataRequest(URL, {}, "", new CountedCMD), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    fake::refuseNext(-16);
    EXPECT_EQ(service->getDataRequest(URL, {}, "", new CountedCMD), -16);
    EXPECT_EQ(CountedCMD::alive(), 0);
}

TEST_F(Dispatch, ReturnsTheRoutineThatItWasGiven)
{
    KLService fresh("Kinloom", kinloomProvider());
    EXPECT_EQ(fresh.getFnCallbackPtr(), nullptr);
    fresh.setFnCallbackPtr(cbFnRequestCompleted);
    EXPECT_EQ(fresh.getFnCallbackPtr(), cbFnRequestCompleted);
}

TEST_F(Dispatch, RefusesAHeaderThatWouldSmuggleInAnother)
{
    for (const STRING& value : {STRING("a\r\nEvil: 1"), STRING("a\nb"), STRING("a\rb"), STRING("a\0b", 3)}) {
        EXPECT_LT(service->getDataRequest(URL, {{"DATE", value}}, "", new CountedCMD), 0);
        EXPECT_EQ(CountedCMD::alive(), 0);
    }
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Dispatch, FreesAContextThatIsInTheListOnly)
{
    auto* const args = new KLServiceArgs{service.get(), new CountedCMD};
    service->cleanupARGS(args); // not in the list: left alone
    EXPECT_EQ(CountedCMD::alive(), 1);
    service->addARGS(args);
    service->cleanupARGS(args);
    EXPECT_EQ(CountedCMD::alive(), 0);
    service->cleanupARGS(nullptr);
}

TEST_F(Dispatch, IgnoresACompletionWithoutAContext)
{
    cbKLFnCallback(SESSION_DONE, nullptr, nullptr);
    HttpRequest request(HTTP_REQUEST_GET, URL, HttpHeader(), "", cbKLFnCallback, nullptr);
    cbKLFnCallback(SESSION_DONE, &request, nullptr); // the request stays the caller's
    EXPECT_THAT(completed(), IsEmpty());
}

TEST_F(Dispatch, CompletesAContextWithoutARequest)
{
    auto* const command = new CountedCMD;
    auto* const args = new KLServiceArgs{service.get(), command};
    service->addARGS(args);
    cbKLFnCallback(SESSION_CUT_OFF, nullptr, args);
    const std::vector<Completed> all = completed();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].command, command);
    EXPECT_EQ(CountedCMD::alive(), 0);
}

TEST_F(Dispatch, FlushesWhatIsLiveWhenTheServiceGoes)
{
    fake::answerAll(fake::held());
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(service->getDataRequest(URL, {}, "", new CountedCMD), 0);
    service.reset();
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_THAT(completed(), IsEmpty());
}

// --- What each of the calls does alike

TEST_P(EachDispatch, TagsTheRequestWithTheProvider)
{
    ASSERT_EQ(call(new CountedCMD), 0);
    EXPECT_EQ(fake::request(0).id, static_cast<unsigned long long>(kinloomProvider().getID()));
}

TEST_P(EachDispatch, CompletesOnceOnTheWorkerAndFreesEverything)
{
    auto* const command = new CountedCMD;
    ASSERT_EQ(call(command), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    const std::vector<Completed> all = completed();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].command, command);
    EXPECT_TRUE(all[0].onWorker);
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_THAT(log->entries(), IsEmpty());
}

TEST_P(EachDispatch, GivesMinus3WhenTheRequestCannotBeMade)
{
    fake::failConstruction();
    auto* const command = new CountedCMD;
    EXPECT_EQ(call(command), -3);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-3, GetParam().notCreated)));
    EXPECT_THAT(dropped(), ElementsAre(command));
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_THAT(completed(), IsEmpty());
}

TEST_P(EachDispatch, PassesOnTheClientsRefusal)
{
    fake::refuseNext(-13);
    auto* const command = new CountedCMD;
    EXPECT_EQ(call(command), -13);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-13, GetParam().refused)));
    EXPECT_THAT(dropped(), ElementsAre(command));
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_THAT(completed(), IsEmpty());
}

TEST_P(EachDispatch, LeavesNothingBehindWhenItIsFlushed)
{
    fake::answerAll(fake::held());
    auto* const command = new CountedCMD;
    ASSERT_EQ(call(command), 0);
    EXPECT_EQ(CountedCMD::alive(), 1);
    service->flushHttpRequests();
    EXPECT_THAT(dropped(), ElementsAre(command));
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_EQ(fake::liveRequests(), 0u);
    EXPECT_THAT(completed(), IsEmpty());
}

TEST_P(EachDispatch, IsRefusedOnceTheServiceIsClosed)
{
    fake::answerAll(fake::held());
    auto* const earlier = new CountedCMD;
    ASSERT_EQ(call(earlier), 0);
    service->close();
    EXPECT_EQ(fake::liveRequests(), 0u);
    auto* const later = new CountedCMD;
    EXPECT_EQ(call(later), -3);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-3, GetParam().notCreated)));
    EXPECT_THAT(dropped(), ElementsAre(earlier, later));
    EXPECT_EQ(CountedCMD::alive(), 0);
}

INSTANTIATE_TEST_SUITE_P(Every, EachDispatch, testing::ValuesIn(DISPATCHES),
                         [](const auto& test) { return STRING(test.param.name); });
