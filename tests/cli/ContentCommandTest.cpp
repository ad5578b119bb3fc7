// SPDX-License-Identifier: MIT
// Feeds, contents and comments.
#include "CliFixture.h"

#include <algorithm>

using namespace test;
using testing::HasSubstr;

namespace {

/// A group with photographs in it.
class ContentCommand : public CliTest {
protected:
    ContentCommand()
        : group(ada.createGroup("Summer")),
          photo(makePhoto(files.file("lake.jpg"), {"--width", "80", "--height", "60", "--taken", "2024:07:14 20:31:05"}))
    {
    }

    /// Uploads the photograph, and others that differ from it in their last bytes. \return the identifiers, in the order of
    /// uploading.
    std::vector<std::string> uploadTimes(std::size_t number)
    {
        // One after the other: beside each other they arrive in any order.
        Arguments arguments = {"upload", "--jobs", "1", group};
        arguments.push_back(photo);
        for (std::size_t i = 1; i < number; ++i) {
            arguments.push_back(files.file("lake" + std::to_string(i) + ".jpg"));
            writeFile(arguments.back(), readFile(photo) + std::to_string(i));
        }
        std::vector<std::string> ids;
        const Json document = ada.json(arguments);
        for (const Json& file : document["files"])
            ids.push_back(file["id"]);
        return ids;
    }

    static std::vector<std::string> idsIn(const Json& document)
    {
        std::vector<std::string> ids;
        for (const Json& content : document["contents"])
            ids.push_back(content["id"]);
        return ids;
    }

