// SPDX-License-Identifier: MIT
// A service behind TLS, trusted or not, and one that ought to be behind it.
#include "CliFixture.h"
#include "support/RawServer.h"
#include "support/TlsFront.h"

using namespace test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class TlsCommand : public CliTest {
protected:
    TlsCommand() { writeFile(files.file("ca.pem"), authority.certificate()); }

    /// Has ada's programs find https://photos.example behind a port of this computer, and trust the authority.
    void configure(const TlsFront& front)
    {
        ada.ok({"config", "set", "connect_to", "photos.example:443:127.0.0.1:" + std::to_string(front.port())});
        ada.ok({"config", "set", "ca_file", files.file("ca.pem")});
    }
    /// Runs a command that fails because the service is not to be trusted.
    void expectRefused(const TlsFront& front, const std::string& why)
    {
        SCOPED_TRACE(why);
        const ProgramResult result = ada.run({"--service", "https://photos.example", "groups"});
        EXPECT_EQ(result.exitCode, 4);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
        EXPECT_THAT(result.err, AllOf(StartsWith("kinloom: cannot sign in: "), HasSubstr(why), HasSubstr("photos.example"),
                                      HasSubstr("(WSTATUS_UNREACHABLE, -100)")));
        EXPECT_EQ(front.received(), 0U) << "nothing was sent";
        EXPECT_EQ(hits("auth"), 0U);
    }

    Authority authority;
};

TEST_F(TlsCommand, DoesEverythingOverTlsWhateverAddressesTheServiceWrites)
{
    const std::string photo = makePhoto(files.file("lake.jpg"), {"--width", "80", "--height", "60"});
    for (const char* publicUrl : {"", "https://photos.example", "http://photos.example", "http://openapi.kinloom.example",
                                  "https://openapi.kinloom.example"}) {
        SCOPED_TRACE(publicUrl);
        kinloomd_test::KinloomdProcess::Settings settings;
        if (*publicUrl != '\0')
            settings.arguments = {"--public-url", publicUrl};
        const kinloomd_test::TemporaryFolder folder;
        const kinloomd_test::KinloomdProcess hidden(folder.path(), settings);
        const TlsFront front(hidden.port(), authority.issue());
        const User user(folder.path(), "Ada", "https://photos.example");
        user.ok({"config", "set", "ca_file", files.file("ca.pem")});
        user.ok({"config", "set", "connect_to", "photos.example:443:127.0.0.1:" + std::to_string(front.port())});
        EXPECT_EQ(user.ok({"config", "get", "service"}), "https://photos.example\n");

        const std::string group = user.createGroup("Summer");
        const std::string content = user.upload(group, photo);
        const Json shown = user.json({"content", "show", content});
        const TempDir target;
        user.ok({"download", shown["url"], target.path(), "--name", "original"});
        EXPECT_EQ(readFile(target.file("original")), readFile(photo));
        ASSERT_FALSE(shown["thumbnails"].empty());
        for (const Json& thumbnail : shown["thumbnails"]) {
            user.ok({"download", thumbnail["url"], target.path(), "--name", "small", "--force"});
            EXPECT_FALSE(readFile(target.file("small")).empty());
        }
        EXPECT_EQ(user.ok({"content", "mime", content}), "image/jpeg\n");
        user.ok({"comment", "add", content, "sealed"});
        EXPECT_EQ(user.json({"save", group, target.path()})["saved"], 1);
        const ProgramResult last = user.run({"feed", group});
        EXPECT_EQ(last.exitCode, 0);
        EXPECT_EQ(last.err, "") << "nothing to warn of";
        EXPECT_FALSE(front.names().empty());
        for (const std::string& name : front.names())
            EXPECT_EQ(name, "photos.example");
    }
}

TEST_F(TlsCommand, SaysWhatIsWrongWithACertificate)
{
    struct Case {
        CertificateWish wish;
        const char* cause;
    };
    const auto lasting = [](long from, long until) {
        CertificateWish wish;
        wish.from = from;
        wish.until = until;
        return wish;
    };
    CertificateWish other;
    other.names = {"DNS:openapi.kinloom.example"};
    CertificateWish own;
    own.selfSigned = true;
    CertificateWish weak;
    weak.rsaBits = 1024;
    const Case cases[] = {
        {lasting(-7200, -3600), "has expired"},
        {lasting(3600, 7200), "is not valid yet"},
        {other, "shows is for other names"},
        {own, "is self-signed"},
        {weak, "is too weak"},
    };
    for (const Case& entry : cases) {
        const TlsFront front(service.port(), authority.issue(entry.wish));
        configure(front);
        expectRefused(front, entry.cause);
    }
}

