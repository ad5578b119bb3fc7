// SPDX-License-Identifier: MIT
// Downloads: into a folder of the caller's, and of a media resource.
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <cstdio>
#include <filesystem>
#include <sys/stat.h>

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const STRING PHOTO("\xFF\xD8\xFF\0photo\r\n", 11);

class Download : public SignedInTest {
protected:
    void TearDown() override
    {
        SignedInTest::TearDown();
        std::remove(resourceFile(folder).c_str());
    }

    WSTATUS direct(const STRING& url, const STRING& name = "")
    {
        return oai->download(provider(), url, folder.path(), name, Callback<STRING>::call, &recorder);
    }
    /// The path that a direct download is written to.
    STRING pathOf(const STRING& url, const STRING& name = "")
    {
        fake::checkRequests(false);
        fake::answerAll(fake::held());
        EXPECT_EQ(direct(url, name), 0);
        const STRING path = fake::requests().back().path;
        EXPECT_EQ(path.rfind(folder.path() + "/", 0), 0u) << path;
        return path.substr(folder.path().size() + 1);
    }
    WMediaResource resource(const STRING& url)
    {
        WMediaResource media;
        media.setUID("thumb");
        media.setResourceURL(url);
        return media;
    }
    WSTATUS fetch(const STRING& url) { return fnContentDownloader(resource(url), onDownloaded, oai, &recorder); }
    /// A URL whose file has a name of its own in the temporary folder.
    STRING ownUrl() const { return "http://media.kinloom.example/a" + folder.path() + ".jpg?size=full"; }
    STRING ownFile() const { return resourceFile(folder); }

    /// A command as its completion finds it.
    template <class CMD, class Routine> std::unique_ptr<CMD> commandFor(const STRING& path, Routine callback)
    {
        auto command = std::make_unique<CMD>(provider());
        command->localPath = path;
        command->callback = callback;
        command->userData = &recorder;
        command->owner = oai;
        return command;
    }
    static HttpResponse okResponse()
    {
        HttpResponse response;
        response.setHttpResponseCode(HTTP_OK);
        return response;
    }

    std::pair<double, double> progress()
    {
        std::pair<double, double> now(-1, -1);
        EXPECT_EQ(oai->progressStatus(provider(), now.first, now.second, nullptr), 0);
        return now;
    }

    TempFolder folder;
};

using Progress = std::pair<double, double>;

} // namespace

// --- Into a folder

TEST_F(Download, AsksForTheUrlAsItIsAndWithoutHeaders)
{
    ASSERT_EQ(direct("http://media.kinloom.example/a/photo.jpg?x=1"), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_GET);
    EXPECT_EQ(seen.url, "http://media.kinloom.example/a/photo.jpg?x=1");
    EXPECT_THAT(seen.header, IsEmpty());
    EXPECT_EQ(seen.path, folder.file("photo.jpg"));
}

TEST_F(Download, TakesTheNameFromTheUrl)
{
    const std::pair<STRING, STRING> names[] = {
        {"http://m.example/a/photo.jpg", "photo.jpg"},
        {"http://m.example/a/photo.jpg?size=full", "photo.jpg"},
        {"http://m.example/a/photo.jpg?next=/b/c", "photo.jpg"},
        {"http://m.example/a?x=1/photo.jpg?size=full", "photo.jpg"}, // the last "?" counts
        {"http://m.example/a/?x=1", ""},
        {"http://m.example/a/", ""},
        {"http://m.example", "m.example"},
        {"photo.jpg", "photo.jpg"},
        {"photo.jpg?x", "photo.jpg"},
        {"?x", ""},
        {"/", ""},
        {"http://m.example/a/two words.jpg", "two words.jpg"},
        {"http://m.example/a/%2e%2e", "%2e%2e"},
    };
    for (const auto& [url, name] : names)
        EXPECT_EQ(pathOf(url), name) << url;
}

TEST_F(Download, PrefersTheNameThatItIsGiven)
{
    EXPECT_EQ(pathOf("http://m.example/a/photo.jpg", "mine.jpg"), "mine.jpg");
    EXPECT_EQ(pathOf("http://m.example/a/", "mine.jpg"), "mine.jpg");
}

