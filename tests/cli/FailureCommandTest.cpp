// SPDX-License-Identifier: MIT
// What people are told when something goes wrong: what it is, and what to do.
#include "CliFixture.h"

using namespace test;
using testing::HasSubstr;
using testing::Not;

namespace {

class FailureCommand : public CliTest {
protected:
    FailureCommand()
        : group(ada.createGroup("Summer")), photo(makePhoto(files.file("lake.jpg"), {"--width", "80", "--height", "60"}))
    {
    }

    std::string group;
    std::string photo;
};

struct FaultCase {
    const char* operation;
    Arguments arguments; ///< "GROUP" and "PHOTO" stand for the test's
    const char* fault;
    int exitCode;
    const char* says;
};

TEST_F(FailureCommand, EveryFailureOfTheServiceSaysWhatIsWrongAndEndsWithItsCode)
{
    const Arguments upload = {"upload", "GROUP", "PHOTO"};
    const FaultCase cases[] = {
        {"upload", upload, "status=500", 4, "has failed"},
        {"upload", upload, "status=503", 4, "cannot do it right now"},
        {"upload", upload, "status=429", 4, "too many requests"},
        {"upload.file", upload, "status=503", 4, "cannot do it right now"},
        {"upload.file", upload, "status=507", 4, "cannot do it right now"},
        {"upload.file", upload, "status=413", 1, "larger than the service takes"},
        {"group.list", {"groups"}, "status=500", 4, "has failed"},
        {"group.list", {"groups"}, "status=502", 4, "what stands before the service"},
        {"group.list", {"groups"}, "status=503", 4, "cannot do it right now"},
        {"group.list", {"groups"}, "status=504", 4, "what stands before the service"},
        {"group.list", {"groups"}, "status=429", 4, "too many requests"},
        {"group.list", {"groups"}, "status=401", 3, "does not accept this device"},
        {"group.list", {"groups"}, "status=302", 1, "HTTP 302"},
        {"auth", {"groups"}, "status=500", 4, "cannot sign in: the service at"},
        {"auth", {"login"}, "status=503", 4, "cannot do it right now"},
        {"auth", {"login"}, "status=429", 4, "too many requests"},
        {"register", {"register"}, "status=503", 4, "cannot do it right now"},
        {"feeds", {"feed", "GROUP"}, "status=500", 4, "has failed"},
    };
    for (const FaultCase& entry : cases) {
        Arguments arguments = entry.arguments;
        for (std::string& argument : arguments)
            argument = argument == "GROUP" ? group : argument == "PHOTO" ? photo : argument;
        arguments.insert(arguments.end(), {"--retries", "0"});
        setFault(std::string(entry.operation) + ":" + entry.fault + "*1");
        const ProgramResult result = ada.run(arguments);
        EXPECT_EQ(result.exitCode, entry.exitCode) << entry.operation << " " << entry.fault << "\n" << result.err;
        EXPECT_THAT(result.err, HasSubstr(entry.says)) << entry.operation << " " << entry.fault;
        EXPECT_THAT(result.err, Not(HasSubstr("a group of yours")));
        EXPECT_THAT(result.err, Not(HasSubstr("makes no sense")));
        EXPECT_THAT(result.err, Not(HasSubstr("does not know this device")));
        EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
    }
}

TEST_F(FailureCommand, HttpCodeAndServicesOwnWordsAreTold)
{
    setFault("group.list:status=503*1");
    const Json error = Json::parse(ada.run({"--json", "groups", "--retries", "0"}).out)["error"];
    EXPECT_EQ(error["http"], 503);
    EXPECT_THAT(error["message"].get<std::string>(), HasSubstr("It says: \"This failure was asked for.\""));
    EXPECT_TRUE(Json::parse(ada.run({"--json", "bogus"}).out)["error"]["http"].is_null());
}

TEST_F(FailureCommand, ADeviceThatWasRemovedIsToldSo)
{
    const std::string list = kinloomd_test::runKinloomd({"device", "list", "--data", data.path()}).out;
    const std::string number = cellsOf(linesOf(list).at(0)).at(0).substr(0, list.find_first_of(" \t"));
    ASSERT_EQ(kinloomd_test::runKinloomd({"device", "remove", "--data", data.path(), number}).exitCode, 0) << list;
    const ProgramResult result = ada.run({"groups"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.err, HasSubstr("does not accept this device"));
    EXPECT_THAT(result.err, HasSubstr("kinloomd device add"));
}

TEST_F(FailureCommand, ABadMarkerIsToldSo)
{
    const ProgramResult result = ada.run({"feed", group, "--before", "soon"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("marker"));
    EXPECT_THAT(result.err, HasSubstr("2024-07-14T20:31:05Z"));
}

TEST_F(FailureCommand, FilesThatTheServiceDoesNotTakeAreKnownBeforeAnythingIsSent)
{
    writeFile(files.file("scan.tif"), std::string("II*\0", 4) + "rest of it");
    writeFile(files.file("notes.jpg"), "a text, whatever its name says");
    const std::uint64_t before = hits("upload");
    const ProgramResult tiff = ada.run({"upload", group, files.file("scan.tif")});
    EXPECT_EQ(tiff.exitCode, 1);
    EXPECT_THAT(tiff.err, HasSubstr("image/tiff, and the service takes JPEG, PNG, WebP, GIF and HEIC only"));
    const ProgramResult text = ada.run({"upload", group, files.file("notes.jpg")});
    EXPECT_EQ(text.exitCode, 1);
    EXPECT_THAT(text.err, HasSubstr("is no picture"));
    EXPECT_THAT(ada.run({"upload", group, files.file("scan.tif"), "--type", "image/jpeg"}).err, HasSubstr("image/tiff"));
    EXPECT_EQ(hits("upload"), before);
}

TEST_F(FailureCommand, WordsThatAreNoCommandsAreNamed)
{
    const User nobody;
    struct WordCase {
        Arguments arguments;
        const char* says;
    };
    const WordCase cases[] = {
        {{"bogus"}, "there is no command 'bogus' of 'kinloom'"},
        {{"--json", "grops"}, "Did you mean 'groups'?"},
        {{"--service", "http://127.0.0.1:1", "bogus"}, "'bogus'"},
        {{"group", "dleete"}, "Did you mean 'delete'?"},
        {{"group"}, "'kinloom group' needs a command: create, delete"},
        {{}, "'kinloom' needs a command: pair, config"},
        {{"group", "rename", "12", "New"}, "the Open API has no operation"},
        {{"member", "add", "12", "Ben"}, "kinloomd member add GROUP PERSON"},
        {{"member", "list", "12"}, "kinloomd member list GROUP"},
        {{"content", "describe", "1", "x"}, "kinloom upload --desc"},
        {{"trash"}, "kinloomd trash"},
    };
    for (const WordCase& entry : cases) {
        const ProgramResult result = nobody.run(entry.arguments);
        EXPECT_EQ(result.exitCode, 2) << testing::PrintToString(entry.arguments);
        EXPECT_THAT(result.err, HasSubstr(entry.says));
        EXPECT_THAT(result.err, Not(HasSubstr("subcommand")));
    }
}

TEST_F(FailureCommand, TextsThatAreNoUtf8AreRefusedBeforeAnythingIsSent)
{
    const std::string id = ada.upload(group, photo);
    const std::uint64_t before = hits("auth");
    const std::string bad = "Gr\xFC\xDF"
                            "e";
    for (const Arguments& arguments :
         {Arguments{"comment", "add", id, bad}, Arguments{"group", "create", bad}, Arguments{"group", "create", "x", "--desc", bad},
          Arguments{"upload", group, photo, "--desc", bad}, Arguments{"feed", bad}, Arguments{"groups", "--person", bad}}) {
        const ProgramResult result = ada.run(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments[0] << " " << result.err;
        EXPECT_THAT(result.err, HasSubstr("no valid UTF-8"));
    }
    EXPECT_EQ(hits("auth"), before);
}

TEST_F(FailureCommand, WithoutHomeThePasswordDatabaseKnowsWhereTheConfigurationIs)
{
    Program::Settings settings = User().between({"groups"});
    settings.environment.erase("HOME");
    settings.environment.erase("XDG_CONFIG_HOME");
    settings.environment["KINLOOM_PLUGIN"] = "/nonexistent";
    const ProgramResult result = Program(settings).wait();
    EXPECT_THAT(result.err, Not(HasSubstr("is not set in .")));
    EXPECT_NE(result.exitCode, 0);
}

} // namespace
