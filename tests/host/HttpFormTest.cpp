// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <curl/curl.h>
#include <sys/stat.h>

using namespace test;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

class HttpForm : public HttpTest {
protected:
    /// A request whose form has a text part with the request's own fields, and a file part.
    HttpRequest* makeUpload(const std::string& file, const HttpHeader& fields = HttpHeader())
    {
        auto* const request = new HttpRequest(HTTP_REQUEST_POST, server.url("/upload"), fields, Outcomes::take, &outcomes, file);
        curl_httppost* first = nullptr;
        curl_httppost* last = nullptr;
        curl_formadd(&first, &last, CURLFORM_COPYNAME, "type", CURLFORM_COPYCONTENTS, "photo", CURLFORM_CONTENTHEADER,
                     request->getHeaderList(), CURLFORM_END);
        curl_formadd(&first, &last, CURLFORM_COPYNAME, "filename", CURLFORM_FILE, file.c_str(), CURLFORM_CONTENTTYPE, "image/jpeg",
                     CURLFORM_END);
        request->setFormPost(first);
        return request;
    }
    std::string file() const { return dir.file("photo.jpg"); }
    TempDir dir;
};

TEST_F(HttpForm, SendsPartsWithTheirFieldsAndTheFile)
{
    const std::string content = std::string("\xff\xd8\0\r\n--", 7) + "picture";
    writeFile(file(), content);
    const Outcome outcome = run(makeUpload(file(), header({{"Authorization", " id"}, {"appToken", ""}})));
    EXPECT_EQ(outcome.status, SESSION_DONE);
    const RawRequest seen = server.last();
    EXPECT_EQ(seen.line(), "POST /upload HTTP/1.1");
    EXPECT_THAT(seen.field("Content-Type"), HasSubstr("multipart/form-data; boundary="));
    EXPECT_EQ(seen.field("Content-Length"), " " + std::to_string(seen.body.size()));
    EXPECT_EQ(seen.field("Authorization"), "  id");
    EXPECT_FALSE(seen.has("Expect"));
    EXPECT_THAT(seen.body,
                HasSubstr("Content-Disposition: form-data; name=\"type\"\r\nAuthorization:  id\r\nappToken: \r\n\r\nphoto\r\n"));
    EXPECT_THAT(seen.body, HasSubstr("Content-Disposition: form-data; name=\"filename\"; filename=\"photo.jpg\"\r\n"
                                     "Content-Type: image/jpeg\r\n\r\n" +
                                     content + "\r\n--"));
}

TEST_F(HttpForm, IsTheBodyWhateverFieldsAreSetOnTheHandle)
{
    writeFile(file(), "picture");
    HttpRequest* const request = makeUpload(file());
    curl_easy_setopt(request->getHandle(), CURLOPT_POSTFIELDS, "");
    curl_easy_setopt(request->getHandle(), CURLOPT_POSTFIELDSIZE, 123456L);
    EXPECT_EQ(run(request).status, SESSION_DONE);
    EXPECT_THAT(server.last().field("Content-Type"), HasSubstr("multipart/form-data"));
    EXPECT_THAT(server.last().body, HasSubstr("picture"));
}

TEST_F(HttpForm, LeavesNothingOfItselfToTheNextRequest)
{
    writeFile(file(), "picture");
    run(makeUpload(file()));
    post(server.url(), "plain=body");
    EXPECT_EQ(server.last().body, "plain=body");
    EXPECT_EQ(server.last().field("Content-Type"), " application/x-www-form-urlencoded");
    get(server.url());
    EXPECT_EQ(server.last().body, "");
}

TEST_F(HttpForm, SendsALargeFileWholeAndWithoutWaiting)
{
    std::string content;
    for (int i = 0; i < (5 << 20); ++i)
        content.push_back(static_cast<char>(i * 31 >> 3));
    writeFile(file(), content);
    const Outcome outcome = run(makeUpload(file()));
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_THAT(server.last().body, HasSubstr(content));
    EXPECT_EQ(outcome.done, static_cast<double>(server.last().body.size()));
}

TEST_F(HttpForm, FailsWhenTheFileIsMissingOrNotRegular)
{
    ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0644), 0);
    for (const std::string& path :
         {dir.file("missing"), dir.path(), dir.file("fifo"), std::string("/dev/zero"), std::string("-")}) {
        EXPECT_EQ(run(makeUpload(path)).status, SESSION_FILE_ERROR) << path;
        HttpRequest* const executed = makeUpload(path);
        EXPECT_EQ(executed->execute(), WSTATUS_FILE_ERROR) << path;
        delete executed;
    }
    EXPECT_EQ(server.connectionCount(), 0u);
}

TEST_F(HttpForm, IsReleasedWithARequestThatIsNeverSent)
{
    writeFile(file(), "picture");
    delete makeUpload(file());
    HttpRequest* const twice = makeUpload(file());
    twice->setFormPost(nullptr);
    delete twice;
}

TEST_F(HttpForm, GoesOutByExecuteToo)
{
    writeFile(file(), "picture");
    const std::unique_ptr<HttpRequest> request(makeUpload(file()));
    EXPECT_EQ(request->execute(), 0);
    EXPECT_THAT(server.last().body, HasSubstr("picture"));
    EXPECT_EQ(request->execute(), 0);
    EXPECT_THAT(server.last().body, HasSubstr("picture"));
}

TEST(HttpHeaderList, HoldsTheFieldsOrIsNull)
{
    HttpRequest none(HTTP_REQUEST_GET, "http://h/", HttpHeader(), "", nullptr, nullptr);
    EXPECT_EQ(none.getHeaderList(), nullptr);
    HttpRequest some(HTTP_REQUEST_GET, "http://h/", header({{"A", "1"}, {"B", ""}}), "", nullptr, nullptr);
    const curl_slist* const list = some.getHeaderList();
    ASSERT_NE(list, nullptr);
    EXPECT_STREQ(list->data, "A: 1");
    ASSERT_NE(list->next, nullptr);
    EXPECT_STREQ(list->next->data, "B: ");
    EXPECT_EQ(list->next->next, nullptr);
    EXPECT_EQ(some.getHeaderList(), list);
}

} // namespace
