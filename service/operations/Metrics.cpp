// SPDX-License-Identifier: MIT
#include "operations/Metrics.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace kinloomd {

namespace {

/// Writes families of samples, one after the other.
class Writer {
public:
    void family(std::string_view name, std::string_view type, std::string_view help)
    {
        m_name = name;
        m_text.append("# HELP ").append(name).append(" ").append(help).append("\n");
        m_text.append("# TYPE ").append(name).append(" ").append(type).append("\n");
    }
    void sample(const std::string& labels, const std::string& value, std::string_view suffix = {})
    {
        m_text.append(m_name).append(suffix);
        if (!labels.empty())
            m_text.append("{").append(labels).append("}");
        m_text.append(" ").append(value).append("\n");
    }
    void sample(const std::string& labels, std::uint64_t value, std::string_view suffix = {})
    {
        sample(labels, std::to_string(value), suffix);
    }
    std::string take() { return std::move(m_text); }

private:
    std::string m_text;
    std::string m_name;
};

std::string label(std::string_view name, std::string_view value) { return std::string(name) + "=\"" + std::string(value) + "\""; }

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

std::string statusText(unsigned status) { return status == 0 ? "none" : std::to_string(status); }

struct ServerCount {
    const char* name;
    const char* type;
    const char* help;
    std::atomic<std::uint64_t> httpd::Counters::*value;
};

constexpr ServerCount SERVER_COUNTS[] = {
    {"kinloomd_connections", "gauge", "Connections right now.", &httpd::Counters::open},
    {"kinloomd_connections_total", "counter", "Connections so far.", &httpd::Counters::accepted},
    {"kinloomd_connections_turned_away_total", "counter", "Connections that were one too many.", &httpd::Counters::turnedAway},
    {"kinloomd_connections_gave_way_total", "counter", "Connections that had done nothing and gave way to new ones.",
     &httpd::Counters::gaveWay},
    {"kinloomd_connections_timed_out_total", "counter", "Connections that took too long.", &httpd::Counters::timedOut},
    {"kinloomd_tls_handshakes_failed_total", "counter", "Connections that agreed on no encryption.",
     &httpd::Counters::failedHandshakes},
    {"kinloomd_received_bytes_total", "counter", "Bytes of requests.", &httpd::Counters::bytesReceived},
    {"kinloomd_sent_bytes_total", "counter", "Bytes of replies.", &httpd::Counters::bytesSent},
};

} // namespace

void Metrics::ended(const std::string& operation, std::optional<unsigned> status, std::chrono::duration<double> time,
                    std::uint64_t statements)
{
    const auto* const bound = std::lower_bound(BOUNDS.begin(), BOUNDS.end(), time.count());
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_requests[operation][status.value_or(0)];
    Durations& durations = m_durations[operation];
    ++durations.counts.at(static_cast<std::size_t>(bound - BOUNDS.begin()));
    durations.sum += time.count();
    m_statements[operation] += statements;
}

void Metrics::refused(unsigned status)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_refused[status];
}

void Metrics::signInFailed(Failure reason)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_failedSignIns[describe(reason).code];
}

std::string Metrics::text(const httpd::Counters& server, const Levels& levels) const
{
    Writer writer;
    const std::lock_guard<std::mutex> lock(m_mutex);
    writer.family("kinloomd_requests_total", "counter", "Requests that have ended, by operation and status.");
    for (const auto& [operation, statuses] : m_requests) {
        for (const auto& [status, count] : statuses)
            writer.sample(label("operation", operation) + "," + label("status", statusText(status)), count);
    }
    writer.family("kinloomd_request_duration_seconds", "histogram", "Time from a request's first byte to its end, by operation.");
    for (const auto& [operation, durations] : m_durations) {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < durations.counts.size(); ++i) {
            sum += durations.counts.at(i);
            const std::string bound = i < BOUNDS.size() ? number(BOUNDS.at(i)) : "+Inf";
            writer.sample(label("operation", operation) + "," + label("le", bound), sum, "_bucket");
        }
        writer.sample(label("operation", operation), number(durations.sum), "_sum");
        writer.sample(label("operation", operation), sum, "_count");
    }
    writer.family("kinloomd_database_statements_total", "counter", "Statements that the database ran for requests, by operation.");
    for (const auto& [operation, count] : m_statements)
        writer.sample(label("operation", operation), count);
    for (const ServerCount& count : SERVER_COUNTS) {
        writer.family(count.name, count.type, count.help);
        writer.sample({}, (server.*count.value).load());
    }
    writer.family("kinloomd_uploads", "gauge", "Files on their way right now.");
    writer.sample({}, levels.uploads);
    writer.family("kinloomd_jobs_waiting", "gauge", "Pictures that wait for their thumbnails.");
    writer.sample({}, levels.jobs);
    writer.family("kinloomd_thumbnails_made_total", "counter", "Pictures whose thumbnails were made here.");
    writer.sample({}, levels.made);
    writer.family("kinloomd_failed_sign_ins_total", "counter", "Requests that have not proven who they come from, by code.");
    for (const auto& [code, count] : m_failedSignIns)
        writer.sample(label("code", code), count);
    writer.family("kinloomd_refused_requests_total", "counter", "Requests refused before they were looked at, by status.");
    for (const auto& [status, count] : m_refused)
        writer.sample(label("status", std::to_string(status)), count);
    return writer.take();
}

} // namespace kinloomd
