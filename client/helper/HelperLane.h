// SPDX-License-Identifier: MIT
/// \file A lane in a process of its own.
#ifndef KINLOOM_CLIENT_HELPERLANE_H
#define KINLOOM_CLIENT_HELPERLANE_H

#include "helper/Channel.h"
#include "helper/Messages.h"
#include "helper/Process.h"
#include "plugin/LaneEngine.h"

#include <chrono>
#include <memory>
#include <optional>

namespace kinloom {

/// The program's side of a lane whose plugin lives in a helper process. A helper that has died, or does not keep to the protocol,
/// takes its call with it; the next call gets a new one. A call that had not begun by then is made with that one too.
class HelperLane : public LaneEngine {
public:
    /// \param address of the service.
    HelperLane(Settings settings, std::string address);
    ~HelperLane() override;

    void run(const Operation& operation, CallState& state) override;

private:
    using Clock = std::chrono::steady_clock;
    enum class Event {
        MESSAGE,
        WISH, ///< somebody wants the call's end
        TIME,
        GONE,
        BROKEN,
    };
    enum class Course {
        ENDED,     ///< the call has ended
        NOT_BEGUN, ///< the helper has gone before the call had begun
    };

    /// What happens next. \param wish is looked for only when it matters.
    Event next(const CallState& state, bool wish, std::optional<Clock::time_point> until);
    bool start(CallState& state);
    Course converse(const Operation& operation, CallState& state);
    void lose(bool killed);
    bool idleAndWell();

    const Settings m_settings;
    const std::string m_address;
    client::Descriptor m_wake; ///< an eventfd
    std::unique_ptr<Process> m_process;
    std::unique_ptr<Channel> m_channel; ///< closed before the process is waited for
    message::Message m_message;         ///< that next() has received
    std::uint64_t m_number = 0;         ///< of the call
};

} // namespace kinloom

#endif
