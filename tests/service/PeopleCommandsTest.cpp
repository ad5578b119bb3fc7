// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"
#include "support/ArgumentPointers.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace kinloomd_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Json = nlohmann::json;

class PeopleCommands : public ServiceFixture {
protected:
    std::string ok(std::vector<std::string> arguments)
    {
        const CommandResult result = command(std::move(arguments));
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return result.out;
    }
    /// The message of a command that must fail with 1.
    std::string refused(std::vector<std::string> arguments)
    {
        const CommandResult result = command(std::move(arguments));
        EXPECT_EQ(result.exitCode, 1) << result.out;
        return result.err;
    }
    Json json(std::vector<std::string> arguments)
    {
        arguments.emplace_back("--json");
        return Json::parse(ok(std::move(arguments)));
    }
    std::vector<std::string> names()
    {
        std::vector<std::string> all;
        for (const Json& person : json({"person", "list"}))
            all.push_back(person["name"]);
        return all;
    }

    /// Runs a command on a terminal, where a person answers its question. \return the exit code.
    int answering(const std::string& answer, std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), kinloomdProgram());
        arguments.insert(arguments.end(), {"--data", m_data});
        for (const std::string& argument : databaseArguments(m_data))
            arguments.push_back(argument);
        const std::vector<char*> argv = test::pointersTo(arguments);
        int terminal = -1;
        const pid_t pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
        if (pid == 0) {
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        // What it says ends with its end; the answer is typed when it asks.
        m_said.clear();
        bool answered = false;
        char piece[256];
        for (ssize_t count = 0; (count = ::read(terminal, piece, sizeof piece)) > 0;) {
            m_said.append(piece, static_cast<std::size_t>(count));
            if (!answered && m_said.find("[y/N] ") != std::string::npos) {
                answered = true;
                EXPECT_EQ(::write(terminal, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
            }
        }
        int status = 0;
        ::waitpid(pid, &status, 0);
        ::close(terminal);
        return WEXITSTATUS(status);
    }

    std::string m_said;
};

TEST_F(PeopleCommands, RefuseADeviceForANameLikeOneThatIsThere)
{
    for (const char* name : {"anna", "ANNA", " Anna", "Anna ", "An na",
                             ("\xc2\xa0"
                              "Anna"),
                             "Anna\xe2\x80\x8e"}) {
        const std::string error = refused({"device", "add", "--person", name});
        EXPECT_THAT(error, HasSubstr("resembles 'Anna' (number 1)")) << name;
        EXPECT_THAT(error, HasSubstr("'--person 1'")) << name;
        EXPECT_THAT(error, HasSubstr("kinloomd person add")) << name;
    }
    EXPECT_THAT(names(), ElementsAre("Anna", "Ben", "Carla"));
    ok({"device", "add", "--person", "1"});
    EXPECT_THAT(names(), ElementsAre("Anna", "Ben", "Carla"));
    // Who means another person says so.
    ok({"person", "add", "anna"});
    ok({"device", "add", "--person", "anna"});
    EXPECT_THAT(names(), ElementsAre("Anna", "Ben", "Carla", "anna"));
    EXPECT_THAT(refused({"device", "add", "--person", "99"}), HasSubstr("no person of the number 99"));
}

TEST_F(PeopleCommands, LetNumbersDecideWhereANameIsThereTwice)
{
    EXPECT_THAT(refused({"person", "add", "Anna"}), HasSubstr("--again"));
    const std::string second = ok({"person", "add", "--again", "Anna"});
    EXPECT_EQ(second, "4\tAnna\n");
    start();
    const std::string group = ben().createGroup("Family");
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"device", "add", "--person", "Anna"},
                                                      {"member", "add", group, "Anna"},
                                                      {"person", "rename", "Anna", "Ada"},
                                                      {"person", "remove", "Anna", "--yes"},
                                                      {"group", "hand-over", group, "Anna"}}) {
        const std::string error = refused(arguments);
        EXPECT_THAT(error, HasSubstr("more than one person 'Anna'"));
        EXPECT_THAT(error, ::testing::ContainsRegex("1 \\(since [^)]*\\), 4 \\(since [^)]*\\)"));
    }
    EXPECT_EQ(ok({"member", "add", group, "4"}), "Anna is now a member of Family\n");
    EXPECT_EQ(json({"member", "list", group})[1]["id"], 4);
    ok({"device", "add", "--person", "4"});
    EXPECT_EQ(ok({"person", "rename", "4", "Ada"}), "Anna is now Ada\n");
    ok({"device", "add", "--person", "Anna"});
}

