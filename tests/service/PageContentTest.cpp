// SPDX-License-Identifier: MIT
// Groups, contents and comments on the page.
#include "PageClient.h"
#include "TestPictures.h"
#include "ZipReader.h"
#include "support/Wait.h"

#include <fstream>

namespace {

using namespace kinloomd_test;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class PageContents : public PageFixture {
protected:
    void SetUp() override
    {
        with("--time-zone", "Europe/Berlin");
        PageFixture::SetUp();
        m_group = anna().createGroup("Family");
        addMember(m_group, "Ben");
        m_annas.emplace(browserOf("Anna"));
        m_bens.emplace(browserOf("Ben"));
        m_carlas.emplace(browserOf("Carla"));
    }

    /// A photo that was taken at a time, of a camera whose clock showed "2010:05:05 07:04:09".
    std::string photo(const std::string& taken, const std::string& description = {})
    {
        return anna().uploadPhoto(m_group, anotherPicture(makePicture(40, 30, ".jpg", 1, taken)), description);
    }
    std::string at(const std::string& rest) const { return "/page/groups/" + m_group + "/" + rest; }
    std::vector<std::string> idsIn(const Json& contents)
    {
        std::vector<std::string> ids;
        for (const Json& content : contents)
            ids.push_back(content["id"]);
        return ids;
    }

    std::string m_group;
    std::optional<PageClient> m_annas;
    std::optional<PageClient> m_bens;
    std::optional<PageClient> m_carlas;
};

TEST_F(PageContents, ListGroupsWithWhatTheirPersonMayDoInThem)
{
    photo("2010:05:05 07:04:09");
    const Json annas = jsonOf(m_annas->get("/page/groups"))["groups"];
    ASSERT_EQ(annas.size(), 1U);
    EXPECT_EQ(annas[0]["name"], "Family");
    EXPECT_EQ(annas[0]["contents"], 1);
    EXPECT_EQ(annas[0]["role"], "master");
    EXPECT_EQ(annas[0]["master"]["name"], "Anna");
    EXPECT_THAT(annas[0]["image"].get<std::string>(), AllOf(StartsWith("/page/media/"), HasSubstr("/medium")));
    EXPECT_EQ(annas[0]["may"].dump(), R"({"comment":true,"delete_any":true,"delete_group":true,"invite":true,"upload":true})");
    const Json bens = jsonOf(m_bens->get("/page/groups/" + m_group));
    EXPECT_EQ(bens["role"], "member");
    EXPECT_EQ(bens["may"].dump(), R"({"comment":true,"delete_any":false,"delete_group":false,"invite":false,"upload":true})");
    EXPECT_THAT(jsonOf(m_carlas->get("/page/groups"))["groups"], IsEmpty());
    EXPECT_EQ(failureOf(m_carlas->get("/page/groups/" + m_group)), "404 not_found");
    const Json members = jsonOf(m_bens->get(at("members")))["members"];
    ASSERT_EQ(members.size(), 2U);
    EXPECT_EQ(members[0]["role"], "master");
    EXPECT_EQ(members[1]["name"], "Ben");
    EXPECT_EQ(failureOf(m_carlas->get(at("members"))), "404 not_found");
}

TEST_F(PageContents, MakeGroupsWithinTheLimits)
{
    const HttpReply reply = m_carlas->post("/page/groups", {{"name", "<i>Ours</i>"}, {"description", "text"}});
    ASSERT_EQ(reply.status, 201) << reply.body;
    EXPECT_EQ(jsonOf(reply)["name"], "<i>Ours</i>");
    EXPECT_EQ(jsonOf(reply)["role"], "master");
    EXPECT_THAT(carla().groupNames(""), ElementsAre("<i>Ours</i>"));
    EXPECT_EQ(failureOf(m_carlas->post("/page/groups", {{"name", std::string(201, 'x')}})), "400 bad_request");
    EXPECT_EQ(failureOf(m_carlas->post("/page/groups", {{"name", " \xE2\x80\xAE"}})), "400 bad_request");
    m_process.reset();
    with("--max-groups", "1");
    start();
    PageClient again(port());
    again.setCookie(m_carlas->cookie());
    EXPECT_EQ(failureOf(again.post("/page/groups", {{"name", "x"}})), "403 too_many");
}

TEST_F(PageContents, AreInMonthsAsClocksOfTheServiceShowThem)
{
    const std::string may = photo("2010:05:05 07:04:09");
    const std::string lastOfMay = photo("2010:05:31 23:30:00");
    const std::string june = photo("2010:06:01 00:30:00");
    const std::string december = photo("2009:12:31 23:59:59");
    const Json months = jsonOf(m_bens->get(at("months")));
    EXPECT_EQ(months["total"], 4);
    EXPECT_EQ(months["months"].dump(), R"([{"count":1,"index":0,"month":"2010-06"},{"count":2,"index":1,"month":"2010-05"},)"
                                       R"({"count":1,"index":3,"month":"2009-12"}])");
    const Json page = jsonOf(m_bens->get(at("contents?index=0&count=1000")));
    EXPECT_THAT(idsIn(page["contents"]), ElementsAre(june, lastOfMay, may, december));
    EXPECT_EQ(page["contents"][0]["created"], "2010-06-01T00:30:00+02:00");
    EXPECT_EQ(page["contents"][3]["created"], "2009-12-31T23:59:59+01:00");
    for (const Json& month : months["months"]) {
        const Json first = jsonOf(m_bens->get(at("contents?count=1&index=" + month["index"].dump())))["contents"][0];
        EXPECT_EQ(first["created"].get<std::string>().substr(0, 7), month["month"].get<std::string>());
    }
    EXPECT_EQ(failureOf(m_carlas->get(at("months"))), "404 not_found");
    EXPECT_EQ(jsonOf(m_annas->get("/page/groups/" + anna().createGroup("Other") + "/months")).dump(), R"({"months":[],"total":0})");
}

TEST_F(PageContents, AreReadFromAnyPlaceOn)
{
    std::vector<std::string> newestFirst;
    for (int day = 1; day <= 5; ++day)
        newestFirst.insert(newestFirst.begin(), photo("2010:05:0" + std::to_string(day) + " 07:04:09"));
    const Json middle = jsonOf(m_bens->get(at("contents?index=1&count=2")));
    EXPECT_EQ(middle["total"], 5);
    EXPECT_EQ(middle["index"], 1);
    EXPECT_THAT(idsIn(middle["contents"]), ElementsAre(newestFirst[1], newestFirst[2]));
    EXPECT_THAT(idsIn(jsonOf(m_bens->get(at("contents?index=4")))["contents"]), ElementsAre(newestFirst[4]));
    EXPECT_THAT(jsonOf(m_bens->get(at("contents?index=5")))["contents"], IsEmpty());
    EXPECT_THAT(jsonOf(m_bens->get(at("contents?index=4000000000")))["contents"], IsEmpty());
    for (const char* query : {"index=-1", "index=x", "count=1001", "count=-1", "index=99999999999999999999"})
        EXPECT_EQ(failureOf(m_bens->get(at(std::string("contents?") + query))), "400 bad_request") << query;
    EXPECT_EQ(failureOf(m_carlas->get(at("contents"))), "404 not_found");
    EXPECT_EQ(failureOf(m_bens->get("/page/groups/999999/contents")), "404 not_found");
    EXPECT_EQ(failureOf(m_bens->get("/page/groups/x/contents")), "404 not_found");
}

TEST_F(PageContents, AreShownWithCommentsAndNeighbours)
{
    const std::string old = photo("2010:05:01 07:04:09");
    const std::string middle = photo("2010:05:02 07:04:09", "<script>alert(1)</script>");
    const std::string young = photo("2010:05:03 07:04:09");
    ben().comment(middle, "first");
    anna().comment(middle, "second");
    const Json view = jsonOf(m_bens->get("/page/contents/" + middle));
    const Json& content = view["content"];
    EXPECT_EQ(content["id"], middle);
    EXPECT_EQ(content["type"], "photo");
    EXPECT_EQ(content["format"], "jpeg");
    EXPECT_EQ(content["description"], "<script>alert(1)</script>");
    EXPECT_EQ(content["resolution"].dump(), R"({"height":30,"width":40})");
    EXPECT_EQ(content["creator"]["name"], "Anna");
    EXPECT_EQ(content["comment_count"], 2);
    EXPECT_EQ(content["url"], "/page/media/" + middle + "/original");
    EXPECT_EQ(content["may"]["delete"], false);
    EXPECT_EQ(view["comments"][0]["text"], "first");
    EXPECT_EQ(view["comments"][0]["author"]["name"], "Ben");
    EXPECT_EQ(view["comments"][0]["may"]["delete"], true);
    EXPECT_EQ(view["comments"][1]["may"]["delete"], false);
    EXPECT_EQ(view["index"], 1);
    EXPECT_EQ(view["total"], 3);
    EXPECT_EQ(view["previous"], young);
    EXPECT_EQ(view["next"], old);
    EXPECT_EQ(jsonOf(m_bens->get("/page/contents/" + young))["previous"], nullptr);
    EXPECT_EQ(jsonOf(m_bens->get("/page/contents/" + old))["next"], nullptr);
    EXPECT_EQ(jsonOf(m_annas->get("/page/contents/" + middle))["comments"][0]["may"]["delete"], true) << "a master";
    EXPECT_EQ(failureOf(m_carlas->get("/page/contents/" + middle)), "404 not_found");
}

TEST_F(PageContents, AreCommentedOn)
{
    const std::string id = photo("");
    const HttpReply written = m_bens->post("/page/contents/" + id + "/comments", {{"text", "f\xC3\xBCr <b>Oma</b>\n\xE2\x80\xAE"}});
    ASSERT_EQ(written.status, 201) << written.body;
    EXPECT_EQ(jsonOf(written)["text"], "f\xC3\xBCr <b>Oma</b>\n\xE2\x80\xAE");
    EXPECT_EQ(jsonOf(written)["author"]["name"], "Ben");
    EXPECT_EQ(jsonOf(written)["may"]["delete"], true);
    const std::string comment = jsonOf(written)["id"];
    EXPECT_EQ(failureOf(m_bens->post("/page/contents/" + id + "/comments", {{"text", ""}})), "400 bad_request");
    EXPECT_EQ(failureOf(m_bens->post("/page/contents/" + id + "/comments", {{"text", std::string(4097, 'x')}})), "400 bad_request");
    EXPECT_EQ(failureOf(m_carlas->post("/page/contents/" + id + "/comments", {{"text", "x"}})), "404 not_found");
    EXPECT_EQ(failureOf(m_carlas->erase("/page/comments/" + comment)), "404 not_found");
    const std::string annas = jsonOf(m_annas->post("/page/contents/" + id + "/comments", {{"text", "y"}}))["id"];
    EXPECT_EQ(failureOf(m_bens->erase("/page/comments/" + annas)), "403 forbidden");

    EXPECT_GT(jsonOf(m_bens->erase("/page/comments/" + comment))["undo_seconds"], 60);
    EXPECT_EQ(jsonOf(m_bens->get("/page/contents/" + id))["content"]["comment_count"], 1);
    EXPECT_EQ(failureOf(m_bens->erase("/page/comments/" + comment)), "404 not_found");
    EXPECT_EQ(failureOf(m_annas->post("/page/comments/" + comment + "/restore")), "404 not_found") << "it was Ben who deleted it";
    EXPECT_EQ(jsonOf(m_bens->post("/page/comments/" + comment + "/restore"))["text"], "f\xC3\xBCr <b>Oma</b>\n\xE2\x80\xAE");
    EXPECT_EQ(jsonOf(m_bens->get("/page/contents/" + id))["comments"].size(), 2U);
    expectConsistent();
}

TEST_F(PageContents, AreDeletedAndBroughtBackByWhoDeletedThem)
{
    const std::string id = photo("");
    const std::string path = "/page/contents/" + id;
    EXPECT_EQ(failureOf(m_bens->erase(path)), "403 forbidden");
    EXPECT_EQ(failureOf(m_carlas->erase(path)), "404 not_found");
    EXPECT_EQ(m_annas->erase(path).status, 200);
    EXPECT_EQ(failureOf(m_annas->erase(path)), "404 not_found") << "another tab has been quicker";
    EXPECT_EQ(failureOf(m_annas->get(path)), "404 not_found");
    EXPECT_EQ(failureOf(m_annas->get("/page/media/" + id + "/original")), "404 not_found");
    EXPECT_EQ(failureOf(m_bens->post(path + "/restore")), "404 not_found");
    EXPECT_EQ(failureOf(m_carlas->post(path + "/restore")), "404 not_found");
    EXPECT_EQ(jsonOf(m_annas->post(path + "/restore"))["id"], id);
    EXPECT_EQ(m_bens->get(path).status, 200);
    EXPECT_EQ(failureOf(m_annas->post(path + "/restore")), "404 not_found") << "it is back already";

    EXPECT_EQ(m_annas->erase(path).status, 200);
    ASSERT_EQ(command({"trash", "empty", "--yes"}).exitCode, 0);
    EXPECT_EQ(failureOf(m_annas->post(path + "/restore")), "404 not_found");
    EXPECT_EQ(failureOf(m_annas->erase("/page/contents/" + m_group)), "404 not_found") << "a group is no content";
    expectConsistent();
}

TEST_F(PageContents, CommentsCannotComeBackBeforeTheirContent)
{
    const std::string id = photo("");
    const std::string comment = jsonOf(m_annas->post("/page/contents/" + id + "/comments", {{"text", "x"}}))["id"];
    ASSERT_EQ(m_annas->erase("/page/comments/" + comment).status, 200);
    ASSERT_EQ(m_annas->erase("/page/contents/" + id).status, 200);
    EXPECT_EQ(failureOf(m_annas->post("/page/comments/" + comment + "/restore")), "410 gone");
}

TEST_F(PageContents, HavePicturesForWhoIsSignedInAlone)
{
    const TestPicture picture = anotherPicture(makePicture(2000, 1500));
    const std::string id = anna().uploadPhoto(m_group, picture);
    const std::string address = "/page/media/" + id + "/";
    const HttpReply original = m_bens->get(address + "original");
    EXPECT_EQ(original.body, picture.bytes);
    EXPECT_EQ(original.header("content-type"), "image/jpeg");
    EXPECT_EQ(original.header("x-content-type-options"), "nosniff");
    EXPECT_THAT(original.header("cache-control"), HasSubstr("private"));
    EXPECT_EQ(original.header("vary"), "Cookie");
    EXPECT_THAT(original.header("content-disposition"), IsEmpty());
    EXPECT_EQ(m_bens->get(address + "original", {{"If-None-Match", original.header("etag")}}).status, 304);
    EXPECT_EQ(m_bens->get(address + "original", {{"Range", "bytes=0-9"}}).body, picture.bytes.substr(0, 10));
    const auto widthOf = [&](const char* size) {
        const auto seen = lookAt(m_bens->get(address + size).body);
        return seen ? seen->width : 0;
    };
    EXPECT_EQ(widthOf("large"), 1440);
    EXPECT_EQ(widthOf("medium"), 540);
    EXPECT_EQ(widthOf("small"), 116);
    for (const char* none : {"1920X1080", "274X204", "huge", "original/x"})
        EXPECT_EQ(failureOf(m_bens->get(address + none)), "404 not_found") << none;
    EXPECT_EQ(failureOf(m_carlas->get(address + "small")), "404 not_found");
    EXPECT_EQ(failureOf(m_carlas->get(address + "original")), "404 not_found");
    EXPECT_EQ(failureOf(stranger().get(address + "small")), "401 signed_out");
    ASSERT_EQ(command({"member", "remove", m_group, "Ben"}).exitCode, 0);
    EXPECT_EQ(failureOf(m_bens->get(address + "small")), "404 not_found");
}

TEST_F(PageContents, AreSavedUnderTheirNames)
{
    TestPicture picture = anotherPicture();
    picture.fileName = "Omas \xC3\x9C%.jpg";
    const std::string id = anna().uploadPhoto(m_group, picture);
    EXPECT_EQ(m_bens->get("/page/media/" + id + "/original?download").header("content-disposition"),
              "attachment; filename=\"Omas ___.jpg\"; filename*=UTF-8''Omas%20%C3%9C%25.jpg");
    EXPECT_THAT(m_bens->get("/page/media/" + id + "/large?x&download=1").header("content-disposition"), HasSubstr(".jpg"));
}

TEST_F(PageContents, ShowThePicturesOfPeopleTheyAreSharedWith)
{
    const std::string file = m_folder / "face.jpg";
    std::ofstream(file, std::ios::binary) << makePicture(100, 100).bytes;
    ASSERT_EQ(command({"person", "image", "Anna", file}).exitCode, 0);
    const std::string address = jsonOf(m_bens->get("/page/groups"))["groups"][0]["master"]["photo"];
    EXPECT_EQ(m_bens->get(address).header("content-type"), "image/jpeg");
    EXPECT_EQ(m_annas->get(address).status, 200);
    EXPECT_EQ(failureOf(m_carlas->get(address)), "404 not_found");
    EXPECT_EQ(failureOf(m_bens->get(address.substr(0, address.rfind('-')) + "-7")), "404 not_found");
    EXPECT_EQ(failureOf(stranger().get(address)), "401 signed_out");
}

TEST_F(PageContents, OfAMonthComeAsOneArchive)
{
    std::vector<std::string> bytes;
    for (const char* name : {"a.jpg", "A.jpg", "b/../c.jpg"}) {
        TestPicture picture = anotherPicture(makePicture(40, 30, ".jpg", 1, "2010:05:05 07:04:09"));
        picture.fileName = name;
        bytes.push_back(picture.bytes);
        anna().uploadPhoto(m_group, picture);
    }
    photo("2010:06:01 00:00:00");
    const HttpReply reply = m_bens->get(at("archive?month=2010-05"));
    ASSERT_EQ(reply.status, 200) << reply.body;
    EXPECT_EQ(reply.header("content-type"), "application/zip");
    EXPECT_EQ(reply.header("content-length"), std::to_string(reply.body.size()));
    EXPECT_THAT(reply.header("content-disposition"), HasSubstr("filename=\"Family 2010-05.zip\""));
    ZipReader archive(reply.body);
    archive.readFiles();
    ASSERT_EQ(archive.files().size(), 3U);
    const char* const names[] = {"a.jpg", "A (2).jpg", "c.jpg"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(archive.files()[i].name, names[i]);
        EXPECT_EQ(archive.files()[i].bytes, bytes[i]);
        EXPECT_EQ(archive.files()[i].time >> 16, 30U << 9 | 5U << 5 | 5U) << "the day on which it was taken";
    }
    EXPECT_EQ(failureOf(m_bens->get(at("archive?month=2011-01"))), "404 not_found");
    for (const char* month : {"", "2010", "2010-13", "2010-5", "2010-05-01", "x"})
        EXPECT_EQ(failureOf(m_bens->get(at(std::string("archive?month=") + month))), "400 bad_request") << month;
    EXPECT_EQ(failureOf(m_carlas->get(at("archive?month=2010-05"))), "404 not_found");
    EXPECT_EQ(failureOf(stranger().get(at("archive?month=2010-05"))), "401 signed_out");
}

TEST_F(PageContents, InAnArchiveHaveNamesThatEverySystemTakes)
{
    const std::string group = jsonOf(m_carlas->post("/page/groups", {{"name", "Mum/Dad: us"}}))["id"];
    for (const char* name : {"a%3Ab%3F.jpg", "con.jpg", "%E2%80%AEgpj.jpg"}) {
        const TestPicture picture = anotherPicture(makePicture(40, 30, ".jpg", 1, "2010:05:05 07:04:09"));
        ASSERT_EQ(m_carlas->upload(group, picture.bytes, std::string("name=") + name).status, 201);
    }
    const HttpReply reply = m_carlas->get("/page/groups/" + group + "/archive?month=2010-05");
    EXPECT_THAT(reply.header("content-disposition"), HasSubstr("filename=\"Mum_Dad_ us 2010-05.zip\""));
    ZipReader archive(reply.body);
    const char* const names[] = {"a_b_.jpg", "_con.jpg", "_gpj.jpg"};
    ASSERT_EQ(archive.files().size(), 3U);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(archive.files()[i].name, names[i]);
}

TEST_F(PageContents, AreNeverChangedByAGet)
{
    const std::string id = photo("");
    for (const std::string& target : {"/page/contents/" + id + "/restore", "/page/contents/" + id + "/comments", at("check"),
                                      at("invitations"), std::string("/page/sessions/1"), "/page/devices/" + m_anna.duid})
        EXPECT_EQ(failureOf(m_annas->get(target)), "405 bad_request") << target;
    EXPECT_EQ(failureOf(m_annas->get("/page/nothing")), "404 not_found");
    EXPECT_EQ(failureOf(m_annas->send("PUT", "/page/contents/" + id, "", {})), "405 bad_request");
}

TEST_F(PageContents, FailAsTheyAreToldTo)
{
    m_process.reset();
    m_settings.arguments.insert(m_settings.arguments.end(),
                                {"--fault", "page.months:status=503*1", "--fault", "page.groups:cut-after=5*1"});
    start();
    PageClient again(port());
    again.setCookie(m_annas->cookie());
    EXPECT_EQ(failureOf(again.get(at("months"))), "503 busy");
    EXPECT_EQ(again.get(at("months")).status, 200);
    EXPECT_FALSE(again.get("/page/groups").whole);
}

TEST_F(PageContents, AreReadWithThreeStatementsHoweverManyThereAre)
{
    const std::string file = m_folder / "picture.jpg";
    std::ofstream(file, std::ios::binary) << smallPicture().bytes;
    ASSERT_EQ(command({"content", "add", "--group", "Family", "--person", "Anna", file, "--copies", "600"}).exitCode, 0);
    const auto statements = [this] { return metric(port(), "kinloomd_database_statements_total{operation=\"page.contents\"}"); };
    unsigned long before = 0;
    for (const std::size_t index : {0U, 100U}) {
        EXPECT_EQ(jsonOf(m_annas->get(at("contents?count=1000&index=" + std::to_string(index))))["contents"].size(), 600 - index);
        // Who looks, at what, and the contents. They are counted when they have been answered.
        EXPECT_TRUE(test::comesTrue([&] { return statements() != before; }));
        EXPECT_EQ(statements() - before, 3U) << index;
        before = statements();
    }
}

} // namespace
