// SPDX-License-Identifier: MIT
#include "CliFixture.h"

#include <csignal>
#include <ctime>
#include <sys/stat.h>

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class SaveCommand : public CliTest {
protected:
    SaveCommand() : group(ada.createGroup("Summer")) {}

    /// A photograph of that name, unlike all others. \return its path.
    std::string photo(const std::string& name)
    {
        const std::string folder = files.file(std::to_string(++m_number));
        mkdir(folder.c_str(), 0700);
        return makePhoto(folder + "/" + name, {"--width", "80", "--height", "60", "--seed", std::to_string(m_number)});
    }
    std::vector<std::string> saved() const
    {
        std::vector<std::string> names = target.entries();
        names.erase(std::remove(names.begin(), names.end(), ".kinloom-save"), names.end());
        return names;
    }

    std::string group;
    TempDir target;

private:
    int m_number = 0;
};

TEST_F(SaveCommand, MirrorsEveryOriginalAndKeepsTwoOfOneName)
{
    const std::string first = photo("lake.jpg");
    const std::string second = photo("lake.jpg");
    const std::string third = photo("Abend & Meer 100%.png");
    ada.ok({"upload", "--jobs", "1", group, first, second, third});
    const Json document = ada.json({"save", group, target.path()});
    EXPECT_EQ(document["saved"], 3);
    EXPECT_THAT(saved(), ElementsAre("Abend & Meer 100%.png", "lake (2).jpg", "lake.jpg"));
    EXPECT_EQ(readFile(target.file("lake.jpg")), readFile(first));
    EXPECT_EQ(readFile(target.file("lake (2).jpg")), readFile(second));
    EXPECT_EQ(readFile(target.file("Abend & Meer 100%.png")), readFile(third));
}

TEST_F(SaveCommand, KeepsOnePictureOnceHoweverManyHaveSentIt)
{
    const std::string path = photo("lake.jpg");
    ASSERT_EQ(kinloomd_test::runKinloomd(
                  {"content", "add", "--data", data.path(), "--group", group, "--person", "Ada", "--copies", "3", path})
                  .exitCode,
              0);
    ada.ok({"upload", group, photo("lake.jpg")});
    const Json document = ada.json({"save", group, target.path()});
    EXPECT_EQ(document["saved"], 2);
    EXPECT_EQ(document["present"], 2);
    EXPECT_THAT(saved(), ElementsAre("lake (2).jpg", "lake.jpg"));
    EXPECT_EQ(ada.json({"save", group, target.path()})["present"], 4);
}

TEST_F(SaveCommand, SkipsWhatIsThereAndFetchesWhatIsNew)
{
    ada.ok({"upload", group, photo("a.jpg"), photo("b.jpg")});
    ada.ok({"save", group, target.path()});
    const std::uint64_t before = hits("media");
    EXPECT_EQ(ada.json({"save", group, target.path()})["present"], 2);
    EXPECT_EQ(hits("media"), before) << "nothing is fetched twice";
    ada.ok({"upload", group, photo("c.jpg")});
    const Json document = ada.json({"save", group, target.path()});
    EXPECT_EQ(document["saved"], 1);
    EXPECT_EQ(document["present"], 2);
    EXPECT_THAT(saved(), ElementsAre("a.jpg", "b.jpg", "c.jpg"));
}

TEST_F(SaveCommand, MakesATruncatedFileWholeAgain)
{
    const std::string path = photo("a.jpg");
    ada.ok({"upload", group, path});
    ada.ok({"save", group, target.path()});
    writeFile(target.file("a.jpg"), readFile(path).substr(0, 100));
    EXPECT_EQ(ada.json({"save", group, target.path()})["saved"], 1);
    EXPECT_EQ(readFile(target.file("a.jpg")), readFile(path));
    EXPECT_THAT(saved(), ElementsAre("a.jpg"));
}

TEST_F(SaveCommand, NeverReplacesAFileThatIsNotItsOwn)
{
    const std::string path = photo("a.jpg");
    ada.ok({"upload", group, path});
    writeFile(target.file("a.jpg"), "somebody else's");
    ada.ok({"save", group, target.path()});
    EXPECT_EQ(readFile(target.file("a.jpg")), "somebody else's");
    EXPECT_EQ(readFile(target.file("a (2).jpg")), readFile(path));
}

TEST_F(SaveCommand, NeverReplacesAFileThatSomebodyHasChanged)
{
    const std::string path = photo("a.jpg");
    ada.ok({"upload", group, path});
    ada.ok({"save", group, target.path()});
    writeFile(target.file("a.jpg"), "retouched");
    ada.ok({"save", group, target.path()});
    EXPECT_EQ(readFile(target.file("a.jpg")), "retouched");
    EXPECT_EQ(readFile(target.file("a (2).jpg")), readFile(path));
    EXPECT_EQ(ada.json({"save", group, target.path()})["present"], 1);
}

