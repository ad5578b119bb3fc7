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
        const std::string value = option.key == std::string("lead_to")   ? "http://a=https://b"
                                  : option.key == std::string("ca_file") ? fileOf(user) // any that is there
                                  : option.text(defaults).empty()        ? "a:1:b:2"
                                                                         : "20000";
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

TEST(ConfigCommand, AnImportedWayReplacesTheOneBeforeWhole)
{
    const std::string device = "[provider.Kinloom]\napp_id = \"a\"\nAuthToken = \"b\"\nduid = \"c\"\n";
    const User user;
    user.ok({"config", "set", "service", "https://127.0.0.1:2"});
    user.ok({"config", "set", "user_agent", "mine"});
    user.ok({"config", "import"}, device);
    EXPECT_EQ(user.ok({"config", "get", "service"}), "https://127.0.0.1:2\n") << "one without a way says nothing of it";
    user.ok({"config", "import"}, device + "[client]\nconnect_to = [\"openapi.kinloom.example:80:127.0.0.1:3\"]\n");
    EXPECT_EQ(user.ok({"config", "get", "service"}), "http://127.0.0.1:3\n");
    EXPECT_EQ(user.ok({"config", "get", "user_agent"}), "mine\n");
    user.ok({"config", "import"}, device + "[client]\nlead_to = [\"http://openapi.kinloom.example=https://127.0.0.1:4\"]\n");
    EXPECT_EQ(user.ok({"config", "get", "service"}), "https://127.0.0.1:4\n");
    EXPECT_EQ(user.json({"config", "show"})["client"]["connect_to"], "");
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

TEST(ConfigCommand, KeepsAFileOfAuthoritiesSoThatItIsFoundFromAnyFolder)
{
    User user;
    user.ok({"config", "import"}, "[provider.Kinloom]\napp_id = \"a\"\nAuthToken = \"b\"\nduid = \"c\"\n");
    const std::string file = user.home().file("ca.pem");
    writeFile(file, "x");
    Program::Settings settings = user.between({"config", "set", "ca_file", "./ca.pem"});
    settings.folder = user.home().path();
    EXPECT_EQ(Program(settings).wait().exitCode, 0);
    EXPECT_EQ(user.ok({"config", "get", "ca_file"}), file + "\n");
    const ProgramResult missing = user.run({"config", "set", "ca_file", "/nonexistent.pem"});
    EXPECT_EQ(missing.exitCode, 5);
    EXPECT_THAT(missing.err, HasSubstr("/nonexistent.pem: which ca_file names, cannot be read"));
    ASSERT_EQ(std::remove(file.c_str()), 0);
    EXPECT_EQ(user.run({"groups"}).exitCode, 5) << "it is a file of this computer";
    user.ok({"config", "set", "ca_file", ""});
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
