// SPDX-License-Identifier: MIT
// Uploads of whole folders.
#include "CliFixture.h"
#include "support/RawServer.h"

#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

class FolderCommand : public CliTest {
protected:
    FolderCommand() : group(ada.createGroup("Summer")) {}

    void folder(const std::string& name) { ASSERT_EQ(mkdir(files.file(name).c_str(), 0700), 0); }
    std::string photo(const std::string& name)
    {
        return makePhoto(files.file(name), {"--width", "80", "--height", "60", "--seed", std::to_string(++m_number)});
    }
    std::size_t contents() const { return ada.json({"feed", group, "--all"})["contents"].size(); }

    std::string group;

private:
    int m_number = 0;
};

TEST_F(FolderCommand, UploadsWhatIsAPictureAndCountsTheRest)
{
    folder("deep");
    folder("deep/deeper");
    folder(".hidden");
    photo("a.jpg");
    photo("deep/b.png");
    photo("deep/deeper/one\ntwo.jpg");
    photo(".hidden/no.jpg");
    photo("raw.jpg");
    writeFile(files.file("notes.txt"), "text");
    writeFile(files.file("disguised.jpg"), "text");
    writeFile(files.file("empty.jpg"), "");
    ASSERT_EQ(symlink("a.jpg", files.file("link.jpg").c_str()), 0);
    ASSERT_EQ(symlink(".", files.file("loop").c_str()), 0);
    const Json document = ada.json({"upload", group, files.path(), "--exclude", "raw*"});
    EXPECT_EQ(document["uploaded"], 3);
    EXPECT_EQ(document["failed"], 0);
    EXPECT_EQ(document["left_out"].dump(), R"({"no_picture":3,"hidden":1,"links":2,"special":0,"excluded":1})");
    EXPECT_EQ(contents(), 3U);

    const std::uint64_t uploads = hits("upload");
    const ProgramResult again = ada.run({"upload", group, files.path(), "--exclude", "raw*"});
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_EQ(again.out, "0 uploaded, 3 already there, 0 failed. Left out: 3 no picture, 1 hidden, 2 links, 1 excluded.\n");
    EXPECT_EQ(hits("upload"), uploads);
    EXPECT_EQ(hits("media"), 0U) << "what was uploaded from here is known";
}

TEST_F(FolderCommand, ComparesWithWhatOthersHaveUploadedOnce)
{
    const std::string there = photo("there.jpg");
    folder("new");
    writeFile(files.file("new/same.jpg"), readFile(there) + "A");
    writeFile(files.file("new/other.jpg"), readFile(there) + "B");
    writeFile(files.file("new/larger.jpg"), readFile(there) + "AB");
    ada.ok({"upload", group, files.file("new/same.jpg")});
    ada.ok({"upload", group, there});
    const Json document = ada.json({"upload", group, files.file("new")});
    EXPECT_EQ(document["uploaded"], 2);
    EXPECT_EQ(document["present"], 1);
    EXPECT_EQ(document["files"][2]["present"], true) << "same.jpg, in the order of names";
    EXPECT_EQ(hits("media"), 1U) << "only what is of the same size";
    EXPECT_EQ(ada.json({"upload", group, files.file("new")})["present"], 3);
    EXPECT_EQ(hits("media"), 1U) << "and that once";
}

TEST_F(FolderCommand, UploadsOnePictureOfTwoThatAreTheSame)
{
    writeFile(files.file("b.jpg"), readFile(photo("a.jpg")));
    const Json document = ada.json({"upload", group, files.path()});
    EXPECT_EQ(document["uploaded"], 1);
    EXPECT_EQ(document["present"], 1);
    EXPECT_EQ(document["files"][1]["id"], document["files"][0]["id"]);
    EXPECT_EQ(contents(), 1U);
}

