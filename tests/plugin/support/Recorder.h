// SPDX-License-Identifier: MIT
/// \file What the plugin calls back.
#ifndef PLUGIN_SUPPORT_RECORDER_H
#define PLUGIN_SUPPORT_RECORDER_H

#include "W/WKinloomOAI.h"
#include "plugin/support/Allocation.h"

#include <any>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <istream>
#include <mutex>
#include <sstream>
#include <vector>

namespace kinloom_test {

/// What a download's callback was given.
struct Stream {
    bool readable = false;
    W::STRING content;
};

/// One call of a callback, with copies of what it was given.
struct Call {
    W::WSTATUS status = 0;
    const W::WContentProvider* provider = nullptr; ///< null for callbacks without one
    bool isCancel = false;                         ///< of the cancel callback
    bool onWorker = false;                         ///< on the HTTP worker
    std::vector<std::any> values;

    template <class Value> const Value& value(std::size_t index = 0) const { return std::any_cast<const Value&>(values.at(index)); }
};

/// Collects the calls that carry it as their user data.
class Recorder {
public:
    /// Tells the HTTP worker's thread from others, for Call::onWorker; null when nobody can.
    static bool (*isWorker)();

    Recorder() = default;
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    void add(Call call);
    /// Run inside the callback, after the call was noted.
    void onCall(std::function<void(const Call&)> reaction);

    std::vector<Call> calls() const;
    std::size_t count() const;
    /// The only call there was; fails the test when there were none or more.
    Call only() const;
    bool waitFor(std::size_t count, std::chrono::milliseconds patience = std::chrono::seconds(20)) const;
    void clear();

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Call> m_calls;
    std::function<void(const Call&)> m_reaction;
};

/// A result callback whose user data is a Recorder: Callback<WGroup>::call has the type of KLGroupCallback, and so on.
template <class... Values> struct Callback {
    static W::VOID call(W::WSTATUS status, const W::WContentProvider& provider, const Values&... values, W::VOID* recorder)
    {
        const Unfailing recording;
        Call call;
        call.status = status;
        call.provider = &provider;
        (call.values.emplace_back(values), ...);
        static_cast<Recorder*>(recorder)->add(std::move(call));
    }
};

/// The cancel callback.
W::VOID onCancelled(W::WSTATUS status, const W::WContentProvider& provider, W::VOID* recorder);
/// Another one, to tell which of two was kept: its calls carry the value "other".
W::VOID onCancelledOther(W::WSTATUS status, const W::WContentProvider& provider, W::VOID* recorder);
/// The callback of a media resource's download: the values are the resource and a Stream.
W::VOID onDownloaded(W::WSTATUS status, const W::WContentProvider& provider, const W::WMediaResource& resource,
                     std::istream& stream, W::VOID* recorder);
/// The callback of a resolved challenge: the value is the WException*.
W::VOID onResolved(W::WSTATUS status, W::WException* exception, W::VOID* recorder);

} // namespace kinloom_test

#endif
