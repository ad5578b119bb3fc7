// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"
#include "support/RawServer.h"
#include "support/TestStore.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace {

using namespace kinloomd_test;

class Commands : public ServiceFixture {
protected:
    std::string writePicture(const std::string& name, const TestPicture& picture)
    {
        std::ofstream(m_folder / name, std::ios::binary) << picture.bytes;
        return m_folder / name;
    }
    static unsigned modeOf(const std::string& path)
    {
        struct stat info {};
        return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 0777U : 07777U;
    }
};

TEST_F(Commands, PrintTheSectionForTheHostsConfiguration)
{
    EXPECT_THAT(m_anna.section,
                ::testing::MatchesRegex(
                    "\\[provider\\.Kinloom\\]\napp_id = \"[0-9a-f]+\"\nAuthToken = \"[0-9a-f]+\"\nduid = \"[0-9a-f]+\"\n"));
    EXPECT_EQ(m_anna.token.size(), 64U);
    EXPECT_NE(m_anna.token, m_ben.token);
    EXPECT_NE(m_anna.appId, m_ben.appId);
    EXPECT_NE(m_anna.duid, m_ben.duid);
}

TEST_F(Commands, AddAPersonWithTheFirstDevice)
{
    addDevice(m_data, "Anna");
    const CommandResult people = command({"person", "list"});
    EXPECT_EQ(people.exitCode, 0);
    EXPECT_THAT(people.out, ::testing::MatchesRegex("1\tAnna\t.*Z\n2\tBen\t.*Z\n3\tCarla\t.*Z\n"));
    const CommandResult devices = command({"device", "list"});
    EXPECT_EQ(std::count(devices.out.begin(), devices.out.end(), '\n'), 4);
}

TEST_F(Commands, EndTheUseOfADevice)
{
    start();
    anna().signIn();
    EXPECT_EQ(command({"device", "remove", m_anna.duid}).exitCode, 0);
    EXPECT_EQ(command({"device", "remove", m_anna.duid}).exitCode, 1);
    EXPECT_EQ(anna().signIn().status, 403);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 401);
    EXPECT_EQ(anna().comment("1", "text").status, 401) << "nor is anything credited to it";
    EXPECT_EQ(ben().signIn().status, 200);
}

TEST_F(Commands, NeverPrintSecretsOfDevices)
{
    for (const CommandResult& result : {command({"device", "list"}), command({"person", "list"}), command({"check"})}) {
        EXPECT_EQ(result.out.find(m_anna.token), std::string::npos);
        EXPECT_EQ(result.out.find(m_anna.appId), std::string::npos);
    }
}

TEST_F(Commands, KeepTheFolderPrivate)
{
    EXPECT_EQ(modeOf(m_data), 0700U);
    if (!onPostgresql()) {
        EXPECT_EQ(modeOf(m_data + "/kinloomd.db"), 0600U);
    }
    std::filesystem::permissions(m_data, std::filesystem::perms::all);
    command({"person", "list"});
    EXPECT_EQ(modeOf(m_data), 0700U);
}

TEST_F(Commands, AddAPersonOnce)
{
    const CommandResult first = command({"person", "add", "Dora", "--phone", "555"});
    EXPECT_EQ(first.exitCode, 0) << first.err;
    const CommandResult second = command({"person", "add", "Dora"});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_NE(second.err.find("kinloomd: there is a person named 'Dora' already"), std::string::npos) << second.err;
    EXPECT_EQ(command({"person", "add", ""}).exitCode, 1);
    EXPECT_EQ(command({"person", "add", std::string(201, 'x')}).exitCode, 1);
    EXPECT_EQ(command({"person", "add", "bad\x01name"}).exitCode, 1);
}

