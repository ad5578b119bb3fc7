// SPDX-License-Identifier: MIT
// Long replies over the wire, and clients that take their time with them.
#include "ServiceFixture.h"
#include "TestRecords.h"

#include "pictures/Confinement.h"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <sys/socket.h>

namespace {

using namespace kinloomd_test;
using std::chrono::milliseconds;

constexpr int CONTENTS = 20'000;

class SlowReader : public ServiceFixture {
protected:
    void SetUp() override { fill({}); }

    /// Starts the service anew and has it hold a group of many contents.
    void fill(std::vector<std::string> arguments)
    {
        m_process.reset();
        startWith(std::move(arguments));
        if (!m_group.empty())
            return;
        m_group = anna().createGroup("Family");
        kinloomd::Database database(databaseOf(m_data));
        addContents(database, std::stoll(m_group), std::stoll(field(anna().signIn(), "userId")), CONTENTS);
    }

    std::string target(int count = CONTENTS) const
    {
        return ServiceClient::path(m_group +
                                   "/feeds?search_before=latest&search_base=content_id&search_count=" + std::to_string(count));
    }
    std::string requestOf(const DeviceCredentials& device, const std::string& method = "GET", int count = CONTENTS) const
    {
        return requestBytes(method, target(count), {}, {{"Authorization", authorizationOf(device)}});
    }
    /// Asks for the whole feed, takes the first piece of it, and stops reading.
    std::unique_ptr<Wire> stalledReader(const DeviceCredentials& device) const
    {
        auto wire = std::make_unique<Wire>(port());
        wire->send(requestOf(device));
        EXPECT_EQ(wire->receiveHead().status, 200);
        const auto first = wire->receiveChunk();
        EXPECT_TRUE(first && !first->empty());
        return wire;
    }
    /// Reads what is left after the first piece. \return whether the reply came to its end.
    static bool readToEnd(Wire& wire)
    {
        auto chunk = wire.receiveChunk();
        while (chunk && !chunk->empty())
            chunk = wire.receiveChunk();
        return chunk.has_value();
    }

    double residentMegabytes() const
    {
        std::ifstream status("/proc/" + std::to_string(m_process->pid()) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.compare(0, 6, "VmRSS:") == 0)
                return std::stod(line.substr(6)) / 1024;
        }
        throw std::runtime_error("the service tells nothing of its memory");
    }

    std::string m_group;
};

TEST_F(SlowReader, GetsALongReplyInChunksAndKeepsItsConnection)
{
    Wire wire(port());
    for (const bool again : {false, true}) {
        wire.send(requestOf(m_anna));
        const HttpReply reply = wire.receive();
        EXPECT_EQ(reply.status, 200) << again;
        EXPECT_EQ(reply.header("transfer-encoding"), "chunked");
        EXPECT_EQ(reply.header("content-type"), "application/xml; charset=utf-8");
        EXPECT_TRUE(reply.whole);
        EXPECT_EQ(Xml(reply.body).count("/rsp/data/content"), static_cast<std::size_t>(CONTENTS));
    }
}

TEST_F(SlowReader, GetsAShortReplyWithItsLength)
{
    Wire wire(port());
    wire.send(requestOf(m_anna, "GET", 30));
    const HttpReply reply = wire.receive();
    EXPECT_EQ(reply.header("transfer-encoding"), "");
    EXPECT_EQ(reply.header("content-length"), std::to_string(reply.body.size()));
    EXPECT_EQ(Xml(reply.body).count("//content"), 31U);
}

TEST_F(SlowReader, OfAnOlderProtocolGetsALongReplyUntilTheConnectionIsClosed)
{
    std::string bytes = requestOf(m_anna);
    bytes.replace(bytes.find("HTTP/1.1"), 8, "HTTP/1.0");
    Wire wire(port());
    wire.send(bytes);
    std::string seen;
    char block[65536];
    for (ssize_t count = 1; count > 0;) {
        count = ::recv(wire.socket(), block, sizeof block, 0);
        ASSERT_GE(count, 0);
        seen.append(block, static_cast<std::size_t>(count));
    }
    const auto end = seen.find("\r\n\r\n");
    std::string head = seen.substr(0, end);
    EXPECT_NE(head.find(" 200 "), std::string::npos);
    EXPECT_EQ(head.find("chunked"), std::string::npos);
    EXPECT_EQ(Xml(seen.substr(end + 4)).count("/rsp/data/content"), static_cast<std::size_t>(CONTENTS));
}