TEST_F(Download, AlwaysAddsASlashToTheFolder)
{
    ASSERT_EQ(oai->download(provider(), "http://m.example/photo.jpg", folder.path() + "/", "", Callback<STRING>::call, &recorder),
              0);
    EXPECT_EQ(fake::request(0).path, folder.path() + "//photo.jpg");
}

TEST_F(Download, SavesTheFileAndReportsItsName)
{
    const Call call = callOf([&] { return direct("http://m.example/photo.jpg?x"); }, fake::reply(PHOTO));
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<STRING>(), "photo.jpg");
    EXPECT_EQ(readFile(folder.file("photo.jpg")), PHOTO);
    EXPECT_THAT(folder.entries(), ElementsAre("photo.jpg"));
}

TEST_F(Download, NeedsASession)
{
    service().setUserCredential(nullptr, provider());
    EXPECT_EQ(direct(""), -202);
    EXPECT_EQ(oai->download(WContentProvider(), "", "", "", nullptr, nullptr), -202);
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Download, WantsAUrlAndAFolder)
{
    ASSERT_EQ(cancel(), 0);
    EXPECT_EQ(direct(""), -1);
    EXPECT_EQ(oai->download(provider(), "http://m.example/p.jpg", "", "", Callback<STRING>::call, &recorder), -1);
    EXPECT_EQ(oai->download(WContentProvider(), "", folder.path(), "", Callback<STRING>::call, &recorder), -1);
    EXPECT_THAT(facadeLog(), ElementsAre(-1, -1, -1));
    EXPECT_TRUE(oai->isCancelRequested()); // nothing had begun
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Download, RefusesAnotherProvider)
{
    ASSERT_EQ(cancel(), 0);
    EXPECT_EQ(oai->download(WContentProvider("Other", WContentProvider::SERVICE_KINLOOM), "http://m.example/p.jpg", folder.path(),
                            "", Callback<STRING>::call, &recorder),
              -16);
    EXPECT_THAT(facadeLog(), ElementsAre(-16));
    EXPECT_FALSE(oai->isCancelRequested()); // ended before the provider is looked at
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Download, IsNotInTheList)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    EXPECT_EQ(oai->countCMD(), 0u);
    ASSERT_EQ(fetch(ownUrl()), 0);
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_F(Download, FailsWhenTheFileIsNotThereAfterwards)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    recorder.onCall(nullptr);
    // The folder goes away while the request runs: the client cannot write, whatever the service says.
    std::filesystem::remove_all(folder.path());
    finish(0, fake::reply(PHOTO));
    EXPECT_EQ(recorder.only().status, WSTATUS_FILE_ERROR);
}

TEST_F(Download, GivesMinus16WhenTheFileCannotBeOpened)
{
    const auto command = commandFor<KLDirectDownloadCMD>(folder.file("none.jpg"), Callback<STRING>::call);
    oai->cbKLDownloadDone(SESSION_DONE, okResponse(), command.get());
    EXPECT_EQ(recorder.only().status, -16);
    EXPECT_THAT(facadeLog(), ElementsAre(-16));
}

TEST_F(Download, GivesMinus16ForWhatIsNoFile)
{
    // A folder would open as a good stream, and a pipe would keep the worker waiting.
    const STRING pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const STRING& path : {folder.path(), folder.path() + "/", pipe}) {
        recorder.clear();
        const auto command = commandFor<KLDownloadCMD>(path, onDownloaded);
        oai->cbDownloadDone(SESSION_DONE, okResponse(), command.get());
        EXPECT_EQ(recorder.only().status, -16) << path;
        EXPECT_FALSE(recorder.only().value<Stream>(1).readable) << path;
    }
}

