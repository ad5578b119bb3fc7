// SPDX-License-Identifier: MIT
// Uploads: the slot first, then the file.
#include "plugin/support/Facade.h"

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

const STRING BASE = KLService::getBaseURL() + "/openapi/service/kinloom/";

class Upload : public SignedInTest {
protected:
    void SetUp() override
    {
        SignedInTest::SetUp();
        photo = folder.write("photo.jpg", STRING(4321, 'x'));
        content = contentWith("mine", "image/jpeg");
        grantSlot();
    }
    /// Answers what comes on the calling thread with a slot, and holds the rest.
    void grantSlot(const fake::Answer& answer = fake::reply(documents::slot()))
    {
        fake::answerWith([answer](const fake::Seen& seen) { return seen.executed ? answer : fake::held(); });
    }
    WSTATUS upload(UINT32 type = KL_CONTENT_PHOTO)
    {
        return oai->createContent(groupWith("g1"), content, static_cast<KL_CONTENT_TYPE>(type), photo,
                                  Callback<WGroup, WContent, STRING>::call, &recorder);
    }
    Call outcome(const fake::Answer& answer)
    {
        EXPECT_EQ(upload(), 0);
        finish(fake::requestCount() - 1, answer);
        const Call call = recorder.only();
        recorder.clear();
        return call;
    }
    std::pair<double, double> progress()
    {
        std::pair<double, double> now(-1, -1);
        EXPECT_EQ(oai->progressStatus(provider(), now.first, now.second, nullptr), 0);
        return now;
    }
    /// The text of a refusal that leaves nothing behind.
    void expectRefused(std::size_t requests)
    {
        EXPECT_EQ(fake::requestCount(), requests);
        EXPECT_EQ(oai->countCMD(), 0u);
        EXPECT_EQ(fake::liveRequests(), 0u);
        EXPECT_EQ(recorder.count(), 0u);
    }

    TempFolder folder;
    STRING photo;
    WContent content;
};

} // namespace

// --- The first request

TEST_F(Upload, AsksForASlotOnTheCallersThread)
{
    ASSERT_EQ(upload(), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_TRUE(seen.executed);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, BASE + "g1/upload");
    EXPECT_EQ(seen.body, "type=photo&file_size=4321");
    ASSERT_EQ(seen.header.size(), 2u);
    EXPECT_EQ(seen.header[0].second, service().session()->authorization);
    EXPECT_EQ(seen.header[1].first, "DATE");
}

TEST_F(Upload, SendsADescriptionAsItIs)
{
    content.setDescription("us & them");
    ASSERT_EQ(upload(), 0);
    EXPECT_EQ(fake::request(0).body, "type=photo&description=us & them&file_size=4321");
}

TEST_F(Upload, SendsNoSizeForAMissingFile)
{
    photo = folder.file("none.jpg");
    ASSERT_EQ(upload(), 0);
    EXPECT_EQ(fake::request(0).body, "type=photo&");
    EXPECT_EQ(fake::request(1).postFieldsSize, 0);
    EXPECT_EQ(fake::request(1).form.at(0).file, photo);
}

TEST_F(Upload, SendsNoSizeForAnEmptyFile)
{
    photo = folder.write("empty.jpg", "");
    content.setDescription("nothing");
    ASSERT_EQ(upload(), 0);
    EXPECT_EQ(fake::request(0).body, "type=photo&description=nothing&");
}

TEST_F(Upload, RefusesEverythingButPhotosBeforeAnyRequest)
{
    for (const UINT32 type : {2u, 3u, 0u, 4u, 0xFFFFFFFFu}) {
        log->clear();
        ASSERT_EQ(cancel(), 0);
        EXPECT_EQ(upload(type), -1) << type;
        EXPECT_THAT(facadeLog(), ElementsAre(-1));
        EXPECT_FALSE(oai->isCancelRequested()); // the operation had begun
        expectRefused(0);
    }
}

