// SPDX-License-Identifier: MIT
// A long reply from end to end: from the call to the callback, beside the bare transfer and the bare parse.
#include "support/Plugin.h"
#include "support/RawClient.h"
#include "support/Report.h"
#include "support/Servers.h"
#include "support/Usage.h"

#include <libxml/parser.h>
#include <stdexcept>

namespace bench {

namespace {

constexpr unsigned int RECORDS = 1'000;

class Feed {
public:
    explicit Feed(const Plugin& plugin) : m_plugin(plugin) { m_group.setUID("g1"); }

    /// Seconds from the call to the moment the callback has the records.
    double fetch()
    {
        const double begin = now();
        if (m_plugin->retrieveGroupFeeds(m_group, "", "0", RECORDS, W::KL_BASE_CREATED_TIME, W::KL_ITEM_ALL, W::KL_INCLUDE_NONE,
                                         done, this) < 0 ||
            m_done.wait() < 0)
            throw std::runtime_error("the feed cannot be fetched");
        return m_called - begin;
    }

private:
    static void done(W::WSTATUS status, const W::WContentProvider&, const W::WContainer<W::WContent>& contents, void* self)
    {
        auto* const feed = static_cast<Feed*>(self);
        feed->m_called = now();
        feed->m_done.set(contents.getData().size() == RECORDS ? status : -1);
    }

    const Plugin& m_plugin;
    W::WGroup m_group;
    double m_called = 0;
    Event m_done;
};

struct RawTime {
    double transfer;
    double parse;
};

RawTime fetchRaw(RawClient& client)
{
    RawTime time{client.run(1).seconds, now()};
    const std::string& body = client.body();
    xmlDoc* const document = xmlReadMemory(body.data(), static_cast<int>(body.size()), "", nullptr, 0);
    if (!document)
        throw std::runtime_error("the feed is no document");
    xmlFreeDoc(document);
    time.parse = now() - time.parse;
    return time;
}

void run(const Arguments& arguments)
{
    Report report(arguments);
    const SmallServer server;
    const Plugin plugin(server.port());
    Feed feed(plugin);
    RawClient raw({"http://" + ENDPOINT_HOST +
                       "/openapi/service/kinloom/g1/"
                       "feeds?&search_after=0&search_count=1000&search_base=created_time&option_item=all&option_include=none",
                   {},
                   ENDPOINT_HOST + ":80:127.0.0.1:" + std::to_string(server.port())},
                  1);
    feed.fetch();
    fetchRaw(raw);

    std::vector<double> mine;
    std::vector<double> theirs;
    std::vector<double> transfers;
    std::vector<double> parses;
    for (std::size_t round = 0; round < arguments.choose<std::size_t>(61, 11); ++round) {
        if (round % 2 == 0)
            mine.push_back(feed.fetch() * 1e3);
        const RawTime time = fetchRaw(raw);
        if (round % 2 != 0)
            mine.push_back(feed.fetch() * 1e3);
        transfers.push_back(time.transfer * 1e3);
        parses.push_back(time.parse * 1e3);
        theirs.push_back((time.transfer + time.parse) * 1e3);
    }
    report.figure("feed_1000_e2e", summarise(ratios(mine, theirs)), "x", 1.35, Better::LOWER);
    report.figure("feed_1000_ms", summarise(mine), "ms", Better::LOWER);
    report.figure("feed_1000_raw_transfer_ms", summarise(transfers), "ms", Better::LOWER);
    report.figure("feed_1000_raw_parse_ms", summarise(parses), "ms", Better::LOWER);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) { return bench::runProgram(argc, argv, bench::run); }