TEST_F(TlsCommand, SaysWhoIsNotTrusted)
{
    const Certificate certificate = authority.issue();
    const TlsFront front(service.port(), certificate);
    configure(front);
    const Authority stranger("Somebody else");
    writeFile(files.file("ca.pem"), stranger.certificate());
    expectRefused(front, "no authority in " + files.file("ca.pem") +
                             " vouches for the certificate of photos.example: ca_file in the configuration is to hold the one that "
                             "does, unless the service leaves out certificates in between");
    writeFile(files.file("ca.pem"), authority.certificate() + authority.revocations({certificate.serial}));
    expectRefused(front, "was revoked");
    ada.ok({"config", "set", "ca_file", ""});
    expectRefused(front, "no authority that this computer trusts");

    const TlsFront old(service.port(), certificate, TlsFront::Versions::OLD);
    configure(old);
    expectRefused(old, "too old");
}

TEST_F(TlsCommand, SaysTheSameInJson)
{
    const TlsFront front(service.port(), authority.issue());
    configure(front);
    ada.ok({"config", "set", "ca_file", ""});
    const ProgramResult result = ada.run({"--json", "--service", "https://photos.example", "groups"});
    const Json error = Json::parse(result.out)["error"];
    EXPECT_EQ(error["exit"], 4);
    EXPECT_EQ(error["name"], "WSTATUS_UNREACHABLE");
    EXPECT_THAT(error["message"].get<std::string>(), HasSubstr("no authority that this computer trusts vouches for"));
}

TEST_F(TlsCommand, NeverFallsBackToPlainHttp)
{
    // What answers there is the service itself, without TLS.
    ada.ok({"config", "set", "connect_to", "photos.example:443:127.0.0.1:" + std::to_string(service.port())});
    const ProgramResult result = ada.run({"--service", "https://photos.example", "groups"});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(result.err, HasSubstr("photos.example"));
    EXPECT_EQ(hits("auth"), 0U);
}

/// A service behind TLS that leads out of it.
class LeadingOut : public TlsCommand {
protected:
    LeadingOut() : front(secure.port(), authority.issue())
    {
        secure.onRequest([&](const RawRequest& request) {
            const std::string target = request.target();
            if (target.find("/group") != std::string::npos && request.line().rfind("GET", 0) == 0)
                return RawReply::status(302, "", {"Location: " + open.url("/groups")});
            const bool slot = target.find("/upload") != std::string::npos;
            return RawReply::ok(
                R"(<?xml version="1.0" encoding="UTF-8"?><rsp><result><stat>ok</stat></result>)" +
                    (slot ? "<data><contentId>9</contentId><uploadUrl>" + open.url("/slot/1") + "</uploadUrl></data>" : "") +
                    "</rsp>",
                {"Content-Type: text/xml; charset=utf-8"});
        });
        configure(front);
    }
    void expectRefused(const Arguments& arguments)
    {
        Arguments all = {"--service", "https://photos.example"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const ProgramResult result = ada.run(all);
        EXPECT_EQ(result.exitCode, 4) << result.err;
        EXPECT_THAT(result.err, AllOf(HasSubstr("the service leads from https to http://127.0.0.1:"), HasSubstr("is not encrypted"),
                                      HasSubstr("--public-url")));
        EXPECT_EQ(linesOf(result.err).size(), 1U) << "it is not tried again: " << result.err;
        EXPECT_EQ(open.connectionCount(), 0U);
    }

    RawServer secure;
    RawServer open;
    const TlsFront front;
};

TEST_F(LeadingOut, OfTlsGetsNeitherCredentialsNorAPhoto)
{
    expectRefused({"upload", "1", makePhoto(files.file("lake.jpg"), {"--width", "80", "--height", "60"})});
}

TEST_F(LeadingOut, OfTlsByARedirectIsNotFollowed) { expectRefused({"groups"}); }

TEST_F(TlsCommand, LeadsTheEndpointAloneToAServiceAtHttp)
{
    ada.ok({"login"});
    const ProgramResult result =
        ada.run({"download", "http://media.invalid/x.jpg", files.path(), "--name", "x.jpg", "--timeout", "20"});
    EXPECT_EQ(result.exitCode, 4) << "another host is where it is";
}

TEST_F(TlsCommand, WarnsOnceOfCredentialsThatLeaveTheHouseAsTheyAre)
{
    // The service is the proxy, so the endpoint may be anywhere.
    ada.ok({"config", "set", "connect_to", ""});
    ada.ok({"config", "set", "proxy", service.url()});
    const ProgramResult result = ada.run({"--json", "--quiet", "groups"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(linesOf(result.err).size(), 1U) << result.err;
    EXPECT_THAT(result.err, HasSubstr("is not encrypted"));
    EXPECT_TRUE(Json::parse(result.out)["groups"].empty());
    EXPECT_THAT(result.out, Not(HasSubstr("encrypted")));
}

TEST_F(TlsCommand, WarnsOfNothingWithinTheHouse) { EXPECT_THAT(ada.run({"groups"}).err, Not(HasSubstr("encrypted"))); }

} // namespace
