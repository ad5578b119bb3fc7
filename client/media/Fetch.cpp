// SPDX-License-Identifier: MIT
#include "media/Fetch.h"

#include "core/HostEvents.h"
#include "whost/HttpRequests.h"

#include <atomic>

namespace kinloom {

namespace {

unsigned long long nextId()
{
    static std::atomic<unsigned long long> last{0};
    return ++last << 32;
}

} // namespace

/// The request as the host has it; it keeps the fetch alive, and tells it of its own end.
class Fetch::Request : public W::HttpRequest {
public:
    Request(std::shared_ptr<Fetch> fetch, const std::string& url, const W::HttpHeader& header, const std::string& file)
        : W::HttpRequest(W::HTTP_REQUEST_GET, url, header, &Fetch::completed, fetch.get(), file), m_fetch(std::move(fetch))
    {
        setID(m_fetch->m_id);
    }
    Request(std::shared_ptr<Fetch> fetch, const std::string& url, const std::string& form)
        : W::HttpRequest(W::HTTP_REQUEST_POST, url, W::HttpHeader(), form, &Fetch::completed, fetch.get()),
          m_fetch(std::move(fetch))
    {
        setID(m_fetch->m_id);
    }
    ~Request() override { m_fetch->gone(); }

private:
    const std::shared_ptr<Fetch> m_fetch;
};

Fetch::Fetch(std::function<void()> ended) : m_id(nextId()), m_onEnd(std::move(ended)) {}

std::shared_ptr<Fetch> Fetch::start(const std::string& url, const W::HttpHeader& header, const std::string& file,
                                    std::uint64_t limit, std::function<void()> ended)
{
    const std::shared_ptr<Fetch> fetch(new Fetch(std::move(ended)));
    return queue(fetch, std::make_unique<Request>(fetch, url, header, file), limit);
}

std::shared_ptr<Fetch> Fetch::post(const std::string& url, const std::string& form, std::uint64_t limit,
                                   std::function<void()> ended)
{
    const std::shared_ptr<Fetch> fetch(new Fetch(std::move(ended)));
    return queue(fetch, std::make_unique<Request>(fetch, url, form), limit);
}

std::shared_ptr<Fetch> Fetch::queue(std::shared_ptr<Fetch> fetch, std::unique_ptr<Request> request, std::uint64_t limit)
{
    W::limitBody(*request, limit);
    fetch->m_request = request.get();
    const W::WSTATUS status = W::HttpDelegator::getInstance()->addRequest(request.get());
    if (status < 0)
        fetch->finish(status, nullptr);
    else
        request.release(); // the host's, and maybe gone already
    return fetch;
}

void Fetch::completed(W::SESSION_STATUS status, W::HttpRequest* request, void* context)
{
    static_cast<Fetch*>(context)->finish(statusOf(status), request);
    delete request; // which keeps the fetch alive up to here
}

void Fetch::finish(W::WSTATUS status, W::HttpRequest* request)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_ended)
            return;
        if (request) {
            request->getProgressStatus(m_progress.done, m_progress.total);
            W::HttpResponse& response = request->getResponse();
            m_exchange = W::exchangeOf(*request);
            m_reply.contentType = response.getContentType();
            m_reply.body = std::move(response.payload());
            m_reply.bytes = m_reply.body.empty() ? static_cast<std::uint64_t>(m_progress.done) : m_reply.body.size();
        }
        m_request = nullptr;
        m_status = status;
        m_ended = true;
    }
    m_onEnd();
}

/// The request is deleted: after its completion, or because the host has dropped it.
void Fetch::gone() { finish(W::WSTATUS_CANCELLED, nullptr); }

bool Fetch::ended() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_ended;
}

W::WSTATUS Fetch::status() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_status;
}

W::UINT32 Fetch::code() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_status < 0 ? 0 : m_exchange.code;
}

W::HttpExchange Fetch::exchange() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_exchange;
}

MediaReply Fetch::takeReply()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::move(m_reply);
}

TransferProgress Fetch::progress() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    TransferProgress progress = m_progress;
    if (m_request)
        m_request->getProgressStatus(progress.done, progress.total);
    return progress;
}

void Fetch::drop() { W::HttpDelegator::getInstance()->flushHttpRequests(m_id); }

} // namespace kinloom