TEST_F(SlowReader, ThatWantsTheHeadAloneGetsNothingElse)
{
    Wire wire(port());
    for (const int count : {CONTENTS, 20}) {
        wire.send(requestOf(m_anna, "HEAD", count));
        const HttpReply head = wire.receiveHead();
        const HttpReply whole = anna().get(target(count));
        EXPECT_EQ(head.status, 200);
        for (const char* name : {"content-length", "transfer-encoding", "content-type"})
            EXPECT_EQ(head.header(name), whole.header(name)) << count;
        EXPECT_EQ(head.header("transfer-encoding"), count == CONTENTS ? "chunked" : "");
    }
    wire.send(requestBytes("GET", ServiceClient::path("999999/view"), {}, {{"Authorization", authorizationOf(m_anna)}}));
    EXPECT_EQ(wire.receive().status, 404) << "nothing stands between the replies";
}

TEST_F(SlowReader, CostsLessThanAMegabyte)
{
    if (pictures::SANITIZED)
        GTEST_SKIP() << "a sanitizer gives no memory back";
    constexpr int READERS = 48;
    // What the service keeps for good is there after the first replies.
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(readToEnd(*stalledReader(m_anna)));
    const double before = residentMegabytes();
    std::vector<std::unique_ptr<Wire>> readers;
    readers.reserve(READERS);
    for (int i = 0; i < READERS; ++i)
        readers.push_back(stalledReader(m_anna));
    EXPECT_LT(residentMegabytes() - before, READERS);
    EXPECT_TRUE(readToEnd(*readers.front()));
    EXPECT_TRUE(readToEnd(*readers.back()));
}

TEST_F(SlowReader, KeepsNobodyFromWriting)
{
    SKIP_ON_POSTGRESQL("the write-ahead log is SQLite's");
    const auto reader = stalledReader(m_anna);
    EXPECT_NE(anna().createGroup("meanwhile"), "");
    {
        kinloomd::Database database(databaseOf(m_data));
        const auto connection = database.write();
        EXPECT_EQ(connection->execute("PRAGMA wal_checkpoint(TRUNCATE)").at(0).at(0), "0") << "the reader keeps the log";
    }
    EXPECT_TRUE(readToEnd(*reader));
}

TEST_F(SlowReader, SeesThatItsReplyIsNotWholeWhenItMayNotReadOn)
{
    addMember(m_group, "Ben");
    const auto bens = stalledReader(m_ben);
    const auto annas = stalledReader(m_anna);
    ASSERT_EQ(command({"member", "remove", m_group, "Ben"}).exitCode, 0);
    EXPECT_FALSE(readToEnd(*bens));
    EXPECT_NE(bens->lastError(), ETIMEDOUT);
    EXPECT_TRUE(readToEnd(*annas));
}

TEST_F(SlowReader, DoesNotKeepTheServiceFromEnding)
{
    const auto reader = stalledReader(m_anna);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(m_process->stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, milliseconds(20'000));
    EXPECT_FALSE(readToEnd(*reader));
}

TEST_F(SlowReader, GetsSpoiledRepliesWhenTheyAreLongToo)
{
    fill({"--fault", "feeds:cut-after=500000*1", "--fault", "feeds:stall-after=300000*1", "--fault", "feeds:garbage*1", "--fault",
          "feeds:cut-after=1000000000*1"});
    Wire cut(port());
    cut.send(requestOf(m_anna));
    const HttpReply cutReply = cut.receive();
    EXPECT_EQ(cutReply.status, 200);
    EXPECT_FALSE(cutReply.whole);
    EXPECT_EQ(cutReply.body.size(), 500'000U);
    EXPECT_NE(cut.lastError(), ETIMEDOUT);
    {
        Wire stalled(port());
        stalled.send(requestOf(m_anna));
        stalled.receiveHead();
        std::size_t seen = 0;
        while (seen < 300'000)
            seen += stalled.receiveChunk().value_or("").size();
        EXPECT_EQ(seen, 300'000U);
        EXPECT_FALSE(stalled.waitForClose(milliseconds(500)));
    }
    const HttpReply garbage = anna().get(target());
    EXPECT_TRUE(garbage.whole);
    EXPECT_FALSE(Xml(garbage.body).wellFormed());
    EXPECT_LT(garbage.body.size(), 1000U);
    const HttpReply beyond = anna().get(target());
    EXPECT_TRUE(beyond.whole) << "it ended before the fault came to it";
    EXPECT_EQ(Xml(beyond.body).count("/rsp/data/content"), static_cast<std::size_t>(CONTENTS));
}

} // namespace
