// SPDX-License-Identifier: MIT
#include "files/ContentNotes.h"
#include "core/Errors.h"
#include "files/FileHash.h"
#include "support/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <optional>
#include <thread>
#include <vector>

using namespace kinloom;

namespace {

/// A variable of the environment, put back at the end of its scope.
class Variable {
public:
    explicit Variable(const char* name) : m_name(name)
    {
        if (const char* const value = std::getenv(name))
            m_before = value;
    }
    ~Variable() { set(m_before ? m_before->c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

    void set(const char* value) const
    {
        if (value != nullptr)
            setenv(m_name, value, 1);
        else
            unsetenv(m_name);
    }

private:
    const char* const m_name;
    std::optional<std::string> m_before;
};

const std::string HASH = hashOf("one");
const std::string OTHER = hashOf("other");

class ContentNotesTest : public testing::Test {
protected:
    std::string noteFile() const { return std::filesystem::directory_iterator(folder())->path().string(); }
    std::string folder() const { return m_folder.file("state"); }

    test::TempDir m_folder;
};

TEST(FileHash, IsSha256)
{
    EXPECT_EQ(hashOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    const test::TempDir folder;
    test::writeFile(folder.file("a"), std::string(1 << 20, 'a'));
    EXPECT_EQ(hashOfFile(folder.file("a")), hashOf(std::string(1 << 20, 'a')));
    EXPECT_THROW(hashOfFile(folder.file("missing")), Failure);
    EXPECT_THROW(hashOfFile(folder.path()), Failure);
}

TEST_F(ContentNotesTest, RememberAcrossRuns)
{
    {
        ContentNotes notes(folder(), "there");
        EXPECT_EQ(notes.trouble(), "");
        EXPECT_EQ(notes.hashOf("1"), "");
        notes.note("1", HASH);
        EXPECT_EQ(notes.hashOf("1"), HASH);
    }
    EXPECT_EQ(ContentNotes(folder(), "there").hashOf("1"), HASH);
    EXPECT_EQ(ContentNotes(folder(), "elsewhere").hashOf("1"), "") << "another group's or service's are others";
}

TEST_F(ContentNotesTest, PassOverWhatWasCutOffAndWhatIsNone)
{
    {
        ContentNotes notes(folder(), "there");
        notes.note("1", HASH);
        notes.note("2", OTHER);
    }
    const std::string whole = test::readFile(noteFile());
    for (std::size_t size = whole.rfind("2 "); size < whole.size(); ++size) {
        test::writeFile(noteFile(), whole.substr(0, size));
        {
            ContentNotes notes(folder(), "there");
            EXPECT_EQ(notes.hashOf("1"), HASH);
            EXPECT_EQ(notes.hashOf("2"), "") << size;
            notes.note("3", OTHER);
        }
        EXPECT_EQ(ContentNotes(folder(), "there").hashOf("3"), OTHER) << "what follows a cut line is whole";
    }
    test::writeFile(noteFile(), "4 nonsense\n " + HASH + "\n5\n\n6 " + HASH + "x\n7 " + HASH + "\n");
    const ContentNotes notes(folder(), "there");
    for (const char* content : {"4", "", "5", "6"})
        EXPECT_EQ(notes.hashOf(content), "") << content;
    EXPECT_EQ(notes.hashOf("7"), HASH);
}

TEST_F(ContentNotesTest, SeveralRunsWriteAtOnce)
{
    std::vector<std::thread> runs;
    runs.reserve(4);
    for (int run = 0; run < 4; ++run)
        runs.emplace_back([&, run] {
            ContentNotes notes(folder(), "there");
            for (int i = 0; i < 200; ++i)
                notes.note(std::to_string(run * 1000 + i), HASH);
        });
    for (std::thread& run : runs)
        run.join();
    const ContentNotes notes(folder(), "there");
    for (int run = 0; run < 4; ++run)
        for (int i = 0; i < 200; ++i)
            ASSERT_EQ(notes.hashOf(std::to_string(run * 1000 + i)), HASH);
}

TEST_F(ContentNotesTest, ThatCannotBeKeptAreKeptForThisRunOnly)
{
    test::writeFile(m_folder.file("file"), "");
    for (const std::string& place : {std::string(), m_folder.file("file")}) {
        ContentNotes notes(place, "there");
        EXPECT_NE(notes.trouble(), "") << place;
        notes.note("1", HASH);
        EXPECT_EQ(notes.hashOf("1"), HASH);
    }
}

TEST_F(ContentNotesTest, LieWhereStateBelongs)
{
    const Variable state("XDG_STATE_HOME");
    const Variable home("HOME");
    state.set("/somewhere");
    EXPECT_EQ(ContentNotes::folderOfThisUser(), "/somewhere/kinloom");
    state.set("relative");
    home.set("/home/ada");
    EXPECT_EQ(ContentNotes::folderOfThisUser(), "/home/ada/.local/state/kinloom");
    state.set(nullptr);
    home.set("relative");
    EXPECT_THAT(ContentNotes::folderOfThisUser(), testing::MatchesRegex("/.*/\\.local/state/kinloom"));
    home.set(nullptr);
    EXPECT_THAT(ContentNotes::folderOfThisUser(), testing::EndsWith("/.local/state/kinloom")) << "of the user's own record";
}

} // namespace
