// SPDX-License-Identifier: MIT
/// \file What the tests of the HTTP client share: requests that record how they end, and options that are put back.
#ifndef HOST_CLIENT_H
#define HOST_CLIENT_H

#include "W/Http.h"
#include "W/WStatus.h" // IWYU pragma: export
#include "support/RawServer.h"
#include "support/TempDir.h" // IWYU pragma: export
#include "support/Wait.h"
#include "whost/HttpOptions.h"

#include <condition_variable>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace test {

using namespace W;

/// How a request ended.
struct Outcome {
    SESSION_STATUS status = SESSION_PROTOCOL_ERROR;
    UINT32 code = 0;
    std::string contentType;
    std::string payload;
    double done = 0;
    double total = 0;
    std::thread::id thread;
};

/// Collects the outcomes of requests; stays valid until the last of them has ended.
class Outcomes {
public:
    /// A completion; its context is the Outcomes. Deletes the request.
    static VOID take(SESSION_STATUS status, HttpRequest* request, VOID* context)
    {
        auto& self = *static_cast<Outcomes*>(context);
        Outcome outcome;
        outcome.status = status;
        outcome.code = request->response().getHttpResponseCode();
        outcome.contentType = request->response().getContentType();
        outcome.payload = request->response().getPayload();
        request->getProgressStatus(outcome.done, outcome.total);
        outcome.thread = std::this_thread::get_id();
        if (self.before)
            self.before(*request);
        delete request;
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        self.m_all.push_back(std::move(outcome));
        self.m_changed.notify_all();
    }

    /// Called in every completion, before the request is deleted.
    std::function<void(HttpRequest&)> before;

    bool waitFor(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, PATIENCE, [&] { return m_all.size() >= count; });
    }
    std::size_t count()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_all.size();
    }
    std::vector<Outcome> all()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_all;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Outcome> m_all;
};

/// A request that tells when it is deleted.
class TrackedRequest : public HttpRequest {
public:
    TrackedRequest(HTTP_REQUEST_TYPE type, const STRING& url, HttpCompletion completion, VOID* context, std::function<void()> gone)
        : HttpRequest(type, url, HttpHeader(), STRING(), completion, context), m_gone(std::move(gone))
    {
    }
    ~TrackedRequest() override { m_gone(); }

private:
    std::function<void()> m_gone;
};

inline HttpHeader header(const std::vector<std::pair<std::string, std::string>>& fields)
{
    HttpHeader result;
    for (const auto& [name, value] : fields)
        result.add(name, value);
    return result;
}

/// Tests of the client: the delegator, a raw server, short ways to send, and options that are reset afterwards.
class HttpTest : public ::testing::Test {
protected:
    HttpTest() : delegator(*HttpDelegator::getInstance()) {}
    void TearDown() override
    {
        // Nothing may report to a test that is gone.
        for (const unsigned long long id : {0ULL, 1ULL, 2ULL, 3ULL})
            delegator.flushHttpRequests(id);
        setHttpOptions(HttpOptions());
    }

    /// Queues a request; it is deleted here when it is refused.
    WSTATUS send(HttpRequest* request)
    {
        std::unique_ptr<HttpRequest> owner(request);
        const WSTATUS status = delegator.addRequest(request);
        if (status >= 0)
            owner.release();
        return status;
    }

    HttpRequest* makeGet(const std::string& url, const HttpHeader& fields = HttpHeader())
    {
        return new HttpRequest(HTTP_REQUEST_GET, url, fields, STRING(), completion, &outcomes);
    }
    HttpRequest* makePost(const std::string& url, const std::string& body, const HttpHeader& fields = HttpHeader())
    {
        return new HttpRequest(HTTP_REQUEST_POST, url, fields, body, completion, &outcomes);
    }
    HttpRequest* makeDownload(const std::string& url, const std::string& path)
    {
        return new HttpRequest(HTTP_REQUEST_GET, url, HttpHeader(), completion, &outcomes, path);
    }

    /// Runs a request to its end.
    Outcome run(HttpRequest* request)
    {
        const std::size_t before = outcomes.count();
        const WSTATUS status = send(request);
        EXPECT_EQ(status, 0);
        if (status < 0 || !outcomes.waitFor(before + 1)) {
            ADD_FAILURE() << "the request did not end";
            return {};
        }
        return outcomes.all().back();
    }
    Outcome get(const std::string& url, const HttpHeader& fields = HttpHeader()) { return run(makeGet(url, fields)); }
    Outcome post(const std::string& url, const std::string& body, const HttpHeader& fields = HttpHeader())
    {
        return run(makePost(url, body, fields));
    }
    Outcome download(const std::string& url, const std::string& path) { return run(makeDownload(url, path)); }

    /// Changes options for the requests from here on.
    template <class Change> static void options(Change change)
    {
        HttpOptions now = httpOptions();
        change(now);
        setHttpOptions(now);
    }

    /// The completion of the requests made here; ends in Outcomes::take.
    HttpCompletion completion = Outcomes::take;
    Outcomes outcomes;
    RawServer server;
    HttpDelegator& delegator;
};

} // namespace test

#endif
