// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <csignal>
#include <filesystem>
#include <random>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace test;
using ::testing::ElementsAre;

namespace {

mode_t modeOf(const std::string& path)
{
    struct stat info {};
    EXPECT_EQ(lstat(path.c_str(), &info), 0);
    return info.st_mode;
}

/// No two stretches of it are the same.
std::string bodyOf(std::size_t size)
{
    std::string body(size, '\0');
    std::mt19937 random(1);
    for (char& byte : body)
        byte = static_cast<char>(random());
    return body;
}

class HttpFile : public HttpTest {
protected:
    std::string target() const { return dir.file("target"); }
    TempDir dir;
};

TEST_F(HttpFile, WritesABodyToItsFileAndNotToThePayload)
{
    std::string body;
    for (int i = 0; i < 300'000; ++i)
        body.push_back(static_cast<char>(i * 7));
    server.reply(RawReply::ok(body, {"Content-Type: image/jpeg"}));
    const Outcome outcome = download(server.url(), target());
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.code, 200u);
    EXPECT_EQ(outcome.contentType, "image/jpeg");
    EXPECT_EQ(outcome.payload, "");
    EXPECT_EQ(readFile(target()), body);
    EXPECT_THAT(dir.entries(), ElementsAre("target"));
}

TEST_F(HttpFile, WritesBodiesOfAnyLengthWhetherNewOrInPlaceOfAnother)
{
    constexpr std::size_t BUFFER = 256u << 10;
    for (const std::size_t size : {std::size_t{1}, BUFFER - 1, BUFFER, BUFFER + 1, 2 * BUFFER, 32 * BUFFER, 65 * BUFFER + 7}) {
        const std::string body = bodyOf(size);
        for (const bool replaces : {false, true}) {
            std::filesystem::remove(target());
            if (replaces)
                writeFile(target(), "before");
            server.reply(RawReply::ok(body));
            EXPECT_EQ(download(server.url(), target()).status, SESSION_DONE) << size;
            EXPECT_TRUE(readFile(target()) == body) << size;
        }
    }
}

TEST_F(HttpFile, MakesAnEmptyFileOfAnEmptyBody)
{
    server.reply(RawReply::ok());
    EXPECT_EQ(download(server.url(), target()).status, SESSION_DONE);
    EXPECT_TRUE(exists(target()));
    EXPECT_EQ(readFile(target()), "");
}

TEST_F(HttpFile, TakesAPathRelativeToTheWorkingFolder)
{
    char before[4096];
    ASSERT_NE(getcwd(before, sizeof before), nullptr);
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    server.reply(RawReply::ok("here"));
    EXPECT_EQ(download(server.url(), "relative").status, SESSION_DONE);
    ASSERT_EQ(chdir(before), 0);
    EXPECT_EQ(readFile(dir.file("relative")), "here");
}

TEST_F(HttpFile, DeliversAnErrorReplyInThePayload)
{
    writeFile(target(), "before");
    server.reply(RawReply::status(404, "why"));
    const Outcome outcome = download(server.url(), target());
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload, "why");
    EXPECT_EQ(readFile(target()), "before");
    EXPECT_THAT(dir.entries(), ElementsAre("target"));
}

TEST_F(HttpFile, DoesNotAskForAnEncodedBodyAndKeepsWhatComes)
{
    server.reply(RawReply::ok("as sent", {"Content-Encoding: gzip"}));
    EXPECT_EQ(download(server.url(), target()).status, SESSION_DONE);
    EXPECT_FALSE(server.last().has("Accept-Encoding"));
    EXPECT_EQ(readFile(target()), "as sent");
}

