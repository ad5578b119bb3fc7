// SPDX-License-Identifier: MIT
#include "KeptMedia.h"
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <atomic>
#include <filesystem>
#include <mutex>
#include <set>
#include <sys/socket.h>
#include <thread>

namespace {

using namespace kinloomd_test;

class Upload : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
    }

    std::string slot(const std::string& form = "type=photo&") { return field(anna().reserve(m_group, form), "uploadUrl"); }
    std::string slotOfSize(std::size_t size) { return slot("type=photo&file_size=" + std::to_string(size)); }

    std::size_t contents()
    {
        return Xml(anna().get(ServiceClient::path(m_group + "/feeds?&search_before=latest")).body).count("//contentId");
    }
    std::size_t filesIn(const std::string& folder)
    {
        std::size_t files = 0;
        std::error_code gone; // a file may go while it is looked at
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_data + "/" + folder))
            files += entry.is_regular_file(gone) ? 1 : 0;
        return files;
    }
    void expectNothingKept()
    {
        EXPECT_EQ(contents(), 0U);
        EXPECT_EQ(countOriginals(m_data), 0U);
        EXPECT_EQ(filesIn("thumbnails"), 0U);
        EXPECT_EQ(filesIn("tmp"), 0U);
    }

    HttpReply sendBody(const std::string& url, const std::string& body,
                       const std::string& type = "multipart/form-data; boundary=BB")
    {
        return anna().post(targetOf(url), body, {{"Content-Type", type}});
    }

    std::string m_group;
};

TEST_F(Upload, ReservesAPlaceWithAnAddress)
{
    const HttpReply reply = anna().reserve(m_group, "type=photo&description=x&file_size=100");
    ASSERT_EQ(reply.status, 200);
    const Xml xml(reply.body);
    EXPECT_EQ(xml.text("/rsp/result/stat"), "ok");
    EXPECT_NE(xml.text("/rsp/data/contentId"), "");
    EXPECT_EQ(xml.text("/rsp/data/uploadUrl"),
              "http://openapi.kinloom.example/openapi/service/kinloom/" + xml.text("/rsp/data/contentId") + "/upload.file");
    expectNothingKept();
}

class PictureFormat : public Upload, public ::testing::WithParamInterface<const char*> {};

TEST_P(PictureFormat, ArrivesByteForByte)
{
    TestPicture picture = makePicture(300, 200, GetParam());
    const HttpReply reply = anna().upload(m_group, picture, "text");
    ASSERT_EQ(reply.status, 200) << reply.body;
    const Xml xml(reply.body);
    EXPECT_EQ(xml.text("/rsp/data/content/contentDesc"), "text");
    EXPECT_EQ(xml.text("//width"), "300");
    const HttpReply original = request(port(), "GET", targetOf(field(reply, "contentUrl")));
    EXPECT_EQ(original.status, 200);
    EXPECT_EQ(original.body, picture.bytes);
    EXPECT_EQ(original.header("content-type"), picture.mimeType);
    EXPECT_EQ(contents(), 1U);
    expectConsistent();
}

INSTANTIATE_TEST_SUITE_P(All, PictureFormat, ::testing::Values(".jpg", ".png", ".webp", ".gif", ".heic"));

TEST_F(Upload, MakesThumbnailsOfTheThreeSizes)
{
    const HttpReply reply = anna().upload(m_group, makePicture(2400, 1800, ".jpg", 6));
    const std::pair<const char*, std::pair<int, int>> sizes[] = {{"contentThumbnail_1920X1080", {810, 1080}},
                                                                 {"contentThumbnail_540X405", {304, 405}},
                                                                 {"contentThumbnail_116X87", {65, 87}}};
    for (const auto& [name, size] : sizes) {
        const HttpReply thumbnail = request(port(), "GET", targetOf(field(reply, name)));
        ASSERT_EQ(thumbnail.status, 200) << name;
        EXPECT_EQ(thumbnail.header("content-type"), "image/jpeg");
        const auto seen = lookAt(thumbnail.body);
        ASSERT_TRUE(seen);
        EXPECT_NEAR(seen->width, size.first, 1);
        EXPECT_NEAR(seen->height, size.second, 1);
    }
}

TEST_F(Upload, WithoutAnnouncedSizeTakesWhatComes)
{
    EXPECT_EQ(anna().sendFile(slot("type=photo&description=x&"), anotherPicture()).status, 200);
    EXPECT_EQ(anna().sendFile(slot("type=photo&file_size=0"), anotherPicture()).status, 200);
    EXPECT_EQ(contents(), 2U);
}

