// SPDX-License-Identifier: MIT
#include "objects/Reading.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace objects {

namespace {

constexpr unsigned PARTIAL_CONTENT = 206;

/// The size of the whole object, when a header says that the bytes are those that were asked for.
std::int64_t sizeIn(const std::string& contentRange, std::int64_t begin, std::int64_t end)
{
    const std::string expected = "bytes " + std::to_string(begin) + "-" + std::to_string(end - 1) + "/";
    if (contentRange.rfind(expected, 0) != 0)
        throw TransferFailed("the store answers with other bytes than it was asked for", TransferFailed::REFUSED);
    return sizeNamed(contentRange.substr(expected.size()));
}

} // namespace

std::int64_t sizeNamed(const std::string& value)
{
    std::int64_t size = -1;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), size);
    if (error != std::errc() || end != value.data() + value.size() || size < 0)
        throw TransferFailed("the store does not say how large the object is");
    return size;
}

StoreReader::StoreReader(Exchange& exchange, std::string path, std::optional<ObjectRange> range)
    : m_exchange(exchange),
      m_path(std::move(path)),
      m_ranged(range.has_value()),
      m_retries(exchange.retriesUntil(Clock::now() + exchange.limits().whole))
{
    if (range) {
        m_next = range->offset;
        m_end = range->offset + range->length;
    }
    const Clock::time_point deadline = Clock::now() + m_exchange.limits().whole;
    m_transfer = Exchange::repeated(m_retries, [&] { return open(deadline); });
    m_retries.succeeded();
}

std::unique_ptr<Transfer> StoreReader::open(Clock::time_point deadline)
{
    Call call{"GET", m_path, {}, {}, {}, "", nullptr, std::nullopt};
    if (m_ranged)
        call.headers.emplace_back("range", "bytes=" + std::to_string(m_next) + "-" + std::to_string(m_end - 1));
    // The bytes to come must be of the same object as those that have come.
    if (m_begun)
        call.headers.emplace_back("if-match", m_info.tag);
    auto transfer = m_exchange.send(call, deadline);
    if (m_ranged && transfer->awaitHead(deadline) != PARTIAL_CONTENT)
        throw TransferFailed("the store does not understand which bytes it is asked for", TransferFailed::REFUSED);
    const std::int64_t size =
        m_ranged ? sizeIn(transfer->header("content-range"), m_next, m_end) : sizeNamed(transfer->header("content-length"));
    if (m_begun && (size != m_info.size || transfer->header("etag") != m_info.tag))
        throw TransferFailed("the object is another one by now");
    if (!m_ranged)
        m_end = size;
    m_info = {size, transfer->header("etag")};
    m_begun = true;
    return transfer;
}

std::size_t StoreReader::read(char* buffer, std::size_t size)
{
    if (m_next == m_end)
        return 0;
    const Clock::time_point deadline = Clock::now() + m_exchange.limits().whole;
    if (!m_troubled)
        m_retries = m_exchange.retriesUntil(deadline);
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(size), m_end - m_next));
    const std::size_t count = Exchange::repeated(m_retries, [&] { return readOnce(buffer, wanted, deadline); });
    m_next += static_cast<std::int64_t>(count);
    m_sinceFailure += static_cast<std::int64_t>(count);
    m_troubled = m_troubled && m_sinceFailure < m_exchange.limits().leastBytes;
    return count;
}

std::size_t StoreReader::readOnce(char* buffer, std::size_t size, Clock::time_point deadline)
try {
    if (!m_transfer) {
        m_ranged = true; // from now on, what is left
        m_transfer = open(deadline);
    }
    const std::size_t count = m_transfer->read(buffer, size, deadline);
    if (count == 0)
        throw TransferFailed("the store's answer ends too early");
    return count;
} catch (const TransferFailed&) {
    m_transfer.reset();
    m_troubled = true;
    m_sinceFailure = 0;
    throw;
}

} // namespace objects
