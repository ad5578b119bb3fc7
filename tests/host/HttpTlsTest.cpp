// SPDX-License-Identifier: MIT
// Encrypted connections: who is trusted, and what is said of those who are not.
#include "W/WStatus.h"
#include "host/Client.h"
#include "support/TlsFront.h"
#include "whost/HttpEvents.h"

#include <curl/curl.h>

using namespace test;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

/// Requests to photos.example, which is a server of the test's behind TLS.
class HttpTls : public HttpTest {
protected:
    HttpTls()
    {
        HttpEvents events;
        events.ended = [this](const HttpExchange& exchange) {
            const std::lock_guard<std::mutex> lock(mutex);
            if (exchange.explained)
                failures.push_back(exchange);
        };
        setHttpEvents(events);
    }
    ~HttpTls() override { setHttpEvents({}); }

    void present(const Certificate& certificate, TlsFront::Versions versions = TlsFront::Versions::USUAL)
    {
        front = std::make_unique<TlsFront>(server.port(), certificate, versions);
        options([&](HttpOptions& o) { o.connectTo = {"photos.example::127.0.0.1:" + std::to_string(front->port())}; });
    }
    /// Trusts what stands in a file.
    void trust(const std::string& pem)
    {
        writeFile(dir.file("ca.pem"), pem);
        options([&](HttpOptions& o) { o.caFile = dir.file("ca.pem"); });
    }
    std::string url() const { return front->url("photos.example", "/"); }
    /// Why the last request failed.
    std::string cause()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return failures.empty() ? "" : failures.back().cause;
    }
    void expectRefused(const std::string& why)
    {
        EXPECT_EQ(get(url()).status, SESSION_UNREACHABLE) << why;
        EXPECT_EQ(server.requestCount(), 0U) << why;
        EXPECT_THAT(cause(), AllOf(HasSubstr(why), HasSubstr("photos.example"), Not(HasSubstr("\n"))));
    }

    TempDir dir;
    Authority authority;
    std::unique_ptr<TlsFront> front;
    std::mutex mutex;
    std::vector<HttpExchange> failures;
};

TEST_F(HttpTls, SpeaksToAServiceWithACertificateThatIsTrusted)
{
    present(authority.issue());
    trust(authority.certificate());
    server.reply(RawReply::ok("sealed"));
    const Outcome outcome = get(url());
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload, "sealed");
    EXPECT_THAT(front->names(), ElementsAre("photos.example"));
    EXPECT_EQ(cause(), "");
}

TEST_F(HttpTls, KeepsAConnectionForTheNextRequest)
{
    present(authority.issue());
    trust(authority.certificate());
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(get(url()).status, SESSION_DONE);
    EXPECT_EQ(front->names().size(), 1U);
    EXPECT_EQ(server.connectionCount(), 1U);
}

TEST_F(HttpTls, TakesCertificatesForAddressesToo)
{
    present(authority.issue({{"IP:127.0.0.1"}}));
    trust(authority.certificate());
    EXPECT_EQ(get(front->url("127.0.0.1", "/")).status, SESSION_DONE);
}

TEST_F(HttpTls, SaysWhatIsWrongWithACertificate)
{
    struct Case {
        const char* what;
        CertificateWish wish;
        const char* cause;
    };
    CertificateWish expired;
    expired.from = -7200;
    expired.until = -3600;
    CertificateWish early;
    early.from = 3600;
    early.until = 7200;
    CertificateWish other;
    other.names = {"DNS:elsewhere.example", "IP:127.0.0.1"};
    CertificateWish own;
    own.selfSigned = true;
    CertificateWish weak;
    weak.rsaBits = 1024;
    CertificateWish old;
    old.oldDigest = true;
    CertificateWish client;
    client.usage = "clientAuth";
    const Case cases[] = {
        {"expired", expired, "has expired"},
        {"not yet valid", early, "is not valid yet"},
        {"another name", other, "shows is for other names"},
        {"self-signed", own, "is self-signed, and not the one in"},
        {"a short key", weak, "is too weak"},
        {"an old digest", old, "is signed in a way that is too weak"},
        {"for clients", client, "is not one for servers"},
    };
    trust(authority.certificate());
    for (const Case& entry : cases) {
        SCOPED_TRACE(entry.what);
        present(authority.issue(entry.wish));
        expectRefused(entry.cause);
    }
}