TEST_F(Upload, RefusesAnEmptyPathGroupOrMIMEType)
{
    ASSERT_EQ(cancel(), 0);
    const auto start = [&](const STRING& group, const STRING& mimeType, const STRING& path) {
        return oai->createContent(groupWith(group), contentWith("mine", mimeType), KL_CONTENT_PHOTO, path,
                                  Callback<WGroup, WContent, STRING>::call, &recorder);
    };
    EXPECT_EQ(start("g1", "image/jpeg", ""), -1);
    EXPECT_EQ(start("", "image/jpeg", photo), -1);
    EXPECT_EQ(start("g1", "", photo), -1);
    EXPECT_THAT(facadeLog(), ElementsAre(-1, -1, -1));
    EXPECT_TRUE(oai->isCancelRequested()); // nothing had begun
    expectRefused(0);
}

TEST_F(Upload, PassesOnAFirstRequestThatFails)
{
    grantSlot(fake::failure(SESSION_UNREACHABLE));
    EXPECT_EQ(upload(), -100);
    EXPECT_THAT(log->entries().at(0), serviceEntry(-100, 318));
    EXPECT_THAT(facadeLog(), ElementsAre(-100));
    expectRefused(1);
}

TEST_F(Upload, IsRefusedWithoutASlot)
{
    for (const fake::Answer& answer : {fake::reply(documents::slot("")), fake::reply(documents::slot("c77", "")),
                                       fake::reply(documents::OK), fake::reply(documents::slot(), 403), fake::reply(500),
                                       fake::reply(documents::NOT_XML), fake::reply(documents::FAIL), fake::reply("")}) {
        fake::reset();
        grantSlot(answer);
        EXPECT_EQ(upload(), -1) << answer.payload;
        expectRefused(1);
    }
}

TEST_F(Upload, IsRegisteredWhileItAsksForASlot)
{
    std::size_t registered = 0;
    fake::answerWith([&](const fake::Seen& seen) {
        if (seen.executed)
            registered = oai->countCMD();
        return seen.executed ? fake::reply(documents::slot()) : fake::held();
    });
    ASSERT_EQ(upload(), 0);
    EXPECT_EQ(registered, 1u);
    EXPECT_EQ(oai->countCMD(), 1u);
}

// --- The upload

TEST_F(Upload, SendsTheFileToTheSlot)
{
    ASSERT_EQ(upload(), 0);
    const fake::Seen slot = fake::request(0);
    const fake::Seen seen = fake::request(1);
    EXPECT_FALSE(seen.executed);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, documents::UPLOAD_URL);
    EXPECT_EQ(seen.header, slot.header);
    ASSERT_EQ(seen.form.size(), 1u);
    EXPECT_EQ(seen.form[0].name, "filename");
    EXPECT_EQ(seen.form[0].contentType, "image/jpeg");
    EXPECT_EQ(seen.form[0].file, photo);
    EXPECT_EQ(seen.postFieldsSize, 4321);
}

TEST_F(Upload, PassesOnASecondRequestThatIsRefused)
{
    fake::answerWith([](const fake::Seen&) {
        fake::refuseNext(-13);
        return fake::reply(documents::slot());
    });
    EXPECT_EQ(upload(), -13);
    EXPECT_THAT(log->entries().at(0), serviceEntry(-13, 445));
    EXPECT_THAT(facadeLog(), ElementsAre(-13));
    expectRefused(1);
}

TEST_F(Upload, GivesMinus3WhenTheSecondRequestCannotBeMade)
{
    fake::failConstruction(1);
    EXPECT_EQ(upload(), -3);
    EXPECT_THAT(log->entries().at(0), serviceEntry(-3, 418));
    expectRefused(1);
}

TEST_F(Upload, IsRefusedForAFolder)
{
    photo = folder.path();
    EXPECT_EQ(upload(), -1);
    EXPECT_EQ(fake::request(0).body, "type=photo&");
    EXPECT_THAT(log->entries().at(0), serviceEntry(-1, 404));
    expectRefused(1);
}

TEST_F(Upload, IsTheCurrentTransfer)
{
    ASSERT_EQ(upload(), 0);
    fake::setProgress(1, 1000, 4321);
    EXPECT_EQ(progress(), (std::pair<double, double>(1000, 4321)));
}