TEST_F(SaveCommand, FetchesADeletedFileAgain)
{
    ada.ok({"upload", group, photo("a.jpg")});
    ada.ok({"save", group, target.path()});
    ASSERT_EQ(std::remove(target.file("a.jpg").c_str()), 0);
    ada.ok({"save", group, target.path()});
    EXPECT_THAT(saved(), ElementsAre("a.jpg"));
}

TEST_F(SaveCommand, TakesUpAgainAfterAnInterruption)
{
    ada.ok({"upload", "--jobs", "1", group, photo("a.jpg"), photo("b.jpg"), photo("c.jpg")});
    setFault("media:delay=1*1");
    setFault("media:stall-after=500*1");
    Program program(ada.inTerminal({"save", group, target.path(), "--jobs", "1"}));
    ASSERT_TRUE(program.waitFor("Saved a.jpg"));
    ASSERT_TRUE(program.waitFor("500 B of"));
    program.type("\x03");
    EXPECT_EQ(program.wait().exitCode, 130);
    EXPECT_THAT(saved(), ElementsAre("a.jpg")) << "what is whole stays, and nothing else";
    const Json document = ada.json({"save", group, target.path()});
    EXPECT_EQ(document["saved"], 2);
    EXPECT_EQ(document["present"], 1);
    EXPECT_THAT(saved(), ElementsAre("a.jpg", "b.jpg", "c.jpg"));
}

TEST_F(SaveCommand, TakesUpAgainAfterItWasKilled)
{
    const std::string path = photo("a.jpg");
    ada.ok({"upload", group, path});
    setFault("media:stall-after=500*1");
    {
        Program program(ada.inTerminal({"save", group, target.path()}));
        ASSERT_TRUE(program.waitFor("500 B of"));
        program.signal(SIGKILL);
        program.wait();
    }
    ada.ok({"save", group, target.path()});
    EXPECT_THAT(saved(), ElementsAre("a.jpg")) << "what the killed run left is gone";
    EXPECT_EQ(readFile(target.file("a.jpg")), readFile(path));
}

TEST_F(SaveCommand, GoesOnAfterAFailureAndSumsUp)
{
    ada.ok({"upload", "--jobs", "1", group, photo("a.jpg"), photo("b.jpg"), photo("c.jpg")});
    setFault("media:delay=1*1");
    setFault("media:status=404*1");
    const ProgramResult result = ada.run({"--json", "save", group, target.path(), "--jobs", "1"});
    EXPECT_EQ(result.exitCode, 1);
    const Json document = Json::parse(result.out);
    EXPECT_EQ(document["saved"], 2);
    EXPECT_EQ(document["failed"], 1);
    EXPECT_THAT(saved(), ElementsAre("a.jpg", "c.jpg"));
    EXPECT_EQ(ada.json({"save", group, target.path()})["saved"], 1);
}

TEST_F(SaveCommand, RefusesAFolderThatMirrorsAnotherGroup)
{
    const std::string other = ada.createGroup("Winter");
    ada.ok({"save", group, target.path()});
    const ProgramResult result = ada.run({"save", other, target.path()});
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.err, HasSubstr("another group"));
}

TEST_F(SaveCommand, MakesItsFolder)
{
    ada.ok({"upload", group, photo("a.jpg")});
    ada.ok({"save", group, target.file("new")});
    EXPECT_TRUE(exists(target.file("new/a.jpg")));
    EXPECT_EQ(ada.run({"save", group, target.file("missing/new")}).exitCode, 5);
}

TEST_F(SaveCommand, PagesThroughALongFeed)
{
    const std::string bytes = readFile(photo("a.jpg"));
    Arguments arguments = {"upload", group};
    for (int i = 0; i < 103; ++i) { // a page holds a hundred
        arguments.push_back(files.file(std::to_string(i) + ".jpg"));
        writeFile(arguments.back(), bytes + std::to_string(i));
    }
    ada.ok(arguments);
    EXPECT_EQ(ada.json({"save", group, target.path()})["saved"], 103);
    EXPECT_EQ(saved().size(), 103U);
}

TEST_F(SaveCommand, MakesNoDoublesWhenItsNoteIsLost)
{
    const std::string twice = photo("a.jpg");
    ada.ok({"upload", group, "--jobs", "1", twice, photo("b.jpg"), photo("a.jpg")});
    ada.ok({"save", group, target.path()});
    const std::vector<std::string> before = saved();
    EXPECT_THAT(before, ElementsAre("a (2).jpg", "a.jpg", "b.jpg"));
    ASSERT_EQ(std::remove(target.file(".kinloom-save").c_str()), 0);
    const Json document = ada.json({"save", group, target.path()});
    EXPECT_EQ(document["saved"], 0);
    EXPECT_EQ(document["present"], 3);
    EXPECT_EQ(saved(), before);
    const std::uint64_t media = hits("media");
    ada.ok({"save", group, target.path()});
    EXPECT_EQ(hits("media"), media) << "and it knows again";
}

