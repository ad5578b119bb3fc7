// SPDX-License-Identifier: MIT
/// \file What the service has done, in numbers.
#ifndef KINLOOMD_OPERATIONS_METRICS_H
#define KINLOOMD_OPERATIONS_METRICS_H

#include "core/Failure.h"
#include "httpd/Counters.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace kinloomd {

/// Counts since the service began. Safe for several threads.
class Metrics {
public:
    /// What there is of something at the moment.
    struct Levels {
        std::size_t uploads = 0; ///< files on their way
        std::size_t jobs = 0;    ///< waiting for a worker
        std::uint64_t made = 0;  ///< contents whose thumbnails were made so far
    };

    /// A request has ended. \param operation of the table of operations, or another word for what was asked. \param statements that
    /// the database ran for it
    void ended(const std::string& operation, std::optional<unsigned> status, std::chrono::duration<double> time,
               std::uint64_t statements);
    /// A request was refused before it was looked at.
    void refused(unsigned status);
    /// A request has not proven who it comes from.
    void signInFailed(Failure reason);

    /// All of it in the text format of Prometheus.
    std::string text(const httpd::Counters& server, const Levels& levels) const;

private:
    static constexpr std::array<double, 9> BOUNDS = {0.001, 0.005, 0.02, 0.1, 0.5, 2, 10, 60, 600}; ///< seconds

    struct Durations {
        std::array<std::uint64_t, BOUNDS.size() + 1> counts{}; ///< above the bound before, up to this one; the last has none
        double sum = 0;
    };

    mutable std::mutex m_mutex;
    std::map<std::string, std::map<unsigned, std::uint64_t>>
        m_requests;                                       ///< by operation and status, 0 for none; guarded by m_mutex
    std::map<std::string, Durations> m_durations;         ///< by operation; guarded by m_mutex
    std::map<std::string, std::uint64_t> m_statements;    ///< by operation; guarded by m_mutex
    std::map<unsigned, std::uint64_t> m_refused;          ///< by status; guarded by m_mutex
    std::map<std::string, std::uint64_t> m_failedSignIns; ///< by the service's own code; guarded by m_mutex
};

} // namespace kinloomd

#endif
