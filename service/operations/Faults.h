// SPDX-License-Identifier: MIT
/// \file Misbehaviour on demand, for tests of clients.
#ifndef KINLOOMD_OPERATIONS_FAULTS_H
#define KINLOOMD_OPERATIONS_FAULTS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kinloomd {

/// What happens to one request. All of it at once, where more than one thing is set.
struct Fault {
    std::chrono::milliseconds delay{0};     ///< waits before anything is done
    bool reset = false;                     ///< resets the connection in place of a reply; nothing is done
    std::optional<unsigned> status;         ///< answers with this status; nothing is done
    bool garbage = false;                   ///< does what was asked, and answers with bytes that are no document
    std::optional<std::int64_t> stallAfter; ///< sends so many bytes of the body, and then nothing more
    std::optional<std::int64_t> cutAfter;   ///< sends so many bytes of the body, and closes the connection
};

/// A fault, for an operation, a number of times.
struct FaultRule {
    std::string operation; ///< the name of an operation, or "any"
    std::string text;      ///< the whole rule, as it was given
    Fault fault;
    std::int64_t times = -1; ///< how often; negative is without end
};

/// Reads "group.list:status=503*2": an operation, a colon, what happens (several things with commas between them), and how often
/// after a star. Throws std::invalid_argument with a sentence that says what is wrong.
FaultRule parseFault(std::string_view text);

/// The faults that are set, and how often each operation was asked for. Safe for several threads.
class Faults {
public:
    void add(const FaultRule& rule);
    void clear();
    std::vector<FaultRule> list() const;

    /// Counts a hit of the operation, and takes the fault that is due for it: the first that was set and is not used up.
    std::optional<Fault> take(std::string_view operation);

    std::map<std::string, std::uint64_t> hits() const;
    void clearHits();

private:
    mutable std::mutex m_mutex;
    std::vector<FaultRule> m_faults;             // guarded by m_mutex
    std::map<std::string, std::uint64_t> m_hits; // guarded by m_mutex
};

} // namespace kinloomd

#endif
