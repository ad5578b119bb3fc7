// SPDX-License-Identifier: MIT
// Where the time of a parse goes: its parts, one by one, on replies of 1 to 10,000 contents.
#include "WKLOAI/WKLOAI.h"
#include "WKLOAI/replies/Document.h"
#include "WKLOAI/replies/Guard.h"
#include "replies/Samples.h"

#include <benchmark/benchmark.h>
#include <libxml/parser.h>

namespace {

std::string bodyFor(const benchmark::State& state)
{
    return test::feedReply(static_cast<std::size_t>(state.range(0)),
                           state.range(1) ? test::Shape::ELEMENTS : test::Shape::ATTRIBUTES);
}

template <class Step> void measure(benchmark::State& state, Step&& step)
{
    const std::string body = bodyFor(state);
    for (auto _ : state)
        step(body);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(body.size()));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// Forgets the children of "data", as a reader of records does.
class Forget : public W::replies::ElementSink {
public:
    bool ended(const xmlNode*, std::size_t depth) override { return depth == 2; }
};

void rawParse(benchmark::State& state)
{
    measure(state,
            [](const std::string& body) { xmlFreeDoc(xmlReadMemory(body.data(), static_cast<int>(body.size()), "", nullptr, 0)); });
}

void guard(benchmark::State& state)
{
    measure(state, [](const std::string& body) { benchmark::DoNotOptimize(W::replies::isParsable(body)); });
}

void events(benchmark::State& state)
{
    measure(state, [](const std::string& body) {
        W::replies::Budget budget(body.size());
        Forget forget;
        benchmark::DoNotOptimize(W::replies::Document(body, budget, &forget).root());
    });
}

void wholeTree(benchmark::State& state)
{
    measure(state, [](const std::string& body) {
        W::replies::Budget budget;
        benchmark::DoNotOptimize(W::replies::Document(body, budget).root());
    });
}

void records(benchmark::State& state)
{
    W::WKLOAI oai;
    measure(state, [&](const std::string& body) {
        W::WContainer<W::WContent> contents;
        unsigned int count = 0;
        benchmark::DoNotOptimize(oai.parseString(body, contents, count));
    });
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    for (const int shape : {0, 1})
        for (const int contents : {1, 30, 1000, 10'000})
            benchmark->Args({contents, shape});
    benchmark->ArgNames({"contents", "elements"});
}

BENCHMARK(rawParse)->Apply(sizes);
BENCHMARK(guard)->Apply(sizes);
BENCHMARK(events)->Apply(sizes);
BENCHMARK(wholeTree)->Apply(sizes);
BENCHMARK(records)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
