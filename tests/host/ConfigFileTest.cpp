// SPDX-License-Identifier: MIT
#include "whost/ConfigFile.h"
#include "W/WConfigManager.h"
#include "support/TempDir.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace W;
using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

mode_t modeOf(const std::string& path)
{
    struct stat info {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
}

class ConfigFileTest : public ::testing::Test {
protected:
    void TearDown() override { setHttpOptions(HttpOptions()); }

    std::string path() const { return dir.file("host.toml"); }
    /// Writes a file, loads it, and gives the message and line of the refusal; line -1 when it was accepted.
    std::pair<std::string, int> refusalOf(const std::string& content)
    {
        writeFile(path(), content);
        try {
            ConfigFile(path()).load();
        } catch (const ConfigError& error) {
            return {error.what(), static_cast<int>(error.line())};
        }
        return {"accepted", -1};
    }
    TempDir dir;
};

TEST_F(ConfigFileTest, IsEmptyWithoutAFile)
{
    ConfigFile file(path());
    file.load();
    EXPECT_TRUE(file.providers().empty());
    EXPECT_EQ(file.option("Kinloom", "app_id"), std::nullopt);
    EXPECT_FALSE(file.readableByOthers());
    EXPECT_EQ(file.httpOptions().maxRedirects, HttpOptions().maxRedirects);
}

TEST_F(ConfigFileTest, ReadsTheSectionOfAProvider)
{
    writeFile(path(), "[provider.Kinloom]\napp_id = \"id\"\nAuthToken = 'to\"ken'\nduid = 42\nflag = true\n");
    ConfigFile file(path());
    file.load();
    EXPECT_THAT(file.providers(), ElementsAre("Kinloom"));
    EXPECT_EQ(file.option("Kinloom", "app_id"), "id");
    EXPECT_EQ(file.option("Kinloom", "AuthToken"), "to\"ken");
    EXPECT_EQ(file.option("Kinloom", "duid"), "42");
    EXPECT_EQ(file.option("Kinloom", "flag"), "true");
    EXPECT_EQ(file.option("Kinloom", "none"), std::nullopt);
    EXPECT_EQ(file.options("Kinloom").size(), 4u);
}

TEST_F(ConfigFileTest, HandsEverythingToTheProcess)
{
    writeFile(path(), "[provider.Applied]\napp_id = \"id\"\n[provider.Other]\nservice_type = 3\nkey = \"v\"\n"
                      "[client]\nconnect_to = [\"a.example:80:127.0.0.1:8750\"]\nmax_redirects = 2\n");
    ConfigFile file(path());
    file.load();
    file.apply();
    WConfigManager& manager = *WConfigManager::getInstance();
    EXPECT_EQ(manager.getCPOption(WContentProvider("Applied", WContentProvider::SERVICE_KINLOOM), "app_id").toString(), "id");
    EXPECT_EQ(manager.getCPOption(WContentProvider("Other", static_cast<WContentProvider::ServiceType>(3)), "key").toString(), "v");
    EXPECT_THAT(httpOptions().connectTo, ElementsAre("a.example:80:127.0.0.1:8750"));
    EXPECT_EQ(httpOptions().maxRedirects, 2);
    EXPECT_EQ(httpOptions().connectTimeoutMs, HttpOptions().connectTimeoutMs) << "what the file does not name stays";
}

TEST_F(ConfigFileTest, TakesOptionsOverFromTheProcess)
{
    const WContentProvider provider("Captured", WContentProvider::SERVICE_KINLOOM);
    WConfigManager& manager = *WConfigManager::getInstance();
    manager.setCPOption(provider, "app_id", "fresh");
    ConfigFile file(path());
    file.setOption("Captured", "app_id", "stale");
    file.setOption("Captured", "duid", "goes");
    file.capture(provider, {"app_id", "duid"});
    file.save();
    ConfigFile again(path());
    again.load();
    EXPECT_EQ(again.option("Captured", "app_id"), "fresh");
    EXPECT_EQ(again.option("Captured", "duid"), std::nullopt);
}

TEST_F(ConfigFileTest, ReadsBackWhatItWrote)
{
    const std::string difficult =
        "quotes \"'`, backslash \\, tab \t, bell \a, umlaut \xc3\xbc, emoji \xf0\x9f\x98\x80, = # [x] ''' \"\"\"";
    ConfigFile file(path());
    file.setOption("Kinloom", "AuthToken", difficult);
    file.setOption("A provider.with \"marks\"", "a key", "");
    file.setClientOption("connect_to", "a:1:b:2,:80:[::1]:8080");
    file.setClientOption("user_agent", "tv/1");
    file.save();
    ConfigFile again(path());
    again.load();
    EXPECT_EQ(again.option("Kinloom", "AuthToken"), difficult);
    EXPECT_EQ(again.option("A provider.with \"marks\"", "a key"), "");
    EXPECT_THAT(again.httpOptions().connectTo, ElementsAre("a:1:b:2", ":80:[::1]:8080"));
    EXPECT_EQ(again.httpOptions().userAgent, "tv/1");
}

TEST_F(ConfigFileTest, KeepsWhatItDoesNotKnow)
{
    writeFile(
        path(),
        "top = 1\n[client]\nfuture = \"yes\"\nmax_redirects = 1\n[other.deep]\nlist = [1, 2]\n[provider.Kinloom]\nzeta = \"z\"\n");
    ConfigFile file(path());
    file.load();
    file.setOption("Kinloom", "app_id", "id");
    file.setClientOption("max_redirects", "3");
    file.save();
    const std::string content = readFile(path());
    for (const char* kept : {"top = 1", "future = ", "[other.deep]", "list = [", "zeta = "})
        EXPECT_THAT(content, HasSubstr(kept));
    ConfigFile again(path());
    again.load();
    EXPECT_EQ(again.httpOptions().maxRedirects, 3);
}

TEST_F(ConfigFileTest, RemovesOptions)
{
    ConfigFile file(path());
    EXPECT_FALSE(file.removeOption("Kinloom", "app_id"));
    file.setOption("Kinloom", "app_id", "id");
    EXPECT_TRUE(file.removeOption("Kinloom", "app_id"));
    EXPECT_EQ(file.option("Kinloom", "app_id"), std::nullopt);
}

TEST_F(ConfigFileTest, IsWrittenForItsOwnerAlone)
{
    const mode_t mask = umask(0);
    const std::string deep = dir.file("new/deeper/host.toml");
    ConfigFile file(deep);
    file.setOption("Kinloom", "AuthToken", "secret");
    file.save();
    umask(mask);
    EXPECT_EQ(modeOf(deep), 0600u);
    EXPECT_EQ(modeOf(dir.file("new")), 0700u);
    EXPECT_EQ(modeOf(dir.file("new/deeper")), 0700u);
    EXPECT_THAT(TempDir().entries(), ElementsAre());
}

TEST_F(ConfigFileTest, BecomesPrivateWhenItIsWrittenAgain)
{
    writeFile(path(), "[provider.Kinloom]\nAuthToken = \"secret\"\n");
    for (const mode_t mode : {0644, 0640, 0604, 0620, 0601}) {
        ASSERT_EQ(chmod(path().c_str(), mode), 0);
        ConfigFile file(path());
        file.load();
        EXPECT_TRUE(file.readableByOthers()) << std::oct << mode;
        file.save();
        file.load();
        EXPECT_FALSE(file.readableByOthers());
        EXPECT_EQ(modeOf(path()), 0600u);
    }
}

TEST_F(ConfigFileTest, LeavesTheOldFileWhenItCannotBeWritten)
{
    ConfigFile nowhere(dir.file("file/host.toml"));
    writeFile(dir.file("file"), "not a folder");
    EXPECT_THROW(nowhere.save(), ConfigError);
    ASSERT_EQ(mkdir(dir.file("host.toml").c_str(), 0755), 0);
    ConfigFile folder(path());
    EXPECT_THROW(folder.save(), ConfigError);
    EXPECT_THROW(folder.load(), ConfigError);
    EXPECT_THAT(dir.entries(), ElementsAre("file", "host.toml")) << "a temporary file was left";
    EXPECT_THROW(ConfigFile("").save(), ConfigError);
}

TEST_F(ConfigFileTest, WritesTheFileBehindALink)
{
    const TempDir elsewhere;
    writeFile(elsewhere.file("real.toml"), "");
    ASSERT_EQ(symlink(elsewhere.file("real.toml").c_str(), path().c_str()), 0);
    ConfigFile file(path());
    file.setOption("Kinloom", "app_id", "id");
    file.save();
    EXPECT_THAT(readFile(elsewhere.file("real.toml")), HasSubstr("app_id"));
    EXPECT_THAT(elsewhere.entries(), ElementsAre("real.toml"));
}

TEST_F(ConfigFileTest, DoesNotWaitAtAFifo)
{
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_THROW(ConfigFile(path()).load(), ConfigError);
}

TEST_F(ConfigFileTest, NamesFileAndLineOfBadToml)
{
    const auto [message, line] = refusalOf("[provider.Kinloom]\napp_id = \"id\"\nAuthToken = no quotes\n");
    EXPECT_EQ(line, 3);
    EXPECT_THAT(message, HasSubstr(path() + ":3: "));
    EXPECT_EQ(message.find('\n'), std::string::npos);
    EXPECT_EQ(refusalOf("a = 1\na = 2\n").second, 2);
    EXPECT_GE(refusalOf("[provider\n").second, 1);
    EXPECT_EQ(refusalOf("x = \"open\n").second, 1);
    EXPECT_GE(refusalOf(std::string("a = 1\n\0", 7)).second, 1);
    EXPECT_GE(refusalOf("a = \"\xff\"\n").second, 1);
}

TEST_F(ConfigFileTest, RefusesLineBreaksAndNulInValues)
{
    for (const char* value : {R"("a\r\nInjected: 1")", R"("a\n")", R"("\u0000")", "\"\"\"\na\nb\"\"\""}) {
        const auto [message, line] = refusalOf(std::string("[provider.Kinloom]\nAuthToken = ") + value + "\n");
        EXPECT_EQ(line, 2) << value;
        EXPECT_THAT(message, HasSubstr("AuthToken"));
    }
    ConfigFile file(path());
    for (const std::string& value : {std::string("a\rb"), std::string("a\n"), std::string("\0", 1)}) {
        EXPECT_THROW(file.setOption("Kinloom", "AuthToken", value), ConfigError);
        EXPECT_THROW(file.setOption("Kinloom", value, "x"), ConfigError);
        EXPECT_THROW(file.setOption(value, "x", "x"), ConfigError);
        EXPECT_THROW(file.setClientOption("user_agent", value), ConfigError);
    }
    EXPECT_THROW(file.setOption("", "x", "x"), ConfigError);
    EXPECT_THROW(file.setOption("x", "", "x"), ConfigError);
    EXPECT_TRUE(file.providers().empty());
}

TEST_F(ConfigFileTest, NeverShowsAValueInAMessage)
{
    EXPECT_EQ(refusalOf("[provider.Kinloom]\nAuthToken = \"SECRET\\n\"\n").first.find("SECRET"), std::string::npos);
    EXPECT_EQ(refusalOf("[provider.Kinloom]\nAuthToken = [\"SECRET\"]\n").first.find("SECRET"), std::string::npos);
}

TEST_F(ConfigFileTest, RefusesNamesWithControlsInOneReadableLine)
{
    for (const char* content : {"[provider.Kinloom]\n\"a\\nb\\u001b\" = [1]\n", "[provider]\n\"a\\nb\\u001b\" = 1\n",
                                "[provider.Kinloom]\n\"a\\nb\\u001b\" = \"\\n\"\n"}) {
        const auto [message, line] = refusalOf(content);
        EXPECT_EQ(line, 2) << content;
        EXPECT_THAT(message, HasSubstr("\"a?b?\""));
    }
}

TEST_F(ConfigFileTest, RefusesValuesOfTheWrongKind)
{
    const std::pair<const char*, int> cases[] = {
        {"provider = 1\n", 1},
        {"[[provider]]\n", 1},
        {"provider.Kinloom = \"x\"\n", 1},
        {"[provider.Kinloom]\na = [1]\n", 2},
        {"[provider.Kinloom]\n\na = {b = 1}\n", 3},
        {"[provider.Kinloom]\na = 2010-05-05\n", 2},
        {"[provider.Kinloom]\nservice_type = \"12\"\n", 2},
        {"[provider.Kinloom]\nservice_type = -1\n", 2},
        {"[provider.Kinloom]\nservice_type = 4294967296\n", 2},
        {"client = 1\n", 1},
        {"[client]\nconnect_to = \"a:1:b:2\"\n", 2},
        {"[client]\nconnect_to = [1]\n", 2},
        {"[client]\nconnect_to = [\"a:1:b\"]\n", 2},
        {"[client]\nconnect_to = [\"a:1:b:2 \"]\n", 2},
        {"[client]\nconnect_timeout_ms = \"1\"\n", 2},
        {"[client]\nconnect_timeout_ms = 0\n", 2},
        {"[client]\nconnect_timeout_ms = 1.5\n", 2},
        {"[client]\nmax_redirects = -1\n", 2},
        {"[client]\nmax_memory_body = 0\n", 2},
        {"[client]\nmax_transfers = 0\n", 2},
        {"[client]\nuser_agent = 1\n", 2},
        {"[client]\nuser_agent = \"a\\r\\nb\"\n", 2},
        {"[client]\nproxy = \"a\\u0007\"\n", 2},
    };
    for (const auto& [content, line] : cases)
        EXPECT_EQ(refusalOf(content).second, line) << content << refusalOf(content).first;
}

std::string repeated(const std::string& text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

TEST_F(ConfigFileTest, RefusesNestingThatWouldExhaustTheStack)
{
    const std::string keys = repeated("a.", 200'000) + "a";
    const std::string lines[] = {
        keys + " = 1",
        "[" + keys + "]",
        "[[" + keys + "]]",
        repeated(R"("=" . '#'.)", 80'000) + "a = 1",
        "x = {" + keys + " = 1}",
        "x = " + repeated("{a.a=", 30'000) + "1" + repeated("}", 30'000),
        "x = " + repeated("[", 100'000),
        repeated("a.", 20) + "a = 1",
        "[" + repeated("a.", 10) + "a]\n" + repeated("a.", 10) + "a = 1",
        R"(x = ["""\""""", {)" + keys + "=1}]",
        "x = ['''a''''', {" + keys + "=1}]",
    };
    for (const std::string& line : lines)
        EXPECT_GE(refusalOf("[other] # it's\ny = \"\"\"\n\"\"\"\n" + line + "\n").second, 4) << line.substr(0, 40);
}

TEST_F(ConfigFileTest, TakesDotsAndBracketsThatNestNothing)
{
    const std::string dots = repeated("[.{", 100);
    const std::string lines[] = {
        "x = \"" + dots + "\\\"" + dots + "\"",
        "x = '" + dots + "'",
        "# " + dots,
        "x = \"\"\"\n" + dots + "\"" + dots + R"(""""")",
        "x = '''" + dots + "'" + dots + "\n'''",
        "x = [" + repeated("1.5, ", 1000) + "]",
        "x = [" + repeated("[{a = 1}], ", 1000) + "]",
        repeated("a.", 14) + "a = 1",
        "[" + repeated("a.", 14) + "a]",
        repeated("[[a]]\n", 100),
    };
    for (const std::string& line : lines)
        EXPECT_EQ(refusalOf(line + "\n").first, "accepted") << line.substr(0, 40);
}

TEST_F(ConfigFileTest, WritesNamesAndTextsOfAnyCharacters)
{
    const std::string texts[] = {
        "Bob's TV", "it's", "tab\there", "'''", R"(""")", R"(a\'"b)", "", "\x1b\x7f", "\xc3\xa9\xe2\x80\xa8", "a.b", "[x]", "#"};
    ConfigFile file(path());
    for (const std::string& text : texts)
        file.setOption("it's " + text, "key " + text, text);
    file.save();
    ConfigFile again(path());
    again.load();
    for (const std::string& text : texts)
        EXPECT_EQ(again.option("it's " + text, "key " + text), text);
    EXPECT_EQ(again.providers(), file.providers());
}

TEST_F(ConfigFileTest, KeepsEveryKindOfValueOfSectionsThatItDoesNotKnow)
{
    const std::string content = R"(date = 2010-05-05T07:04:09.5+09:00
"it's" = 1
"line\u000Aend" = "two\u000Alines '''"
list = [1, [2.5, -inf], { "a.b" = { c = true }, d = {} }, []]

[["a'b"]]

[["a'b"]]
x = 0.5

["a'b".empty]

[deep.er.est]
time = 07:04:09
)";
    writeFile(path(), content);
    ConfigFile file(path());
    file.load();
    file.save();
    EXPECT_EQ(readFile(path()), content);
}

TEST_F(ConfigFileTest, DoesNotWriteWhatItCouldNotReadAgain)
{
    writeFile(path(), "[provider.Kinloom]\napp_id = \"id\"\n");
    ConfigFile file(path());
    file.load();
    file.setOption("Kinloom", "duid", "no UTF-8: \xff");
    EXPECT_THROW(file.save(), ConfigError);
    EXPECT_EQ(readFile(path()), "[provider.Kinloom]\napp_id = \"id\"\n");
}

TEST_F(ConfigFileTest, DoesNotWriteMoreThanItReads)
{
    ConfigFile file(path());
    file.setOption("Kinloom", "app_id", "id");
    file.save();
    file.setOption("Kinloom", "duid", std::string(1 << 20, 'd'));
    EXPECT_THROW(file.save(), ConfigError);
    file.load();
    EXPECT_EQ(file.option("Kinloom", "app_id"), "id");
    EXPECT_EQ(file.option("Kinloom", "duid"), std::nullopt);
}

TEST_F(ConfigFileTest, KeepsWhatItHeldWhenAFileIsRefused)
{
    ConfigFile file(path());
    file.setOption("Kinloom", "app_id", "id");
    writeFile(path(), "nonsense");
    EXPECT_THROW(file.load(), ConfigError);
    EXPECT_EQ(file.option("Kinloom", "app_id"), "id");
}

TEST(ConfigFilePath, FollowsTheEnvironment)
{
    const char* const config = std::getenv("XDG_CONFIG_HOME");
    const char* const home = std::getenv("HOME");
    const std::optional<std::string> before[] = {config ? std::optional<std::string>(config) : std::nullopt,
                                                 home ? std::optional<std::string>(home) : std::nullopt};
    setenv("XDG_CONFIG_HOME", "/somewhere", 1);
    EXPECT_EQ(ConfigFile::defaultPath(), "/somewhere/kinloom/host.toml");
    setenv("XDG_CONFIG_HOME", "relative", 1);
    setenv("HOME", "/home/person", 1);
    EXPECT_EQ(ConfigFile::defaultPath(), "/home/person/.config/kinloom/host.toml");
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(ConfigFile::defaultPath(), "/home/person/.config/kinloom/host.toml");
    EXPECT_EQ(homeFolder(), "/home/person");
    setenv("HOME", "relative", 1);
    EXPECT_EQ(homeFolder().substr(0, 1), "/") << "of the person's own record";
    unsetenv("HOME");
    const passwd* const person = getpwuid(geteuid());
    ASSERT_NE(person, nullptr);
    EXPECT_EQ(ConfigFile::defaultPath(), std::string(person->pw_dir) + "/.config/kinloom/host.toml");
    if (before[0])
        setenv("XDG_CONFIG_HOME", before[0]->c_str(), 1);
    if (before[1])
        setenv("HOME", before[1]->c_str(), 1);
}

} // namespace
