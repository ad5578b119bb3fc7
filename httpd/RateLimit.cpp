// SPDX-License-Identifier: MIT
#include "httpd/RateLimit.h"

#include <algorithm>
#include <iterator>

namespace httpd {

namespace {

constexpr std::size_t MANY_ADDRESSES = 4096;

} // namespace

bool RateLimit::admit(const std::string& address)
{
    if (m_requestsPerSecond == 0)
        return true;
    const double capacity = m_requestsPerSecond;
    const auto present = Clock::now();
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_buckets.size() > MANY_ADDRESSES) {
        // After a second a bucket is full again, which is what a new one is.
        for (auto bucket = m_buckets.begin(); bucket != m_buckets.end();)
            bucket = present - bucket->second.filled > std::chrono::seconds(1) ? m_buckets.erase(bucket) : std::next(bucket);
    }
    Bucket& bucket = m_buckets.try_emplace(address, Bucket{capacity, present}).first->second;
    const std::chrono::duration<double> passed = present - bucket.filled;
    bucket.tokens = std::min(capacity, bucket.tokens + passed.count() * capacity);
    bucket.filled = present;
    if (bucket.tokens < 1)
        return false;
    bucket.tokens -= 1;
    return true;
}

} // namespace httpd
