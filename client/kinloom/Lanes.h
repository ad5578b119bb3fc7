// SPDX-License-Identifier: MIT
/// \file Many calls at a time.
#ifndef KINLOOM_LANES_H
#define KINLOOM_LANES_H

#include "kinloom/Call.h"
#include "kinloom/Export.h"
#include "kinloom/Settings.h"

#include <cstddef>
#include <memory>

namespace kinloom {

/// A pool of lanes with one queue. Each lane is a helper process, started when it is needed first; a lane that has died is made
/// anew for its next call. The first free lane takes the next call, urgent ones before others, else in the order of submission.
/// All members may be called from any thread.
class KINLOOM_CLIENT_API Lanes {
public:
    /// \param count how many calls run at a time; at least one.
    Lanes(Settings settings, std::size_t count);
    /// Ends every call as cancelled, and all helpers. Must not run in an onEnd function of the pool's calls.
    ~Lanes();
    Lanes(const Lanes&) = delete;
    Lanes& operator=(const Lanes&) = delete;

    /// Queues a call.
    template <class Order> Call<typename Order::Result> submit(Order order, const CallOptions& options = {})
    {
        return Call<typename Order::Result>(enqueue(Operation(std::move(order)), options));
    }

    std::size_t size() const;
    const std::string& address() const;

private:
    std::shared_ptr<CallState> enqueue(Operation operation, const CallOptions& options);

    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace kinloom

#endif
