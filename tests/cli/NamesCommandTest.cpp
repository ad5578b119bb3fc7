// SPDX-License-Identifier: MIT
// Names in place of numbers, days in place of markers, and addresses that can be opened.
#include "CliFixture.h"

#include "W/Http.h"

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class NamesCommand : public CliTest {
protected:
    std::string photo(const std::string& name, const std::string& taken) const
    {
        return makePhoto(files.file(name),
                         {"--width", "80", "--height", "60", "--taken", taken, "--seed", std::to_string(name.size())});
    }
    std::vector<std::string> feed(const Arguments& arguments) const
    {
        Arguments all = {"feed", "Summer"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        std::vector<std::string> ids;
        const Json document = ada.json(all);
        for (const Json& content : document["contents"])
            ids.push_back(content["id"]);
        return ids;
    }

    TempDir target;
};

TEST_F(NamesCommand, AGroupsNameStandsWhereItsNumberCan)
{
    const std::string id = ada.createGroup("Summer & sea");
    const std::string path = photo("a.jpg", "2024:07:14 20:31:05");
    EXPECT_EQ(ada.json({"upload", "Summer & sea", path})["group"], id);
    EXPECT_EQ(ada.json({"feed", "summer & SEA"})["contents"].size(), 1U) << "case does not matter where nothing else fits";
    EXPECT_EQ(ada.json({"save", "Summer & sea", target.file("mirror")})["saved"], 1);
    EXPECT_EQ(ada.json({"save", id, target.file("mirror")})["present"], 1) << "it is the same group";
    ada.ok({"group", "delete", "Summer & sea", "--yes"});
}

TEST_F(NamesCommand, AnAmbiguousNameListsTheNumbers)
{
    const std::string one = ada.createGroup("Twins");
    const std::string two = ada.createGroup("Twins");
    const ProgramResult result = ada.run({"feed", "Twins"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.err, HasSubstr("'Twins' means 2 groups"));
    EXPECT_THAT(result.err, HasSubstr(one));
    EXPECT_THAT(result.err, HasSubstr(two));
    const std::string other = ada.createGroup("twins");
    EXPECT_EQ(ada.json({"feed", "twins"})["group"], other) << "the same name wins over one of another case";
}

TEST_F(NamesCommand, DigitsAreANumberUnlessTheyAreSaidToBeAName)
{
    const std::string id = ada.createGroup("2024");
    EXPECT_EQ(ada.run({"feed", "2024"}).exitCode, 1);
    EXPECT_EQ(ada.json({"feed", "name:2024"})["group"], id);
    EXPECT_EQ(ada.run({"feed", "name:" + id + "0"}).exitCode, 1);
}

TEST_F(NamesCommand, AnUnknownNameSaysSo)
{
    const ProgramResult result = ada.run({"feed", "Nowhere"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("there is no group 'Nowhere'"));
    EXPECT_THAT(result.err, HasSubstr("kinloom groups --all"));
}

TEST_F(NamesCommand, PeopleAreKnownByName)
{
    const User bob(data.path(), "Bob", service.url());
    const std::string id = bob.createGroup("Bob's");
    ASSERT_EQ(kinloomd_test::runKinloomd({"member", "add", "--data", data.path(), id, "Ada"}).exitCode, 0);
    ada.createGroup("Ada's");
    const Json shared = ada.json({"groups", "--person", "bob"});
    ASSERT_EQ(shared["groups"].size(), 1U);
    EXPECT_EQ(shared["groups"][0]["id"], id);
    const ProgramResult nobody = ada.run({"groups", "--person", "Nobody"});
    EXPECT_EQ(nobody.exitCode, 1);
    EXPECT_THAT(nobody.err, HasSubstr("'kinloom feed GROUP' who shares in one"));
}

TEST_F(NamesCommand, DaysAreLocalAndBothInclusive)
{
    ada.createGroup("Summer");
    std::vector<std::string> ids;
    // Before, at the first second, at the last second, and after the days from the 14th to the 15th in Greenwich.
    for (const auto& [name, taken] : {std::pair<const char*, const char*>{"1.jpg", "2024:07:13 23:59:59"},
                                      {"22.jpg", "2024:07:14 00:00:00"},
                                      {"333.jpg", "2024:07:15 23:59:59"},
                                      {"4444.jpg", "2024:07:16 00:00:00"}})
        ids.push_back(ada.upload("Summer", photo(name, taken)));
    EXPECT_THAT(feed({"--since", "2024-07-14", "--until", "2024-07-15"}), ElementsAre(ids[2], ids[1]));
    EXPECT_THAT(feed({"--since", "2024-07-14", "--until", "2024-07-15", "--all", "--count", "1"}), ElementsAre(ids[2], ids[1]));
    EXPECT_THAT(feed({"--since", "2024-07-15"}), ElementsAre(ids[3], ids[2]));
    EXPECT_THAT(feed({"--until", "2024-07-13"}), ElementsAre(ids[0]));
    EXPECT_THAT(feed({"--since", "2024-07-17"}), IsEmpty());
    EXPECT_THAT(feed({"--since", "2024-07-14", "--before", ids[2]}), ElementsAre(ids[1]));
    const Json page = ada.json({"feed", "Summer", "--since", "2024-07-14", "--count", "1"});
    EXPECT_EQ(page["more"], true);
    EXPECT_EQ(page["next_before"], ids[3]);
    EXPECT_TRUE(ada.json({"feed", "Summer", "--since", "2024-07-16", "--count", "1"})["next_before"].is_null());
    EXPECT_THAT(ada.run({"feed", "Summer", "--until", "2024-07-15", "--count", "1"}).err,
                HasSubstr("--before " + ids[2] + " in place of --until shows the next ones"));
}

struct ZoneCase {
    const char* zone;
    const char* shown;
};

TEST_F(NamesCommand, TimesAreShownAsTheClockWasHere)
{
    ada.createGroup("Summer");
    const std::string id = ada.upload("Summer", photo("a.jpg", "2024:07:14 20:31:05"));
    const std::string instant = ada.json({"content", "show", id})["created"];
    ASSERT_EQ(instant, "2024-07-14T20:31:05Z");
    for (const ZoneCase& entry : {ZoneCase{"UTC", "2024-07-14 20:31"},
                                  {"Europe/Berlin", "2024-07-14 22:31"},
                                  {"Australia/Sydney", "2024-07-15 06:31"},
                                  {"America/St_Johns", "2024-07-14 18:01"}}) {
        ada.setVariable("TZ", entry.zone);
        EXPECT_THAT(ada.ok({"content", "show", id}), HasSubstr(entry.shown)) << entry.zone;
        EXPECT_THAT(ada.ok({"feed", "Summer"}), HasSubstr(entry.shown)) << entry.zone;
        EXPECT_THAT(ada.ok({"content", "delete", id, "--dry-run"}), HasSubstr(entry.shown)) << entry.zone;
        EXPECT_EQ(ada.json({"content", "show", id})["created"], instant) << "JSON says the instant";
        const std::string day = std::string(entry.shown).substr(0, 10);
        EXPECT_THAT(feed({"--since", day, "--until", day}), ElementsAre(id)) << entry.zone;
    }
    ada.setVariable("TZ", "Australia/Sydney");
    EXPECT_THAT(feed({"--until", "2024-07-14"}), IsEmpty());
}

TEST_F(NamesCommand, DaysThatAreNoneAreRefusedBeforeAnythingIsSent)
{
    for (const Arguments& arguments :
         {Arguments{"--since", "yesterday"}, Arguments{"--since", "2024-02-30"}, Arguments{"--until", "2024-7-1"},
          Arguments{"--since", "2024-07-15", "--until", "2024-07-14"}, Arguments{"--since", "2024-07-15", "--base", "id"},
          Arguments{"--since", "2024-07-15", "--after", "0"}, Arguments{"--until", "2024-07-15", "--before", "5"}}) {
        Arguments all = {"feed", "1"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(ada.run(all).exitCode, 2) << testing::PrintToString(arguments);
    }
    EXPECT_EQ(hits("auth"), 0U);
}

TEST_F(NamesCommand, AddressesCanBeOpenedHereAndDownloaded)
{
    ada.createGroup("Summer");
    const std::string path = photo("a.jpg", "2024:07:14 20:31:05");
    const std::string id = ada.upload("Summer", path);
    const Json content = ada.json({"content", "show", id});
    const std::string url = content["url"];
    EXPECT_THAT(url, testing::StartsWith(service.url() + "/"));
    for (const Json& thumbnail : content["thumbnails"])
        EXPECT_THAT(thumbnail["url"].get<std::string>(), testing::StartsWith(service.url() + "/"));
    EXPECT_THAT(ada.ok({"content", "show", id}), HasSubstr(url));
    EXPECT_EQ(ada.json({"feed", "Summer"})["contents"][0]["url"], url);
    EXPECT_THAT(ada.json({"groups"})["groups"][0]["image"].get<std::string>(), testing::StartsWith(service.url() + "/"));

    W::HttpRequest request(W::HTTP_REQUEST_GET, url, W::HttpHeader(), "", nullptr, nullptr);
    ASSERT_EQ(request.execute(), 0) << "as a browser would";
    EXPECT_EQ(request.getResponse().getPayload(), readFile(path));
    ada.ok({"download", url, target.path(), "--name", "shown.jpg"});
    const std::string original = "http://openapi.kinloom.example" + url.substr(service.url().size());
    ada.ok({"download", original, target.path(), "--name", "original.jpg"});
    EXPECT_EQ(readFile(target.file("shown.jpg")), readFile(path));
    EXPECT_EQ(readFile(target.file("original.jpg")), readFile(path));
}

TEST_F(NamesCommand, JsonSaysNullOfWhatIsNotThere)
{
    ada.createGroup("Summer");
    const Json groups = ada.json({"groups"});
    EXPECT_TRUE(groups.contains("next_index") && groups["next_index"].is_null());
    EXPECT_TRUE(groups["groups"][0].contains("image") && groups["groups"][0]["image"].is_null());
    const Json none = ada.json({"feed", "Summer"});
    EXPECT_TRUE(none.contains("next_before") && none["next_before"].is_null());
    const Json after = ada.json({"feed", "Summer", "--after", "0"});
    EXPECT_TRUE(after.contains("next_after") && after["next_after"].is_null());
}

TEST_F(NamesCommand, CommentsAreShownWithAllTheirLines)
{
    ada.createGroup("Summer");
    const std::string id = ada.upload("Summer", photo("a.jpg", "2024:07:14 20:31:05"));
    std::string words;
    for (int i = 0; i < 40; ++i)
        words += "word" + std::to_string(i) + " ";
    ada.ok({"comment", "add", id, "first line\nsecond line\n\nfourth \x1b[31mline"});
    ada.ok({"comment", "add", id, words});
    Program::Settings settings = ada.inTerminal({"content", "show", id, "--no-color"});
    settings.columns = 60;
    const std::string shown = Program(settings).wait().out;
    EXPECT_THAT(shown, HasSubstr("\n    first line\r\n    second line\r\n\r\n    fourth \uFFFD[31mline\r\n"));
    EXPECT_THAT(shown, HasSubstr("word39"));
    EXPECT_THAT(shown, Not(HasSubstr("…")));
    const std::string piped = ada.ok({"content", "show", id});
    EXPECT_THAT(piped, HasSubstr("\n\tfirst line\n\tsecond line\n\n\tfourth"));
}

TEST_F(NamesCommand, ControlCharactersOfOthersReachNoTerminalInJsonEither)
{
    // CSI as one character, DEL, and marks that turn the order of letters around.
    const std::string evil = "a\u009B2Jb\x7F"
                             "c\u202Ed\u2066e\u200Ff";
    ada.createGroup(evil);
    const std::string shown = Program(ada.inTerminal({"groups", "--json"})).wait().out;
    for (const char* character : {"\u009B", "\x7F", "\u202E", "\u2066", "\u200F"})
        EXPECT_THAT(shown, Not(HasSubstr(character)));
    EXPECT_THAT(shown, HasSubstr("a\\u009b2Jb\\u007fc\\u202ed\\u2066e\\u200ff"));
    EXPECT_EQ(ada.json({"groups"})["groups"][0]["name"], evil) << "it stays the same text";
    for (const Arguments& arguments : {Arguments{"groups"}, Arguments{"group", "delete", evil, "--dry-run"},
                                       Arguments{"feed", evil + "x"}, Arguments{"group", "create", evil}}) {
        const std::string out = Program(ada.inTerminal(arguments)).wait().out;
        for (const char* character : {"\u009B", "\x7F", "\u202E", "\u2066", "\u200F"})
            EXPECT_THAT(out, Not(HasSubstr(character))) << arguments[0];
    }
}

TEST_F(NamesCommand, QuietTellsNoMoreThanWasAskedFor)
{
    ada.createGroup("a");
    ada.createGroup("b");
    for (const Arguments& arguments : {Arguments{"login"}, Arguments{"group", "create", "c"}}) {
        Arguments all = arguments;
        all.emplace_back("--quiet");
        const ProgramResult result = ada.run(all);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out + result.err, "") << arguments[0];
    }
    const ProgramResult listed = ada.run({"groups", "--count", "1", "--quiet"});
    EXPECT_EQ(listed.err, "");
    EXPECT_EQ(linesOf(listed.out).size(), 1U);
    EXPECT_NE(ada.run({"feed", "999", "--quiet"}).err, "") << "failures are told";
}

} // namespace
