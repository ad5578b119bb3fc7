// SPDX-License-Identifier: MIT
// Lanes and media to a service behind TLS, and what they say of one that is not to be trusted or not encrypted.
#include "ClientFixture.h"
#include "support/TlsFront.h"

#include <mutex>

using namespace test;
using namespace kinloom;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class TlsLane : public ClientTest, public testing::WithParamInterface<Lane::Place> {
protected:
    TlsLane() : front(service.port(), authority.issue())
    {
        writeFile(files.file("ca.pem"), authority.certificate());
        onWarning([this](const std::string& sentence) {
            const std::lock_guard<std::mutex> lock(mutex);
            warnings.push_back(sentence);
        });
    }
    ~TlsLane() override { onWarning(nullptr); }

    /// Settings that lead to a service at https://photos.example, which is that port of this computer.
    Settings over(const TlsFront& server) const
    {
        Settings result = settings();
        leadTo(result.client, "https://photos.example");
        result.client.connectTo = {"photos.example:443:127.0.0.1:" + std::to_string(server.port())};
        result.client.caFile = files.file("ca.pem");
        return result;
    }
    std::vector<std::string> warned()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return warnings;
    }

    Authority authority;
    TlsFront front;
    std::mutex mutex;
    std::vector<std::string> warnings;
};

INSTANTIATE_TEST_SUITE_P(, TlsLane, testing::Values(Lane::Place::HERE, Lane::Place::HELPER),
                         [](const auto& place) { return place.param == Lane::Place::HERE ? "Here" : "Helper"; });

TEST_P(TlsLane, DoesEverythingOverTls)
{
    Lane lane(over(front), GetParam());
    EXPECT_EQ(lane.address(), "https://photos.example");
    const std::string group = createGroup(lane, "Summer");
    const std::string content = uploadPhoto(lane, group);
    const std::string url = lane.call(ViewContent{content}).value().getResourceURL();
    EXPECT_TRUE(lane.call(DownloadFile{url, files.path(), "copy.gif", ""}).ok());
    EXPECT_EQ(readFile(files.file("copy.gif")), readFile(files.file("picture.gif")));
    EXPECT_EQ(lane.call(AskMimeType{url}).value(), "image/gif");
    EXPECT_TRUE(lane.call(CreateComment{content, "sealed"}).ok());
    EXPECT_FALSE(front.names().empty());
    for (const std::string& name : front.names())
        EXPECT_EQ(name, "photos.example");
    EXPECT_GT(front.received(), readFile(files.file("picture.gif")).size());
    EXPECT_THAT(warned(), IsEmpty());
}

TEST_P(TlsLane, SaysWhatIsWrongWithACertificate)
{
    CertificateWish wish;
    wish.from = -7200;
    wish.until = -3600;
    const TlsFront expired(service.port(), authority.issue(wish));
    Lane lane(over(expired), GetParam());
    for (int i = 0; i < 2; ++i) {
        const auto outcome = lane.call(ListGroups());
        ASSERT_EQ(kindOf(outcome), FailureKind::FAILED);
        EXPECT_EQ(outcome.failure().status, W::WSTATUS_UNREACHABLE);
        EXPECT_THAT(outcome.failure().text(), HasSubstr("cannot sign in: the certificate of photos.example has expired"));
        EXPECT_EQ(outcome.failure().address, "https://photos.example");
    }
    EXPECT_EQ(expired.received(), 0U);
}

TEST_P(TlsLane, DoesNotTellACauseOfAnEarlierCall)
{
    Settings changing = over(front);
    changing.client.caFile.clear();
    Lane untrusting(changing, GetParam());
    EXPECT_THAT(untrusting.call(ListGroups()).failure().detail, HasSubstr("no authority"));
    Settings nowhere = settings();
    leadTo(nowhere.client, "http://127.0.0.1:1");
    Lane lost(nowhere, GetParam());
    const auto outcome = lost.call(ListGroups());
    ASSERT_EQ(kindOf(outcome), FailureKind::FAILED);
    EXPECT_THAT(outcome.failure().detail, AllOf(HasSubstr("http://127.0.0.1:1"), Not(HasSubstr("authority"))));
}

TEST_P(TlsLane, WarnsOnceOfCredentialsThatLeaveTheHouseAsTheyAre)
{
    // The service is the proxy, so the endpoint may be anywhere.
    Settings open = settings();
    open.client.connectTo.clear();
    open.client.proxy = service.url();
    Lane lane(open, GetParam());
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(lane.call(ListGroups()).ok());
    ASSERT_EQ(warned().size(), 1U);
    EXPECT_THAT(warned()[0], HasSubstr(endpoint().text() + " is not encrypted"));
}

TEST_P(TlsLane, WarnsOfNothingWithinTheHouse)
{
    Lane lane(settings(), GetParam());
    EXPECT_TRUE(lane.call(ListGroups()).ok());
    EXPECT_THAT(warned(), IsEmpty());
}

class TlsMedia : public TlsLane {};

TEST_F(TlsMedia, SayWhatIsWrongToo)
{
    Lane lane(over(front));
    const std::string group = createGroup(lane, "Summer");
    const std::string url = lane.call(ViewContent{uploadPhoto(lane, group)}).value().getResourceURL();
    Media media;
    MediaOrder order;
    order.url = url;
    EXPECT_EQ(media.fetch(order).outcome().value().body, readFile(files.file("picture.gif")));
    W::HttpOptions options = over(front).client;
    options.caFile.clear();
    W::setHttpOptions(options);
    const auto outcome = media.fetch(order).outcome();
    ASSERT_EQ(kindOf(outcome), FailureKind::FAILED);
    EXPECT_EQ(outcome.failure().status, W::WSTATUS_UNREACHABLE);
    EXPECT_THAT(outcome.failure().text(), HasSubstr("no authority that this computer trusts vouches for"));
    options.leadTo.clear();
    options.connectTo = {"::127.0.0.1:1"};
    W::setHttpOptions(options);
    EXPECT_THAT(media.fetch(order).outcome().failure().detail, Not(HasSubstr("authority")));
}

} // namespace
