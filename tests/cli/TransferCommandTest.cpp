// SPDX-License-Identifier: MIT
// Uploads and downloads.
#include "CliFixture.h"

#include <csignal>
#include <sys/stat.h>

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class TransferCommand : public CliTest {
protected:
    TransferCommand()
        : group(ada.createGroup("Summer")), photo(makePhoto(files.file("lake.jpg"), {"--width", "80", "--height", "60"}))
    {
    }

    std::string group;
    std::string photo;
    TempDir target;
};

TEST_F(TransferCommand, WhatGoesUpComesDownByteForByte)
{
    for (const char* name : {"lake.jpg", "tall.png", "small.webp"}) {
        const std::string path = name == std::string("lake.jpg")
                                     ? photo
                                     : makePhoto(files.file(name), {"--width", "120", "--height", "90", "--seed", "5"});
        const std::string id = ada.upload(group, path);
        ada.ok({"download", ada.urlOf(id), target.path()});
        EXPECT_EQ(readFile(target.file(name)), readFile(path)) << name;
    }
}

TEST_F(TransferCommand, UploadGoesOnAfterAFailureAndSumsUp)
{
    writeFile(files.file("empty.jpg"), "");
    ASSERT_EQ(mkfifo(files.file("pipe.jpg").c_str(), 0600), 0);
    writeFile(files.file("film.mp4"), std::string("\0\0\0\x18", 4) + "ftypisom");
    const Json good = ada.json({"upload", group, photo});
    EXPECT_EQ(good["uploaded"], 1);

    const ProgramResult result = ada.run({"--json", "upload", group, files.file("missing.jpg"), files.file("empty.jpg"),
                                          files.file("pipe.jpg"), files.file("film.mp4"), photo});
    EXPECT_EQ(result.exitCode, 5) << "the first failure's";
    const Json document = Json::parse(result.out);
    EXPECT_EQ(document["uploaded"], 1);
    EXPECT_EQ(document["failed"], 4);
    EXPECT_EQ(document["files"][4]["ok"], true) << "in the order of the arguments";
    for (const char* part : {"missing.jpg: cannot be read", "is empty", "pipe.jpg: is not a regular file", "photos only"})
        EXPECT_THAT(result.err, HasSubstr(part));
    EXPECT_THAT(ada.run({"upload", group, photo, files.file("missing.jpg")}).out, HasSubstr("1 of 2 files uploaded."));
}

TEST_F(TransferCommand, InterruptedUploadTellsWhatWasSentBefore)
{
    const std::string large = makePhoto(files.file("large.png"), {"--width", "2000", "--height", "1500"});
    setFault("upload.file:delay=1*1");
    setFault("upload.file:delay=60000*1");
    Program program(ada.between({"--json", "--verbose", "upload", group, photo, large, "--jobs", "1"}));
    ASSERT_TRUE(program.waitFor("the plugin is"));
    ASSERT_TRUE(reaches("upload", 2));
    program.signal(SIGINT);
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_EQ(Json::parse(result.out)["uploaded"], 1);
}

TEST_F(TransferCommand, UnfitFilesAreRefusedBeforeAnyRequest)
{
    const std::uint64_t before = hits("auth");
    writeFile(files.file("notes.txt"), "text");
    EXPECT_EQ(ada.run({"upload", group, files.file("missing.jpg")}).exitCode, 5);
    EXPECT_EQ(ada.run({"upload", group, files.file("notes.txt")}).exitCode, 1);
    EXPECT_EQ(ada.run({"upload", group, photo, "--type", "video/mp4"}).exitCode, 1);
    EXPECT_EQ(ada.run({"upload", group, photo, "--type", "nonsense"}).exitCode, 2);
    EXPECT_EQ(hits("auth"), before);
}

TEST_F(TransferCommand, AFileNamedDashIsAFileAndNotStandardInput)
{
    Program::Settings settings = ada.between({"upload", group, "--", "-"});
    settings.folder = files.path();
    ASSERT_EQ(rename(photo.c_str(), files.file("-").c_str()), 0);
    settings.command.insert(settings.command.begin() + 1, "--json");
    const ProgramResult result = Program(settings).wait();
    EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(TransferCommand, UploadToAForeignGroupSaysWhy)
{
    const User bob(data.path(), "Bob", service.url());
    const ProgramResult result = bob.run({"upload", group, photo});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("a group of yours?"));
}