TEST_F(Download, OpensAFileBehindALink)
{
    folder.write("real.jpg", PHOTO);
    std::filesystem::create_symlink(folder.file("real.jpg"), folder.file("link.jpg"));
    const auto command = commandFor<KLDownloadCMD>(folder.file("link.jpg"), onDownloaded);
    oai->cbDownloadDone(SESSION_DONE, okResponse(), command.get());
    EXPECT_EQ(recorder.only().status, 0);
    EXPECT_EQ(recorder.only().value<Stream>(1).content, PHOTO);
}

TEST_F(Download, LeavesNoFileForAnyOtherCode)
{
    for (const UINT32 code : {301u, 401u, 404u, 416u, 500u, 503u}) {
        const Call call = callOf([&] { return direct("http://m.example/photo.jpg"); }, fake::reply(PHOTO, code));
        EXPECT_EQ(call.status, KLService::getWlibSTATUS(KLService::getKLSTATUS(static_cast<HTTP_RESPONSE_CODE>(code))));
        EXPECT_EQ(call.value<STRING>(), "photo.jpg");
    }
    EXPECT_THAT(folder.entries(), IsEmpty());
}

TEST_F(Download, LeavesAFileThatWasThereAloneWhenItFails)
{
    folder.write("photo.jpg", "older");
    callOf([&] { return direct("http://m.example/photo.jpg"); }, fake::reply(PHOTO, 404));
    callOf([&] { return direct("http://m.example/photo.jpg"); }, fake::failure(SESSION_CUT_OFF));
    EXPECT_EQ(readFile(folder.file("photo.jpg")), "older");
}

TEST_F(Download, RemovesItsFileWhenItIsCancelledAndTellsTheCancelCallbackOnly)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    folder.write("photo.jpg", "half of it");
    ASSERT_EQ(cancel(), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    const Call call = recorder.only();
    EXPECT_TRUE(call.isCancel);
    EXPECT_EQ(call.status, 0);
    EXPECT_THAT(folder.entries(), IsEmpty());
    EXPECT_FALSE(oai->hasCancelCallback());
}

TEST_F(Download, RemovesItsFileAlsoWhenNobodyWaitsForTheCancel)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    folder.write("photo.jpg", "half of it");
    ASSERT_EQ(cancel(nullptr), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(recorder.count(), 0u);
    EXPECT_THAT(folder.entries(), IsEmpty());
}

TEST_F(Download, RemovesAFileThatArrivedWholeWhileTheCancelCame)
{
    folder.write("photo.jpg", "whole");
    const auto command = commandFor<KLDirectDownloadCMD>(folder.file("photo.jpg"), Callback<STRING>::call);
    ASSERT_EQ(cancel(), 0);
    oai->cbKLDownloadDone(SESSION_DONE, okResponse(), command.get());
    EXPECT_TRUE(recorder.only().isCancel);
    EXPECT_THAT(folder.entries(), IsEmpty());
}

TEST_F(Download, NeverRemovesAFolder)
{
    // A URL that ends in "/" names no file: the path is the folder itself.
    const STRING empty = folder.file("empty");
    ASSERT_EQ(mkdir(empty.c_str(), 0700), 0);
    for (const STRING& path : {empty, empty + "/"}) {
        const auto command = commandFor<KLDirectDownloadCMD>(path, Callback<STRING>::call);
        ASSERT_EQ(cancel(), 0);
        oai->cbKLDownloadDone(SESSION_CANCELLED, HttpResponse(), command.get());
        EXPECT_TRUE(exists(empty)) << path;

        const auto other = commandFor<KLDownloadCMD>(path, onDownloaded);
        ASSERT_EQ(cancel(), 0);
        oai->cbDownloadDone(SESSION_CANCELLED, HttpResponse(), other.get());
        EXPECT_TRUE(exists(empty)) << path;
    }
}

TEST_F(Download, RemovesNothingThroughALink)
{
    folder.write("precious.jpg", "precious");
    std::filesystem::create_symlink(folder.file("precious.jpg"), folder.file("link.jpg"));
    const auto command = commandFor<KLDirectDownloadCMD>(folder.file("link.jpg"), Callback<STRING>::call);
    ASSERT_EQ(cancel(), 0);
    oai->cbKLDownloadDone(SESSION_CANCELLED, HttpResponse(), command.get());
    EXPECT_EQ(readFile(folder.file("precious.jpg")), "precious");
}

