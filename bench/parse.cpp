// SPDX-License-Identifier: MIT
// Replies to records, beside the bare parse of the same text and beside other ways to read it.
#include "WKLOAI/WKLOAI.h"
#include "replies/NaiveReader.h"
#include "replies/Samples.h"
#include "support/PugiReader.h"
#include "support/Report.h"
#include "support/Usage.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <libxml/parser.h>
#include <stdexcept>

namespace bench {

namespace {

using Parse = std::function<void()>;

/// Processor seconds of this thread.
double threadTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void rawParse(const std::string& body)
{
    xmlDoc* const document = xmlReadMemory(body.data(), static_cast<int>(body.size()), "", nullptr, 0);
    if (!document)
        throw std::runtime_error("the reply is no document");
    xmlFreeDoc(document);
}

template <class Record> void toRecords(W::WKLOAI& oai, const std::string& body)
{
    W::WContainer<Record> records;
    unsigned int count = 0;
    if (oai.parseString(body, records, count) != 0 || count == 0)
        throw std::runtime_error("the reply gives no records");
}

/// Seconds that a parse takes. The first of the runs is not counted: freeing a million small pieces leaves the allocator work that
/// the next large allocation does, whoever makes it, so each side begins with what it left itself.
double timeOf(const Parse& parse, std::size_t runs)
{
    parse();
    const double begin = threadTime();
    for (std::size_t i = 0; i < runs; ++i)
        parse();
    return (threadTime() - begin) / static_cast<double>(runs);
}

struct Times {
    std::vector<double> mine;
    std::vector<double> theirs;
};

/// Times two ways to do the same, in turns.
Times compare(const Parse& mine, const Parse& theirs, std::size_t rounds, std::size_t runs)
{
    Times times;
    for (std::size_t round = 0; round < rounds; ++round) {
        if (round % 2 == 0)
            times.mine.push_back(timeOf(mine, runs));
        times.theirs.push_back(timeOf(theirs, runs));
        if (round % 2 != 0)
            times.mine.push_back(timeOf(mine, runs));
    }
    return times;
}

Summary scaled(std::vector<double> values, double factor)
{
    for (double& value : values)
        value *= factor;
    return summarise(std::move(values));
}

class ParseBenchmark {
public:
    explicit ParseBenchmark(const Arguments& arguments) : m_arguments(arguments), m_report(arguments) {}

    void run()
    {
        measureMemory(); // first, while the heap is empty
        for (const std::size_t count : {std::size_t{30}, std::size_t{1000}, std::size_t{10000}}) {
            const std::string name = "parse_" + std::to_string(count);
            const double goal = count > 1000 ? 1.40 : 1.30;
            ratio<W::WContent>(name, test::feedReply(count, test::Shape::ELEMENTS), goal);
            ratio<W::WContent>(name + "_attributes", test::feedReply(count, test::Shape::ATTRIBUTES), 0);
            ratio<W::WContent>(name + "_indented", test::feedReply(count, test::Shape::ELEMENTS, test::Layout::INDENTED), 0);
        }
        ratio<W::WGroup>("parse_groups_1000", test::groupsReply(1000, test::Shape::ELEMENTS), 1.40);
        ratio<W::WComment>("parse_comments_1000", test::commentsReply(1000, test::Shape::ELEMENTS), 1.40);
        ratio<W::WKLGallery>("parse_gallery_1000", test::galleryReply(1000, test::Shape::ELEMENTS), 1.40);
        ratio<W::WContent>("parse_view_1000", test::viewReply(1000, 2, test::Shape::ELEMENTS), 0);
        alternatives();
        growth();
    }

private:
    std::size_t rounds() const { return m_arguments.choose<std::size_t>(31, 7); }