TEST_F(TransferCommand, TypeOverridesWhatTheFileLooksLike)
{
    writeFile(files.file("noextension"), readFile(photo));
    EXPECT_EQ(ada.json({"upload", group, files.file("noextension")})["files"][0]["type"], "image/jpeg") << "its first bytes tell";
    EXPECT_EQ(ada.run({"upload", group, photo, "--type", "image/png"}).exitCode, 1) << "the service looks for itself";
}

TEST_F(TransferCommand, DownloadNeverReplacesAFileUnlessToldTo)
{
    const std::string url = ada.urlOf(ada.upload(group, photo));
    writeFile(target.file("lake.jpg"), "mine");
    const ProgramResult result = ada.run({"download", url, target.path()});
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.err, HasSubstr("--force"));
    EXPECT_EQ(readFile(target.file("lake.jpg")), "mine");
    ada.ok({"download", url, target.path(), "--force"});
    EXPECT_EQ(readFile(target.file("lake.jpg")), readFile(photo));
}

TEST_F(TransferCommand, DownloadTakesANameOfThePersonsChoice)
{
    const std::string url = ada.urlOf(ada.upload(group, photo));
    const Json document = ada.json({"download", url, target.path(), "--name", "Mein Bild 😀.jpg"});
    EXPECT_EQ(document["name"], "Mein Bild 😀.jpg");
    EXPECT_EQ(document["size"], readFile(photo).size());
    EXPECT_THAT(target.entries(), ElementsAre("Mein Bild 😀.jpg"));
}

TEST_F(TransferCommand, DownloadRefusesNamesThatAreNone)
{
    const std::string url = ada.urlOf(ada.upload(group, photo));
    for (const std::string& name :
         {std::string(".."), std::string("."), std::string("../x"), std::string(".x"), std::string("a/b"), std::string(300, 'a')}) {
        EXPECT_EQ(ada.run({"download", url, target.path(), "--name=" + name}).exitCode, 2) << name;
    }
    EXPECT_THAT(target.entries(), IsEmpty());
}

TEST_F(TransferCommand, DownloadThatFailsLeavesNothing)
{
    const std::string url = ada.urlOf(ada.upload(group, photo));
    EXPECT_EQ(ada.run({"--retries", "0", "download", url + "x/y", target.path()}).exitCode, 1);
    setFault("media:cut-after=100*1");
    EXPECT_EQ(ada.run({"--retries", "0", "download", url, target.path()}).exitCode, 4);
    setFault("media:reset*1");
    EXPECT_EQ(ada.run({"--retries", "0", "download", url, target.path()}).exitCode, 4);
    setFault("media:stall-after=100*1");
    EXPECT_EQ(ada.run({"--retries", "0", "download", url, target.path(), "--timeout", "1"}).exitCode, 4);
    EXPECT_THAT(target.entries(), IsEmpty());
    writeFile(target.file("lake.jpg"), "mine");
    setFault("media:cut-after=100*1");
    EXPECT_EQ(ada.run({"--retries", "0", "download", url, target.path(), "--force"}).exitCode, 4);
    EXPECT_EQ(readFile(target.file("lake.jpg")), "mine");
}

TEST_F(TransferCommand, DownloadIntoWhatIsNoFolderIsRefusedBeforeAnyRequest)
{
    const std::uint64_t before = hits("auth");
    EXPECT_EQ(ada.run({"download", "http://h/a.jpg", target.file("missing")}).exitCode, 5);
    EXPECT_EQ(ada.run({"download", "http://h/a.jpg", photo}).exitCode, 5);
    EXPECT_EQ(ada.run({"download", "notaurl", target.path()}).exitCode, 2);
    EXPECT_EQ(hits("auth"), before);
}

TEST_F(TransferCommand, UploadShowsABarOnATerminal)
{
    const std::string large = makePhoto(files.file("large.png"), {"--width", "2000", "--height", "1500"});
    setFault("upload.file:delay=1500*1");
    Program program(ada.inTerminal({"upload", group, large}));
    EXPECT_TRUE(program.waitFor("%, "));
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, HasSubstr("large.png  ["));
    EXPECT_THAT(result.out, HasSubstr("\r\x1b[KUploaded"));
}

