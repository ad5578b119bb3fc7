// SPDX-License-Identifier: MIT
// Small requests: how many a second, at what price, and how long a call takes until it returns.
#include "support/Plugin.h"
#include "support/RawClient.h"
#include "support/Report.h"
#include "support/Servers.h"
#include "support/Usage.h"

#include <algorithm>
#include <atomic>
#include <libxml/parser.h>
#include <stdexcept>

namespace bench {

namespace {

/// Makes calls so that a given number of requests runs at a time.
class Caller {
public:
    virtual ~Caller() = default;

    /// Makes so many requests, to the end of the last one. \throw std::runtime_error when one is refused or fails.
    Cost run(std::size_t count)
    {
        m_callTimes.clear();
        m_callTimes.reserve(count);
        const double begin = now();
        const double processor = processorTime();
        makeCalls(count);
        const Cost cost{now() - begin, processorTime() - processor};
        if (m_failed)
            throw std::runtime_error("a request failed");
        return cost;
    }

    /// How long each call of the last run took until it returned, in seconds.
    const std::vector<double>& callTimes() const { return m_callTimes; }

protected:
    Caller(const Plugin& plugin, std::size_t concurrency) : m_concurrency(concurrency), m_plugin(plugin) {}

    virtual void makeCalls(std::size_t count) = 0;
    /// A request has ended; on the host's worker.
    virtual void ended() = 0;

    void call()
    {
        const double called = now();
        const W::WSTATUS status =
            m_plugin->retrieveGroupList(m_person, done, 0, 10, W::KL_SORT_ALPHABETICAL, W::KL_INCLUDE_NONE, this);
        m_callTimes.push_back(now() - called);
        if (status < 0)
            throw std::runtime_error("a request was refused");
    }

    const std::size_t m_concurrency;

private:
    static void done(W::WSTATUS status, const W::WContentProvider&, const W::WContainer<W::WGroup>&, const W::WPerson&, void* self)
    {
        auto* const caller = static_cast<Caller*>(self);
        if (status < 0)
            caller->m_failed = true;
        caller->ended();
    }

    const Plugin& m_plugin;
    const W::WPerson m_person;
    std::atomic<bool> m_failed{false};
    std::vector<double> m_callTimes;
};

/// Each callback makes the next call, as a host does that pages through a list.
class ChainingCaller : public Caller {
public:
    ChainingCaller(const Plugin& plugin, std::size_t concurrency) : Caller(plugin, concurrency) {}

private:
    void makeCalls(std::size_t count) override
    {
        m_left = count;
        {
            // The first callback may run before the last of these calls is made.
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_toStart = count - std::min(count, m_concurrency);
            for (std::size_t i = m_toStart; i < count; ++i)
                call();
        }
        m_done.wait();
    }
    void ended() override
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_toStart > 0) {
                --m_toStart;
                call();
            }
        }
        if (--m_left == 0)
            m_done.set(0);
    }

    std::mutex m_mutex;
    std::size_t m_toStart = 0;
    std::size_t m_left = 0; ///< the worker's
    Event m_done;
};

/// A thread of its own makes the calls and sleeps while as many as may be are on their way.
class WaitingCaller : public Caller {
public:
    WaitingCaller(const Plugin& plugin, std::size_t concurrency) : Caller(plugin, concurrency), m_free(concurrency) {}

private:
    void makeCalls(std::size_t count) override
    {
        for (std::size_t i = 0; i < count; ++i) {
            take(1);
            call();
        }
        take(m_concurrency);
        m_free = m_concurrency;
    }
    void ended() override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (++m_free >= m_wanted)
            m_changed.notify_one();
    }

    void take(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wanted = count;
        m_changed.wait(lock, [&] { return m_free >= count; });
        m_wanted = SIZE_MAX;
        m_free -= count;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_free;
    std::size_t m_wanted = SIZE_MAX; ///< free places that the calling thread sleeps for
};

struct Rounds {
    std::vector<double> rate;           ///< requests a second, plugin
    std::vector<double> rawRate;        ///< requests a second, libcurl alone
    std::vector<double> processor;      ///< seconds a request, plugin
    std::vector<double> rawProcessor;   ///< seconds a request, libcurl alone
    std::vector<double> floorProcessor; ///< seconds a request, libcurl and libxml2 alone
    std::vector<double> rawTime;        ///< seconds a request, libcurl alone
    std::vector<double> callTime;       ///< seconds until a call returned, the median of each round
};

/// The request that retrieveGroupList makes, byte for byte but for the names of the client.
RawRequest sameRequest(unsigned short port)
{
    return {
        "http://" + ENDPOINT_HOST +
            "/openapi/service/kinloom/me/group.list?search_index=0&search_count=10&option_sort=alphabetical&option_include=none",
        {"Authorization:  auth_identifier=\"KL_AUTH_V1\", app_id=\"bench-application\", app_type=\"dtv\", "
         "token=\"0123456789abcdef0123456789abcdef\", token_type=\"user\", duid=\"bench-device-0001\", "
         "signature=\"0123456789abcdef0123456789abcdef01234567\"",
         "DATE: Wed, 5 May 2010 7:4:9 GMT", "Accept-Encoding: deflate, gzip", "User-Agent: whost/1"},
        ENDPOINT_HOST + ":80:127.0.0.1:" + std::to_string(port)};
}