TEST_F(HttpTls, TellsAnUnknownAuthorityFromAWrongFile)
{
    present(authority.issue());
    expectRefused("no authority that this computer trusts vouches for");
    const Authority stranger("Somebody else");
    trust(stranger.certificate());
    expectRefused("no authority in " + dir.file("ca.pem") + " vouches for");
    const Authority namesake;
    trust(namesake.certificate());
    expectRefused("was not signed by the authority of that name in " + dir.file("ca.pem"));
}

TEST_F(HttpTls, TellsOfAnUnknownAuthorityThatIsSentAlong)
{
    Certificate certificate = authority.issue();
    certificate.chain += authority.certificate();
    present(certificate);
    expectRefused("the authority that vouches for the certificate of photos.example");
    const Authority stranger("Somebody else");
    trust(stranger.certificate());
    expectRefused("is not in " + dir.file("ca.pem"));
}

TEST_F(HttpTls, TrustsASelfSignedCertificateThatTheFileNames)
{
    CertificateWish own;
    own.selfSigned = true;
    const Certificate certificate = authority.issue(own);
    present(certificate);
    expectRefused("is self-signed, and nothing here vouches for it");
    trust(certificate.chain);
    EXPECT_EQ(get(url()).status, SESSION_DONE);
}

TEST_F(HttpTls, HeedsRevocationsThatStandInTheFile)
{
    const Certificate good = authority.issue();
    const Certificate bad = authority.issue();
    trust(authority.certificate() + authority.revocations({bad.serial}));
    present(bad);
    expectRefused("was revoked");
    present(good);
    EXPECT_EQ(get(url()).status, SESSION_DONE);
    const Authority other("Somebody else");
    trust(authority.certificate() + other.revocations({1}));
    present(good);
    EXPECT_EQ(get(url()).status, SESSION_UNREACHABLE);
    EXPECT_THAT(cause(), HasSubstr("holds no revocation list"));
}

TEST_F(HttpTls, LooksIntoAFileThatWasReplacedForEachConnection)
{
    present(authority.issue());
    trust(authority.certificate());
    server.onRequest([](const RawRequest&) { return RawReply::ok("sealed", {"Connection: close"}).close(); });
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(get(url()).status, SESSION_DONE);
    EXPECT_EQ(front->names().size(), 2U);
    const Authority stranger("Somebody else");
    writeFile(dir.file("ca.pem"), stranger.certificate());
    EXPECT_EQ(get(url()).status, SESSION_UNREACHABLE) << "a session from before vouches for nobody";
    EXPECT_THAT(cause(), HasSubstr("no authority in " + dir.file("ca.pem")));
    EXPECT_EQ(server.requestCount(), 2U);
    writeFile(dir.file("ca.pem"), authority.certificate());
    EXPECT_EQ(get(url()).status, SESSION_DONE);
}

TEST_F(HttpTls, TellsAProxysCertificateFromTheServices)
{
    present(authority.issue({{"IP:127.0.0.1"}}));
    const std::string proxy = front->url("127.0.0.1");
    trust(authority.certificate());
    options([&](HttpOptions& o) { o.proxy = proxy; });
    const std::string named = "the proxy 127.0.0.1:" + std::to_string(front->port());
    for (const char* target : {"http://photos.example/", "https://photos.example/"}) {
        EXPECT_EQ(get(target).status, SESSION_UNREACHABLE) << target;
        EXPECT_THAT(cause(),
                    AllOf(HasSubstr("the certificate of " + named), Not(HasSubstr("photos.example")), Not(HasSubstr("ca_file"))))
            << "the file of authorities is about services";
    }
    EXPECT_EQ(server.requestCount(), 0U);
}

