// SPDX-License-Identifier: MIT
// What a page is told while it is open.
#include "PageClient.h"
#include "TestPictures.h"

#include "support/Wait.h"

#include <chrono>
#include <fstream>
#include <memory>
#include <vector>

namespace {

using namespace kinloomd_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct Event {
    std::string id;
    std::string name;
    Json data;
};

/// A stream of events, as a browser reads it.
class EventStream {
public:
    explicit EventStream(const PageClient& client, const Headers& more = {}, const std::string& query = {}) : m_wire(client.port())
    {
        Headers headers = client.headers("GET");
        headers.insert(headers.end(), more.begin(), more.end());
        m_wire.send(requestBytes("GET", "/page/events" + query, {}, headers));
        m_head = m_wire.receiveHead();
    }

    const HttpReply& head() const { return m_head; }

    /// The next event; one without a name when the stream has ended.
    Event next()
    {
        for (;;) {
            const auto end = m_text.find("\n\n");
            if (end == std::string::npos) {
                const auto chunk = m_wire.receiveChunk();
                if (!chunk || chunk->empty())
                    return {};
                m_text += *chunk;
                continue;
            }
            Event event = parse(m_text.substr(0, end));
            if (const std::string retry = lineOf(m_text.substr(0, end), "retry"); !retry.empty())
                m_retry = retry;
            m_text.erase(0, end + 2);
            if (!event.name.empty())
                return event;
        }
    }

    /// When the service wants the browser to come back.
    const std::string& retry() const { return m_retry; }

private:
    static std::string lineOf(const std::string& text, const std::string& name)
    {
        const std::string padded = "\n" + text + "\n";
        const auto begin = padded.find("\n" + name + ": ");
        if (begin == std::string::npos)
            return {};
        const auto value = begin + name.size() + 3;
        return padded.substr(value, padded.find('\n', value) - value);
    }
    static Event parse(const std::string& text)
    {
        return {lineOf(text, "id"), lineOf(text, "event"), Json::parse(lineOf(text, "data"), nullptr, false)};
    }

    Wire m_wire;
    HttpReply m_head;
    std::string m_text;
    std::string m_retry;
};

class PageEvents : public PageFixture {
protected:
    void SetUp() override
    {
        PageFixture::SetUp();
        m_group = anna().createGroup("Family");
        addMember(m_group, "Ben");
        m_bens.emplace(browserOf("Ben"));
    }
    std::string m_group;
    std::optional<PageClient> m_bens;
};

TEST_F(PageEvents, TellWhatOthersDoWhicheverWay)
{
    PageClient annas = browserOf("Anna");
    EventStream stream(*m_bens);
    EXPECT_THAT(stream.head().header("content-type"), HasSubstr("text/event-stream"));
    EXPECT_EQ(stream.head().header("cache-control"), "no-store");
    const Event version = stream.next();
    EXPECT_EQ(version.name, "version");
    EXPECT_EQ(version.data["version"], "build-7");

    const std::string id = anna().uploadPhoto(m_group, anotherPicture());
    const Event came = stream.next();
    EXPECT_EQ(came.name, "content");
    EXPECT_EQ(came.data.dump(), R"({"content_id":")" + id + R"(","group":")" + m_group + "\"}");
    // Where several change the database at the same time, who returns begins before the latest changes.
    EXPECT_GE(std::stoll(came.id), std::stoll(version.id) + (onPostgresql() ? 0 : 1));

    const std::string comment = jsonOf(annas.post("/page/contents/" + id + "/comments", {{"text", "x"}}))["id"];
    const Event commented = stream.next();
    EXPECT_EQ(commented.name, "comment");
    EXPECT_EQ(commented.data["comment_id"], comment);
    EXPECT_EQ(commented.data["content_id"], id);

    annas.erase("/page/comments/" + comment);
    const Event uncommented = stream.next();
    EXPECT_EQ(uncommented.name, "deleted");
    EXPECT_EQ(uncommented.data["comment_id"], comment);
    annas.erase("/page/contents/" + id);
    const Event deleted = stream.next();
    EXPECT_EQ(deleted.name, "deleted");
    EXPECT_FALSE(deleted.data.contains("comment_id"));
    annas.post("/page/contents/" + id + "/restore");
    EXPECT_EQ(stream.next().name, "content");
}