/// The least that can be done to read a reply.
void parseRaw(const std::string& body) { xmlFreeDoc(xmlReadMemory(body.data(), static_cast<int>(body.size()), "", nullptr, 0)); }

Rounds compare(Caller& caller, unsigned short port, std::size_t concurrency, std::size_t rounds, std::size_t count)
{
    RawClient raw(sameRequest(port), concurrency);
    RawClient floor(sameRequest(port), concurrency, parseRaw);
    // Connections are made, and memory is got, before anything is measured.
    caller.run(concurrency * 4);
    raw.run(concurrency * 4);
    floor.run(concurrency * 4);
    Rounds result;
    const auto number = static_cast<double>(count);
    for (std::size_t round = 0; round < rounds; ++round) {
        // Whoever comes second finds the machine as the first one left it, so they take turns.
        Cost mine;
        if (round % 2 == 0)
            mine = caller.run(count);
        const Cost theirs = raw.run(count);
        if (round % 2 != 0)
            mine = caller.run(count);
        result.rate.push_back(number / mine.seconds);
        result.rawRate.push_back(number / theirs.seconds);
        result.processor.push_back(mine.processor / number);
        result.rawProcessor.push_back(theirs.processor / number);
        result.rawTime.push_back(theirs.seconds / number);
        result.floorProcessor.push_back(floor.run(count).processor / number);
        result.callTime.push_back(summarise(caller.callTimes()).median);
    }
    return result;
}

Summary scaled(Summary summary, double factor) { return {summary.low * factor, summary.median * factor, summary.high * factor}; }

/// Requests a second that wrk reaches.
double wrkRate(const SmallServer& server, std::size_t concurrency)
{
    const std::string path = "/openapi/service/kinloom/me/group.list";
    const std::string output =
        runCommand({findProgram("wrk"), "-t1", "-c" + std::to_string(concurrency), "-d1s", server.url(path)});
    static const std::string MARK = "Requests/sec:";
    const std::size_t at = output.find(MARK);
    return at == std::string::npos ? 0 : std::stod(output.substr(at + MARK.size()));
}

struct Level {
    std::size_t concurrency;
    double goal;
};
constexpr Level LEVELS[] = {{1, 0.70}, {8, 0.92}, {64, 0.92}};

void reportCalls(Report& report, const Rounds& result)
{
    report.figure("call_us", scaled(summarise(result.callTime), 1e6), "us", 5, Better::LOWER);
    report.figure("call_share", summarise(ratios(result.callTime, result.rawTime)), "x", 0.25, Better::LOWER);
}

void reportProcessor(Report& report, const Rounds& result)
{
    report.figure("request_cpu", summarise(ratios(result.processor, result.rawProcessor)), "x", 1.15, Better::LOWER);
    report.figure("request_cpu_floor", summarise(ratios(result.floorProcessor, result.rawProcessor)), "x", Better::LOWER);
    report.figure("request_cpu_us", scaled(summarise(result.processor), 1e6), "us", Better::LOWER);
    report.figure("raw_cpu_us", scaled(summarise(result.rawProcessor), 1e6), "us", Better::LOWER);
}

void run(const Arguments& arguments)
{
    Report report(arguments);
    const SmallServer server;
    const Plugin plugin(server.port());
    const std::size_t rounds = arguments.choose<std::size_t>(21, 5);
    const std::size_t count = arguments.choose<std::size_t>(10'000, 3'000);

    for (const Level& level : LEVELS) {
        const std::string suffix = "_c" + std::to_string(level.concurrency);
        ChainingCaller chaining(plugin, level.concurrency);
        const Rounds result = compare(chaining, server.port(), level.concurrency, rounds, count);
        report.figure("request" + suffix, summarise(ratios(result.rate, result.rawRate)), "x", level.goal, Better::HIGHER);
        report.figure("request_rate" + suffix, summarise(result.rate), "1/s", Better::HIGHER);
        report.figure("raw_rate" + suffix, summarise(result.rawRate), "1/s", Better::HIGHER);
        if (level.concurrency == 64)
            reportProcessor(report, result);
        if (level.concurrency == 1)
            reportCalls(report, result);

        WaitingCaller waiting(plugin, level.concurrency);
        const Rounds waited = compare(waiting, server.port(), level.concurrency, rounds, count);
        report.figure("request_waiting" + suffix, summarise(ratios(waited.rate, waited.rawRate)), "x", Better::HIGHER);
        report.figure("call_us_waiting" + suffix, scaled(summarise(waited.callTime), 1e6), "us", Better::LOWER);
    }

    std::vector<double> fresh;
    for (std::size_t round = 0; round < arguments.choose<std::size_t>(7, 3); ++round)
        fresh.push_back(500 / runFresh(sameRequest(server.port()), 500).seconds);
    report.figure("fresh_rate_c1", summarise(fresh), "1/s", Better::HIGHER);
    std::vector<double> wrk;
    for (std::size_t round = 0; round < arguments.choose<std::size_t>(3, 1); ++round)
        wrk.push_back(wrkRate(server, 64));
    report.figure("wrk_rate_c64", summarise(wrk), "1/s", Better::HIGHER);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) { return bench::runProgram(argc, argv, bench::run); }