    std::string group;
    std::string photo;
};

TEST_F(ContentCommand, FeedShowsTheNewestFirst)
{
    std::vector<std::string> ids = uploadTimes(3);
    std::reverse(ids.begin(), ids.end());
    EXPECT_EQ(idsIn(ada.json({"feed", group, "--base", "uploaded"})), ids);
    EXPECT_EQ(idsIn(ada.json({"feed", group, "--base", "id"})), ids);
}

TEST_F(ContentCommand, FeedShowsEachContentOnceInBothDirectionsAtAnyPageSize)
{
    // All were taken in the same second, so that a page ends among equals.
    const std::vector<std::string> ids = uploadTimes(11);
    const std::vector<std::string> reversed(ids.rbegin(), ids.rend());
    for (const char* base : {"created", "uploaded", "id"}) {
        for (const char* count : {"1", "3", "10", "11", "12", "100"}) {
            const Arguments forwards = {"feed", group, "--all", "--base", base, "--count", count, "--after", "0"};
            EXPECT_EQ(idsIn(ada.json(forwards)), ids) << base << " by " << count;
            const Arguments backwards = {"feed", group, "--all", "--base", base, "--count", count};
            EXPECT_EQ(idsIn(ada.json(backwards)), reversed) << base << " by " << count;
        }
    }
}

TEST_F(ContentCommand, FeedGoesOnFromAContentOrATime)
{
    const std::vector<std::string> ids = uploadTimes(4);
    const Json first = ada.json({"feed", group, "--count", "2", "--base", "id"});
    EXPECT_EQ(first["more"], true);
    EXPECT_EQ(first["next_before"], ids[2]);
    EXPECT_EQ(idsIn(ada.json({"feed", group, "--base", "id", "--before", ids[2]})), (std::vector<std::string>{ids[1], ids[0]}));
    EXPECT_EQ(idsIn(ada.json({"feed", group, "--base", "id", "--after", ids[2]})), (std::vector<std::string>{ids[3]}));
    EXPECT_EQ(idsIn(ada.json({"feed", group, "--before", "2024-07-14T20:31:05Z"})).size(), 0U);
    EXPECT_EQ(idsIn(ada.json({"feed", group, "--before", "2024-07-14T23:31:06+03:00"})).size(), 4U)
        << "a plus sign is part of the time";
}

TEST_F(ContentCommand, FeedFiltersByKind)
{
    uploadTimes(1);
    EXPECT_EQ(ada.json({"feed", group, "--item", "photo"})["contents"].size(), 1U);
    EXPECT_EQ(ada.json({"feed", group, "--item", "video"})["contents"].size(), 0U);
    EXPECT_EQ(ada.json({"feed", group, "--item", "music"})["contents"].size(), 0U);
}

TEST_F(ContentCommand, FeedOfAForeignGroupIsRefused)
{
    const User bob(data.path(), "Bob", service.url());
    EXPECT_EQ(bob.run({"feed", group}).exitCode, 1);
    EXPECT_EQ(ada.run({"feed", "999"}).exitCode, 1);
}

TEST_F(ContentCommand, FeedOnATerminalIsATableOfItsWidth)
{
    ada.ok({"upload", group, photo, "--desc", std::string(200, 'x')});
    Program::Settings settings = ada.inTerminal({"feed", group, "--no-color"});
    settings.columns = 90;
    const auto rows = linesOf(Program(settings).wait().out);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_THAT(rows[0], HasSubstr("PIXELS"));
    EXPECT_THAT(rows[1], HasSubstr("80 x 60"));
    EXPECT_THAT(rows[1], HasSubstr("2024-07-14 20:31"));
    EXPECT_THAT(rows[1], HasSubstr("…"));
}

TEST_F(ContentCommand, ShowsAContentWithItsComments)
{
    const std::string text = "Lovely & \"bright\" +1 100% 😀\nsecond line";
    const Json uploaded = ada.json({"upload", group, photo, "--desc", text});
    const std::string id = uploaded["files"][0]["id"];
    const std::string comment = ada.json({"comment", "add", id, text})["id"];
    const Json content = ada.json({"content", "show", id});
    EXPECT_EQ(content["id"], id);
    EXPECT_EQ(content["description"], text);
    EXPECT_EQ(content["size"], uploaded["files"][0]["size"]);
    EXPECT_EQ(content["resolution"]["width"], 80);
    EXPECT_EQ(content["created"], "2024-07-14T20:31:05Z");
    EXPECT_EQ(content["creator"]["name"], "Ada");
    EXPECT_EQ(content["thumbnails"].size(), 3U);
    ASSERT_EQ(content["comments"].size(), 1U);
    EXPECT_EQ(content["comments"][0]["text"], text);
    EXPECT_EQ(content["comments"][0]["id"], comment);
    EXPECT_THAT(ada.ok({"content", "show", id}), HasSubstr("second line"));
}

TEST_F(ContentCommand, AsksForTheMimeType)
{
    const std::string jpeg = ada.upload(group, photo);
    const std::string png = ada.upload(group, makePhoto(files.file("a.png"), {"--width", "80", "--height", "60"}));
    EXPECT_EQ(ada.ok({"content", "mime", jpeg}), "image/jpeg\n");
    EXPECT_EQ(ada.json({"content", "mime", png})["mime_type"], "image/png");
    EXPECT_EQ(ada.ok({"content", "mime", png, "--thumbnail"}), "image/jpeg\n");
}

TEST_F(ContentCommand, DeletesAContent)
{
    const std::string id = ada.upload(group, photo);
    ada.ok({"content", "delete", "--yes", id});
    EXPECT_EQ(ada.json({"feed", group})["contents"].size(), 0U);
    EXPECT_EQ(ada.run({"content", "show", id}).exitCode, 1);
    EXPECT_EQ(ada.run({"content", "delete", "--yes", id}).exitCode, 1);
}

TEST_F(ContentCommand, WritesShowsAndDeletesComments)
{
    const std::string id = ada.upload(group, photo);
    const std::string first = ada.json({"comment", "add", id, "same"})["id"];
    const std::string second = ada.json({"comment", "add", id, "same"})["id"];
    EXPECT_NE(first, second) << "the newer of two like comments is the new one";
    EXPECT_EQ(ada.json({"comment", "show", second})["text"], "same");
    EXPECT_EQ(ada.json({"comment", "show", second})["author"]["name"], "Ada");
    ada.ok({"comment", "delete", "--yes", first});
    EXPECT_EQ(ada.run({"comment", "show", first}).exitCode, 1);
    EXPECT_EQ(ada.json({"content", "show", id})["comment_count"], 1);
}

TEST_F(ContentCommand, CreditsACommentToItsDeviceWhoeverSignsInMeanwhile)
{
    const std::string id = ada.upload(group, photo);
    const User ben(data.path(), "Ben", service.url());
    setFault("comment:delay=2000*1");
    Program adas(ada.between({"comment", "add", id, "text", "--json"}));
    ASSERT_TRUE(reaches("comment", 1));
    ben.ok({"groups"});
    const ProgramResult result = adas.wait();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const std::string comment = Json::parse(result.out)["id"];
    EXPECT_EQ(ada.json({"comment", "show", comment})["author"]["name"], "Ada");
}

TEST_F(ContentCommand, ACommentThatWasMadeIsNoFailureThoughItsNumberIsNotToBeHad)
{
    const std::string id = ada.upload(group, photo);
    setFault("view:delay=1*1"); // before the comment
    setFault("view:status=500*1");
    Json document = ada.json({"comment", "add", id, "once"});
    EXPECT_TRUE(document["id"].is_null());
    EXPECT_EQ(document["text"], "once");
    EXPECT_EQ(ada.json({"content", "show", id})["comment_count"], 1);
    setFault("view:delay=1*1");
    setFault("view:status=500*1");
    EXPECT_EQ(ada.ok({"comment", "add", id, "twice"}), "Commented on " + id + ".\n");
}

TEST_F(ContentCommand, EmptyCommentIsRefusedBeforeAnyRequest)
{
    EXPECT_EQ(ada.run({"comment", "add", "1", ""}).exitCode, 2);
    EXPECT_EQ(ada.run({"comment", "add", "", "text"}).exitCode, 2);
    EXPECT_EQ(hits("comment"), 0U);
}

// The service would delete either: identifiers of contents and comments look alike, and so do the requests.
TEST_F(ContentCommand, APhotoIsNotDeletedAsACommentNorACommentAsAPhoto)
{
    const std::string id = ada.upload(group, photo);
    const std::string comment = ada.json({"comment", "add", id, "text"})["id"];
    EXPECT_EQ(ada.run({"comment", "delete", "--yes", id}).exitCode, 1);
    EXPECT_EQ(ada.run({"content", "delete", "--yes", comment}).exitCode, 1);
    EXPECT_EQ(hits("delete"), 0U);
    EXPECT_EQ(ada.json({"content", "show", id})["comment_count"], 1);
}

} // namespace