TEST_F(HttpTls, NamesAFileThatCannotBeUsed)
{
    present(authority.issue());
    for (const char* content : {"", "this is no certificate\n"}) {
        trust(content);
        EXPECT_EQ(get(url()).status, SESSION_UNREACHABLE);
        EXPECT_THAT(cause(), HasSubstr(dir.file("ca.pem") + ", which ca_file in the configuration names"));
    }
    options([&](HttpOptions& o) { o.caFile = dir.file("missing.pem"); });
    EXPECT_EQ(get(url()).status, SESSION_UNREACHABLE);
    EXPECT_THAT(cause(), HasSubstr(dir.file("missing.pem")));
    EXPECT_EQ(server.requestCount(), 0U);
}

TEST_F(HttpTls, SpeaksNoOldVersion)
{
    trust(authority.certificate());
    present(authority.issue(), TlsFront::Versions::OLD);
    expectRefused("too old");
}

TEST_F(HttpTls, KnowsAServerThatHangsUp)
{
    server.greet(RawServer::Greeting::CLOSE);
    EXPECT_EQ(get("https://127.0.0.1:" + std::to_string(server.port()) + "/").status, SESSION_UNREACHABLE);
    EXPECT_THAT(cause(), HasSubstr("broke the connection off before it was encrypted"));
}

TEST_F(HttpTls, TellsWhichRequestFailedAndForgetsItsCause)
{
    present(authority.issue());
    HttpRequest* const request = makeGet(url());
    request->setID(3);
    EXPECT_EQ(run(request).status, SESSION_UNREACHABLE);
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_EQ(failures[0].id, 3U);
    EXPECT_EQ(failures[0].status, SESSION_UNREACHABLE);

    HttpRequest executed(HTTP_REQUEST_GET, url(), HttpHeader(), "", nullptr, nullptr);
    EXPECT_EQ(executed.execute(), WSTATUS_UNREACHABLE);
    EXPECT_EQ(failures.size(), 2U);
    trust(authority.certificate());
    EXPECT_EQ(executed.execute(), WSTATUS_OK);
    EXPECT_EQ(get("http://127.0.0.1:1/").status, SESSION_UNREACHABLE);
    EXPECT_EQ(failures.size(), 2U) << "nothing to say beyond the status";
}

TEST_F(HttpTls, GoesBackToTheSystemsAuthorities)
{
    present(authority.issue());
    trust(authority.certificate() + authority.revocations({}));
    EXPECT_EQ(get(url()).status, SESSION_DONE);
    options([](HttpOptions& o) { o.caFile.clear(); });
    EXPECT_EQ(get(url()).status, SESSION_UNREACHABLE);
    EXPECT_THAT(cause(), HasSubstr("no authority that this computer trusts"));
}

TEST_F(HttpTls, LeavesACallerItsOwnAuthorities)
{
    present(authority.issue());
    writeFile(dir.file("own.pem"), authority.certificate());
    for (const bool before : {false, true}) {
        if (before) {
            // The handle comes back with the file of these options.
            trust(authority.certificate());
            EXPECT_EQ(get(url()).status, SESSION_DONE);
            options([](HttpOptions& o) { o.caFile.clear(); });
        }
        HttpRequest* const request = makeGet(url());
        curl_easy_setopt(request->getHandle(), CURLOPT_CAINFO, dir.file("own.pem").c_str());
        EXPECT_EQ(run(request).status, SESSION_DONE) << before;
    }
}

TEST_F(HttpTls, StaysStrictWhateverACallerSetsOnTheHandle)
{
    present(authority.issue());
    HttpRequest* const request = makeGet(url());
    curl_easy_setopt(request->getHandle(), CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(request->getHandle(), CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(request->getHandle(), CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_0));
    EXPECT_EQ(run(request).status, SESSION_UNREACHABLE);
    EXPECT_EQ(server.requestCount(), 0U);
}

} // namespace