TEST_F(FolderCommand, APictureIsNotThereWhenTheOneThatIsTheSameHasFailed)
{
    writeFile(files.file("b.jpg"), readFile(photo("a.jpg")));
    photo("c.jpg");
    setFault("upload.file:status=500*1");
    const ProgramResult result = ada.run({"--json", "upload", group, files.path(), "--jobs", "1"});
    EXPECT_EQ(result.exitCode, 4);
    const Json document = Json::parse(result.out);
    for (const auto& [key, count] : {std::pair<const char*, int>{"present", 0}, {"failed", 2}, {"uploaded", 1}})
        EXPECT_EQ(document[key], count) << key;
    EXPECT_EQ(document["files"][1]["ok"], false);
    EXPECT_THAT(document["files"][1]["error"]["message"].get<std::string>(), HasSubstr("is the same as " + files.file("a.jpg")));
    EXPECT_EQ(ada.json({"upload", group, files.path()})["uploaded"], 1);
    EXPECT_EQ(contents(), 2U);
}

TEST_F(FolderCommand, DryRunTellsAndUploadsNothing)
{
    photo("a.jpg");
    photo("b.jpg");
    ada.ok({"upload", group, files.file("b.jpg")});
    const std::uint64_t before = hits("upload");
    const std::string out = ada.ok({"upload", group, files.path(), "--dry-run"});
    EXPECT_EQ(out, "Would upload " + files.file("a.jpg") + ".\n1 would be uploaded, 1 already there, 0 failed.\n");
    EXPECT_EQ(hits("upload"), before);
}

TEST_F(FolderCommand, TakesUpAgainAfterItWasKilled)
{
    for (int i = 0; i < 12; ++i)
        photo("p" + std::to_string(i) + ".jpg");
    setFault("upload.file:delay=1*5\nupload.file:delay=60000");
    {
        Program program(ada.between({"upload", group, files.path()}));
        ASSERT_TRUE(reaches("upload.file", 9));
        program.signal(SIGKILL);
        program.wait();
    }
    service.stop();
    const kinloomd_test::KinloomdProcess again(data.path(), {{"--control"}, true, "127.0.0.1:0", std::nullopt});
    const Json document = ada.json({"--service", again.url(), "upload", group, files.path()});
    // Of those that were on their way, the service may have taken some to the end.
    EXPECT_GE(document["present"], 5);
    EXPECT_EQ(document["present"].get<int>() + document["uploaded"].get<int>(), 12);
    EXPECT_THAT(ada.json({"--service", again.url(), "feed", group, "--all"})["contents"], SizeIs(12));
}

TEST_F(FolderCommand, AFolderThatIsNotThereIsAFailure)
{
    photo("a.jpg");
    const ProgramResult result = ada.run({"upload", group, files.path(), files.file("missing")});
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.err, HasSubstr("missing: cannot be read"));
    EXPECT_THAT(result.out, HasSubstr("1 uploaded, 0 already there, 1 failed."));
}

TEST_F(FolderCommand, GoesOnWithoutAPlaceForItsNotes)
{
    photo("a.jpg");
    ada.setVariable("XDG_STATE_HOME", "/proc/nowhere");
    const ProgramResult result = ada.run({"upload", group, files.path()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("cannot be remembered"));
    EXPECT_EQ(ada.json({"upload", group, files.path()})["present"], 1) << "it was fetched";
    EXPECT_EQ(hits("media"), 1U);
}

/// A service that means no good: its contents have the size of a file here, and bring more, or less.
TEST(FolderFromAStrangeService, TakesNoMoreThanWasAnnouncedAndNotesNothingElse)
{
    const TempDir files;
    const std::string photo = makePhoto(files.file("a.jpg"), {"--width", "80", "--height", "60"});
    const std::string size = std::to_string(readFile(photo).size());
    RawServer server;
    User ada(server.url(""));
    ada.ok({"config", "import"}, ANY_DEVICE);
    for (const auto& [media, told] : {std::pair<const char*, const char*>{"endless.jpg", "brings more than the "},
                                      {"short.jpg", "has arrived with 5 bytes instead of "}}) {
        pretendService(server, contentDocument("1", size, server.url(std::string("/media/") + media)), "short");
        const ProgramResult result = ada.run({"upload", "1", files.path(), "--dry-run"});
        EXPECT_EQ(result.exitCode, 1) << result.out;
        EXPECT_THAT(result.err, HasSubstr(told));
        EXPECT_LT(server.sentBytes(), 64U << 20);
    }
}

} // namespace