TEST_F(HttpFile, LeavesNothingAfterABrokenTransfer)
{
    writeFile(target(), "before");
    for (const bool reset : {false, true}) {
        RawReply reply = RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + std::string(50'000, 'x'));
        server.reply(reset ? reply.reset() : reply.close());
        EXPECT_EQ(download(server.url(), target()).status, SESSION_CUT_OFF);
        server.reply(reset ? RawReply(reply).reset() : RawReply(reply).close());
        EXPECT_EQ(download(server.url(), dir.file("new")).status, SESSION_CUT_OFF);
    }
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\nzz\r\n").close());
    EXPECT_NE(download(server.url(), target()).status, SESSION_DONE);
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\nContent-Length: 4\r\n\r\nabcd").close());
    EXPECT_EQ(download(server.url(), target()).status, SESSION_PROTOCOL_ERROR);
    EXPECT_EQ(readFile(target()), "before");
    EXPECT_THAT(dir.entries(), ElementsAre("target"));
}

TEST_F(HttpFile, ShowsNothingUnderTheNameWhileItRuns)
{
    writeFile(target(), "before");
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf").hold().send("half"));
    ASSERT_EQ(send(makeDownload(server.url(), target())), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    EXPECT_EQ(readFile(target()), "before");
    server.release();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(readFile(target()), "halfhalf");
    EXPECT_THAT(dir.entries(), ElementsAre("target"));
}

TEST_F(HttpFile, KeepsTheTemporaryFileFromOthersAndHonoursTheUmaskAfterwards)
{
    const mode_t mask = umask(027);
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf").hold().send("half"));
    ASSERT_EQ(send(makeDownload(server.url(), target())), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    // The bytes are on their way to the worker; the file appears with the first of them.
    std::vector<std::string> names;
    ASSERT_TRUE(comesTrue([&] { return !(names = dir.entries()).empty(); }));
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(names[0].rfind(".whost-", 0), 0u) << names[0];
    // Made with the mode that the umask leaves and closed to others right away: only what it becomes is of interest.
    EXPECT_TRUE(comesTrue([&] { return (modeOf(dir.file(names[0])) & 07777) == 0600; }));
    server.release();
    ASSERT_TRUE(outcomes.waitFor(1));
    umask(mask);
    EXPECT_EQ(modeOf(target()) & 07777, 0640u);
}

TEST_F(HttpFile, ReplacesALinkItselfAndNotWhatItLeadsTo)
{
    const TempDir elsewhere;
    writeFile(elsewhere.file("precious"), "untouched");
    ASSERT_EQ(symlink(elsewhere.file("precious").c_str(), target().c_str()), 0);
    ASSERT_EQ(symlink(elsewhere.file("nothing").c_str(), dir.file("dangling").c_str()), 0);
    server.reply(RawReply::ok("new"));
    EXPECT_EQ(download(server.url(), target()).status, SESSION_DONE);
    server.reply(RawReply::ok("new"));
    EXPECT_EQ(download(server.url(), dir.file("dangling")).status, SESSION_DONE);
    EXPECT_TRUE(S_ISREG(modeOf(target())));
    EXPECT_TRUE(S_ISREG(modeOf(dir.file("dangling"))));
    EXPECT_EQ(readFile(target()), "new");
    EXPECT_EQ(readFile(elsewhere.file("precious")), "untouched");
    EXPECT_THAT(elsewhere.entries(), ElementsAre("precious"));
}

TEST_F(HttpFile, DoesNotWriteThroughAHardLink)
{
    writeFile(dir.file("other-name"), "untouched");
    ASSERT_EQ(link(dir.file("other-name").c_str(), target().c_str()), 0);
    server.reply(RawReply::ok("new"));
    EXPECT_EQ(download(server.url(), target()).status, SESSION_DONE);
    EXPECT_EQ(readFile(dir.file("other-name")), "untouched");
    EXPECT_EQ(readFile(target()), "new");
}

TEST_F(HttpFile, FailsWhenSomethingElseTakesTheNameMeanwhile)
{
    for (const bool fifo : {true, false}) {
        server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf").hold().send("half"));
        const std::size_t before = outcomes.count();
        ASSERT_EQ(send(makeDownload(server.url(), target())), 0);
        ASSERT_TRUE(server.waitForWaiting(1));
        ASSERT_EQ(fifo ? mkfifo(target().c_str(), 0644) : mkdir(target().c_str(), 0755), 0);
        server.release();
        ASSERT_TRUE(outcomes.waitFor(before + 1));
        EXPECT_EQ(outcomes.all().back().status, SESSION_FILE_ERROR);
        EXPECT_THAT(dir.entries(), ElementsAre("target"));
        ASSERT_EQ(remove(target().c_str()), 0);
    }
}

TEST_F(HttpFile, FailsWhenTheFolderVanishesBeforeTheBody)
{
    ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0755), 0);
    server.reply(RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi"));
    ASSERT_EQ(send(makeDownload(server.url(), dir.file("sub/f"))), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    ASSERT_EQ(rmdir(dir.file("sub").c_str()), 0);
    server.release();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(outcomes.all()[0].status, SESSION_FILE_ERROR);
    EXPECT_TRUE(dir.entries().empty());
}

TEST_F(HttpFile, StaysInTheFolderThatItBeganIn)
{
    ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(dir.file("decoy").c_str(), 0755), 0);
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf").hold().send("half"));
    ASSERT_EQ(send(makeDownload(server.url(), dir.file("sub/f"))), 0);
    ASSERT_TRUE(server.waitForWaiting(1));
    ASSERT_TRUE(comesTrue([&] { return !std::filesystem::is_empty(dir.file("sub")); }));
    ASSERT_EQ(rename(dir.file("sub").c_str(), dir.file("moved").c_str()), 0);
    ASSERT_EQ(symlink("decoy", dir.file("sub").c_str()), 0);
    server.release();
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_EQ(readFile(dir.file("moved/f")), "halfhalf");
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("decoy")));
}

TEST_F(HttpFile, TakesTheLongestNameThatTheFileSystemTakes)
{
    const std::string name(255, 'n');
    server.reply(RawReply::ok("long"));
    EXPECT_EQ(download(server.url(), dir.file(name)).status, SESSION_DONE);
    EXPECT_EQ(readFile(dir.file(name)), "long");
}

