// SPDX-License-Identifier: MIT
// Photos that are sent from the page.
#include "PageClient.h"
#include "TestPictures.h"

#include "core/Dates.h"
#include "core/Digest.h"
#include "support/Wait.h"

#include <filesystem>
#include <fstream>
#include <thread>

namespace {

using namespace kinloomd_test;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string digestOf(const std::string& bytes) { return kinloomd::toHex(kinloomd::sha256(bytes)); }

class PageUpload : public PageFixture {
protected:
    void SetUp() override
    {
        with("--time-zone", "UTC");
        PageFixture::SetUp();
        m_group = anna().createGroup("Family");
        m_annas.emplace(browserOf("Anna"));
    }
    void startAgainWith(const std::string& option, const std::string& value)
    {
        m_process.reset();
        with(option, value);
        start();
        const std::string cookie = m_annas->cookie();
        m_annas.emplace(port());
        m_annas->setCookie(cookie);
    }
    Json known(const std::vector<std::string>& digests)
    {
        Json files = Json::array();
        for (const std::string& digest : digests)
            files.push_back({{"sha256", digest}, {"size", 1}});
        return jsonOf(m_annas->post("/page/groups/" + m_group + "/check", {{"files", files}}))["known"];
    }

    std::string m_group;
    std::optional<PageClient> m_annas;
};

TEST_F(PageUpload, BecomesAContentWithAllThatItTells)
{
    const TestPicture picture = anotherPicture(makePicture(400, 300, ".jpg", 1, "2010:05:05 07:04:09"));
    const HttpReply reply =
        m_annas->upload(m_group, picture.bytes, "name=Omas%20Kuchen.JPG&description=lecker&sha256=" + digestOf(picture.bytes));
    ASSERT_EQ(reply.status, 201) << reply.body;
    const Json content = jsonOf(reply);
    EXPECT_EQ(content["file_name"], "Omas Kuchen.JPG");
    EXPECT_EQ(content["description"], "lecker");
    EXPECT_EQ(content["size"], picture.bytes.size());
    EXPECT_EQ(content["created"], "2010-05-05T07:04:09+00:00");
    EXPECT_EQ(content["creator"]["name"], "Anna");
    EXPECT_EQ(content["may"]["delete"], true);
    EXPECT_EQ(m_annas->get(content["url"]).body, picture.bytes);
    EXPECT_TRUE(lookAt(m_annas->get(content["thumbnails"][2]["url"]).body));
    expectConsistent();
}

TEST_F(PageUpload, IsWhatItsBytesShowWhateverItIsCalled)
{
    for (const char* suffix : {".jpg", ".png", ".webp", ".gif", ".heic"}) {
        const TestPicture picture = anotherPicture(makePicture(40, 30, suffix));
        const Json content = jsonOf(m_annas->upload(m_group, picture.bytes, "name=../renamed.exe"));
        EXPECT_THAT(content["file_name"].get<std::string>(), HasSubstr("renamed")) << suffix;
        EXPECT_THAT(content["file_name"].get<std::string>(), Not(HasSubstr("/"))) << suffix;
        EXPECT_EQ("." + (content["format"] == "jpeg" ? "jpg" : content["format"].get<std::string>()), suffix);
    }
}

TEST_F(PageUpload, TakesTheFilesTimeWhereThePictureTellsNone)
{
    const auto createdOf = [&](const std::string& modified) {
        return jsonOf(m_annas->upload(m_group, anotherPicture().bytes, "modified=" + modified))["created"].get<std::string>();
    };
    EXPECT_EQ(createdOf("2015-03-04T05:06:07.000Z"), "2015-03-04T05:06:07+00:00");
    EXPECT_EQ(createdOf("2015-03-04T05%3A06%3A07%2B02%3A00"), "2015-03-04T03:06:07+00:00");
    const std::string year = kinloomd::formatTime(kinloomd::now()).substr(0, 4);
    for (const char* wrong : {"2999-01-01T00:00:00Z", "1970-01-01T00:00:00Z", "yesterday", ""})
        EXPECT_EQ(createdOf(wrong).substr(0, 4), year) << wrong;
}

TEST_F(PageUpload, IsKnownAgain)
{
    const TestPicture picture = anotherPicture();
    const std::string digest = digestOf(picture.bytes);
    EXPECT_THAT(known({digest}), IsEmpty());
    const std::string id = jsonOf(m_annas->upload(m_group, picture.bytes))["id"];
    EXPECT_EQ(known({digest, std::string(64, '0')}).dump(), R"([{"content_id":")" + id + R"(","sha256":")" + digest + "\"}]");
    const HttpReply again = m_annas->upload(m_group, picture.bytes);
    EXPECT_EQ(again.status, 200);
    EXPECT_EQ(jsonOf(again)["id"], id);
    addMember(m_group, "Ben");
    EXPECT_EQ(jsonOf(browserOf("Ben").upload(m_group, picture.bytes))["id"], id) << "whoever sends it";
    EXPECT_EQ(jsonOf(m_annas->get("/page/groups/" + m_group))["contents"], 1);

