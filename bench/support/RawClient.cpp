// SPDX-License-Identifier: MIT
#include "support/RawClient.h"

#include "support/Usage.h"

#include <stdexcept>

namespace bench {

namespace {

constexpr int LONGEST_WAIT_MS = 10'000;

std::size_t onBody(char* data, std::size_t, std::size_t size, void* body)
{
    static_cast<std::string*>(body)->append(data, size);
    return size;
}

curl_slist* listOf(const std::vector<std::string>& lines)
{
    curl_slist* list = nullptr;
    for (const std::string& line : lines)
        list = curl_slist_append(list, line.c_str());
    return list;
}

CURL* makeHandle(const RawRequest& request, curl_slist* headers, curl_slist* connectTo, std::string& body)
{
    CURL* const curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_CONNECT_TO, connectTo);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    return curl;
}

void check(CURLcode result)
{
    if (result != CURLE_OK)
        throw std::runtime_error(std::string("raw request: ") + curl_easy_strerror(result));
}

} // namespace

RawClient::RawClient(const RawRequest& request, std::size_t concurrency, OnReply onReply)
    : m_onReply(onReply), m_multi(curl_multi_init()), m_headers(listOf(request.headers)), m_connectTo(listOf({request.connectTo}))
{
    curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, static_cast<long>(concurrency));
    for (std::size_t i = 0; i < concurrency; ++i) {
        auto slot = std::make_unique<Slot>();
        slot->curl = makeHandle(request, m_headers, m_connectTo, slot->body);
        curl_easy_setopt(slot->curl, CURLOPT_PRIVATE, slot.get());
        m_slots.push_back(std::move(slot));
    }
}

RawClient::~RawClient()
{
    for (const auto& slot : m_slots)
        curl_easy_cleanup(slot->curl);
    curl_multi_cleanup(m_multi);
    curl_slist_free_all(m_headers);
    curl_slist_free_all(m_connectTo);
}

Cost RawClient::run(std::size_t count)
{
    const double begin = now();
    const double processor = processorTime();
    std::size_t started = 0;
    std::size_t ended = 0;
    for (; started < m_slots.size() && started < count; ++started) {
        m_slots[started]->body.clear();
        curl_multi_add_handle(m_multi, m_slots[started]->curl);
    }
    while (ended < count) {
        int running = 0;
        curl_multi_perform(m_multi, &running);
        int left = 0;
        bool restarted = false;
        while (const CURLMsg* const message = curl_multi_info_read(m_multi, &left)) {
            check(message->data.result);
            CURL* const curl = message->easy_handle;
            void* slot = nullptr;
            curl_easy_getinfo(curl, CURLINFO_PRIVATE, &slot);
            curl_multi_remove_handle(m_multi, curl);
            m_last = &static_cast<Slot*>(slot)->body;
            if (m_onReply)
                m_onReply(*m_last);
            ++ended;
            if (started == count)
                continue;
            ++started;
            static_cast<Slot*>(slot)->body.clear();
            curl_multi_add_handle(m_multi, curl);
            restarted = true;
        }
        if (!restarted && ended < count)
            curl_multi_poll(m_multi, nullptr, 0, LONGEST_WAIT_MS, nullptr);
    }
    return {now() - begin, processorTime() - processor};
}

Cost runFresh(const RawRequest& request, std::size_t count)
{
    const double begin = now();
    const double processor = processorTime();
    curl_slist* const headers = listOf(request.headers);
    curl_slist* const connectTo = listOf({request.connectTo});
    for (std::size_t i = 0; i < count; ++i) {
        std::string body;
        CURL* const curl = makeHandle(request, headers, connectTo, body);
        const CURLcode result = curl_easy_perform(curl);
        curl_easy_cleanup(curl);
        check(result);
    }
    curl_slist_free_all(headers);
    curl_slist_free_all(connectTo);
    return {now() - begin, processorTime() - processor};
}

} // namespace bench