TEST_F(Commands, ManageMembersByNameAndByNumber)
{
    start();
    const std::string id = anna().createGroup("Family");
    EXPECT_EQ(command({"member", "add", "Family", "Ben"}).out, "Ben is now a member of Family\n");
    EXPECT_EQ(command({"member", "add", id, "2"}).out, "Ben was a member of Family before\n");
    EXPECT_NE(command({"group", "list"}).out.find(id + "\tFamily\tmaster Anna\tmembers Anna, Ben\tcontents 0\tcomments 0"),
              std::string::npos);
    EXPECT_EQ(ben().groupNames("").size(), 1U);
    EXPECT_EQ(command({"member", "remove", "Family", "Ben"}).out, "Ben is no longer a member of Family\n");
    EXPECT_EQ(command({"member", "remove", "Family", "Ben"}).out, "Ben was not a member of Family\n");
    EXPECT_TRUE(ben().groupNames("").empty());
}

TEST_F(Commands, RefuseWhatDoesNotExistOrIsAmbiguous)
{
    start();
    anna().createGroup("Twice");
    anna().createGroup("Twice");
    EXPECT_EQ(command({"member", "add", "Twice", "Ben"}).exitCode, 1);
    EXPECT_EQ(command({"member", "add", "Nothing", "Ben"}).exitCode, 1);
    const std::string id = anna().createGroup("Family");
    EXPECT_EQ(command({"member", "add", id, "Nobody"}).exitCode, 1);
    const CommandResult master = command({"member", "remove", id, "Anna"});
    EXPECT_EQ(master.exitCode, 1);
    EXPECT_NE(master.err.find("master"), std::string::npos);
    EXPECT_EQ(command({"event", "add", "999", "--person", "Anna", "--title", "x", "--start", "2010-05-05"}).exitCode, 1);
    EXPECT_EQ(command({"event", "add", id, "--person", "Anna", "--title", "x", "--start", "someday"}).exitCode, 2);
}

TEST_F(Commands, PutPicturesIntoGroups)
{
    start();
    const std::string id = anna().createGroup("Family");
    const std::string file = writePicture("a b.webp", makePicture(60, 40, ".webp"));
    const CommandResult added =
        command({"content", "add", "--group", "Family", "--person", "Anna", "--desc", "text", "--copies", "3", file});
    ASSERT_EQ(added.exitCode, 0) << added.err;
    const Xml feed(anna().get(ServiceClient::path(id + "/feeds?&search_before=latest")).body);
    EXPECT_EQ(feed.count("//contentId"), 3U);
    EXPECT_EQ(feed.text("//format"), "webp");
    for (const std::string& url : feed.texts("//contentUrl|//thumbnail/*"))
        EXPECT_EQ(request(port(), "GET", targetOf(url)).status, 200) << url;
    EXPECT_EQ(command({"content", "add", "--group", "Family", "--person", "Ben", file}).exitCode, 1) << "no member";
    EXPECT_EQ(command({"content", "add", "--group", "Family", "--person", "Anna", m_folder / "missing.jpg"}).exitCode, 1);
    const std::string text = writePicture("text.jpg", {"no picture", "", ""});
    EXPECT_EQ(command({"content", "add", "--group", "Family", "--person", "Anna", text}).exitCode, 1);
    expectConsistent();
}

TEST_F(Commands, RefusePicturesOfPeopleThatAreNone)
{
    const std::string text = writePicture("text.jpg", {"no picture", "", ""});
    const CommandResult result = command({"person", "image", "Anna", text});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find(text), std::string::npos);
    EXPECT_EQ(command({"person", "image", "Nobody", text}).exitCode, 1);
    EXPECT_EQ(command({"person", "image", "Anna", m_folder / "missing"}).exitCode, 1);
}

