// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

namespace {

using namespace kinloomd_test;

class Account : public ServiceFixture {
protected:
    HttpReply authWith(const std::string& authorization)
    {
        return request(port(), "POST", ServiceClient::path("auth"), {}, {{"Authorization", authorization}});
    }
};

TEST_F(Account, SignsInWithTheFirstSignatureOfASession)
{
    start();
    const HttpReply reply = anna().signIn();
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.header("content-type"), "application/xml; charset=utf-8");
    const Xml xml(reply.body);
    EXPECT_EQ(xml.text("/rsp/result/stat"), "ok");
    EXPECT_EQ(xml.text("/rsp/data/userName"), "Anna");
    EXPECT_EQ(xml.text("/rsp/stat"), "ok");
    EXPECT_EQ(xml.text("/rsp/userId"), xml.text("/rsp/data/userId"));
}

TEST_F(Account, SignsInWithTheSignatureOfASession)
{
    start();
    EXPECT_EQ(anna().post(ServiceClient::path("auth"), "").status, 200);
    EXPECT_EQ(anna().post(ServiceClient::path("register"), "").status, 200);
}

TEST_F(Account, RegistersWithEitherSignature)
{
    start();
    const HttpReply reply =
        request(port(), "POST", ServiceClient::path("register"), {}, {{"Authorization", authorizationOf(m_anna, true)}});
    EXPECT_EQ(reply.status, 200);
    EXPECT_NE(command({"device", "list"}).out.find(m_anna.duid + "\tAnna\tadded "), std::string::npos);
}

TEST_F(Account, AcceptsAHeaderWithOneOrTwoLeadingBlanks)
{
    start();
    for (const char* blanks : {"", " ", "  "})
        EXPECT_EQ(authWith(blanks + authorizationOf(m_anna)).status, 200);
}

TEST_F(Account, RefusesDevicesWhoseValuesDoNotBelongTogether)
{
    start();
    DeviceCredentials mixed = m_anna;
    mixed.token = m_ben.token;
    EXPECT_EQ(authWith(authorizationOf(mixed, true)).status, 403);
    mixed = m_anna;
    mixed.appId = m_ben.appId;
    EXPECT_EQ(authWith(authorizationOf(mixed)).status, 403);
    mixed = m_anna;
    mixed.duid = m_ben.duid;
    EXPECT_EQ(authWith(authorizationOf(mixed)).status, 403);
    mixed = m_anna;
    mixed.duid = "unknown";
    EXPECT_EQ(authWith(authorizationOf(mixed)).status, 403);
    mixed = m_anna;
    mixed.token.clear();
    EXPECT_EQ(authWith(authorizationOf(mixed)).status, 403);
}

TEST_F(Account, RefusesWrongSignatures)
{
    start();
    std::string header = authorizationOf(m_anna);
    header[header.size() - 2] = header[header.size() - 2] == '0' ? '1' : '0';
    EXPECT_EQ(authWith(header).status, 403);
    const std::string upper = [&] {
        std::string text = authorizationOf(m_anna);
        for (std::size_t i = text.find("signature=") + 10; i < text.size(); ++i)
            text[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
        return text;
    }();
    EXPECT_EQ(authWith(upper).status, 403) << "digits are lower case";
}

TEST_F(Account, RefusesOtherSchemes)
{
    start();
    for (const auto& [right, wrong] :
         {std::pair{"KL_AUTH_V1", "KL_AUTH_V2"}, std::pair{"\"dtv\"", "\"pc\""}, std::pair{"\"user\"", "\"app\""}}) {
        std::string header = authorizationOf(m_anna);
        header.replace(header.find(right), std::string(right).size(), wrong);
        EXPECT_EQ(authWith(header).status, 403) << wrong;
    }
}

TEST_F(Account, TellsTheCodeOfARefusalInBothForms)
{
    start();
    DeviceCredentials unknown = m_anna;
    unknown.duid = "unknown";
    const HttpReply reply = authWith(authorizationOf(unknown));
    ASSERT_EQ(reply.status, 403);
    const Xml xml(reply.body);
    EXPECT_EQ(xml.text("/rsp/result/stat"), "fail");
    EXPECT_EQ(xml.text("/rsp/result/code"), "206");
    EXPECT_EQ(xml.text("/rsp/result/err/code"), "206");
    EXPECT_NE(xml.text("/rsp/result/err/desc"), "");
    EXPECT_NE(reply.body.find("Error=206\n"), std::string::npos);
}

TEST_F(Account, RefusesRequestsWithoutAReadableHeader)
{
    start();
    EXPECT_EQ(request(port(), "POST", ServiceClient::path("auth")).status, 401);
    for (const char* header : {"", "Basic YWJj", "auth_identifier=\"KL_AUTH_V1\"", "auth_identifier=KL_AUTH_V1"})
        EXPECT_GE(authWith(header).status, 401) << header;
    EXPECT_FALSE(request(port(), "POST", ServiceClient::path("auth")).header("www-authenticate").empty());
}

TEST_F(Account, WantsTheSessionsSignatureForEverythingElse)
{
    start();
    const Headers first = {{"Authorization", authorizationOf(m_anna, true)}};
    EXPECT_EQ(request(port(), "GET", ServiceClient::path("me/group.list"), {}, first).status, 401);
    EXPECT_EQ(request(port(), "POST", ServiceClient::path("me/group.create"), "group_name=x", first).status, 401);
    EXPECT_EQ(request(port(), "GET", ServiceClient::path("me/group.list")).status, 401);
    EXPECT_EQ(anna().get(ServiceClient::path("me/group.list")).status, 200);
    EXPECT_EQ(command({"group", "list"}).out, "");
}

TEST_F(Account, NotesSignInsAndRegistrationsOfDevices)
{
    start();
    EXPECT_EQ(command({"device", "list"}).out.find("signed in 2"), std::string::npos);
    anna().signIn();
    EXPECT_NE(command({"device", "list"}).out.find("registered -\tsigned in 2"), std::string::npos);
    request(port(), "POST", ServiceClient::path("register"), {}, {{"Authorization", authorizationOf(m_anna, true)}});
    EXPECT_NE(command({"device", "list"}).out.find("registered 2"), std::string::npos);
}

TEST_F(Account, LearnsOfDevicesAddedWhileItRuns)
{
    start();
    const DeviceCredentials late = addDevice(m_data, "Dora");
    EXPECT_EQ(ServiceClient(port(), late).signIn().status, 200);
}

TEST_F(Account, KeepsSecretsOutOfItsLog)
{
    m_settings.keepStandardError = true;
    startWith({"--log-requests"});
    anna().signIn();
    const std::string group = anna().createGroup("Family");
    anna().uploadPhoto(group, smallPicture());
    const HttpReply feed = anna().get(ServiceClient::path(group + "/feeds?&search_before=latest"));
    const std::string target = targetOf(field(feed, "contentUrl"));
    EXPECT_EQ(request(port(), "GET", target).status, 200);
    m_process->stop();
    const std::string log = m_process->standardError();
    EXPECT_NE(log.find("POST /openapi/service/kinloom/auth 200"), std::string::npos) << log;
    EXPECT_NE(log.find("GET /media/original/.../"), std::string::npos) << log;
    EXPECT_EQ(log.find(m_anna.token), std::string::npos);
    EXPECT_EQ(log.find(m_anna.appId), std::string::npos);
    const std::string key = target.substr(std::string("/media/original/").size(), 32);
    EXPECT_EQ(log.find(key), std::string::npos);
}

} // namespace
