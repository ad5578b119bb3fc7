// SPDX-License-Identifier: MIT
// What many requests cost: to queue them, to drop them in a flush, and to walk a long feed page by page.
#include "WKLOAI/WKLOAI.h"
#include "support/Plugin.h"
#include "support/Report.h"
#include "support/Servers.h"
#include "support/Usage.h"

#include <stdexcept>

namespace bench {

namespace {

constexpr std::size_t SIZES[] = {1'000, 3'000, 10'000, 30'000, 100'000};
constexpr std::size_t MAIN_SIZE = 10'000;
constexpr std::size_t PAGE = 100;

using Points = std::vector<std::pair<double, double>>;

W::HttpOptions manyRequests(unsigned short port)
{
    W::HttpOptions options = optionsFor(port);
    options.maxRequests = 1'000'000;
    return options;
}

struct FlushTimes {
    std::vector<double> queue; ///< seconds
    std::vector<double> flush;
    double memory = 0; ///< bytes of all queued requests
};

/// Queues requests that never get a reply, and drops them.
FlushTimes queueAndFlush(W::WKLOAI& oai, std::size_t count, std::size_t rounds)
{
    W::WGroup held;
    held.setUID("hold");
    FlushTimes times;
    // The first round gets the memory, the others find it.
    for (std::size_t round = 0; round <= rounds; ++round) {
        const double memory = residentAnonymous();
        const double begin = now();
        for (std::size_t i = 0; i < count; ++i)
            if (oai.retrieveGroupFeeds(held, "", "0", 30, W::KL_BASE_CREATED_TIME, W::KL_ITEM_ALL, W::KL_INCLUDE_NONE, nullptr,
                                       nullptr) < 0)
                throw std::runtime_error("a request was refused");
        const double queued = now();
        if (round == 0)
            times.memory = residentAnonymous() - memory;
        const double flushing = now();
        oai.service()->flushHttpRequests();
        const double flushed = now();
        if (oai.countCMD() != 0)
            throw std::runtime_error("a flush left requests behind");
        if (round == 0)
            continue;
        times.queue.push_back(queued - begin);
        times.flush.push_back(flushed - flushing);
    }
    return times;
}

/// Walks a feed of so many contents; each callback asks for the next page.
class PageWalk {
public:
    PageWalk(W::WKLOAI& oai, std::size_t contents) : m_oai(oai), m_left(contents) { m_group.setUID("g1"); }

    double run()
    {
        const double begin = now();
        next();
        if (m_done.wait() < 0)
            throw std::runtime_error("a page cannot be fetched");
        return now() - begin;
    }

private:
    void next()
    {
        if (m_oai.retrieveGroupFeeds(m_group, "", "0", PAGE, W::KL_BASE_CREATED_TIME, W::KL_ITEM_ALL, W::KL_INCLUDE_NONE, page,
                                     this) < 0)
            m_done.set(-1);
    }
    static void page(W::WSTATUS status, const W::WContentProvider&, const W::WContainer<W::WContent>& contents, void* self)
    {
        auto* const walk = static_cast<PageWalk*>(self);
        walk->m_left -= std::min(walk->m_left, contents.getData().size());
        if (status < 0 || walk->m_left == 0)
            walk->m_done.set(status);
        else
            walk->next();
    }

    W::WKLOAI& m_oai;
    W::WGroup m_group;
    std::size_t m_left;
    Event m_done;
};

void flushes(W::WKLOAI& oai, Report& report, const Arguments& arguments)
{
    Points queueTimes;
    Points flushTimes;
    Points memory;
    for (const std::size_t size : SIZES) {
        if (arguments.quick && size > MAIN_SIZE)
            break;
        const FlushTimes times = queueAndFlush(oai, size, arguments.choose<std::size_t>(size > MAIN_SIZE ? 5 : 15, 3));
        const auto number = static_cast<double>(size);
        const Summary flush = summarise(times.flush);
        queueTimes.emplace_back(number, summarise(times.queue).median * 1e3);
        flushTimes.emplace_back(number, flush.median * 1e3);
        memory.emplace_back(number, times.memory / (1 << 20));
        const Summary milliseconds{flush.low * 1e3, flush.median * 1e3, flush.high * 1e3};
        if (size == MAIN_SIZE)
            report.figure("flush_10000", milliseconds, "ms", 20, Better::LOWER);
        else
            report.figure("flush_" + std::to_string(size), milliseconds, "ms", Better::LOWER);
    }
    const auto perRequest = [](const std::pair<double, double>& point) { return point.second / point.first; };
    report.figure("flush_growth", once(perRequest(flushTimes.back()) / perRequest(flushTimes.front())), "x", Better::LOWER);
    report.figure("queue_growth", once(perRequest(queueTimes.back()) / perRequest(queueTimes.front())), "x", Better::LOWER);
    report.series("queue", "Queueing", "requests", "ms", queueTimes);
    report.series("flush", "A flush", "requests", "ms", flushTimes);
    report.series("queue_memory", "Memory of queued requests", "requests", "MB", memory);
}

void paging(W::WKLOAI& oai, Report& report, const Arguments& arguments)
{
    Points times;
    Points memory;
    PageWalk(oai, PAGE).run();
    for (const std::size_t size : SIZES) {
        if (arguments.quick && size > MAIN_SIZE)
            break;
        resetPeak();
        std::vector<double> seconds;
        for (std::size_t round = 0; round < arguments.choose<std::size_t>(5, 1); ++round)
            seconds.push_back(PageWalk(oai, size).run());
        const auto number = static_cast<double>(size);
        times.emplace_back(number, summarise(seconds).median * 1e3);
        memory.emplace_back(number, peakMemory() / (1 << 20));
    }
    report.series("paging", "Walking a feed, 100 contents a page", "contents", "ms", times);
    report.series("paging_memory", "Peak memory of such a walk", "contents", "MB", memory);
}

void run(const Arguments& arguments)
{
    Report report(arguments);
    const SmallServer server;
    W::setHttpOptions(manyRequests(server.port()));
    setProviderOptions();
    W::WKLOAI oai;
    signIn(oai);
    paging(oai, report, arguments);
    flushes(oai, report, arguments);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) { return bench::runProgram(argc, argv, bench::run); }