TEST_F(SaveCommand, GivesFilesTheTimeWhenThePictureWasTaken)
{
    const std::string path = makePhoto(files.file("a.jpg"), {"--width", "80", "--height", "60", "--taken", "2020:02:03 04:05:06"});
    const std::string id = ada.upload(group, path);
    ada.ok({"save", group, target.path()});
    const std::string created = ada.json({"content", "show", id})["created"];
    std::tm parts{};
    ASSERT_NE(strptime(created.c_str(), "%Y-%m-%dT%H:%M:%S", &parts), nullptr) << created;
    struct stat info {};
    ASSERT_EQ(stat(target.file("a.jpg").c_str(), &info), 0);
    EXPECT_EQ(info.st_mtime, timegm(&parts)) << created;
    EXPECT_EQ(parts.tm_year, 120);
}

TEST_F(SaveCommand, TakesTheDaysThatAreNamedOnly)
{
    for (const char* day : {"13", "14", "15", "16"})
        makePhoto(files.file(std::string(day) + ".jpg"),
                  {"--width", "80", "--height", "60", "--seed", day, "--taken", "2024:07:" + std::string(day) + " 12:00:00"});
    ada.ok({"upload", group, files.path()});
    EXPECT_EQ(ada.json({"save", group, target.path(), "--since", "2024-07-14", "--until", "2024-07-15"})["saved"], 2);
    EXPECT_THAT(saved(), ElementsAre("14.jpg", "15.jpg"));
    EXPECT_EQ(ada.run({"save", group, target.path(), "--since", "tomorrow"}).exitCode, 2);
    EXPECT_EQ(ada.run({"save", group, target.path(), "--since", "2024-07-15", "--until", "2024-07-14"}).exitCode, 2);
}

TEST_F(SaveCommand, TellsALimitOfThisComputersFromAServiceThatBringsTooMuch)
{
    ada.ok({"upload", group, photo("a.jpg")});
    ada.ok({"config", "set", "max_file_body", "100"});
    const ProgramResult result = ada.run({"save", group, target.path()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("larger than the 100 bytes that a file may have here"));
    EXPECT_THAT(result.err, HasSubstr("max_file_body"));
    EXPECT_THAT(saved(), ElementsAre());
}

TEST_F(SaveCommand, FourComeDownBesideEachOtherAndCtrlCLeavesNothing)
{
    Arguments arguments = {"upload", group};
    for (int i = 0; i < 6; ++i)
        arguments.push_back(photo(std::to_string(i) + ".jpg"));
    ada.ok(arguments);
    setFault("media:stall-after=500");
    Program program(ada.between({"save", group, target.path()}));
    ASSERT_TRUE(reaches("media", 4));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait().exitCode, 130);
    EXPECT_EQ(hits("media"), 4U);
    EXPECT_THAT(saved(), ElementsAre());
}

/// A service whose first content lies at another host, which is not there.
TEST(SaveFromAStrangeService, GoesOnWhenAnotherHostIsNotThere)
{
    RawServer server;
    pretendService(server,
                   contentDocument("1", "10", "http://127.0.0.1:1/away.jpg") +
                       contentDocument("2", "10", server.url("/media/here.jpg")),
                   "0123456789");
    User ada(server.url(""));
    ada.ok({"config", "import"}, ANY_DEVICE);
    const TempDir target;
    const ProgramResult result = ada.run({"save", "1", target.path(), "--jobs", "1", "--retries", "0"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.out, HasSubstr("1 saved, 0 already there, 1 failed."));
    EXPECT_THAT(result.err, HasSubstr("there is no way to the service at http://127.0.0.1:1: "));
    EXPECT_THAT(result.err, HasSubstr("names that address for content 1"));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("--service")));
    EXPECT_THAT(target.entries(), ElementsAre(".kinloom-save", "here.jpg"));
}

/// A service that means no good: its feed has two contents, one of which brings more than it announces.
TEST(SaveFromAStrangeService, TakesNoMoreThanWasAnnouncedAndGivesHarmlessNames)
{
    RawServer server;
    pretendService(server,
                   contentDocument("1", "1000", server.url("/media/endless.jpg")) +
                       contentDocument("2", "10", server.url("/media/-rf.jpg")),
                   "0123456789");
    User ada(server.url(""));
    ada.ok({"config", "import"}, ANY_DEVICE);
    const TempDir target;
    const ProgramResult result = ada.run({"save", "1", target.path()});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("more than the 1000 bytes that were announced"));
    EXPECT_LT(server.sentBytes(), 64U << 20);
    EXPECT_THAT(target.entries(), ElementsAre(".kinloom-save", "_-rf.jpg"));
}

} // namespace
