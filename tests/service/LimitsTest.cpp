// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

namespace {

using namespace kinloomd_test;
using std::chrono::milliseconds;

class Limits : public ServiceFixture {
protected:
    HttpReply raw(const std::string& bytes)
    {
        Wire wire(port());
        wire.send(bytes);
        return wire.receive();
    }
    std::string signedHead(const std::string& method, const std::string& rest)
    {
        return method + " " + ServiceClient::path(rest) + " HTTP/1.1\r\nHost: a\r\nAuthorization:" + authorizationOf(m_anna) +
               "\r\n";
    }
};

TEST_F(Limits, RefuseARequestWithTwoLengths)
{
    start();
    const std::string create = signedHead("POST", "me/group.create");
    EXPECT_EQ(raw(create + "Content-Length: 12\r\nContent-Length: 12\r\n\r\ngroup_name=x").status, 400);
    EXPECT_EQ(raw(create + "Content-Length: 12\r\nContent-Length: 1\r\n\r\ngroup_name=x").status, 400);
    EXPECT_EQ(raw(create + "Content-Length: 12\r\ncontent-length: 12\r\n\r\ngroup_name=x").status, 400);
    EXPECT_EQ(raw(create + "Content-Length: 12, 12\r\n\r\ngroup_name=x").status, 400);
    EXPECT_TRUE(anna().groupNames("").empty());
}

TEST_F(Limits, RefuseALengthBesideChunks)
{
    start();
    const std::string create = signedHead("POST", "me/group.create");
    const std::string chunks = "c\r\ngroup_name=x\r\n0\r\n\r\n";
    EXPECT_EQ(raw(create + "Content-Length: 12\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks).status, 400);
    EXPECT_EQ(raw(create + "Transfer-Encoding: chunked\r\nContent-Length: 12\r\n\r\n" + chunks).status, 400);
    EXPECT_EQ(raw(create + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks).status, 400);
    EXPECT_EQ(raw(create + "Transfer-Encoding: gzip\r\n\r\n" + chunks).status, 400);
    EXPECT_EQ(raw(create + "Transfer-Encoding: gzip, chunked\r\n\r\n" + chunks).status, 400);
    EXPECT_TRUE(anna().groupNames("").empty());
    EXPECT_EQ(raw(create + "Transfer-Encoding: chunked\r\n\r\n" + chunks).status, 200);
}

TEST_F(Limits, CloseTheConnectionAfterAnAmbiguousRequest)
{
    start();
    Wire wire(port());
    // The second request would be understood by one reader of the first and not by another.
    wire.send(signedHead("POST", "me/group.create") + "Content-Length: 12\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" +
              signedHead("POST", "me/group.create") + "Content-Length: 12\r\n\r\ngroup_name=x");
    EXPECT_EQ(wire.receive().status, 400);
    EXPECT_EQ(wire.receive().status, 0);
    EXPECT_TRUE(anna().groupNames("").empty());
}

TEST_F(Limits, RefuseLengthsThatAreNone)
{
    start();
    for (const char* length : {"-1", "1x", "0x10", "99999999999999999999", "+5", ""})
        EXPECT_GE(raw(signedHead("POST", "me/group.create") + "Content-Length: " + length + "\r\n\r\ngroup_name=x").status, 400)
            << length;
    EXPECT_TRUE(anna().groupNames("").empty());
}

TEST_F(Limits, RefuseHeadersGivenTwice)
{
    start();
    EXPECT_EQ(raw(signedHead("GET", "me/group.list") + "Host: b\r\n\r\n").status, 400);
    EXPECT_EQ(raw(signedHead("GET", "me/group.list") + "Authorization:" + authorizationOf(m_ben) + "\r\n\r\n").status, 400);
}

TEST_F(Limits, RefuseHeadersThatAreTooLarge)
{
    startWith({"--max-headers", "4096"});
    EXPECT_EQ(raw(signedHead("GET", "me/group.list") + "X: " + std::string(5000, 'x') + "\r\n\r\n").status, 431);
    EXPECT_EQ(raw(signedHead("GET", "me/group.list") + "X: " + std::string(1'000'000, 'x') + "\r\n\r\n").status, 431);
    EXPECT_EQ(raw(signedHead("GET", "me/group.list") + "X: " + std::string(1000, 'x') + "\r\n\r\n").status, 200);
    EXPECT_GE(raw("GET /" + std::string(1'000'000, 'x') + " HTTP/1.1\r\nHost: a\r\n\r\n").status, 400);
}

TEST_F(Limits, RefuseFormsThatAreTooLarge)
{
    start();
    const std::string large = "group_name=" + std::string(70'000, 'x');
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.create"), large).status, 413);
    // Without being announced, too.
    EXPECT_EQ(raw(signedHead("POST", "me/group.create") + "Transfer-Encoding: chunked\r\n\r\n11170\r\n" + std::string(70'000, 'x') +
                  "\r\n0\r\n\r\n")
                  .status,
              413);
    EXPECT_EQ(raw(signedHead("POST", "me/group.create") + "Content-Length: 1000000000000\r\n\r\n").status, 413);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 200);
}

TEST_F(Limits, LetAClientThatIsRefusedFinishItsBody)
{
    start();
    Wire wire(port());
    const std::string body(500'000, 'x');
    EXPECT_TRUE(wire.send(requestBytes("POST", ServiceClient::path("me/group.create"), body, {})));
    EXPECT_EQ(wire.receive().status, 401);
    // The connection is still good.
    EXPECT_TRUE(wire.send(requestBytes("POST", ServiceClient::path("nothing"), {}, {})));
    EXPECT_EQ(wire.receive().status, 404);
}

TEST_F(Limits, KnowNoOtherPathsAndMethods)
{
    start();
    for (const char* target : {"/", "/favicon.ico", "/openapi/service/kinloom/", "/openapi/service/kinloom/../../../etc/passwd",
                               "/../kinloomd.db", "/media/../../kinloomd.db", "/control/faults", "/%2e%2e/kinloomd.db"})
        EXPECT_EQ(request(port(), "GET", target).status, 404) << target;
    const HttpReply wrong = anna().post(ServiceClient::path("me/group.list"), "");
    EXPECT_EQ(wrong.status, 405);
    EXPECT_EQ(wrong.header("allow"), "GET, HEAD");
    EXPECT_EQ(anna().get(ServiceClient::path("auth")).status, 405);
    EXPECT_EQ(request(port(), "BREW", ServiceClient::path("auth")).status, 405);
}

TEST_F(Limits, SurviveRequestsThatAreNone)
{
    start();
    for (const std::string& bytes :
         {std::string("\r\n\r\n"), std::string("nonsense\r\n\r\n"), std::string(3, '\0'), std::string("GET\r\n\r\n"),
          std::string("GET / HTTP/9.9\r\n\r\n"), std::string("\x16\x03\x01\x02\x00\x01\x00\x01", 8)}) {
        Wire wire(port());
        wire.send(bytes);
        wire.hangUp();
        wire.receive();
    }
    EXPECT_EQ(anna().signIn().status, 200);
}

TEST_F(Limits, AnswerSeveralRequestsOnOneConnection)
{
    start();
    Wire wire(port());
    wire.send(signedHead("GET", "me/group.list") + "\r\n" + signedHead("GET", "me/group.list") + "\r\n");
    EXPECT_EQ(wire.receive().status, 200);
    EXPECT_EQ(wire.receive().status, 200);
    wire.send(signedHead("GET", "999999/view") + "\r\n");
    EXPECT_EQ(wire.receive().status, 404);
}

TEST_F(Limits, EndConnectionsOnWhichNothingComes)
{
    startWith({"--idle-timeout", "1000"});
    Wire idle(port());
    EXPECT_TRUE(idle.waitForClose(milliseconds(20'000)));
}

TEST_F(Limits, EndConnectionsWhoseHeadersDripIn)
{
    startWith({"--request-timeout", "1500", "--idle-timeout", "10000"});
    Wire slow(port());
    ASSERT_TRUE(slow.send(signedHead("GET", "me/group.list")));
    // Something comes all the time, and never enough.
    bool closed = false;
    for (int i = 0; i < 300 && !closed; ++i) {
        slow.send("X");
        closed = slow.waitForClose(milliseconds(100));
    }
    EXPECT_TRUE(closed);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 200);
}

TEST_F(Limits, EndConnectionsWhoseBodyDripsIn)
{
    startWith({"--request-timeout", "1500", "--idle-timeout", "10000", "--min-rate", "1000"});
    Wire slow(port());
    ASSERT_TRUE(slow.send(signedHead("POST", "me/group.create") + "Content-Length: 1000\r\n\r\n"));
    bool closed = false;
    for (int i = 0; i < 300 && !closed; ++i) {
        slow.send("x");
        closed = slow.waitForClose(milliseconds(100));
    }
    EXPECT_TRUE(closed);
}

TEST_F(Limits, BoundTheConnectionsFromOneAddress)
{
    startWith({"--max-connections-per-address", "3"});
    std::vector<std::unique_ptr<Wire>> wires;
    for (int i = 0; i < 3; ++i) {
        wires.push_back(std::make_unique<Wire>(port()));
        wires.back()->send(signedHead("GET", "me/group.list") + "\r\n");
        EXPECT_EQ(wires.back()->receive().status, 200);
    }
    Wire surplus(port());
    surplus.send(signedHead("GET", "me/group.list") + "\r\n");
    EXPECT_EQ(surplus.receive().status, 0);
    // The others go on.
    wires[0]->send(signedHead("GET", "me/group.list") + "\r\n");
    EXPECT_EQ(wires[0]->receive().status, 200);
}

TEST_F(Limits, GiveNoPlaceToStrangersWhoAskForMedia)
{
    startWith({"--max-connections", "12"});
    const std::string original = targetOf(field(anna().upload(anna().createGroup("Family"), smallPicture()), "contentUrl"));
    const std::string stranger = "/media/original/aa-1/1/x";
    Wire guest(port());
    guest.send(requestBytes("GET", original, {}, {}));
    ASSERT_EQ(guest.receive().status, 200);
    std::vector<std::unique_ptr<Wire>> crowd;
    for (int i = 0; i < 30; ++i) {
        crowd.push_back(std::make_unique<Wire>(port()));
        Wire& wire = *crowd.back();
        if (i % 2 == 0) {
            wire.send("GET " + stranger + " HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 60000\r\n\r\n");
            EXPECT_EQ(wire.receiveInterim(), 100) << i;
            wire.send("x");
        } else {
            wire.send(requestBytes("GET", stranger, {}, {}));
            EXPECT_EQ(wire.receive().status, 404) << i;
        }
    }
    EXPECT_EQ(anna().signIn().status, 200);
    guest.send(requestBytes("GET", original, {}, {}));
    EXPECT_EQ(guest.receive().status, 200) << "who has had a picture stays";
}

TEST_F(Limits, BoundTheRateFromOneAddress)
{
    startWith({"--max-rate", "2"});
    int refused = 0;
    Wire wire(port());
    for (int i = 0; i < 50; ++i) {
        wire.send(signedHead("GET", "me/group.list") + "\r\n");
        const HttpReply reply = wire.receive();
        refused += reply.status == 429 ? 1 : 0;
        EXPECT_EQ(reply.header("retry-after"), reply.status == 429 ? "1" : "");
    }
    EXPECT_GT(refused, 20);
    EXPECT_LT(refused, 50);
}

TEST_F(Limits, AnswerCleanlyWhenTheDatabaseCannotGrow)
{
    SKIP_ON_POSTGRESQL("the file that cannot grow is SQLite's");
    start();
    anna().signIn();
    m_settings.fileSizeLimit = 300'000;
    restart();
    int status = 200;
    for (int i = 0; i < 1000 && status == 200; ++i)
        status = anna().post(ServiceClient::path("me/group.create"), "group_name=x&group_desc=" + std::string(4000, 'x')).status;
    EXPECT_EQ(status, 503);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list?search_count=1")).status, 200) << "reading goes on";
    m_settings.fileSizeLimit.reset();
    restart();
    EXPECT_NE(anna().createGroup("after"), "");
    expectConsistent();
}

TEST_F(Limits, StopInAMomentWithConnectionsOpen)
{
    start();
    Wire idle(port());
    Wire half(port());
    half.send(signedHead("POST", "me/group.create") + "Content-Length: 100\r\n\r\n");
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(m_process->stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, milliseconds(20'000));
}

TEST_F(Limits, LetARunningRequestFinishWhenTheServiceStops)
{
    startWith({"--fault", "group.list:delay=300", "--control"});
    Wire wire(port());
    wire.send(signedHead("GET", "me/group.list") + "\r\n");
    while (request(port(), "GET", "/control/hits").body.find("group.list") == std::string::npos) {
    }
    EXPECT_EQ(m_process->stop(), 0);
    EXPECT_EQ(wire.receive().status, 200);
}

} // namespace