    const std::string others = anna().createGroup("Other");
    EXPECT_EQ(m_annas->upload(others, picture.bytes).status, 201) << "in another group it is another content";
    ASSERT_EQ(m_annas->erase("/page/contents/" + id).status, 200);
    EXPECT_THAT(known({digest}), IsEmpty()) << "what was deleted may be added again";
    EXPECT_EQ(m_annas->upload(m_group, picture.bytes).status, 201);

    const TestPicture operators = anotherPicture();
    const std::string file = m_folder / "a.jpg";
    std::ofstream(file, std::ios::binary) << operators.bytes;
    const CommandResult added = command({"content", "add", file, "--group", m_group, "--person", "Anna"});
    EXPECT_EQ(known({digestOf(operators.bytes)})[0]["content_id"].get<std::string>() + "\n", added.out);

    const TestPicture devices = anotherPicture();
    const std::string sent = anna().uploadPhoto(m_group, devices);
    EXPECT_EQ(known({digestOf(devices.bytes)})[0]["content_id"], sent) << "whichever way it came";
    expectConsistent();
}

TEST_F(PageUpload, IsCheckedByMembersWithDigestsAlone)
{
    const std::string path = "/page/groups/" + m_group + "/check";
    EXPECT_EQ(failureOf(browserOf("Carla").post(path, {{"files", Json::array()}})), "404 not_found");
    for (const Json& files :
         {Json(1), Json({{{"sha256", "x"}}}), Json({{{"sha256", std::string(64, 'A')}}}), Json({{{"sha256", 7}}}), Json({"x"})})
        EXPECT_EQ(failureOf(m_annas->post(path, {{"files", files}})), "400 bad_request") << files.dump();
    EXPECT_EQ(failureOf(m_annas->post(path, Json::object())), "400 bad_request");
    Json many = Json::array();
    for (int i = 0; i < 501; ++i)
        many.push_back({{"sha256", std::string(64, 'a')}});
    EXPECT_EQ(failureOf(m_annas->post(path, {{"files", many}})), "400 bad_request");
}

TEST_F(PageUpload, RacesItselfWithoutADouble)
{
    const TestPicture picture = anotherPicture();
    std::vector<std::string> ids(6);
    std::vector<std::thread> threads;
    threads.reserve(ids.size());
    for (std::string& id : ids)
        threads.emplace_back([&, client = *m_annas]() mutable { id = jsonOf(client.upload(m_group, picture.bytes))["id"]; });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(ids, ::testing::Each(ids[0]));
    EXPECT_EQ(jsonOf(m_annas->get("/page/groups/" + m_group))["contents"], 1);
    expectConsistent();
}

TEST_F(PageUpload, LeavesNothingWhenItIsRefused)
{
    const TestPicture picture = anotherPicture();
    EXPECT_EQ(failureOf(m_annas->upload(m_group, "")), "400 empty");
    EXPECT_EQ(failureOf(m_annas->upload(m_group, "<html>no picture</html>", "name=a.jpg")), "400 not_a_picture");
    EXPECT_EQ(failureOf(m_annas->upload(m_group, picture.bytes.substr(0, 30), "name=a.jpg")), "400 not_a_picture");
    EXPECT_EQ(failureOf(m_annas->upload(m_group, picture.bytes, "sha256=" + std::string(64, '0'))), "400 bad_request");
    EXPECT_EQ(failureOf(m_annas->upload(m_group, picture.bytes, "sha256=short")), "400 bad_request");
    EXPECT_EQ(failureOf(m_annas->upload("999999", picture.bytes)), "404 not_found");
    EXPECT_EQ(failureOf(browserOf("Carla").upload(m_group, picture.bytes)), "404 not_found");
    EXPECT_EQ(failureOf(stranger().upload(m_group, picture.bytes)), "401 signed_out");
    EXPECT_EQ(jsonOf(m_annas->get("/page/groups/" + m_group))["contents"], 0);
    m_process.reset();
    EXPECT_THAT(command({"check"}).out, HasSubstr("reserved uploads 0")) << "no place is left open";
    expectConsistent();
}

