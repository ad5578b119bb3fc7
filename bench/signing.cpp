// SPDX-License-Identifier: MIT
// The two headers of a signed request: from the session as it is, and from one that has just changed.
#include "WKLOAI/Operation.h"
#include "support/Plugin.h"
#include "support/Report.h"

#include <benchmark/benchmark.h>
#include <libxml++/parsers/domparser.h>
#include <stdexcept>

namespace bench {

namespace {

const W::WContentProvider& provider()
{
    static const W::WContentProvider instance("Kinloom", W::WContentProvider::SERVICE_KINLOOM);
    return instance;
}

/// A signed-in service.
class SignedIn {
public:
    SignedIn() : m_service("Kinloom", provider())
    {
        setProviderOptions();
        xmlpp::DomParser reply;
        reply.parse_memory("<result><stat>ok</stat></result>");
        m_service.setUserCredential(reply.get_document()->get_root_node(), provider());
        if (!m_service.isLoggedIn())
            throw std::runtime_error("the sign-in failed");
    }
    W::KLService& operator*() { return m_service; }

private:
    W::KLService m_service;
};

void signHeaders(W::KLService& service)
{
    W::ApiRequest request("me/group.list");
    benchmark::DoNotOptimize(request.sign(*service.session()).headers);
}

void signUnchanged(benchmark::State& state)
{
    SignedIn service;
    for ([[maybe_unused]] auto _ : state)
        signHeaders(*service);
}

/// A service keeps the sessions that it has had, so each repetition takes a fresh one and gives it sessions that it does not know.
constexpr int CHANGES = 64;

void signChanged(benchmark::State& state)
{
    SignedIn service;
    std::vector<std::string> users;
    users.reserve(CHANGES);
    for (int i = 0; i < CHANGES; ++i)
        users.push_back("a-user-identifier-of-some-length-" + std::to_string(i));
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        (*service).setUserID(users.at(next++));
        signHeaders(*service);
    }
}

/// Reads each repetition instead of printing it.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                m_times[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
    }
    Summary microseconds(const std::string& name) const
    {
        const Summary nanoseconds = summarise(m_times.at(name));
        return {nanoseconds.low / 1e3, nanoseconds.median / 1e3, nanoseconds.high / 1e3};
    }

private:
    std::map<std::string, std::vector<double>> m_times;
};

void run(const Arguments& arguments)
{
    Report report(arguments);
    benchmark::RegisterBenchmark("unchanged", signUnchanged)
        ->Repetitions(arguments.choose(15, 3))
        ->MinTime(arguments.choose(0.1, 0.02));
    benchmark::RegisterBenchmark("changed", signChanged)->Repetitions(arguments.choose(201, 21))->Iterations(CHANGES);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    report.figure("sign_us", collector.microseconds("unchanged"), "us", 1, Better::LOWER);
    report.figure("sign_us_changed", collector.microseconds("changed"), "us", 3, Better::LOWER);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) { return bench::runProgram(argc, argv, bench::run); }
