// SPDX-License-Identifier: MIT
// The files of the family's page, and the headers that they come with.
#include "PageClient.h"

#include <fstream>
#include <zlib.h>

namespace {

using namespace kinloomd_test;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

std::string unpacked(const std::string& bytes)
{
    constexpr int GZIP_WINDOW = 15 + 16;
    std::string plain(1 << 20, '\0');
    z_stream stream{};
    EXPECT_EQ(::inflateInit2(&stream, GZIP_WINDOW), Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(plain.data());
    stream.avail_out = static_cast<uInt>(plain.size());
    EXPECT_EQ(::inflate(&stream, Z_FINISH), Z_STREAM_END);
    plain.resize(stream.total_out);
    ::inflateEnd(&stream);
    return plain;
}

class WebFiles : public PageFixture {
protected:
    HttpReply get(const std::string& target, const Headers& headers = {{"Accept", "text/html,application/xhtml+xml,*/*;q=0.8"}})
    {
        return request(port(), "GET", target, {}, headers);
    }
};

TEST_F(WebFiles, AreThePageAtEachOfItsAddresses)
{
    const HttpReply page = get("/");
    EXPECT_THAT(page.body, HasSubstr("<title>Kinloom"));
    EXPECT_EQ(page.header("content-type"), "text/html; charset=utf-8");
    EXPECT_EQ(page.header("cache-control"), "no-cache");
    EXPECT_THAT(page.header("set-cookie"), IsEmpty());
    for (const char* address : {"/?lang=en", "/group/1", "/group/1/photo/2", "/pair", "/pair/BCDF-GHJK", "/devices", "/invite/key"})
        EXPECT_EQ(get(address).body, page.body) << address;
    for (const char* other :
         {"/group", "/group/", "/group/1/photo", "/group/1/photo/2/3", "/devices/1", "/invite/", "/family/index.html", "/x"})
        EXPECT_EQ(get(other).status, 404) << other;
    EXPECT_THAT(get("/", {}).header("content-type"), HasSubstr("application/xml")) << "for who does not ask for a page";
    EXPECT_EQ(request(port(), "HEAD", "/", {}, {{"Accept", "*/*"}}).header("content-length"), std::to_string(page.body.size()));
    EXPECT_THAT(request(port(), "POST", "/", {}, {{"Accept", "text/html"}}).body, Not(HasSubstr("<title>")));
}

TEST_F(WebFiles, TellBrowsersThatAreSignedInWhatTheViewBeginsWith)
{
    const Headers page = {{"Accept", "text/html"}};
    Headers signedIn = page;
    signedIn.emplace_back("Cookie", "kinloom_session=" + browserOf("Anna").cookie());
    EXPECT_EQ(get("/", signedIn).header("link"),
              "</page/session>; rel=preload; as=fetch; crossorigin, </page/groups>; rel=preload; as=fetch; crossorigin");
    EXPECT_THAT(get("/group/12?lang=en", signedIn).header("link"),
                AllOf(HasSubstr("</page/groups/12/months>; rel=preload; as=fetch; crossorigin, "),
                      HasSubstr("</page/groups/12/contents?index=0&count=100>; rel=preload; as=fetch; crossorigin, ")));
    for (const char* address : {"/pair", "/devices", "/group/12/photo/13", "/group/1>x", "/group/%3E", "/licences.txt"})
        EXPECT_THAT(get(address, signedIn).header("link"), IsEmpty()) << address;
    EXPECT_THAT(get("/group/12", page).header("link"), IsEmpty());
}

TEST_F(WebFiles, KeepBrowsersFromWhatTheyAreNotMeantFor)
{
    for (const char* target : {"/", "/invite/key", "/assets/app-1.js"}) {
        const HttpReply reply = get(target);
        EXPECT_EQ(reply.header("content-security-policy"),
                  "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; media-src 'self'; "
                  "connect-src 'self'; manifest-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'");
        EXPECT_EQ(reply.header("x-content-type-options"), "nosniff");
        EXPECT_EQ(reply.header("referrer-policy"), "same-origin");
        EXPECT_EQ(reply.header("cross-origin-opener-policy"), "same-origin");
        EXPECT_EQ(reply.header("cross-origin-resource-policy"), "same-origin");
        EXPECT_EQ(reply.header("cross-origin-embedder-policy"), "require-corp");
        EXPECT_EQ(reply.header("x-permitted-cross-domain-policies"), "none");
        EXPECT_THAT(reply.header("permissions-policy"), HasSubstr("camera=()"));
        EXPECT_THAT(reply.header("strict-transport-security"), IsEmpty()) << "nothing is encrypted here";
    }
    const Headers own = {{"Origin", "http://openapi.kinloom.example"}};
    const HttpReply others[] = {
        get("/page/session"),
        get("/page/nothing"),
        get("/nothing"),
        get("/assets/nothing.js"),
        request(port(), "PUT", "/page/groups"),
        request(port(), "POST", "/pair", "device_name=TV"),
        request(port(), "POST", "/pair/token", "device_code=x"),
        request(port(), "POST", "/page/groups", "{}"),
        request(port(), "POST", "/invite/x", {}, own),
        browserOf("Anna").get("/page/devices"),
        request(port(), "GET", "/page/groups", {}, {{"X", std::string(40'000, 'x')}}),
    };
    for (const HttpReply& reply : others) {
        EXPECT_EQ(reply.header("content-security-policy"), "default-src 'none'; frame-ancestors 'none'") << reply.status;
        EXPECT_EQ(reply.header("x-content-type-options"), "nosniff") << reply.status;
        EXPECT_EQ(reply.header("x-frame-options"), "DENY") << reply.status;
        EXPECT_EQ(reply.header("referrer-policy"), "same-origin") << reply.status;
        EXPECT_EQ(reply.header("cross-origin-opener-policy"), "same-origin") << reply.status;
        EXPECT_EQ(reply.header("cross-origin-embedder-policy"), "require-corp") << reply.status;
        EXPECT_EQ(reply.header("cross-origin-resource-policy"), "same-origin") << reply.status;
        EXPECT_EQ(reply.header("x-permitted-cross-domain-policies"), "none") << reply.status;
        EXPECT_EQ(reply.header("strict-transport-security"), "") << reply.status;
    }
    EXPECT_EQ(anna().signIn().header("x-frame-options"), "") << "what devices ask for stays as it was";
    m_process.reset();
    with("--trusted-proxy", "127.0.0.1");
    start();
    for (const char* target : {"/page/session", "/nothing", "/licences.txt"})
        EXPECT_THAT(
            get(target, {{"X-Forwarded-For", "192.0.2.7"}, {"X-Forwarded-Proto", "https"}}).header("strict-transport-security"),
            StartsWith("max-age="))
            << target;
    const HttpReply encrypted =
        get("/", {{"Accept", "text/html"}, {"X-Forwarded-For", "192.0.2.7"}, {"X-Forwarded-Proto", "https"}});
    EXPECT_THAT(encrypted.header("strict-transport-security"), StartsWith("max-age="));
    const HttpReply data = request(port(), "GET", "/page/session");
    EXPECT_EQ(data.header("cache-control"), "no-store");
    EXPECT_EQ(data.header("x-content-type-options"), "nosniff");
    EXPECT_EQ(data.header("cross-origin-resource-policy"), "same-origin");
}

TEST_F(WebFiles, LastWhereTheirNamesTellThemApart)
{
    const HttpReply script = get("/assets/app-1.js", {});
    EXPECT_EQ(script.body, std::string(5000, '/'));
    EXPECT_EQ(script.header("content-type"), "text/javascript; charset=utf-8");
    EXPECT_EQ(script.header("cache-control"), "public, max-age=31536000, immutable");
    EXPECT_EQ(get("/assets/app-1.css", {}).header("content-type"), "text/css; charset=utf-8");
    EXPECT_EQ(get("/version.txt", {}).header("cache-control"), "no-cache");
    EXPECT_EQ(get("/licences.txt", {}).body, "licences");
    const HttpReply page = get("/");
    const HttpReply known = get("/", {{"Accept", "text/html"}, {"If-None-Match", page.header("etag")}});
    EXPECT_EQ(known.status, 304);
    EXPECT_THAT(known.body, IsEmpty());
    for (const char* outside :
         {"/assets/../../licences.txt", "/assets/%2e%2e/version.txt", "/../licences.txt", "//version.txt", "/assets/"})
        EXPECT_EQ(get(outside).status, 404) << outside;
}

TEST_F(WebFiles, AreCompressedForWhoTakesThat)
{
    for (const char* encodings : {"gzip, deflate, br", "br;q=1.0, gzip;q=0.8", "GZIP"}) {
        const HttpReply reply = get("/assets/app-1.js", {{"Accept-Encoding", encodings}});
        EXPECT_EQ(reply.header("content-encoding"), "gzip") << encodings;
        EXPECT_EQ(reply.header("vary"), "Accept-Encoding");
        EXPECT_LT(reply.body.size(), 200U);
        EXPECT_EQ(unpacked(reply.body), std::string(5000, '/'));
    }
    for (const char* encodings : {"", "identity", "br", "gzip;q=0", "gzip;q=0.000", "gzipped"}) {
        const HttpReply reply = get("/assets/app-1.js", {{"Accept-Encoding", encodings}});
        EXPECT_THAT(reply.header("content-encoding"), IsEmpty()) << encodings;
        EXPECT_EQ(reply.body.size(), 5000U);
    }
    EXPECT_NE(get("/assets/app-1.js", {}).header("etag"), get("/assets/app-1.js", {{"Accept-Encoding", "gzip"}}).header("etag"));
}

TEST_F(WebFiles, AreMissedInASentence)
{
    m_process.reset();
    m_settings.arguments = {"--web", "none"};
    start();
    const HttpReply reply = get("/group/1");
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.header("content-type"), "text/plain; charset=utf-8");
    EXPECT_THAT(reply.body, HasSubstr("without the family's page"));
    EXPECT_EQ(anna().signIn().status, 200) << "all else goes on";
    m_process.reset();
    const CommandResult result = runKinloomd({"serve", "--data", m_data, "--listen", "127.0.0.1:0", "--web", m_folder / "nothing"});
    EXPECT_NE(result.exitCode, 0);
    EXPECT_THAT(result.err, HasSubstr("family/index.html is missing"));
}

TEST_F(WebFiles, StayAsTheyWereWhenTheServiceBegan)
{
    std::ofstream(m_web + "/family/index.html") << "changed";
    EXPECT_THAT(get("/").body, HasSubstr("<title>"));
    restart();
    EXPECT_EQ(get("/").body, "changed");
}

} // namespace
