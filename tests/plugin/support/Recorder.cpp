// SPDX-License-Identifier: MIT
#include "plugin/support/Recorder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace kinloom_test {

bool (*Recorder::isWorker)() = nullptr;

void Recorder::add(Call call)
{
    call.onWorker = isWorker && isWorker();
    std::function<void(const Call&)> reaction;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back(call);
        reaction = m_reaction;
    }
    // Waiters are told when the callback is about to return: a test may then look at what it did.
    if (reaction)
        reaction(call);
    m_changed.notify_all();
}

void Recorder::onCall(std::function<void(const Call&)> reaction)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_reaction = std::move(reaction);
}

std::vector<Call> Recorder::calls() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_calls;
}

std::size_t Recorder::count() const { return calls().size(); }

Call Recorder::only() const
{
    const std::vector<Call> all = calls();
    EXPECT_EQ(all.size(), 1u) << "calls of the callback";
    return all.empty() ? Call() : all.front();
}

bool Recorder::waitFor(std::size_t count, std::chrono::milliseconds patience) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, patience, [&] { return m_calls.size() >= count; });
}

void Recorder::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.clear();
}

namespace {

void addCancel(W::WSTATUS status, const W::WContentProvider& provider, W::VOID* recorder, std::vector<std::any> values)
{
    const Unfailing recording;
    Call call;
    call.status = status;
    call.provider = &provider;
    call.isCancel = true;
    call.values = std::move(values);
    static_cast<Recorder*>(recorder)->add(std::move(call));
}

} // namespace

W::VOID onCancelled(W::WSTATUS status, const W::WContentProvider& provider, W::VOID* recorder)
{
    addCancel(status, provider, recorder, {});
}

W::VOID onCancelledOther(W::WSTATUS status, const W::WContentProvider& provider, W::VOID* recorder)
{
    addCancel(status, provider, recorder, {W::STRING("other")});
}

W::VOID onDownloaded(W::WSTATUS status, const W::WContentProvider& provider, const W::WMediaResource& resource,
                     std::istream& stream, W::VOID* recorder)
{
    const Unfailing recording;
    Stream content;
    content.content.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    // Reading to the end says nothing: a closed stream fails before its first byte.
    auto* const file = dynamic_cast<std::ifstream*>(&stream);
    content.readable = file && file->is_open();
    Call call;
    call.status = status;
    call.provider = &provider;
    call.values = {resource, content};
    static_cast<Recorder*>(recorder)->add(std::move(call));
}

W::VOID onResolved(W::WSTATUS status, W::WException* exception, W::VOID* recorder)
{
    const Unfailing recording;
    Call call;
    call.status = status;
    call.values = {exception};
    static_cast<Recorder*>(recorder)->add(std::move(call));
}

} // namespace kinloom_test