TEST_F(Commands, ExplainAWrongCommandLine)
{
    struct Row {
        std::vector<std::string> arguments;
        const char* says;
    };
    const Row rows[] = {
        {{}, "'kinloomd' needs a command: serve, "},
        {{"fly"}, "there is no command 'fly' of 'kinloomd'"},
        {{"groop", "list"}, "Did you mean 'group'?"},
        {{"person"}, "'kinloomd person' needs a command: add, "},
        {{"group", "rename", "1", "x"}, "a group keeps its name"},
        {{"person", "list", "--data", m_data, "--colour"}, "'kinloomd person list' has no option '--colour'"},
        {{"serve"}, "--data"},
        {{"device", "add", "--data", m_data}, "--person"},
        {{"serve", "--data", m_data, "--reply-shape", "round"}, "needs one of elements, attributes"},
        {{"serve", "--data", m_data, "--public-url", "photos.example"}, "needs a scheme and a host"},
        {{"serve", "--data", m_data, "--public-url", "http://a/b"}, "without a slash"},
        {{"serve", "--data", m_data, "--max-upload", "much"}, "--max-upload"},
        {{"serve", "--data", m_data, "--quota", "much"}, "needs a number from 0 to 1000000000000000000"},
        {{"serve", "--data", m_data, "--listen", "0.0.0.0:99999"}, "is not an address"},
        {{"event", "add", "1", "--person", "Anna", "--title", "x", "--start", "yesterday", "--data", m_data},
         "2010-05-05T07:04:09Z"},
    };
    for (const Row& row : rows) {
        const CommandResult result = runKinloomd(row.arguments);
        EXPECT_EQ(result.exitCode, 2) << row.says;
        EXPECT_EQ(result.out, "") << row.says;
        EXPECT_THAT(result.err, ::testing::StartsWith("kinloomd: ")) << row.says;
        EXPECT_THAT(result.err, ::testing::HasSubstr(row.says));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    EXPECT_EQ(runKinloomd({"--help"}).exitCode, 0);
    const CommandResult help = runKinloomd({"serve", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.out, ::testing::HasSubstr("--reply-shape elements|attributes\n"));
}

TEST_F(Commands, ShowNothingOfTheirArgumentsThatATerminalWouldObey)
{
    const CommandResult result =
        runKinloomd({"serve", "--listen", "127.0.0.1:0", "--data", m_folder / "no/x\x1B[31m\xC2\x9B\xE2\x80\xAE\n\\"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, ::testing::HasSubstr("x\\u001b[31m\\u009b\\u202e\\u000a\\"));
}

TEST_F(Commands, FailWhenNobodyCanReadTheirResult)
{
    const std::string before = command({"device", "list"}).out;
    std::string database;
    for (const std::string& argument : databaseArguments(m_data))
        database += " '" + argument + "'";
    for (const char* words : {"device add --person Anna", "person list", "trash list --json", "check"}) {
        const std::string line =
            kinloomdProgram() + " " + words + " --data " + m_data + database + " >/dev/full 2>" + (m_folder / "errors");
        // NOLINTNEXTLINE(cert-env33-c): a shell is what people give a full disk's output with
        const int status = std::system(line.c_str());
        EXPECT_EQ(WEXITSTATUS(status), 1) << words;
        std::ifstream errors(m_folder / "errors");
        const std::string text(std::istreambuf_iterator<char>(errors), {});
        EXPECT_THAT(text, ::testing::HasSubstr("standard output")) << words;
    }
    EXPECT_EQ(command({"device", "list"}).out, before) << "a device whose token nobody got is none";
}

TEST_F(Commands, PrintTheVersion)
{
    const CommandResult result = runKinloomd({"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, ::testing::MatchesRegex("kinloomd [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Commands, ExplainAFolderThatHoldsNoRecords)
{
    SKIP_ON_POSTGRESQL("records are elsewhere");
    const CommandResult missing = runKinloomd({"person", "list", "--data", m_folder / "nothing"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("nothing"), std::string::npos);
}

TEST_F(Commands, ExplainAFolderThatCannotBeUsed)
{
    const CommandResult deeper = runKinloomd({"serve", "--listen", "127.0.0.1:0", "--data", m_folder / "no/folder"});
    EXPECT_EQ(deeper.exitCode, 1);
    EXPECT_NE(deeper.err.find("no/folder"), std::string::npos) << deeper.err;
    std::ofstream(m_folder / "file") << "x";
    EXPECT_EQ(runKinloomd({"serve", "--listen", "127.0.0.1:0", "--data", m_folder / "file"}).exitCode, 1);
}

TEST_F(Commands, ExplainAnAddressThatCannotBeListenedOn)
{
    start();
    const std::string other = m_folder / "other";
    const std::string taken = "127.0.0.1:" + std::to_string(port());
    const CommandResult result = runKinloomd({"serve", "--data", other, "--listen", taken});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find(taken), std::string::npos) << result.err;
    for (const char* address : {"nonsense", "127.0.0.1", "127.0.0.1:x", "127.0.0.1:70000", ":80", "::1:80"})
        EXPECT_EQ(runKinloomd({"serve", "--data", other, "--listen", address}).exitCode, 2) << address;
}

TEST_F(Commands, LetOneServiceServeAFolder)
{
    SKIP_ON_POSTGRESQL("any number of services share their records there");
    start();
    const CommandResult second = command({"serve", "--listen", "127.0.0.1:0"});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_NE(second.err.find("serves"), std::string::npos) << second.err;
    EXPECT_EQ(anna().signIn().status, 200);
}

TEST_F(Commands, StopTheServiceOnEitherSignal)
{
    start();
    EXPECT_EQ(m_process->stop(), 0);
    m_process.reset();
    start();
    ::kill(m_process->pid(), SIGINT);
    EXPECT_EQ(m_process->stop(), 0);
}

TEST_F(Commands, ServeOnOtherAddresses)
{
    m_settings.listenAddress = "[::1]:0";
    start();
    EXPECT_EQ(m_process->url(), "http://[::1]:" + std::to_string(port()));
}

TEST_F(Commands, CheckCountsWhatThereIs)
{
    start();
    const std::string group = anna().createGroup("Family");
    anna().commentId(anna().uploadPhoto(group, smallPicture()), "text");
    anna().reserve(group, "type=photo&");
    const CommandResult running = command({"check"});
    EXPECT_EQ(running.exitCode, 0);
    EXPECT_NE(running.out.find("people 3, devices 3, groups 1, contents 1, reserved uploads 1, comments 1\n"), std::string::npos)
        << running.out;
    EXPECT_NE(running.out.find("a service is running"), std::string::npos);
    expectConsistent();
}

TEST_F(Commands, CheckAsksForAnOriginalThatAStoresListLacks)
{
    start();
    const std::string photo = anna().uploadPhoto(anna().createGroup("Family"), smallPicture());
    const HttpReply view = anna().get(ServiceClient::path(photo + "/view"));
    EXPECT_EQ(request(port(), "GET", targetOf(field(view, "contentThumbnail_116X87"))).status, 200);
    m_process.reset();
    test::RawServer store;
    test::TestStore{"", "", "key", "secret"}.lendKeys();
    runSql(m_data,
           "INSERT INTO setting (name, value) VALUES ('media', 's3://photos'), ('media_endpoint', '" + store.url("") + "')");
    const struct {
        std::string head; ///< what the store says of the original
        std::string finding;
    } cases[] = {
        {"200 OK\r\nContent-Length: " + std::to_string(smallPicture().bytes.size()), ""},
        {"200 OK\r\nContent-Length: 7", "content " + photo + " has a file of another size\n"},
        {"404 Not Found\r\nContent-Length: 0", "content " + photo + " has no file\n"},
    };
    for (const auto& each : cases) {
        // The server's threads outlive the cases.
        store.onRequest([head = each.head](const test::RawRequest& request) {
            if (request.line().rfind("HEAD ", 0) == 0)
                return test::RawReply().send("HTTP/1.1 " + head + "\r\n\r\n");
            return test::RawReply::ok("<ListBucketResult/>");
        });
        const CommandResult result = command({"check"});
        EXPECT_EQ(result.exitCode, each.finding.empty() ? 0 : 3) << result.err;
        EXPECT_THAT(result.out, ::testing::HasSubstr(each.finding));
    }
}

} // namespace