TEST_F(Upload, OfAnotherSizeThanAnnouncedIsRefused)
{
    const std::size_t size = smallPicture().bytes.size();
    EXPECT_EQ(anna().sendFile(slotOfSize(size + 1), smallPicture()).status, 400);
    EXPECT_EQ(anna().sendFile(slotOfSize(size - 1), smallPicture()).status, 400);
    expectNothingKept();
}

TEST_F(Upload, OfOtherKindsIsRefusedBeforeAnythingIsSent)
{
    for (const char* form : {"type=video&file_size=10", "type=music&", "type=text&", "type=", "", "description=x",
                             "type=photo&file_size=x", "type=photo&file_size=-1"})
        EXPECT_EQ(anna().reserve(m_group, form).status, 400) << form;
    EXPECT_EQ(anna().reserve(m_group, "type=photo&file_size=99999999999").status, 413);
}

TEST_F(Upload, OfAFileThatIsNotWhatItIsSaidToBeIsRefused)
{
    TestPicture picture = smallPicture();
    for (const char* type : {"image/png", "image/svg+xml", "video/mp4", "application/octet-stream", ""}) {
        picture.mimeType = type;
        EXPECT_EQ(anna().upload(m_group, picture).status, 400) << type;
    }
    expectNothingKept();
}

TEST_F(Upload, OfAFileWithoutAPicturesHeaderIsRefused)
{
    for (const char* suffix : {".jpg", ".png", ".webp", ".gif", ".heic"}) {
        TestPicture picture = makePicture(640, 480, suffix);
        picture.bytes.resize(9);
        EXPECT_EQ(anna().upload(m_group, picture).status, 400) << suffix;
    }
    TestPicture tiff = smallPicture();
    tiff.mimeType = "image/tiff";
    tiff.bytes = std::string("II*\0\x08\0\0\0", 8) + tiff.bytes;
    EXPECT_EQ(anna().upload(m_group, tiff).status, 400);
    TestPicture empty = smallPicture();
    empty.bytes.clear();
    EXPECT_EQ(anna().upload(m_group, empty).status, 400);
    TestPicture script = smallPicture();
    script.bytes = "<svg xmlns='http://www.w3.org/2000/svg'><image href='file:///etc/passwd'/></svg>";
    EXPECT_EQ(anna().upload(m_group, script).status, 400);
    expectNothingKept();
}

TEST_F(Upload, WithTooManyPixelsIsRefused)
{
    m_settings.arguments = {"--max-pixels", "10000"};
    restart();
    EXPECT_EQ(anna().upload(m_group, makePicture(101, 100)).status, 400);
    expectNothingKept();
    EXPECT_EQ(anna().upload(m_group, makePicture(100, 100)).status, 200);
}

TEST_F(Upload, TakesAPlaceOnce)
{
    const std::string url = slot();
    EXPECT_EQ(anna().sendFile(url, smallPicture()).status, 200);
    EXPECT_EQ(anna().sendFile(url, makePicture(32, 32)).status, 409);
    EXPECT_EQ(contents(), 1U);
    expectConsistent();
}

TEST_F(Upload, ThatComesAgainIsTheSameContent)
{
    const TestPicture picture = makePicture(300, 200);
    const std::string url = slot();
    const HttpReply first = anna().sendFile(url, picture);
    ASSERT_EQ(first.status, 200);
    // To the same place, to a place of its own, and to that once more.
    const std::string other = slot();
    for (const std::string& again : {url, other, other}) {
        const HttpReply reply = anna().sendFile(again, picture);
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(reply.body, first.body);
    }
    EXPECT_EQ(contents(), 1U);
    EXPECT_EQ(countOriginals(m_data), 1U);
    EXPECT_EQ(request(port(), "GET", targetOf(field(first, "contentUrl"))).body, picture.bytes);
    expectConsistent();
}

TEST_F(Upload, ThatComesAgainAfterTheContentIsDeletedIsANewOne)
{
    const std::string first = anna().uploadPhoto(m_group, smallPicture());
    ASSERT_EQ(anna().post(ServiceClient::path(first + "/delete"), "").status, 200);
    EXPECT_NE(anna().uploadPhoto(m_group, smallPicture()), first);
    EXPECT_EQ(contents(), 1U);
    expectConsistent();
}

TEST_F(Upload, OfTheSameBytesFromElsewhereOrToAnotherGroupIsANewContent)
{
    addMember(m_group, "Ben");
    const std::string first = anna().uploadPhoto(m_group, smallPicture());
    EXPECT_NE(ben().uploadPhoto(m_group, smallPicture()), first);
    const DeviceCredentials second = addDevice(m_data, "Anna");
    EXPECT_NE(ServiceClient(port(), second).uploadPhoto(m_group, smallPicture()), first);
    EXPECT_NE(anna().uploadPhoto(anna().createGroup("Others"), smallPicture()), first);
    EXPECT_EQ(contents(), 3U);
    expectConsistent();
}