TEST_F(Upload, IsTrackedASecondAndAThirdTime)
{
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(upload(), 0);
        const std::size_t number = fake::requestCount() - 1;
        EXPECT_EQ(progress(), (std::pair<double, double>(0, 0)));
        fake::setProgress(number, 10 + round, 4321);
        EXPECT_EQ(progress(), (std::pair<double, double>(10 + round, 4321)));
        finish(number, fake::reply(documents::contents(1)));
        EXPECT_EQ(progress(), (std::pair<double, double>(0, 0)));
    }
}

// --- The reply

TEST_F(Upload, DeliversTheContentThatTheServiceMade)
{
    const Call call = outcome(fake::reply(documents::contents(1)));
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WGroup>(0).getUID(), "g1");
    EXPECT_EQ(call.value<WContent>(1).getUID(), "c1");
    EXPECT_EQ(call.value<STRING>(2), photo);
}

TEST_F(Upload, DeliversTheContentAsGivenWhenTheReplyHoldsNone)
{
    for (const fake::Answer& answer : {fake::reply(documents::OK), fake::reply(documents::FAIL), fake::reply(documents::NOT_XML),
                                       fake::reply(documents::contents(1), 409), fake::failure(SESSION_CUT_OFF)}) {
        const Call call = outcome(answer);
        EXPECT_EQ(call.value<WContent>(1).getUID(), "mine");
        EXPECT_EQ(call.value<WContent>(1).getMIMEType(), "image/jpeg");
        EXPECT_EQ(call.value<STRING>(2), photo);
    }
}

TEST_F(Upload, ReportsWhatBecameOfIt)
{
    EXPECT_EQ(outcome(fake::reply(documents::OK)).status, 0);
    EXPECT_EQ(outcome(fake::reply(documents::FAIL)).status, -16);
    EXPECT_EQ(outcome(fake::reply(409)).status, -203);
    EXPECT_EQ(outcome(fake::failure(SESSION_FILE_ERROR)).status, -5);
}

TEST_F(Upload, DropsTheOtherRequestsOnSuccessToo)
{
    Recorder other;
    ASSERT_EQ(oai->viewContent(contentWith("c9"), Callback<WContent>::call, &other), 0);
    outcome(fake::reply(documents::contents(1)));
    EXPECT_EQ(fake::heldCount(), 0u);
    EXPECT_EQ(other.count(), 0u);
    EXPECT_EQ(oai->countCMD(), 0u);
    EXPECT_THAT(fake::flushes(), Not(IsEmpty()));
}

TEST_F(Upload, StopsWhenItIsCancelled)
{
    ASSERT_EQ(upload(), 0);
    fake::setProgress(1, 1000, 4321);
    ASSERT_EQ(cancel(), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_TRUE(recorder.only().isCancel);
    EXPECT_TRUE(exists(photo)); // the source is nobody's to delete
    EXPECT_EQ(progress(), (std::pair<double, double>(0, 0)));
}

// --- The slot

TEST_F(Upload, ReadsTheSlot)
{
    WContent target;
    HttpResponse response;
    response.setHttpResponseCode(HTTP_OK);
    response.setPayload(documents::slot("c5", "http://up.example/5"));
    EXPECT_EQ(oai->getUploadUrlDone(response, target), 0);
    EXPECT_EQ(target.getUID(), "c5");
    EXPECT_EQ(target.getResourceURL(), "http://up.example/5");
}

TEST_F(Upload, MapsTheCodeOfASlotThatWasRefused)
{
    WContent target;
    HttpResponse response;
    response.setPayload(documents::slot());
    const std::pair<UINT32, WSTATUS> codes[] = {{201, 0}, {403, -205}, {404, -205}, {500, -107}, {503, -16}};
    for (const auto& [code, status] : codes) {
        response.setHttpResponseCode(static_cast<HTTP_RESPONSE_CODE>(code));
        EXPECT_EQ(oai->getUploadUrlDone(response, target), status);
        EXPECT_EQ(target.getUID(), "");
    }
}