TEST_F(HttpFile, LetsTwoDownloadsOfOneNameEndWithOneOfThemWhole)
{
    server.onRequest([](const RawRequest& request) {
        const std::string body(200'000, request.target() == "/a" ? 'a' : 'b');
        return RawReply()
            .send("HTTP/1.1 200 OK\r\nContent-Length: 200000\r\n\r\n" + body.substr(0, 1000))
            .hold()
            .send(body.substr(1000));
    });
    ASSERT_EQ(send(makeDownload(server.url("/a"), target())), 0);
    ASSERT_EQ(send(makeDownload(server.url("/b"), target())), 0);
    ASSERT_TRUE(server.waitForWaiting(2));
    server.release();
    server.release();
    ASSERT_TRUE(outcomes.waitFor(2));
    for (const Outcome& outcome : outcomes.all())
        EXPECT_EQ(outcome.status, SESSION_DONE);
    const std::string content = readFile(target());
    EXPECT_EQ(content.size(), 200'000u);
    EXPECT_EQ(content.find_first_not_of(content[0]), std::string::npos);
    EXPECT_THAT(dir.entries(), ElementsAre("target"));
}

TEST_F(HttpFile, RefusesAFileBeyondTheLimit)
{
    options([](HttpOptions& o) { o.maxFileBody = 1000; });
    server.reply(RawReply::ok(std::string(1000, 'x')));
    EXPECT_EQ(download(server.url(), target()).status, SESSION_DONE);
    server.reply(RawReply::ok(std::string(1001, 'x')));
    EXPECT_EQ(download(server.url(), dir.file("two")).status, SESSION_TOO_LARGE);
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\n\r\n").sendEndlessly("xxxxxxxxxx"));
    EXPECT_EQ(download(server.url(), dir.file("three")).status, SESSION_TOO_LARGE);
    EXPECT_THAT(dir.entries(), ElementsAre("target"));
}

TEST_F(HttpFile, PutsNoLimitOfMemoryOnAFile)
{
    options([](HttpOptions& o) { o.maxMemoryBody = 1000; });
    server.reply(RawReply::ok(std::string(100'000, 'x')));
    EXPECT_EQ(download(server.url(), target()).status, SESSION_DONE);
    EXPECT_EQ(readFile(target()).size(), 100'000u);
}

TEST_F(HttpFile, FailsWhenAFileMayNotGrow)
{
    // The kernel sends a signal too, which would end the process.
    const auto before = signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    writeFile(target(), "before");
    // At the end of a body, in its midst, and at its very first byte.
    for (const auto& [largest, size] : {std::pair{50'000, 100'000}, std::pair{600'000, 3'000'000}, std::pair{0, 1}}) {
        const rlimit small{static_cast<rlim_t>(largest), limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        server.reply(RawReply::ok(std::string(static_cast<std::size_t>(size), 'x')));
        const SESSION_STATUS status = download(server.url(), target()).status;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_EQ(status, SESSION_FILE_ERROR) << largest;
        EXPECT_EQ(readFile(target()), "before");
        EXPECT_THAT(dir.entries(), ElementsAre("target"));
    }
    signal(SIGXFSZ, before);
}

TEST_F(HttpFile, FailsWhenTheDiskIsFull)
{
    const std::string disk = dir.file("disk");
    ASSERT_EQ(mkdir(disk.c_str(), 0755), 0);
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=600k") != 0)
        GTEST_SKIP() << "only the super-user can make a small disk";
    writeFile(disk + "/target", "before");
    for (const std::size_t size : {700'000, 3'000'000}) {
        server.reply(RawReply::ok(std::string(size, 'x')));
        EXPECT_EQ(download(server.url(), disk + "/target").status, SESSION_FILE_ERROR) << size;
        EXPECT_EQ(readFile(disk + "/target"), "before");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(disk), std::filesystem::directory_iterator()), 1);
    }
    server.reply(RawReply::ok(std::string(20'000, 'y')));
    EXPECT_EQ(download(server.url(), disk + "/target").status, SESSION_DONE);
    EXPECT_EQ(umount(disk.c_str()), 0);
}

TEST_F(HttpFile, LeavesNoDescriptorOpen)
{
    for (int i = 0; i < 5; ++i) {
        server.reply(RawReply::ok("x"));
        download(server.url(), target());
        server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx").close());
        download(server.url(), target());
        server.reply(RawReply::status(500));
        download(server.url(), target());
    }
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string file = std::filesystem::read_symlink(descriptor, gone).string();
        EXPECT_EQ(file.rfind(dir.path(), 0), std::string::npos) << file;
    }
}

TEST_F(HttpFile, IsWrittenByExecuteToo)
{
    server.reply(RawReply::ok("content"));
    HttpRequest request(HTTP_REQUEST_GET, server.url(), HttpHeader(), nullptr, nullptr, target());
    EXPECT_EQ(request.execute(), 0);
    EXPECT_EQ(readFile(target()), "content");
    server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx").close());
    EXPECT_EQ(request.execute(), WSTATUS_CONNECTION_LOST);
    EXPECT_EQ(readFile(target()), "content");
}

} // namespace