TEST_F(TransferCommand, SecondAndThirdTransferOfACommandShowABarToo)
{
    const std::string large = makePhoto(files.file("large.png"), {"--width", "2000", "--height", "1500"});
    const std::string other = files.file("other.png");
    writeFile(other, readFile(large));
    setFault("upload.file:delay=1500*2");
    const ProgramResult result = Program(ada.inTerminal({"upload", group, large, other})).wait();
    EXPECT_EQ(result.exitCode, 0);
    for (const char* bar : {"large.png  [", "other.png  ["}) {
        const std::size_t at = result.out.rfind(bar);
        ASSERT_NE(at, std::string::npos) << bar;
        EXPECT_THAT(result.out.substr(at, 80), HasSubstr("MB of")) << "and bytes in it";
    }
}

TEST_F(TransferCommand, FourGoUpBesideEachOtherAndCtrlCEndsThemAll)
{
    Arguments arguments = {"upload", group};
    for (int i = 0; i < 6; ++i)
        arguments.push_back(
            makePhoto(files.file(std::to_string(i) + ".jpg"), {"--width", "80", "--height", "60", "--seed", std::to_string(i)}));
    setFault("upload.file:delay=60000");
    Program program(ada.between(arguments));
    ASSERT_TRUE(reaches("upload.file", 4));
    program.signal(SIGINT);
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 130) << result.err;
    EXPECT_THAT(result.err, HasSubstr("may have taken effect")) << "all of their bytes are at the service";
    EXPECT_EQ(hits("upload.file"), 4U) << "no other one was begun";
    EXPECT_THAT(ada.json({"feed", group})["contents"], IsEmpty());
}

TEST_F(TransferCommand, ResultsComeInTheOrderOfTheArguments)
{
    Arguments arguments = {"upload", group};
    std::vector<std::string> expected;
    for (int i = 0; i < 8; ++i) {
        arguments.push_back(i == 5 ? files.file("missing.jpg")
                                   : makePhoto(files.file(std::to_string(i) + ".jpg"),
                                               {"--width", "80", "--height", "60", "--seed", std::to_string(i)}));
        expected.push_back(arguments.back());
    }
    setFault("upload.file:delay=500*1");
    arguments.insert(arguments.begin(), "--json");
    const ProgramResult result = ada.run(arguments);
    EXPECT_EQ(result.exitCode, 5);
    std::vector<std::string> told;
    const Json document = Json::parse(result.out);
    for (const Json& file : document["files"])
        told.push_back(file["file"]);
    EXPECT_EQ(told, expected);
}

TEST_F(TransferCommand, AFileThatChangesWhileItIsSentIsSaid)
{
    setFault("upload.file:delay=1000*1");
    Program program(ada.between({"upload", group, photo}));
    ASSERT_TRUE(reaches("upload.file", 1));
    // It may have been read already, or not.
    writeFile(photo, std::string(readFile(photo).size(), 'x'));
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.err, HasSubstr("has changed while it was sent"));
}

TEST_F(TransferCommand, AFileThatBecomesShorterWhileItIsSentIsSaid)
{
    const std::string large = files.file("large.jpg");
    writeFile(large, readFile(photo) + std::string(8 << 20, 'x'));
    setFault("upload.file:delay=1000*1");
    Program program(ada.between({"--retries", "0", "--timeout", "2", "upload", group, large}));
    ASSERT_TRUE(reaches("upload.file", 1));
    writeFile(large, "another");
    const ProgramResult result = program.wait();
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.err, HasSubstr("has changed while it was sent"));
}

TEST_F(TransferCommand, AServiceThatDiesEndsTheRunWith4)
{
    setFault("upload.file:delay=60000");
    Program program(ada.between({"--retries", "0", "upload", group, photo, photo, photo}));
    ASSERT_TRUE(reaches("upload.file", 3));
    service.kill();
    EXPECT_EQ(program.wait().exitCode, 4);
}

} // namespace