TEST_F(Download, KeepsItsFileWithoutACallback)
{
    fake::answerNext(fake::reply(PHOTO));
    ASSERT_EQ(oai->download(provider(), "http://m.example/photo.jpg", folder.path(), "", nullptr, nullptr), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(readFile(folder.file("photo.jpg")), PHOTO);
}

// --- Progress

TEST_F(Download, ReportsItsProgressAndStartsAgainFromZero)
{
    fake::answerAll(fake::held());
    for (std::size_t round = 0; round < 3; ++round) {
        ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
        EXPECT_EQ(progress(), Progress(0, 0));
        fake::setProgress(round, 10.0 + static_cast<double>(round), 100);
        EXPECT_EQ(progress(), Progress(10.0 + static_cast<double>(round), 100));
        finish(round, fake::reply(PHOTO));
        EXPECT_EQ(progress(), Progress(0, 0));
    }
}

TEST_F(Download, ReportsAllOfItInsideItsCallback)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    fake::setProgress(0, 10, 100);
    EXPECT_EQ(progress(), Progress(10, 100));
    Progress seen;
    recorder.onCall([&](const Call&) { seen = progress(); });
    finish(0, fake::reply(PHOTO));
    EXPECT_EQ(seen, Progress(100, 100));
    EXPECT_EQ(progress(), Progress(0, 0));
}

TEST_F(Download, KeepsTheLastFiguresInsideTheCallbackOfAFailure)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    fake::setProgress(0, 10, 100);
    EXPECT_EQ(progress(), Progress(10, 100));
    Progress seen;
    recorder.onCall([&](const Call&) { seen = progress(); });
    finish(0, fake::failure(SESSION_CUT_OFF));
    EXPECT_EQ(seen, Progress(10, 100));
    EXPECT_EQ(progress(), Progress(0, 0));
}

TEST_F(Download, TracksTheNextAfterOneThatWasCancelled)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    ASSERT_EQ(cancel(), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    fake::setProgress(1, 7, 70);
    EXPECT_EQ(progress(), Progress(7, 70));
    ASSERT_EQ(cancel(), 0);
    ASSERT_TRUE(fake::waitForCompletions(2));
    EXPECT_EQ(recorder.count(), 2u);
}

// --- Of a media resource

TEST_F(Download, FetchesAResourceIntoTheTemporaryFolder)
{
    fake::answerNext(fake::reply(PHOTO));
    ASSERT_EQ(fetch(ownUrl()), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(fake::request(0).path, ownFile());
    EXPECT_EQ(fake::request(0).url, ownUrl());
    EXPECT_THAT(fake::request(0).header, IsEmpty());

    const Call call = recorder.only();
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WMediaResource>(0).getUID(), "thumb");
    EXPECT_EQ(call.value<WMediaResource>(0).getResourceURL(), ownUrl());
    EXPECT_TRUE(call.value<Stream>(1).readable);
    EXPECT_EQ(call.value<Stream>(1).content, PHOTO);
    EXPECT_EQ(readFile(ownFile()), PHOTO); // it stays there
}