TEST_F(PeopleCommands, TakeANumberForANumberWhateverGroupsAreCalled)
{
    start();
    const std::string family = anna().createGroup("Family");
    const std::string forged = ben().createGroup(family);
    EXPECT_EQ(ok({"member", "add", family, "Carla"}), "Carla is now a member of Family\n");
    EXPECT_EQ(json({"member", "list", forged}).size(), 1U);
    anna().createGroup("Twice");
    ben().createGroup("Twice");
    EXPECT_THAT(refused({"member", "list", "Twice"}),
                ::testing::ContainsRegex("more than one group 'Twice': [0-9]+ \\(of Anna\\), [0-9]+ \\(of Ben\\)"));
}

TEST_F(PeopleCommands, RenameAPerson)
{
    start();
    EXPECT_EQ(ok({"person", "rename", "Anna", "Ada"}), "Anna is now Ada\n");
    EXPECT_EQ(field(anna().signIn(), "userName"), "Ada");
    EXPECT_THAT(refused({"person", "rename", "Ada", "Ben"}), HasSubstr("there is a person named 'Ben' already"));
    ok({"person", "rename", "Ada", "Ben", "--again"});
    EXPECT_THAT(refused({"person", "rename", "Carla", ""}), HasSubstr("a name has between"));
    EXPECT_THAT(refused({"person", "rename", "Nobody", "Dora"}), HasSubstr("no person 'Nobody'"));
}

TEST_F(PeopleCommands, RemoveAPersonWithDevicesAndGroups)
{
    start();
    const std::string shared = anna().createGroup("Family");
    addMember(shared, "Ben");
    const std::string own = ben().createGroup("Ben's");
    ben().uploadPhoto(own, smallPicture());
    const std::string photo = ben().uploadPhoto(shared, smallPicture());
    const std::string told = ok({"person", "remove", "Ben", "--dry-run"});
    EXPECT_THAT(told, HasSubstr("would remove Ben (number 2) with 1 device"));
    EXPECT_THAT(told, HasSubstr("the group 'Ben's' with 1 content"));
    EXPECT_EQ(ben().signIn().status, 200);
    EXPECT_EQ(command({"person", "remove", "Ben"}).exitCode, 2) << "nobody can be asked";
    EXPECT_EQ(ben().signIn().status, 200);
    ok({"person", "remove", "Ben", "--yes"});
    EXPECT_EQ(ben().signIn().status, 403);
    EXPECT_THAT(names(), ElementsAre("Anna", "Carla"));
    EXPECT_EQ(json({"device", "list"}).size(), 2U);
    EXPECT_EQ(json({"member", "list", shared}).size(), 1U);
    EXPECT_EQ(json({"group", "list"}).size(), 1U);
    const Xml view(anna().get(ServiceClient::path(photo + "/view")).body);
    EXPECT_EQ(view.text("//contentRegisterMember/userName"), "Ben") << "what he gave to others stays";
    EXPECT_THAT(refused({"person", "remove", "Ben", "--yes"}), HasSubstr("no person 'Ben'"));

    const Json trash = json({"trash", "list"});
    ASSERT_EQ(trash.size(), 2U);
    EXPECT_EQ(trash[0]["name"], "Ben's");
    EXPECT_EQ(trash[1]["kind"], "person");
    EXPECT_TRUE(trash[1]["deleted_by"].is_null());
    EXPECT_THAT(refused({"trash", "restore", trash[0]["id"].dump()}),
                HasSubstr("its master is in the trash: 'kinloomd trash restore "));
    EXPECT_EQ(ok({"trash", "restore", trash[1]["id"].dump()}), "person 2 'Ben' is back\n");
    ok({"trash", "restore", trash[0]["id"].dump()});
    EXPECT_EQ(ben().groupNames("").size(), 2U);
    expectConsistent();
}

TEST_F(PeopleCommands, RemoveNoMasterOfOthers)
{
    start();
    const std::string group = anna().createGroup("Family");
    addMember(group, "Ben");
    const std::string error = refused({"person", "remove", "Anna", "--yes"});
    EXPECT_THAT(error, HasSubstr("master of groups with other members: " + group + " 'Family'"));
    EXPECT_THAT(error, HasSubstr("kinloomd group hand-over"));
    EXPECT_THAT(refused({"group", "hand-over", group, "Carla"}), HasSubstr("is not a member"));
    EXPECT_THAT(refused({"group", "hand-over", group, "Anna"}), HasSubstr("already"));
    EXPECT_EQ(ok({"group", "hand-over", "Family", "Ben"}), "Ben is now the master of Family; Anna is still a member\n");
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.delete"), "groupID=" + group).status, 403);
    ok({"person", "remove", "Anna", "--yes"});
    EXPECT_EQ(anna().signIn().status, 403);
    EXPECT_EQ(ben().post(ServiceClient::path("me/group.delete"), "groupID=" + group).status, 200);
}

