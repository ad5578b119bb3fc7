// SPDX-License-Identifier: MIT
#include "core/Window.h"

#include "kinloom/Media.h"
#include "support/RawServer.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

using namespace kinloom;
using namespace test;
using testing::ElementsAre;

namespace {

/// Fetches whose ends the test decides on: what is asked for below /held waits for release().
class WindowTest : public testing::Test {
protected:
    WindowTest()
    {
        server.onRequest([](const RawRequest& request) {
            return request.target().compare(0, 5, "/held") == 0
                       ? RawReply().hold().send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
                       : RawReply::ok("picture");
        });
    }
    ~WindowTest() override { server.release(); }

    Call<MediaReply> fetch(const std::string& name, const CallOptions& options = {})
    {
        MediaOrder order;
        order.url = server.url(name);
        started.push_back(name);
        return media.fetch(std::move(order), options);
    }
    void add(const std::string& name, const CallOptions& options = {})
    {
        window.add(std::make_unique<std::string>(name), [&](std::string&) { return fetch(name, options); });
    }

    RawServer server;
    Media media;
    std::vector<std::string> started;
    std::vector<std::string> ended;
    Window<MediaReply, std::string> window{
        2, [this](std::string& name, const Outcome<MediaReply>& outcome) { ended.push_back(name + (outcome ? "" : " failed")); }};
};

TEST_F(WindowTest, HandsEndsOverInTheOrderOfTheirBeginnings)
{
    add("/held/1");
    add("/2");
    add("/3");
    add("/4");
    EXPECT_THAT(ended, ElementsAre()) << "the first has not ended";
    server.release();
    window.finish();
    EXPECT_THAT(ended, ElementsAre("/held/1", "/2", "/3", "/4"));
}

TEST_F(WindowTest, BeginsNothingMoreOnceOneWasInterruptedThoughOthersRun)
{
    add("/held/1");
    CallOptions options;
    options.interruption = Interruption();
    add("/held/2", options);
    options.interruption->ring();
    add("/3");
    EXPECT_THAT(started, ElementsAre("/held/1", "/held/2"));
    server.release();
    window.finish();
    EXPECT_THAT(ended, ElementsAre("/held/1", "/held/2 failed"));
}

TEST_F(WindowTest, BeginsNothingMoreOnceAllWereCancelled)
{
    add("/held/1");
    window.cancel();
    add("/2");
    window.finish();
    EXPECT_THAT(started, ElementsAre("/held/1"));
    EXPECT_THAT(ended, ElementsAre("/held/1 failed"));
}

} // namespace