TEST_F(Download, FetchesAResourceWithoutASession)
{
    service().setUserCredential(nullptr, provider());
    fake::answerNext(fake::reply(PHOTO));
    ASSERT_EQ(fetch(ownUrl()), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(recorder.only().status, 0);
}

TEST_F(Download, TakesAResourcesNameFromItsUrl)
{
    fake::checkRequests(false);
    fake::answerAll(fake::held());
    const std::pair<STRING, STRING> names[] = {
        {"http://m.example/a/photo.jpg", "photo.jpg"},
        {"http://m.example/a/photo.jpg?size=full", "photo.jpg"},
        {"http://m.example/a/photo.jpg?a?b", "photo.jpg"},
        {"http://m.example/a/photo.jpg?next=/b/c?d", "c"}, // here the last "/" of all counts, and the first "?" behind it
        {"http://m.example/a/", ""},
        {"http://m.example/?x", ""},
        {"photo.jpg?x", "photo.jpg"},
    };
    for (const auto& [url, name] : names) {
        ASSERT_EQ(fetch(url), 0);
        EXPECT_EQ(fake::requests().back().path, "/tmp/" + name) << url;
    }
}

TEST_F(Download, WantsAResourceWithAUrl)
{
    ASSERT_EQ(cancel(), 0);
    EXPECT_EQ(fetch(""), -1);
    EXPECT_THAT(facadeLog(), ElementsAre(-1));
    EXPECT_TRUE(oai->isCancelRequested());
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(Download, HandsOverAStreamThatIsNotOpenOnFailure)
{
    for (const fake::Answer& answer : {fake::reply(PHOTO, 404), fake::failure(SESSION_CUT_OFF)}) {
        const Call call = callOf([&] { return fetch(ownUrl()); }, answer);
        EXPECT_LT(call.status, 0);
        EXPECT_FALSE(call.value<Stream>(1).readable);
        EXPECT_EQ(call.value<Stream>(1).content, "");
    }
    EXPECT_FALSE(exists(ownFile()));
}

TEST_F(Download, TellsItsOwnCallbackOfACancelledResourceAndKeepsTheCancelCallback)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(fetch(ownUrl()), 0);
    std::fclose(std::fopen(ownFile().c_str(), "wb"));
    ASSERT_EQ(cancel(), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    const Call call = recorder.only();
    EXPECT_FALSE(call.isCancel);
    EXPECT_EQ(call.status, 0);
    EXPECT_EQ(call.value<WMediaResource>(0).getUID(), "thumb");
    EXPECT_FALSE(call.value<Stream>(1).readable);
    EXPECT_FALSE(exists(ownFile()));
    EXPECT_FALSE(oai->isCancelRequested());
    EXPECT_TRUE(oai->hasCancelCallback());
}

TEST_F(Download, TellsNobodyOfACancelledResourceWhenNobodyAsked)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(fetch(ownUrl()), 0);
    ASSERT_EQ(cancel(nullptr), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(Download, PutsTheCancelCallbackThatItKeptToUseLater)
{
    fake::answerAll(fake::held());
    ASSERT_EQ(fetch(ownUrl()), 0);
    ASSERT_EQ(cancel(onCancelledOther), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    recorder.clear();
    ASSERT_EQ(direct("http://m.example/photo.jpg"), 0);
    ASSERT_EQ(cancel(nullptr), 0);
    ASSERT_TRUE(fake::waitForCompletions(2));
    EXPECT_TRUE(recorder.only().isCancel);
    EXPECT_EQ(recorder.only().value<STRING>(), "other");
}

TEST_F(Download, IsTheHookOfTheResourcesInAReply)
{
    const STRING reply = "<rsp><data><content contentId='c1'><contentDetail contentUrl='http://m.example/c1.jpg'>"
                         "<thumbnail contentThumbnail_116X87='http://m.example/s.jpg'><contentThumbnail_116X87/></thumbnail>"
                         "</contentDetail></content></data></rsp>";
    WContainer<WContent> contents;
    unsigned int count = 0;
    ASSERT_EQ(oai->parseString(reply, contents, count), 0);
    ASSERT_EQ(contents.getData().size(), 1u);
    ASSERT_EQ(contents.getData().front().getThumbnails().size(), 1u);
    WMediaResource thumbnail = contents.getData().front().getThumbnails().front();
    EXPECT_EQ(thumbnail.getDownloader(), &fnContentDownloader);
    EXPECT_EQ(thumbnail.getDownloaderArg(), oai);
    // As a host calls it.
    thumbnail.setResourceURL(ownUrl());
    fake::answerNext(fake::reply(PHOTO));
    ASSERT_EQ(thumbnail.getDownloader()(thumbnail, onDownloaded, thumbnail.getDownloaderArg(), &recorder), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(recorder.only().value<Stream>(1).content, PHOTO);
}
