// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <atomic>
#include <random>
#include <set>

using namespace test;

namespace {

/// The requests that exist, as a plugin keeps them: its lock is held while it cancels one or asks for its progress, and every
/// request takes the same lock when it goes.
class Registry {
public:
    void add(HttpRequest* request)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_requests.insert(request);
    }
    void remove(HttpRequest* request)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_requests.erase(request);
    }
    /// Does something with one of them.
    template <class Action> void withOne(std::size_t choice, Action action)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_requests.empty())
            action(**std::next(m_requests.begin(), static_cast<std::ptrdiff_t>(choice % m_requests.size())));
    }
    std::size_t size()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_requests.size();
    }

private:
    std::mutex m_mutex;
    std::set<HttpRequest*> m_requests;
};

class RegisteredRequest : public HttpRequest {
public:
    RegisteredRequest(const STRING& url, HttpCompletion completion, VOID* context, Registry& registry)
        : HttpRequest(HTTP_REQUEST_GET, url, HttpHeader(), STRING(), completion, context), m_registry(registry)
    {
        m_registry.add(this);
    }
    ~RegisteredRequest() override { m_registry.remove(this); }

private:
    Registry& m_registry;
};

class HttpStress : public HttpTest {
protected:
    static RawReply answer(const RawRequest& request)
    {
        switch (request.target().back()) {
        case 's':
            return RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf").stall();
        case 'r':
            return RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf").reset();
        case 'm':
            return RawReply::status(302, "", {"Location: /k"});
        default:
            return RawReply::ok("fine");
        }
    }

    void addOne(std::mt19937& random)
    {
        static constexpr char KINDS[] = "kkkkmrs";
        const std::string url = server.url(std::string("/") + KINDS[random() % (sizeof KINDS - 1)]);
        auto* const request = new RegisteredRequest(url, Outcomes::take, &outcomes, registry);
        request->setID(1 + random() % 3);
        ++made;
        EXPECT_EQ(send(request), 0);
    }

    void actAtRandom(unsigned int seed, int rounds)
    {
        std::mt19937 random(seed);
        for (int i = 0; i < rounds; ++i)
            switch (random() % 40) {
            case 0:
                delegator.flushHttpRequests(1 + random() % 3);
                break;
            case 1:
            case 2:
            case 3:
                registry.withOne(random(), [](HttpRequest& request) { request.setCancel(); });
                break;
            case 4:
            case 5: {
                double done = 0;
                double total = 0;
                registry.withOne(random(), [&](const HttpRequest& request) { request.getProgressStatus(done, total); });
                EXPECT_LE(done, 9);
                break;
            }
            default:
                addOne(random);
            }
    }

    Registry registry;
    std::atomic<std::size_t> made{0};
};

TEST_F(HttpStress, LosesNothingUnderRandomCallsFromManyThreads)
{
    const unsigned int seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    RecordProperty("seed", std::to_string(seed));
    options([](HttpOptions& o) { o.maxTransfers = 8; });
    server.onRequest(answer);
    std::atomic<unsigned int> completions{0};
    std::atomic<bool> over{false};
    outcomes.before = [&](HttpRequest& request) {
        // Completions call back into the client as well.
        const unsigned int number = ++completions;
        if (over)
            return;
        if (number % 7 == 0) {
            std::mt19937 random(seed + number);
            addOne(random);
        }
        if (number % 31 == 0)
            delegator.flushHttpRequests(request.getID());
    };
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < 4; ++t)
        threads.emplace_back([this, seed, t] { actAtRandom(seed + 1000 * t, 400); });
    for (std::thread& thread : threads)
        thread.join();
    over = true;
    // A completion that was running may still have queued something during the first flushes.
    for (const unsigned long long id : {1ULL, 2ULL, 3ULL, 1ULL, 2ULL, 3ULL})
        delegator.flushHttpRequests(id);
    EXPECT_EQ(registry.size(), 0u);
    EXPECT_LE(outcomes.count(), made);
    EXPECT_EQ(get(server.url("/k")).payload, "fine");
}

} // namespace
