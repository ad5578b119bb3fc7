// SPDX-License-Identifier: MIT
#include "CliFixture.h"

#include <csignal>
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
    ada.ok({"upload", group, first, second, third});
    const Json document = ada.json({"save", group, target.path()});
    EXPECT_EQ(document["saved"], 3);
    EXPECT_THAT(saved(), ElementsAre("Abend & Meer 100%.png", "lake (2).jpg", "lake.jpg"));
    EXPECT_EQ(readFile(target.file("lake.jpg")), readFile(first));
    EXPECT_EQ(readFile(target.file("lake (2).jpg")), readFile(second));
    EXPECT_EQ(readFile(target.file("Abend & Meer 100%.png")), readFile(third));
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
    ada.ok({"upload", group, photo("a.jpg"), photo("b.jpg"), photo("c.jpg")});
    setFault("media:delay=1*1");
    setFault("media:stall-after=500*1");
    Program program(ada.inTerminal({"save", group, target.path()}));
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
    ada.ok({"upload", group, photo("a.jpg"), photo("b.jpg"), photo("c.jpg")});
    setFault("media:delay=1*1");
    setFault("media:status=404*1");
    const ProgramResult result = ada.run({"--json", "save", group, target.path()});
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
    const std::string path = photo("a.jpg");
    Arguments arguments = {"upload", group};
    arguments.insert(arguments.end(), 103, path); // a page holds a hundred
    ada.ok(arguments);
    EXPECT_EQ(ada.json({"save", group, target.path()})["saved"], 103);
    EXPECT_EQ(saved().size(), 103U);
}

} // namespace