TEST_F(PageEvents, TellWhatAnotherProcessDoes)
{
    EventStream stream(*m_bens);
    ASSERT_EQ(stream.next().name, "version");
    const std::string file = m_folder / "a.jpg";
    std::ofstream(file, std::ios::binary) << smallPicture().bytes;
    const CommandResult result = command({"content", "add", file, "--group", "Family", "--person", "Anna"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const Event event = stream.next();
    EXPECT_EQ(event.name, "content");
    EXPECT_EQ(event.data["content_id"].get<std::string>() + "\n", result.out);
}

TEST_F(PageEvents, LoseNothingOverABrokenLine)
{
    std::string last;
    {
        EventStream stream(*m_bens);
        last = stream.next().id;
    }
    const std::string first = anna().uploadPhoto(m_group, anotherPicture());
    const std::string second = anna().uploadPhoto(m_group, anotherPicture());
    restart();
    PageClient again(port());
    again.setCookie(m_bens->cookie());
    for (const bool header : {true, false}) {
        EventStream stream(again, header ? Headers{{"Last-Event-ID", last}} : Headers(), header ? "" : "?after=" + last);
        EXPECT_EQ(stream.next().name, "version");
        EXPECT_EQ(stream.next().data["content_id"], first);
        EXPECT_EQ(stream.next().data["content_id"], second);
    }
}

TEST_F(PageEvents, SayWhenWhatWasMissedIsNotKnownAnyMore)
{
    EventStream first(*m_bens);
    const std::string start = first.next().id;
    anna().uploadPhoto(m_group, anotherPicture());
    anna().uploadPhoto(m_group, anotherPicture());
    sql("DELETE FROM change WHERE id = (SELECT min(id) FROM change)");
    for (const std::string& after : {start, std::string("9999999")}) {
        EventStream stream(*m_bens, {{"Last-Event-ID", after}});
        EXPECT_EQ(stream.next().name, "version");
        EXPECT_EQ(stream.next().name, "reset") << after;
        const std::string id = anna().uploadPhoto(m_group, anotherPicture());
        EXPECT_EQ(stream.next().data["content_id"], id) << "from now on all is told";
    }
    EventStream garbage(*m_bens, {{"Last-Event-ID", "x'; DROP TABLE change"}});
    EXPECT_EQ(garbage.next().name, "version");
}

TEST_F(PageEvents, AreResetWhereThereAreTooManyToTell)
{
    EventStream stream(*m_bens);
    ASSERT_EQ(stream.next().name, "version");
    const std::string file = m_folder / "a.jpg";
    std::ofstream(file, std::ios::binary) << smallPicture().bytes;
    sql("INSERT INTO change (kind, group_id, content_id, comment_id, at) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 "
        "FROM n WHERE i < 1500) SELECT 1, " +
        m_group + ", i, 0, 0 FROM n");
    EXPECT_EQ(stream.next().name, "reset");
    const std::string id = anna().uploadPhoto(m_group, anotherPicture());
    EXPECT_EQ(stream.next().data["content_id"], id);
}

TEST_F(PageEvents, AreOfOnesOwnGroupsAlone)
{
    SKIP_ON_POSTGRESQL("what has come in the last minute to a group that one joins is told too: one sees it all the same");
    const std::string others = carla().createGroup("Others");
    EventStream stream(*m_bens);
    ASSERT_EQ(stream.next().name, "version");
    carla().uploadPhoto(others, anotherPicture());
    const std::string own = anna().uploadPhoto(m_group, anotherPicture());
    EXPECT_EQ(stream.next().data["content_id"], own);
    addMember(others, "Ben");
    const std::string shared = carla().uploadPhoto(others, anotherPicture());
    EXPECT_EQ(stream.next().data["content_id"], shared) << "from the membership on";
    ASSERT_EQ(command({"member", "remove", m_group, "Ben"}).exitCode, 0);
    anna().uploadPhoto(m_group, anotherPicture());
    const std::string next = carla().uploadPhoto(others, anotherPicture());
    EXPECT_EQ(stream.next().data["content_id"], next);
}

TEST_F(PageEvents, EndWithTheSignIn)
{
    EventStream stream(*m_bens);
    ASSERT_EQ(stream.next().name, "version");
    const std::string session = jsonOf(m_bens->get("/page/session"))["session"];
    ASSERT_EQ(m_bens->erase("/page/sessions/" + session).status, 200);
    EXPECT_THAT(stream.next().name, IsEmpty());
    EXPECT_EQ(failureOf(m_bens->get("/page/events")), "401 signed_out");
    EXPECT_EQ(failureOf(stranger().get("/page/events")), "401 signed_out");
}

TEST_F(PageEvents, EndWithTheSignInThatAnotherProcessEnds)
{
    EventStream stream(*m_bens);
    ASSERT_EQ(stream.next().name, "version");
    PageClient other = browserOf("Ben");
    EventStream others(other);
    ASSERT_EQ(others.next().name, "version");
    // Sooner than by the line that is sent when nothing happens.
    const auto endsSoon = [](EventStream& one) {
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_THAT(one.next().name, IsEmpty());
        EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(12));
    };
    const std::string session = jsonOf(m_bens->get("/page/session"))["session"];
    ASSERT_EQ(command({"session", "end", session}).exitCode, 0);
    endsSoon(stream);
    ASSERT_EQ(command({"person", "remove", "Ben", "--yes"}).exitCode, 0);
    endsSoon(others);
}

TEST_F(PageEvents, GiveWayToNewerOnesOfTheSameBrowser)
{
    PageClient other = browserOf("Ben");
    EventStream others(other);
    ASSERT_EQ(others.next().name, "version");
    std::vector<std::unique_ptr<EventStream>> streams;
    for (int i = 0; i < 8; ++i) {
        streams.push_back(std::make_unique<EventStream>(*m_bens));
        ASSERT_EQ(streams.back()->next().name, "version");
    }
    EXPECT_THAT(streams[0]->retry(), IsEmpty());
    EventStream ninth(*m_bens);
    ASSERT_EQ(ninth.next().name, "version");
    EXPECT_THAT(streams[0]->next().name, IsEmpty()) << "the oldest";
    EXPECT_EQ(streams[0]->retry(), "30000") << "tabs that are too many do not drive each other out at once";
    const std::string id = anna().uploadPhoto(m_group, anotherPicture());
    for (std::size_t i = 1; i < streams.size(); ++i)
        EXPECT_EQ(streams[i]->next().data["content_id"], id) << i;
    EXPECT_EQ(ninth.next().data["content_id"], id);
    EXPECT_EQ(others.next().data["content_id"], id) << "another browser's stays";
}

TEST_F(PageEvents, TakeHalfOfTheConnectionsAtMost)
{
    m_process.reset();
    with("--max-connections-per-address", "8");
    start();
    PageClient bens = browserOf("Ben");
    PageClient annas = browserOf("Anna");
    EventStream first(annas);
    ASSERT_EQ(first.next().name, "version");
    std::vector<std::unique_ptr<EventStream>> streams;
    for (int i = 0; i < 7; ++i) {
        streams.push_back(std::make_unique<EventStream>(bens));
        ASSERT_EQ(streams.back()->next().name, "version");
    }
    const auto isServed = [&] {
        try {
            return annas.get("/page/session").status == 200;
        } catch (const std::exception&) {
            return false;
        }
    };
    ASSERT_TRUE(test::comesTrue(isServed)) << "there is room for others, though nobody has closed anything";
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_THAT(streams[i]->next().name, IsEmpty()) << i;
    // As long as the service has not seen all of them end it may turn somebody away, who comes again.
    std::string id;
    const auto isUploaded = [&] {
        try {
            id = anna().uploadPhoto(m_group, anotherPicture());
            return true;
        } catch (const std::exception&) {
            return false;
        }
    };
    ASSERT_TRUE(test::comesTrue(isUploaded));
    EXPECT_EQ(first.next().data["content_id"], id) << "who has one keeps it, though it is the oldest";
    for (std::size_t i = 4; i < 7; ++i)
        EXPECT_EQ(streams[i]->next().data["content_id"], id) << i;
}

TEST_F(PageEvents, EndWithTheService)
{
    EventStream stream(*m_bens);
    ASSERT_EQ(stream.next().name, "version");
    EXPECT_EQ(m_process->stop(), 0);
    EXPECT_THAT(stream.next().name, IsEmpty());
}

} // namespace
