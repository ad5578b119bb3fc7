// SPDX-License-Identifier: MIT
#include "http/Options.h"

#include "Mutex.h"

#include <algorithm>
#include <fstream>
#include <vector>

namespace W {

namespace {

struct Current {
    Mutex mutex;
    std::shared_ptr<const http::ClientOptions>
        options GUARDED_BY(mutex) = std::make_shared<const http::ClientOptions>(HttpOptions());
};

/// Never destroyed: the worker may read it while the process exits.
Current& current()
{
    static Current* const instance = new Current;
    return *instance;
}

/// The name goes into a header field, where a line break would begin another one.
std::string onOneLine(std::string text)
{
    text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }), text.end());
    return text;
}

std::vector<std::string> ownFields(const HttpOptions& options, bool agent, bool encodings, bool posts)
{
    std::vector<std::string> lines;
    if (agent && !options.userAgent.empty())
        lines.push_back("User-Agent: " + options.userAgent);
    if (encodings)
        lines.push_back(std::string("Accept-Encoding: ") + http::ClientOptions::ENCODINGS);
    // Large bodies would wait a second for a go-ahead that many servers never send.
    if (posts)
        lines.emplace_back("Expect:");
    return lines;
}

/// libcurl has to be told of revocation lists, and refuses a file that holds none. A file that cannot be read is refused by it too.
bool holdsRevocations(const std::string& path)
{
    if (path.empty())
        return false;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        if (line.rfind("-----BEGIN X509 CRL-----", 0) == 0)
            return true;
    return false;
}

} // namespace

namespace WHOST_INTERNAL http {

ClientOptions::ClientOptions(const HttpOptions& options)
    : m_values(options), m_leads(options.leadTo), m_hasRevocations(holdsRevocations(options.caFile))
{
    m_values.userAgent = onOneLine(m_values.userAgent);
    m_values.maxTransfers = std::max<std::size_t>(m_values.maxTransfers, 1);
    m_values.maxRedirects = std::max(m_values.maxRedirects, 0L);
    m_connectTo.assign(m_values.connectTo);
    for (const bool agent : {false, true})
        for (const bool encodings : {false, true})
            for (const bool posts : {false, true})
                m_fields[agent][encodings][posts].assign(ownFields(m_values, agent, encodings, posts));
}

std::shared_ptr<const ClientOptions> currentOptions()
{
    Current& now = current();
    const MutexLock lock(now.mutex);
    return now.options;
}

} // namespace http

void setHttpOptions(const HttpOptions& options)
{
    auto fresh = std::make_shared<const http::ClientOptions>(options);
    Current& now = current();
    // The old options are freed outside the lock.
    const MutexLock lock(now.mutex);
    now.options.swap(fresh);
}

HttpOptions httpOptions() { return http::currentOptions()->values(); }

} // namespace W
