// SPDX-License-Identifier: MIT
#include "CliFixture.h"
#include "whost/ConfigFile.h"

#include <sys/stat.h>

using namespace test;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string fileOf(const User& user) { return user.home().file("config/kinloom/host.toml"); }

TEST(ConfigCommand, SetsAndGetsOptions)
{
    const User user;
    user.ok({"config", "set", "app_id", "application"});
    EXPECT_EQ(user.ok({"config", "get", "app_id"}), "application\n");
    user.ok({"config", "set", "connect_timeout_ms", "1234"});
    EXPECT_EQ(user.ok({"config", "get", "connect_timeout_ms"}), "1234\n");
    user.ok({"config", "set", "service", "http://127.0.0.1:8750"});
    EXPECT_EQ(user.ok({"config", "get", "service"}), "http://127.0.0.1:8750\n");
    EXPECT_EQ(user.json({"config", "get", "app_id"})["value"], "application");
}

TEST(ConfigCommand, ShowsAndSetsEveryOptionOfTheClient)
{
    const User user;
    const W::HttpOptions defaults;
    const Json shown = user.json({"config", "show"})["client"];
    EXPECT_EQ(shown.size(), W::clientOptions().size());
    std::string keys;
    for (const W::ClientOption& option : W::clientOptions()) {
        EXPECT_EQ(shown[option.key], option.text(defaults)) << option.key;
        const std::string value = option.text(defaults).empty() ? "a:1:b:2" : "20000";
        user.ok({"config", "set", option.key, value});
        EXPECT_EQ(user.ok({"config", "get", option.key}), value + "\n");
        keys.append(", ").append(option.key);
    }
    EXPECT_THAT(user.run({"config", "get", "colour"}).err, HasSubstr(keys)) << "a refusal names them all";
}

TEST(ConfigCommand, NeverShowsTheToken)
{
    const User user;
    const std::string token = "0123456789abcdef-token";
    for (const Arguments& arguments :
         {Arguments{"config", "set", "AuthToken", token}, Arguments{"config", "get", "AuthToken"}, Arguments{"config", "show"},
          Arguments{"config", "show", "--json"}, Arguments{"config", "get", "AuthToken", "--json"}}) {
        const ProgramResult result = user.run(arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_THAT(result.out + result.err, Not(HasSubstr(token))) << testing::PrintToString(arguments);
        EXPECT_THAT(result.out, HasSubstr("********"));
    }
    EXPECT_THAT(readFile(fileOf(user)), HasSubstr(token)) << "but keeps it";
}

TEST(ConfigCommand, ReadsAValueFromStandardInput)
{
    const User user;
    user.ok({"config", "set", "AuthToken", "-"}, "secret-from-a-pipe\n");
    EXPECT_THAT(readFile(fileOf(user)), HasSubstr("secret-from-a-pipe"));
    EXPECT_THAT(readFile(fileOf(user)), Not(HasSubstr("secret-from-a-pipe\\n")));
}

TEST(ConfigCommand, KeepsTheFileToItsOwner)
{
    const User user;
    user.ok({"config", "set", "AuthToken", "x"});
    struct stat info {};
    ASSERT_EQ(stat(fileOf(user).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
}

TEST(ConfigCommand, WarnsOfAFileThatOthersCanRead)
{
    const User user;
    user.ok({"config", "set", "AuthToken", "x"});
    ASSERT_EQ(chmod(fileOf(user).c_str(), 0644), 0);
    EXPECT_THAT(user.run({"config", "show"}).err, HasSubstr("can be read by others"));
}

TEST(ConfigCommand, TakesOverWhatTheServicePrints)
{
    const User user;
    user.ok({"config", "import"}, "[provider.Kinloom]\napp_id = \"a\"\nAuthToken = \"b\"\nduid = \"c\"\n");
    EXPECT_EQ(user.ok({"config", "get", "duid"}), "c\n");
    EXPECT_EQ(user.ok({"config", "get", "app_id"}), "a\n");
}

TEST(ConfigCommand, RefusesWhatIsNoConfiguration)
{
    const User user;
    for (const char* input : {"", "not toml at all [", "[other]\nx = 1\n", "[provider.Kinloom]\nduid = [1, 2]\n",
                              "[provider.Kinloom]\nduid = \"a\\nb\"\n"}) {
        const ProgramResult result = user.run({"config", "import"}, input);
        EXPECT_EQ(result.exitCode, 2) << input;
        EXPECT_THAT(result.err, HasSubstr("standard input")) << input;
    }
    EXPECT_FALSE(exists(fileOf(user)));
}

TEST(ConfigCommand, RefusesUnknownOptionsAndUnfitValues)
{
    const User user;
    EXPECT_EQ(user.run({"config", "set", "colour", "red"}).exitCode, 2);
    EXPECT_THAT(user.run({"config", "set", "colour", "red"}).err, HasSubstr("AuthToken"));
    EXPECT_EQ(user.run({"config", "get", "colour"}).exitCode, 2);
    EXPECT_EQ(user.run({"config", "set", "connect_timeout_ms", "soon"}).exitCode, 2);
    EXPECT_EQ(user.run({"config", "set", "duid", "a\nb"}).exitCode, 2);
    EXPECT_EQ(user.run({"config", "set", "service", "somewhere"}).exitCode, 2);
    EXPECT_EQ(user.run({"config", "get", "duid"}).exitCode, 3) << "not set";
}

TEST(ConfigCommand, SaysWhichLineOfABrokenFileIsWrong)
{
    const User user;
    user.ok({"config", "set", "duid", "x"});
    writeFile(fileOf(user), "[provider.Kinloom]\nduid = \n");
    const ProgramResult result = user.run({"groups"});
    EXPECT_EQ(result.exitCode, 5);
    EXPECT_THAT(result.err, HasSubstr("host.toml:2"));
}

TEST(ConfigCommand, UsesTheFileThatIsNamed)
{
    const User user;
    const std::string other = user.home().file("other.toml");
    user.ok({"--config", other, "config", "set", "duid", "elsewhere"});
    EXPECT_THAT(readFile(other), HasSubstr("elsewhere"));
    EXPECT_FALSE(exists(fileOf(user)));
}

} // namespace