TEST_F(Upload, OfTheSameBytesManyTimesAtOnceIsOneContent)
{
    const TestPicture picture = makePicture(300, 200);
    std::vector<std::thread> threads;
    threads.reserve(6);
    std::mutex mutex;
    std::set<std::string> ids;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([&] {
            const std::string id = anna().uploadPhoto(m_group, picture);
            const std::lock_guard<std::mutex> lock(mutex);
            ids.insert(id);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(ids.size(), 1U);
    EXPECT_EQ(contents(), 1U);
    EXPECT_EQ(countOriginals(m_data), 1U);
    expectConsistent();
}

TEST_F(Upload, IsRefusedWhileAnotherGoesToTheSamePlace)
{
    const std::string url = slot();
    const std::string body = multipartBody(smallPicture(), "BB");
    const std::string bytes = requestBytes("POST", targetOf(url), body,
                                           {{"Authorization", authorizationOf(m_anna)},
                                            {"Content-Type", "multipart/form-data; boundary=BB"},
                                            {"Expect", "100-continue"}});
    Wire first(port());
    const std::size_t head = bytes.size() - body.size();
    ASSERT_TRUE(first.send(bytes.substr(0, head)));
    // The service asks for the body: from here on the place is taken.
    char answer[25];
    ASSERT_EQ(::recv(first.socket(), answer, sizeof answer, MSG_WAITALL), 25);
    EXPECT_EQ(sendBody(url, body).status, 409);
    ASSERT_TRUE(first.send(body));
    EXPECT_EQ(first.receive().status, 200);
    EXPECT_EQ(contents(), 1U);
    expectConsistent();
}

TEST_F(Upload, ThatBreaksOffLeavesNothing)
{
    const std::string url = slot();
    const std::string body = multipartBody(makePicture(800, 600), "BB");
    {
        Wire wire(port());
        const std::string bytes =
            requestBytes("POST", targetOf(url), body,
                         {{"Authorization", authorizationOf(m_anna)}, {"Content-Type", "multipart/form-data; boundary=BB"}});
        wire.send(bytes.substr(0, bytes.size() - 100));
    }
    // The place is free again once the service has noticed.
    HttpReply again;
    do {
        again = sendBody(url, body);
    } while (again.status == 409);
    EXPECT_EQ(again.status, 200);
    EXPECT_EQ(countOriginals(m_data), 1U);
    EXPECT_EQ(contents(), 1U);
    // Thumbnails are under way there, too.
    while (filesIn("tmp") != 0)
        std::this_thread::yield();
}

class MalformedBody : public Upload, public ::testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(MalformedBody, IsRefused)
{
    EXPECT_EQ(sendBody(slot(), GetParam().second, GetParam().first).status, 400);
    expectNothingKept();
}

constexpr const char* MULTIPART = "multipart/form-data; boundary=BB";

INSTANTIATE_TEST_SUITE_P(
    Bodies, MalformedBody,
    ::testing::Values(
        std::pair{"application/x-www-form-urlencoded", "a=b"}, std::pair{"multipart/form-data", "--BB--"}, std::pair{MULTIPART, ""},
        std::pair{MULTIPART, "nonsense"}, std::pair{MULTIPART, "--BB--\r\n"},
        std::pair{MULTIPART, "--BB\r\nContent-Disposition: form-data; name=\"note\"\r\n\r\nx\r\n--BB--\r\n"},
        std::pair{MULTIPART,
                  "--BB\r\nContent-Disposition: form-data; name=\"filename\"; filename=\"a\"\r\nContent-Type: image/jpeg\r\n\r\nx"},
        std::pair{MULTIPART, "--BB\r\nbroken\r\n\r\nx\r\n--BB--"}));

TEST_F(Upload, OfTwoFilesAtOnceIsRefused)
{
    std::string body = multipartBody(smallPicture(), "BB");
    body.resize(body.size() - 4);
    body += "\r\n" + multipartBody(smallPicture(), "BB").substr(0);
    EXPECT_EQ(sendBody(slot(), body).status, 400);
    expectNothingKept();
}

TEST_F(Upload, PassesOverPartsThatAreNoFile)
{
    const std::string body =
        "--BB\r\nContent-Disposition: form-data; name=\"file_size\"\r\n\r\n1\r\n" + multipartBody(smallPicture(), "BB");
    EXPECT_EQ(sendBody(slot(), body).status, 200);
}

TEST_F(Upload, NamesTheFileSafely)
{
    for (const auto& [given, kept] :
         {std::pair{"../../../etc/passwd", "passwd.jpg"}, std::pair{"holiday snap.JPG", "holiday%20snap.JPG"},
          std::pair{"..", "photo.jpg"}, std::pair{"a.png", "a.png.jpg"}, std::pair{"", "photo.jpg"}}) {
        TestPicture picture = anotherPicture();
        picture.fileName = given;
        const std::string url = field(anna().upload(m_group, picture), "contentUrl");
        EXPECT_EQ(url.substr(url.rfind('/') + 1), kept);
        EXPECT_EQ(request(port(), "GET", targetOf(url)).status, 200);
    }
}

TEST_F(Upload, OfManyAtOnceAllArrive)
{
    constexpr int CLIENTS = 8;
    constexpr int EACH = 4;
    std::vector<std::thread> threads;
    threads.reserve(CLIENTS);
    std::atomic<int> arrived{0};
    for (int i = 0; i < CLIENTS; ++i) {
        threads.emplace_back([this, &arrived] {
            ServiceClient client = anna();
            for (int j = 0; j < EACH; ++j)
                arrived += client.upload(m_group, anotherPicture()).status == 200 ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(arrived, CLIENTS * EACH);
    const Xml group(anna().get(ServiceClient::path("me/group.list?option_include=usage")).body);
    EXPECT_EQ(group.text("//photoCount"), std::to_string(CLIENTS * EACH));
    EXPECT_EQ(group.text("//totalContentCount"), std::to_string(CLIENTS * EACH));
    expectConsistent();
}

TEST_F(Upload, WithoutAZoneWasTakenWhereTheServiceIs)
{
    for (const auto& [zone, expected] :
         {std::pair{"Australia/Sydney", "2010-07-05T00:11:00Z"}, std::pair{"Europe/Berlin", "2010-07-05T08:11:00Z"}}) {
        m_settings.arguments = {"--time-zone", zone};
        restart();
        TestPicture picture = makePicture(64, 48, ".jpg", 1, "2010:07:05 10:11:00");
        picture.bytes += zone;
        EXPECT_EQ(field(anna().upload(m_group, picture), "createTime"), expected);
    }
    EXPECT_EQ(command({"serve", "--time-zone", "Europe/Atlantis"}).exitCode, 2);
}

TEST_F(Upload, IsForgottenWhenItNeverCame)
{
    m_settings.arguments = {"--slot-lifetime", "1"};
    restart();
    const std::string url = slot();
    // Places are cleared when new ones are reserved. A body that is none leaves a place as it is.
    HttpReply probe;
    std::string next;
    do {
        next = slot();
        probe = sendBody(url, "", "text/plain");
    } while (probe.status == 400);
    EXPECT_EQ(probe.status, 404);
    EXPECT_EQ(anna().sendFile(next, smallPicture()).status, 200);
}

TEST_F(Upload, EndsWithTheGroup)
{
    const std::string url = slot();
    anna().post(ServiceClient::path("me/group.delete"), "groupID=" + m_group);
    EXPECT_EQ(anna().sendFile(url, smallPicture()).status, 404);
    EXPECT_EQ(countOriginals(m_data), 0U);
}

TEST_F(Upload, LargerThanTheLimitIsRefusedInTheMiddle)
{
    m_settings.arguments = {"--max-upload", "10000"};
    restart();
    TestPicture picture = smallPicture();
    picture.bytes.resize(200'000, 'x');
    EXPECT_EQ(anna().sendFile(slot(), picture).status, 413);
    EXPECT_EQ(anna().reserve(m_group, "type=photo&file_size=10001").status, 413);
    expectNothingKept();
}

TEST_F(Upload, ThatTheDiskCannotHoldIsRefusedAndTheServiceGoesOn)
{
    m_settings.fileSizeLimit = 2'000'000;
    restart();
    TestPicture picture = smallPicture();
    picture.bytes.resize(3'000'000, '\0');
    const HttpReply refused = anna().sendFile(slot(), picture);
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.header("retry-after"), "30") << "somebody has to make room";
    expectNothingKept();
    EXPECT_EQ(anna().sendFile(slot(), smallPicture()).status, 200);
    expectConsistent();
}

TEST_F(Upload, WithNonsenseAfterThePictureKeepsAllOfIt)
{
    TestPicture picture = smallPicture();
    picture.bytes.resize(5'000'000, '\0');
    const HttpReply reply = anna().upload(m_group, picture);
    ASSERT_EQ(reply.status, 200) << reply.body;
    EXPECT_EQ(request(port(), "GET", targetOf(field(reply, "contentUrl"))).body, picture.bytes);
}

} // namespace