TEST_F(PeopleCommands, AskOnATerminalAndTakeNothingButYesForYes)
{
    for (const char* answer : {"\n", "n\n", "yess\n", "ja\n", "\x04"}) {
        EXPECT_EQ(answering(answer, {"person", "remove", "Ben"}), 1) << answer;
        EXPECT_THAT(m_said, HasSubstr("Remove Ben (number 2) with 1 device"));
        EXPECT_THAT(m_said, HasSubstr("nothing was removed"));
    }
    EXPECT_EQ(names().size(), 3U);
    EXPECT_EQ(answering("y\n", {"person", "remove", "Ben"}), 0) << m_said;
    EXPECT_EQ(answering("YES\n", {"person", "remove", "Carla"}), 0) << m_said;
    EXPECT_THAT(names(), ElementsAre("Anna"));
    EXPECT_EQ(answering("n\n", {"trash", "empty"}), 1);
    EXPECT_EQ(answering("yes\n", {"trash", "empty"}), 0);
    EXPECT_THAT(json({"trash", "list"}), IsEmpty());
}

TEST_F(PeopleCommands, ListEverythingAsJson)
{
    start();
    anna().signIn();
    const std::string group = anna().createGroup("Family", "text");
    addMember(group, "Ben");
    const Json people = json({"person", "list"});
    EXPECT_EQ(people[0]["id"], 1);
    EXPECT_EQ(people[0]["name"], "Anna");
    EXPECT_EQ(people[0]["created"].get<std::string>().back(), 'Z');
    const Json devices = json({"device", "list"});
    EXPECT_EQ(devices[0]["duid"], m_anna.duid);
    EXPECT_EQ(devices[0]["person"]["name"], "Anna");
    EXPECT_TRUE(devices[0]["signed_in"].is_string());
    EXPECT_TRUE(devices[0]["registered"].is_null());
    EXPECT_EQ(devices.dump().find(m_anna.token), std::string::npos);
    const Json groups = json({"group", "list"});
    EXPECT_EQ(groups[0]["description"], "text");
    EXPECT_EQ(groups[0]["master"]["id"], 1);
    EXPECT_EQ(groups[0]["members"][1]["name"], "Ben");
    EXPECT_EQ(groups[0]["contents"], 0);
    const Json members = json({"member", "list", "Family"});
    EXPECT_EQ(members[0]["master"], true);
    EXPECT_EQ(members[1]["master"], false);
    EXPECT_EQ(ok({"member", "list", group}), "1\tAnna\tmaster\n2\tBen\tmember\n");
    EXPECT_EQ(Json::parse(runKinloomd({"--json", "person", "list", "--data", m_data}).out).size(), 3U);
    EXPECT_EQ(json({"trash", "list"}), Json::array());
    EXPECT_EQ(runKinloomd({"--json", "check", "--data", m_data}).exitCode, 2) << "it prints no list";
}

TEST_F(PeopleCommands, PrintNothingThatATerminalObeys)
{
    start();
    const std::string nasty = "a\nforged\trow\r\x1b[31m\x7f\xc2\x9b"
                              "2J\xe2\x80\xae\xe2\x81\xa6\xd8\x9c\xe2\x80\xa8\\end \xc3\xa9";
    const std::string group = anna().createGroup(nasty, nasty);
    const std::string dora = ok({"person", "add", "D\xc2\x85ora\n\xe2\x80\x8f"});
    const CommandResult members = command({"member", "add", group, dora.substr(0, dora.find('\t'))});
    const std::string visible = R"(\u000aforged\u0009row\u000d)";
    EXPECT_THAT(ok({"group", "list"}), HasSubstr("\ta" + visible));
    std::string all = members.out + members.err;
    for (const std::vector<std::string>& list : {std::vector<std::string>{"group", "list"},
                                                 {"member", "list", group},
                                                 {"person", "list"},
                                                 {"group", "list", "--json"},
                                                 {"member", "list", group, "--json"},
                                                 {"person", "list", "--json"}}) {
        const std::string out = ok(list);
        if (list.back() != "--json") {
            EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), list[0] == "person" ? 4 : list[0] == "member" ? 2 : 1) << out;
        }
        all += out;
    }
    all += command({"person", "remove", "1", "--dry-run"}).err + command({"group", "hand-over", group, "2"}).err;
    for (const char* bad :
         {"\x1b", "\r", "\x7f", "\xc2\x9b", "\xc2\x85", "\xe2\x80\xae", "\xe2\x81\xa6", "\xd8\x9c", "\xe2\x80\xa8", "\xe2\x80\x8f"})
        EXPECT_EQ(all.find(bad), std::string::npos) << ::testing::PrintToString(bad);
    EXPECT_THAT(all, HasSubstr("\\\\end \xc3\xa9"));
    EXPECT_EQ(json({"group", "list"})[0]["name"], field(anna().get(ServiceClient::path("me/group.list")), "groupName"))
        << "programs get the name as it is";
}

} // namespace
