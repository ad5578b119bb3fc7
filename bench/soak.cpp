// SPDX-License-Identifier: MIT
// A million requests in one process, with cancels, flushes and failures among them: what a television does in months. Nothing that
// the process holds may grow.
#include "WKLOAI/WKLOAI.h"
#include "support/Plugin.h"
#include "support/Servers.h"
#include "support/Statistics.h"
#include "support/Usage.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <random>
#include <unistd.h>

namespace bench {

namespace {

/// Counts what becomes of requests, by standing between the service and the facade.
class Ledger {
public:
    static Ledger& instance()
    {
        static Ledger ledger;
        return ledger;
    }

    void watch(W::KLService& service)
    {
        service.setFnCallbackPtr([](W::SESSION_STATUS status, const W::HttpResponse& response, W::KLServiceCMD* command) {
            W::cbFnRequestCompleted(status, response, command);
            instance().ended(&Ledger::m_completed);
        });
        service.setFnDropPtr([](W::KLServiceCMD* command) {
            W::cbFnRequestDropped(command);
            instance().ended(&Ledger::m_dropped);
        });
    }

    /// Counts a request before its operation is called.
    void begun()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_begun;
    }
    /// Waits until every request has ended, one way or the other.
    void settle()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_completed + m_dropped >= m_begun; });
        if (m_completed + m_dropped > m_begun)
            throw std::runtime_error("a request ended twice");
    }

    std::size_t begunCount() const { return m_begun; }
    std::size_t completed() const { return m_completed; }
    std::size_t dropped() const { return m_dropped; }

private:
    void ended(std::size_t Ledger::*how)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++(this->*how);
        m_changed.notify_one();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_begun = 0;
    std::size_t m_completed = 0;
    std::size_t m_dropped = 0;
};

std::atomic<std::size_t> callbacks{0};
std::atomic<std::size_t> failures{0};
std::atomic<std::size_t> cancels{0};

/// The callback of every operation.
template <class... Results> void note(W::WSTATUS status, Results...)
{
    ++callbacks;
    if (status < 0)
        ++failures;
}

