// SPDX-License-Identifier: MIT
// The helper's side of a lane.
#include "core/Bell.h"
#include "helper/Channel.h"
#include "helper/Codec.h"
#include "helper/Messages.h"
#include "helper/Process.h"
#include "kinloom/Lane.h"
#include "kinloom/Route.h"
#include "kinloom/Warning.h"
#include "plugin/Execute.h"
#include "plugin/LocalLane.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <poll.h>
#include <thread>

namespace kinloom {

namespace {

using namespace std::chrono_literals;

/// How long what is under way may take to end when the program has gone.
constexpr auto END_TIME = 4s;

std::atomic<bool> s_isHelperProgram{false};

/// A helper's life: a thread listens to the program, the main thread makes the calls.
class Helper {
public:
    explicit Helper(client::Descriptor socket) : m_channel(std::move(socket)) {}

    int work()
    {
        if (!m_channel.send(message::encode(message::Hello())))
            return EXIT_FAILURE;
        const std::optional<message::Message> first = receive();
        const auto* const setUp = first ? std::get_if<message::SetUp>(&*first) : nullptr;
        if (setUp == nullptr)
            return EXIT_FAILURE;
        m_address = addressOf(setUp->settings.client);
        onWarning([this](const std::string& sentence) { say(message::Warned{sentence}); });
        std::thread listener(&Helper::listen, this);
        {
            LocalLane lane(setUp->settings, m_address);
            while (const std::shared_ptr<Job> job = nextJob())
                make(lane, *job);
        }
        m_bell.ring([&] { m_done = true; });
        listener.join();
        onWarning(nullptr);
        return EXIT_SUCCESS;
    }

private:
    /// A call, and what drives it.
    struct Job {
        Job(message::Order given, const std::string& address, CallOptions options)
            : order(std::move(given)), state(std::make_shared<CallState>(attemptOf(order.operation), address, std::move(options)))
        {
        }
        message::Order order;
        std::shared_ptr<CallState> state;
    };

    /// The next message of the program; nothing when it has gone.
    std::optional<message::Message> receive()
    {
        std::string bytes;
        while (true) {
            switch (m_channel.receive(bytes)) {
            case Channel::Received::MESSAGE:
                try {
                    return message::decode(bytes);
                } catch (const BrokenMessage&) {
                    return std::nullopt;
                }
            case Channel::Received::NOTHING: {
                pollfd event{m_channel.descriptor(), POLLIN, 0};
                poll(&event, 1, -1);
                break;
            }
            case Channel::Received::GONE:
            case Channel::Received::BROKEN:
                return std::nullopt;
            }
        }
    }

    void listen()
    {
        while (std::optional<message::Message> received = receive()) {
            if (auto* const order = std::get_if<message::Order>(&*received)) {
                CallOptions options;
                options.patience = order->patience;
                options.progress = [this, number = order->number](double done, double total) {
                    say(message::Moved{number, {done, total}});
                };
                const auto job = std::make_shared<Job>(std::move(*order), m_address, std::move(options));
                m_current = job;
                m_bell.ring([&] { m_job = job; });
            } else if (const auto* const cancel = std::get_if<message::Cancel>(&*received)) {
                if (m_current && m_current->order.number == cancel->number)
                    m_current->state->want(CallState::Wish::CANCEL);
            } else {
                break;
            }
        }
        // The program has gone: what is under way is cancelled, so that no part of a file is left behind.
        if (m_current)
            m_current->state->want(CallState::Wish::CANCEL);
        m_bell.ring([&] { m_closing = true; });
        if (!m_bell.waitUntil(Bell::Clock::now() + END_TIME, [&] { return m_done; }))
            std::_Exit(EXIT_FAILURE);
    }

    std::shared_ptr<Job> nextJob()
    {
        std::shared_ptr<Job> job;
        while (!m_bell.waitUntil(Bell::Clock::now() + 1h, [&] {
            if (m_job && !m_closing)
                job = std::move(m_job);
            return job != nullptr || m_closing;
        })) {
        }
        return job;
    }

    void make(LocalLane& lane, const Job& job)
    {
        say(message::Begun{job.order.number});
        lane.run(job.order.operation, *job.state);
        if (!say(message::Ended{job.order.number, job.state->result()})) {
            say(message::Ended{job.order.number, job.state->failure(FailureKind::FAILED, W::WSTATUS_LIMIT_EXCEEDED, "")});
        }
    }

    /// Called by the thread that makes the calls, and by the host's worker.
    bool say(const message::Message& message)
    {
        const std::lock_guard<std::mutex> lock(m_speaking);
        return m_channel.send(message::encode(message));
    }

    Channel m_channel;
    std::mutex m_speaking; ///< one thread at a time sends
    std::string m_address;
    Bell m_bell;
    std::shared_ptr<Job> m_job; // guarded by the bell, like the two below
    bool m_closing = false;
    bool m_done = false;
    std::shared_ptr<Job> m_current; ///< the listener's: the job that a cancel may mean
};

} // namespace

bool isHelperProgram() { return s_isHelperProgram; }

void runLaneIfAsked(int argc, char** argv)
{
    s_isHelperProgram = true;
    if (argc != 2 || std::strcmp(argv[1], HELPER_ARGUMENT) != 0)
        return;
    client::Descriptor socket(HELPER_DESCRIPTOR);
    fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
    std::exit(Helper(std::move(socket)).work()); // NOLINT(concurrency-mt-unsafe): no other thread is left
}

} // namespace kinloom
