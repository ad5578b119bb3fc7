// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <cerrno>
#include <sys/socket.h>

namespace {

using namespace kinloomd_test;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Misbehaviour : public ServiceFixture {
protected:
    std::string listRequest()
    {
        return requestBytes("GET", ServiceClient::path("me/group.list"), {}, {{"Authorization", authorizationOf(m_anna)}});
    }
    std::string control(const std::string& method, const std::string& path, const std::string& body = {})
    {
        const HttpReply reply = request(port(), method, "/control/" + path, body);
        EXPECT_EQ(reply.status, 200) << reply.body;
        return reply.body;
    }
};

TEST_F(Misbehaviour, AnswersWithAStatusAsOftenAsAsked)
{
    startWith({"--fault", "group.list:status=503*2"});
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 503);
    EXPECT_EQ(anna().signIn().status, 200);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 503);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 200);
}

TEST_F(Misbehaviour, DoesNothingWhereItAnswersWithAStatus)
{
    startWith({"--fault", "group.create:status=500*1"});
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.create"), "group_name=x").status, 500);
    EXPECT_TRUE(anna().groupNames("").empty());
}

TEST_F(Misbehaviour, Delays)
{
    startWith({"--fault", "group.list:delay=300*1"});
    const auto begun = steady_clock::now();
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 200);
    EXPECT_GE(steady_clock::now() - begun, milliseconds(300));
}

TEST_F(Misbehaviour, ResetsTheConnection)
{
    startWith({"--fault", "group.list:reset*1"});
    Wire wire(port());
    wire.send(listRequest());
    EXPECT_EQ(wire.receive().status, 0);
    EXPECT_EQ(wire.lastError(), ECONNRESET);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 200);
}

TEST_F(Misbehaviour, CutsAReplyShort)
{
    startWith({"--fault", "group.list:cut-after=10*1"});
    Wire wire(port());
    wire.send(listRequest());
    const HttpReply reply = wire.receive();
    EXPECT_EQ(reply.status, 200);
    EXPECT_FALSE(reply.whole);
    EXPECT_EQ(reply.body, "<?xml vers");
    EXPECT_GT(std::stoi(reply.header("content-length")), 10);
    EXPECT_NE(wire.lastError(), ETIMEDOUT);
}

TEST_F(Misbehaviour, CutsAReplyBeforeItsFirstByte)
{
    startWith({"--fault", "group.list:cut-after=0"});
    Wire wire(port());
    wire.send(listRequest());
    EXPECT_EQ(wire.receive().body, "");
    EXPECT_NE(wire.lastError(), ETIMEDOUT);
}

TEST_F(Misbehaviour, StallsInAReplyUntilTheClientGoes)
{
    startWith({"--fault", "media:stall-after=100"});
    const std::string group = anna().createGroup("Family");
    const HttpReply upload = anna().upload(group, smallPicture());
    const std::string target = targetOf(field(upload, "contentUrl"));
    {
        Wire wire(port());
        wire.send(requestBytes("GET", target, {}, {}));
        char head[4096];
        std::string seen;
        while (seen.find("\r\n\r\n") == std::string::npos || seen.size() < seen.find("\r\n\r\n") + 104)
            seen.append(head, static_cast<std::size_t>(::recv(wire.socket(), head, sizeof head, 0)));
        EXPECT_EQ(seen.size(), seen.find("\r\n\r\n") + 104) << "a hundred bytes of the body";
        EXPECT_FALSE(wire.waitForClose(milliseconds(500)));
        EXPECT_EQ(anna().signIn().status, 200) << "others are served meanwhile";
    }
    EXPECT_EQ(m_process->stop(), 0);
}

TEST_F(Misbehaviour, StopsWhileAReplyStalls)
{
    startWith({"--fault", "group.list:stall-after=0", "--control"});
    Wire wire(port());
    wire.send(listRequest());
    while (request(port(), "GET", "/control/hits").body.find("group.list") == std::string::npos) {
    }
    EXPECT_EQ(m_process->stop(), 0);
}

TEST_F(Misbehaviour, AnswersWithGarbage)
{
    startWith({"--fault", "group.list:garbage*1"});
    const HttpReply reply = anna().get(ServiceClient::path("me/group.list"));
    EXPECT_EQ(reply.status, 200);
    EXPECT_TRUE(reply.whole);
    EXPECT_FALSE(Xml(reply.body).wellFormed());
}

TEST_F(Misbehaviour, DoesWhatWasAskedWhereOnlyTheReplySuffers)
{
    startWith({"--fault", "group.create:cut-after=0*1"});
    anna().post(ServiceClient::path("me/group.create"), "group_name=x");
    EXPECT_EQ(anna().groupNames("").size(), 1U);
}

TEST_F(Misbehaviour, IsSetAndClearedWhileTheServiceRuns)
{
    startWith({"--control"});
    EXPECT_EQ(control("POST", "faults", "group.list:status=503*1\nauth:status=500\n\n"), "{\"added\":2}\n");
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 503);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 200);
    EXPECT_EQ(anna().signIn().status, 500);
    EXPECT_EQ(control("GET", "faults"), "[{\"operation\":\"auth\",\"text\":\"auth:status=500\",\"times\":-1}]\n");
    control("DELETE", "faults");
    EXPECT_EQ(anna().signIn().status, 200);
    EXPECT_EQ(control("GET", "hits"), "{\"auth\":2,\"group.list\":2}\n");
    control("DELETE", "hits");
    EXPECT_EQ(control("GET", "hits"), "{}\n");
}

TEST_F(Misbehaviour, IsRefusedWhereItIsMisspelt)
{
    startWith({"--control"});
    const HttpReply reply = request(port(), "POST", "/control/faults", "auth:status=500\nauth:explode");
    EXPECT_EQ(reply.status, 400);
    EXPECT_NE(field(reply, "desc").find("explode"), std::string::npos);
    EXPECT_EQ(anna().signIn().status, 200) << "none of them is set";
    EXPECT_EQ(command({"serve", "--fault", "auth:explode"}).exitCode, 2);
}

TEST_F(Misbehaviour, CannotBeControlledUnlessAllowed)
{
    start();
    EXPECT_EQ(request(port(), "POST", "/control/faults", "auth:status=500").status, 404);
    EXPECT_EQ(request(port(), "GET", "/control/hits").status, 404);
    EXPECT_EQ(anna().signIn().status, 200);
}

} // namespace