/// The requests that a television makes, and those that go wrong. Each function makes one.
class Requests {
public:
    Requests(W::WKLOAI& oai, const SmallServer& server, unsigned int seed)
        : m_oai(oai), m_server(server), m_folder("/tmp"), m_upload(m_folder.file("picture.jpg")), m_random(seed)
    {
        makeFile(m_upload, 20'000);
    }

    std::size_t pick(std::size_t below) { return std::uniform_int_distribution<std::size_t>(0, below - 1)(m_random); }
    bool chance(double probability) { return std::bernoulli_distribution(probability)(m_random); }

    /// One that goes well and disturbs nobody.
    void smooth()
    {
        static constexpr Choice CHOICES[] = {
            {43, &Requests::listGroups},   {33, &Requests::readFeed}, {15, &Requests::viewContent}, {4, &Requests::writeComment},
            {2, &Requests::deleteContent}, {2, &Requests::download},  {1, &Requests::failTransfer}};
        make(choose(CHOICES));
    }
    /// One that takes the others with it when it ends: a refused request, an upload, a list of comments, a sign-in.
    void rough()
    {
        static constexpr Choice CHOICES[] = {
            {60, &Requests::failRequest}, {15, &Requests::upload}, {15, &Requests::listComments}, {10, &Requests::authenticate}};
        make(choose(CHOICES));
    }
    /// One that never ends by itself.
    void hold() { make(&Requests::holdRequest); }

    void cancel()
    {
        m_oai.cancel(
            m_oai.getContentProvider(), [](W::WSTATUS, const W::WContentProvider&, void*) { ++cancels; }, nullptr);
    }

private:
    using Make = W::WSTATUS (Requests::*)();
    struct Choice {
        std::size_t percent;
        Make make;
    };
    template <std::size_t N> Make choose(const Choice (&choices)[N])
    {
        std::size_t left = pick(100);
        std::size_t i = 0;
        for (; i + 1 < N && left >= choices[i].percent; ++i)
            left -= choices[i].percent;
        return choices[i].make;
    }

    void make(Make request)
    {
        Ledger::instance().begun();
        if ((this->*request)() < 0)
            throw std::runtime_error("a request was refused");
    }

    W::WSTATUS listGroups()
    {
        W::WPerson person;
        if (chance(0.5))
            person.setUID("records=" + std::to_string(pick(4)));
        return m_oai.retrieveGroupList(person, note, 0, 10, W::KL_SORT_ALPHABETICAL, W::KL_INCLUDE_ALL, nullptr);
    }
    W::WSTATUS feedOf(const std::string& group, unsigned int count)
    {
        W::WGroup of;
        of.setUID(group);
        return m_oai.retrieveGroupFeeds(of, "", "0", count, W::KL_BASE_CREATED_TIME, W::KL_ITEM_ALL, W::KL_INCLUDE_ALL, note,
                                        nullptr);
    }
    W::WSTATUS readFeed() { return feedOf("g1", static_cast<unsigned int>(1 + pick(10))); }
    W::WSTATUS holdRequest() { return feedOf("hold", 30); }
    W::WSTATUS failRequest()
    {
        static constexpr const char* GROUPS[] = {"fail-500", "fail-403", "fail-cut", "fail-xml"};
        return feedOf(GROUPS[pick(std::size(GROUPS))], 30);
    }
    W::WSTATUS viewContent() { return m_oai.viewContent(someContent(), note, nullptr); }
    W::WSTATUS deleteContent() { return m_oai.deleteContent(someContent(), note, nullptr); }
    // Nobody is told of a list of comments, callback or not.
    W::WSTATUS listComments() { return m_oai.retrieveComments(someContent(), nullptr, 0, 10, nullptr); }
    W::WSTATUS writeComment()
    {
        W::WComment comment;
        comment.setComment("How+lovely");
        return m_oai.createComment(someContent(), comment, note, nullptr);
    }
    W::WSTATUS downloadFrom(const std::string& url)
    {
        return m_oai.download(m_oai.getContentProvider(), url, m_folder.path(), "file" + std::to_string(pick(8)), note, nullptr);
    }
    W::WSTATUS download() { return downloadFrom(m_server.url("/bytes/" + std::to_string(1'000 * (1 + pick(100))))); }
    // Nobody listens on the discard port.
    W::WSTATUS failTransfer() { return downloadFrom("http://127.0.0.1:9/nothing"); }
    W::WSTATUS upload()
    {
        W::WGroup group;
        group.setUID("g1");
        W::WContent content;
        content.setMIMEType("image/jpeg");
        return m_oai.createContent(group, content, W::KL_CONTENT_PHOTO, m_upload, note, nullptr);
    }
    W::WSTATUS authenticate() { return m_oai.authKL(note, nullptr); }

    W::WContent someContent()
    {
        W::WContent content;
        content.setUID("c" + std::to_string(pick(1'000)));
        return content;
    }

    W::WKLOAI& m_oai;
    const SmallServer& m_server;
    const Folder m_folder;
    const std::string m_upload;
    std::mt19937 m_random;
};

/// What the process holds at some point.
struct Sample {
    std::size_t requests;
    double memory; ///< bytes
    std::size_t commands;
    std::size_t descriptors;
    std::size_t threads;
};

class Soak {
public:
    Soak(std::FILE* out, std::size_t requests, unsigned int seed) : m_out(out), m_requests(requests), m_seed(seed) {}

    /// \return whether nothing has grown.
    bool run()
    {
        std::fprintf(m_out, "%zu requests, seed %u\n\n", m_requests, m_seed);
        std::fprintf(m_out, "%10s %12s %9s %12s %8s\n", "requests", "memory (MB)", "commands", "descriptors", "threads");
        const SmallServer server;
        W::setHttpOptions(optionsFor(server.port()));
        setProviderOptions();
        W::WKLOAI oai;
        signIn(oai);
        Ledger& ledger = Ledger::instance();
        ledger.watch(*oai.service());
        Requests requests(oai, server, m_seed);

        std::vector<Sample> samples;
        const std::size_t interval = std::max<std::size_t>(m_requests / SAMPLES, BATCH);
        while (ledger.begunCount() < m_requests) {
            batch(oai, requests);
            if (ledger.begunCount() < interval * (samples.size() + 1))
                continue;
            samples.push_back({ledger.begunCount(), residentMemory(), oai.countCMD(), openDescriptors(), threads()});
            print(samples.back());
        }
        std::fprintf(m_out, "\n%zu completed, %zu dropped in flushes; %zu callbacks, %zu of them failures; %zu cancels reported\n",
                     ledger.completed(), ledger.dropped(), callbacks.load(), failures.load(), cancels.load());
        return judge(samples);
    }

private:
    static constexpr std::size_t BATCH = 200;
    static constexpr std::size_t SAMPLES = 50;

    static void batch(W::WKLOAI& oai, Requests& requests)
    {
        const bool disturbed = requests.chance(0.2);
        for (std::size_t i = 0; i < BATCH; ++i) {
            if (disturbed && requests.chance(0.01))
                requests.rough();
            else
                requests.smooth();
        }
        if (disturbed && requests.chance(0.3))
            requests.cancel();
        const bool holds = disturbed && requests.chance(0.3);
        for (std::size_t i = 0; holds && i < BATCH / 4; ++i)
            requests.hold();
        if (holds || (disturbed && requests.chance(0.3)))
            oai.service()->flushHttpRequests();
        Ledger::instance().settle();
    }

    void print(const Sample& sample)
    {
        std::fprintf(m_out, "%10zu %12.2f %9zu %12zu %8zu\n", sample.requests, sample.memory / (1 << 20), sample.commands,
                     sample.descriptors, sample.threads);
        std::fflush(m_out);
    }

    /// The first fifth is for warming up: pools and caches reach their size. Of the rest, the last quarter is held against the
    /// first.
    bool judge(const std::vector<Sample>& samples)
    {
        const std::vector<Sample> counted(samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 5), samples.end());
        const std::size_t quarter = counted.size() / 4;
        if (quarter == 0) {
            std::fprintf(m_out, "too few requests to judge by\n");
            return false;
        }
        bool flat = true;
        // Memory goes up and down by what the allocator keeps, and connections are kept for later, sometimes more and sometimes
        // fewer: of memory the middle counts, of everything else the most that there was.
        const auto compare = [&](const char* what, double scale, double allowed, auto pick, auto value) {
            const auto over = [&](std::size_t from) {
                std::vector<double> values;
                for (std::size_t i = from; i < from + quarter; ++i)
                    values.push_back(static_cast<double>(value(counted[i])) / scale);
                return pick(values);
            };
            const double first = over(0);
            const double last = over(counted.size() - quarter);
            const bool good = last - first <= allowed;
            std::fprintf(m_out, "%-12s %8.2f -> %8.2f   %s\n", what, first, last, good ? "flat" : "GROWS");
            flat = flat && good;
        };
        const auto middle = [](const std::vector<double>& values) { return summarise(values).median; };
        const auto most = [](const std::vector<double>& values) { return *std::max_element(values.begin(), values.end()); };
        compare("memory (MB)", 1 << 20, 1, middle, [](const Sample& sample) { return sample.memory; });
        compare("commands", 1, 0, most, [](const Sample& sample) { return sample.commands; });
        compare("descriptors", 1, 4, most, [](const Sample& sample) { return sample.descriptors; });
        compare("threads", 1, 0, most, [](const Sample& sample) { return sample.threads; });
        for (const Sample& sample : samples)
            flat = flat && sample.commands == 0;
        return flat;
    }

    std::FILE* const m_out;
    const std::size_t m_requests;
    const unsigned int m_seed;
};

[[noreturn]] void usage(const char* program)
{
    std::fprintf(stderr, "usage: %s [--requests N] [--seed N]\n", program);
    std::exit(2);
}

} // namespace

} // namespace bench

int main(int argc, char** argv)
{
    std::size_t requests = 1'000'000;
    unsigned int seed = std::random_device()();
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        char* end = nullptr;
        const unsigned long long value = i + 1 < argc ? std::strtoull(argv[++i], &end, 10) : 0;
        if (!end || *end != '\0' || (name != "--requests" && name != "--seed"))
            bench::usage(argv[0]);
        if (name == "--requests")
            requests = value;
        else
            seed = static_cast<unsigned int>(value);
    }
    // The plugin logs every failure to standard output by contract, and here most of the lines would be of failures on purpose.
    std::FILE* const out = fdopen(dup(STDOUT_FILENO), "w");
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    try {
        const bool flat = bench::Soak(out, requests, seed).run();
        std::fclose(out);
        return flat ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
