// SPDX-License-Identifier: MIT
/// \file Which devices have signed requests, and where: by that a comment, which comes without a signature, is credited.
#ifndef KINLOOMD_OPERATIONS_SIGNERS_H
#define KINLOOMD_OPERATIONS_SIGNERS_H

#include "httpd/Request.h"
#include "store/People.h"

#include <chrono>
#include <mutex>
#include <string>
#include <unordered_map>

namespace kinloomd {

/// Remembers the signers of connections and addresses. Safe for several threads.
class Signers {
public:
    using Clock = std::chrono::steady_clock;

    /// How long a device counts as one that has signed from an address.
    static constexpr std::chrono::minutes WINDOW{5};
    /// How many connections, and addresses, are remembered at least.
    static constexpr std::size_t REMEMBERED = 16'384;

    /// \param alone whether every request comes to this service: of several none knows who else has signed from an address
    /// (SharedSigners), and only what is signed on a connection tells of others on it
    explicit Signers(const RecentSigners& earlier = {}, bool alone = true);

    /// A device has signed a request.
    void note(const httpd::RequestHead& head, const std::string& duid, Clock::time_point at = Clock::now());

    /// The device that an unsigned request is credited to: the one that last signed on the same connection, or, where that has
    /// signed nothing, the only one that has signed from the same address within the window. Empty when it cannot be told, as on
    /// what a proxy may share between its clients.
    std::string credited(const httpd::RequestHead& head, Clock::time_point at = Clock::now()) const;

    /// Everyone who has signed within the window, as far as credits depend on it.
    RecentSigners recent(Clock::time_point at = Clock::now()) const;

private:
    struct Trace {
        std::string duid;
        Clock::time_point at;
    };
    /// The last two devices of an address; earlier ones make no difference.
    struct Traces {
        Trace last;
        Trace other;
    };

    /// A map that forgets what was not used for long, when there is much of it.
    template <typename Value> struct Memory {
        std::unordered_map<std::string, Value> recent;
        std::unordered_map<std::string, Value> older;

        Value& at(const std::string& key);
        const Value* find(const std::string& key) const;
        /// \return whether something was forgotten.
        bool makeRoom();
    };

    void noteAddress(const std::string& address, const std::string& duid, Clock::time_point at);

    mutable std::mutex m_mutex;
    Memory<Trace> m_connections;          // guarded by m_mutex
    Memory<Traces> m_addresses;           // guarded by m_mutex
    Clock::time_point m_uncertainUntil{}; // guarded by m_mutex; an address may have had signers that are forgotten
};

} // namespace kinloomd

#endif