    /// How often a parse of so many bytes is run in a round, so that the clock's steps do not show.
    std::size_t runsFor(const std::string& body) const
    {
        const std::size_t bytes = m_arguments.choose<std::size_t>(3'000'000, 500'000);
        return std::max<std::size_t>(1, bytes / body.size());
    }

    template <class Record> void ratio(const std::string& name, const std::string& body, double goal)
    {
        const Times times = compare([&] { toRecords<Record>(m_oai, body); }, [&] { rawParse(body); }, rounds(), runsFor(body));
        const Summary summary = summarise(ratios(times.mine, times.theirs));
        if (goal > 0)
            m_report.figure(name, summary, "x", goal, Better::LOWER);
        else
            m_report.figure(name, summary, "x", Better::LOWER);
    }

    /// The same records out of the same text, in other ways.
    void alternatives()
    {
        const std::string body = test::feedReply(1000, test::Shape::ELEMENTS);
        const Parse mine = [&] { toRecords<W::WContent>(m_oai, body); };
        const W::WContentProvider& provider = m_oai.getContentProvider();

        const test::NaiveReader naive({provider, W::fnContentDownloader, &m_oai}, test::NaiveReader::LookUp::BY_NAME);
        const auto readNaively = [&] {
            W::WContainer<W::WContent> contents;
            unsigned int count = 0;
            if (naive.read(body, contents, count) != 0 || count != 1000)
                throw std::runtime_error("the naive extraction gives no records");
        };
        const Times beside = compare(mine, readNaively, m_arguments.choose<std::size_t>(11, 3), 1);
        m_report.figure("parse_vs_naive_1000", summarise(ratios(beside.theirs, beside.mine)), "x", 10, Better::HIGHER);

        const PugiContext context{provider, W::fnContentDownloader, &m_oai};
        const auto readWithPugi = [&] {
            W::WContainer<W::WContent> contents;
            unsigned int count = 0;
            readWithPugixml(body, context, contents, count);
        };
        const Times pugi = compare(mine, readWithPugi, rounds(), runsFor(body));
        m_report.figure("parse_vs_pugixml_1000", summarise(ratios(pugi.theirs, pugi.mine)), "x", Better::HIGHER);
        m_report.figure("parse_1000_us_per_record", scaled(pugi.mine, 1e3), "us", Better::LOWER);
    }

    void growth()
    {
        std::vector<std::pair<double, double>> times;
        double small = 0;
        double large = 0;
        for (const std::size_t count : {std::size_t{30}, std::size_t{100}, std::size_t{300}, std::size_t{1000}, std::size_t{3000},
                                        std::size_t{10'000}, std::size_t{30'000}, std::size_t{100'000}}) {
            const std::string body = test::feedReply(count, test::Shape::ATTRIBUTES);
            std::vector<double> taken;
            for (std::size_t round = 0; round < m_arguments.choose<std::size_t>(7, 3); ++round)
                taken.push_back(timeOf([&] { toRecords<W::WContent>(m_oai, body); }, runsFor(body)));
            const double median = summarise(taken).median;
            times.emplace_back(static_cast<double>(count), median * 1e3);
            if (count == 1000)
                small = median / static_cast<double>(count);
            if (count == 100'000)
                large = median / static_cast<double>(count);
        }
        m_report.figure("parse_growth", once(large / small), "x", 1.5, Better::LOWER);
        m_report.series("parse", "Parsing a feed", "contents", "ms", times);
    }

    /// Resident memory at its highest beyond the body, which the caller has, by the body's size.
    double peakOf(std::size_t count)
    {
        const std::string body = test::feedReply(count, test::Shape::ATTRIBUTES);
        trimMemory();
        const double before = residentMemory();
        resetPeak();
        toRecords<W::WContent>(m_oai, body);
        return (peakMemory() - before) / static_cast<double>(body.size());
    }

    void measureMemory()
    {
        toRecords<W::WContent>(m_oai, test::feedReply(30, test::Shape::ATTRIBUTES)); // what is loaded once
        m_report.figure("parse_rss", once(peakOf(10'000)), "x", 7, Better::LOWER);
        std::vector<std::pair<double, double>> points;
        for (const std::size_t count :
             {std::size_t{1000}, std::size_t{3000}, std::size_t{10'000}, std::size_t{30'000}, std::size_t{100'000}})
            points.emplace_back(static_cast<double>(count), peakOf(count));
        m_report.series("parse_memory", "Memory beyond a feed's text, by its size", "contents", "x", points);
    }

    const Arguments m_arguments;
    Report m_report;
    W::WKLOAI m_oai;
};

} // namespace

} // namespace bench

int main(int argc, char** argv)
{
    return bench::runProgram(argc, argv, [](const bench::Arguments& arguments) { bench::ParseBenchmark(arguments).run(); });
}
