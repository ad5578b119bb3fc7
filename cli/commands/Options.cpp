// SPDX-License-Identifier: MIT
#include "commands/Options.h"

#include <iterator>

namespace kinloom {

namespace {

constexpr const char* MASK = "********";

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text.append(text.empty() ? "" : ",").append(line);
    return text;
}

} // namespace

const ClientKey CLIENT_KEYS[] = {
    {"connect_to", [](const W::HttpOptions& o) { return joined(o.connectTo); }},
    {"connect_timeout_ms", [](const W::HttpOptions& o) { return std::to_string(o.connectTimeoutMs); }},
    {"stall_timeout_ms", [](const W::HttpOptions& o) { return std::to_string(o.stallTimeoutMs); }},
    {"stall_bytes_per_second", [](const W::HttpOptions& o) { return std::to_string(o.stallBytesPerSecond); }},
    {"total_timeout_ms", [](const W::HttpOptions& o) { return std::to_string(o.totalTimeoutMs); }},
    {"max_redirects", [](const W::HttpOptions& o) { return std::to_string(o.maxRedirects); }},
    {"max_memory_body", [](const W::HttpOptions& o) { return std::to_string(o.maxMemoryBody); }},
    {"max_file_body", [](const W::HttpOptions& o) { return std::to_string(o.maxFileBody); }},
    {"max_header_bytes", [](const W::HttpOptions& o) { return std::to_string(o.maxHeaderBytes); }},
    {"max_transfers", [](const W::HttpOptions& o) { return std::to_string(o.maxTransfers); }},
    {"max_connections_per_host", [](const W::HttpOptions& o) { return std::to_string(o.maxConnectionsPerHost); }},
    {"max_requests", [](const W::HttpOptions& o) { return std::to_string(o.maxRequests); }},
    {"download_buffer_bytes", [](const W::HttpOptions& o) { return std::to_string(o.downloadBufferBytes); }},
    {"upload_buffer_bytes", [](const W::HttpOptions& o) { return std::to_string(o.uploadBufferBytes); }},
    {"user_agent", [](const W::HttpOptions& o) { return o.userAgent; }},
    {"proxy", [](const W::HttpOptions& o) { return o.proxy; }},
};
const std::size_t CLIENT_KEY_COUNT = std::size(CLIENT_KEYS);

std::string masked(const std::string& key, const std::string& value)
{
    if (value.empty())
        return value;
    if (key == "AuthToken")
        return MASK;
    const std::size_t scheme = value.find("://");
    const std::size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
    const std::size_t at = value.rfind('@');
    const bool signsIn = key == "proxy" && at != std::string::npos && at >= begin;
    return signsIn ? value.substr(0, begin) + MASK + value.substr(at) : value;
}

} // namespace kinloom