TEST_F(PageUpload, KeepsToTheLimitsOfUploads)
{
    startAgainWith("--max-upload", "5000");
    EXPECT_EQ(failureOf(m_annas->upload(m_group, makePicture(900, 900, ".png").bytes + std::string(6000, 'x'))), "413 too_large");
    Wire wire(port());
    std::string head =
        "POST /page/groups/" + m_group + "/contents HTTP/1.1\r\nHost: openapi.kinloom.example\r\nTransfer-Encoding: chunked\r\n";
    for (const auto& [name, value] : m_annas->headers("POST"))
        head += name + ": " + value + "\r\n";
    wire.send(head + "\r\n1770\r\n" + std::string(6000, 'x') + "\r\n0\r\n\r\n");
    EXPECT_EQ(failureOf(wire.receive()), "413 too_large") << "also when the size is not told before";
}

TEST_F(PageUpload, KeepsToTheQuotaOfItsPerson)
{
    const TestPicture picture = anotherPicture();
    startAgainWith("--quota", std::to_string(picture.bytes.size() + 10));
    EXPECT_EQ(m_annas->upload(m_group, picture.bytes).status, 201);
    EXPECT_EQ(failureOf(m_annas->upload(m_group, anotherPicture().bytes)), "403 quota");
    EXPECT_EQ(anna().upload(m_group, anotherPicture()).status, 403) << "it is one quota for both ways in";
}

TEST_F(PageUpload, KeepsToTheLimitOfPixels)
{
    startAgainWith("--max-pixels", "1000");
    EXPECT_EQ(failureOf(m_annas->upload(m_group, makePicture(40, 30).bytes)), "400 not_a_picture");
}

TEST_F(PageUpload, ComesInChunksToo)
{
    const TestPicture picture = anotherPicture();
    Wire wire(port());
    std::string head = "POST /page/groups/" + m_group +
                       "/contents?name=a.jpg HTTP/1.1\r\nHost: openapi.kinloom.example\r\nTransfer-Encoding: chunked\r\n";
    for (const auto& [name, value] : m_annas->headers("POST"))
        head += name + ": " + value + "\r\n";
    char size[32];
    std::snprintf(size, sizeof size, "%zx\r\n", picture.bytes.size());
    wire.send(head + "\r\n" + size + picture.bytes + "\r\n0\r\n\r\n");
    const HttpReply reply = wire.receive();
    EXPECT_EQ(reply.status, 201) << reply.body;
    EXPECT_EQ(jsonOf(reply)["size"], picture.bytes.size());
}

TEST_F(PageUpload, TellsOfADiskWithoutRoom)
{
    m_process.reset();
    m_settings.fileSizeLimit = 2 << 20;
    start();
    PageClient again(port());
    again.setCookie(m_annas->cookie());
    EXPECT_EQ(failureOf(again.upload(m_group, std::string(3 << 20, 'x'))), "503 disk_full");
    EXPECT_EQ(again.upload(m_group, anotherPicture().bytes).status, 201) << "what fits is still taken";
}

TEST_F(PageUpload, ThatCannotBeginKeepsNoPlace)
{
    std::filesystem::remove_all(m_data + "/tmp");
    EXPECT_EQ(m_annas->upload(m_group, anotherPicture().bytes).status, 503);
    std::filesystem::create_directory(m_data + "/tmp");
    EXPECT_EQ(m_annas->upload(m_group, anotherPicture().bytes).status, 201);
    m_process.reset();
    EXPECT_THAT(command({"check"}).out, HasSubstr("reserved uploads 0"));
}

TEST_F(PageUpload, ThatIsCutKeepsNoPlace)
{
    startAgainWith("--max-slots", "1");
    {
        Wire wire(port());
        std::string head =
            "POST /page/groups/" + m_group + "/contents HTTP/1.1\r\nHost: openapi.kinloom.example\r\nContent-Length: 100000\r\n";
        for (const auto& [name, value] : m_annas->headers("POST"))
            head += name + ": " + value + "\r\n";
        wire.send(head + "\r\n" + std::string(1000, 'x'));
        // The place is taken while the file is on its way.
        ASSERT_TRUE(test::comesTrue([&] { return command({"check"}).out.find("reserved uploads 1") != std::string::npos; }));
        EXPECT_EQ(failureOf(m_annas->upload(m_group, anotherPicture().bytes)), "429 too_many");
    }
    EXPECT_TRUE(test::comesTrue([&] { return m_annas->upload(m_group, anotherPicture().bytes).status == 201; }));
    expectConsistent();
}

} // namespace
