// SPDX-License-Identifier: MIT
#include "httpd/RateLimit.h"

#include <algorithm>
#include <iterator>

namespace httpd {

namespace {

constexpr std::size_t MANY_BUCKETS = 4096;
constexpr std::chrono::seconds FILLING{1}; ///< after which a bucket is full again, which is what a new one is

} // namespace

bool RateLimit::admit(const std::string& network)
{
    if (m_requestsPerSecond == 0)
        return true;
    const double capacity = m_requestsPerSecond;
    const auto present = Clock::now();
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_buckets.size() > MANY_BUCKETS && present - m_swept > FILLING) {
        m_swept = present;
        for (auto bucket = m_buckets.begin(); bucket != m_buckets.end();)
            bucket = present - bucket->second.filled > FILLING ? m_buckets.erase(bucket) : std::next(bucket);
    }
    Bucket& bucket = m_buckets.try_emplace(network, Bucket{capacity, present}).first->second;
    const std::chrono::duration<double> passed = present - bucket.filled;
    bucket.tokens = std::min(capacity, bucket.tokens + passed.count() * capacity);
    bucket.filled = present;
    if (bucket.tokens < 1)
        return false;
    bucket.tokens -= 1;
    return true;
}

} // namespace httpd
