// SPDX-License-Identifier: MIT
/// \file How much memory a reply may take.
#ifndef WKLOAI_REPLIES_BUDGET_H
#define WKLOAI_REPLIES_BUDGET_H

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace W::replies {

/// The memory that the parse of one reply and its records may hold at a time. An element of four bytes makes a node of 120, and one
/// of thirty a record of more than a thousand, so without a limit a hostile reply could take fifty times its size.
class Budget {
public:
    /// Whatever it takes: for documents that the caller has parsed.
    Budget() = default;

    /// For a reply of so many bytes: six times that, where the service's own replies take three. Together with the caller's copy of
    /// the reply it stays below eight times. A reply that is short may have what the largest page of the smallest records takes.
    explicit Budget(std::size_t replySize)
        : m_left(std::max(6 * replySize, PAGE_RECORDS * RECORD_SIZE)),
          m_leftForTree(std::max(5 * replySize, PAGE_RECORDS * RECORD_NODES)),
          m_leftForTexts(std::max(6 * replySize, SHORT_TEXTS))
    {
    }

    /// Each accounts for memory that is about to be taken. \throw std::length_error when there is not so much left.
    void spendOnRecord(std::size_t bytes) { spend(bytes, nullptr, "the reply has too many records"); }
    void spendOnTree(std::size_t bytes) { spend(bytes, &m_leftForTree, "the reply has too many nodes"); }
    void spendOnText(std::size_t bytes) { spend(bytes, &m_leftForTexts, "the reply has too much text"); }

    void refundFromTree(std::size_t bytes)
    {
        m_left += bytes;
        m_leftForTree += bytes;
    }
    std::size_t left() const { return m_left; }

    /// The largest page that a service gives.
    static constexpr std::size_t PAGE_RECORDS = 20'000;
    /// A gallery with a content that has a comment and an event, which are the largest records, each with what a list adds.
    static constexpr std::size_t RECORD_SIZE = 4096;
    /// The nodes of a record that stays in the tree until the one that holds it has ended: two elements with an attribute or a
    /// text.
    static constexpr std::size_t RECORD_NODES = 1024;
    /// A text may be repeated in record after record, so a short reply is not given more of them because its records are small.
    static constexpr std::size_t SHORT_TEXTS = std::size_t{16} << 20;

private:
    void spend(std::size_t bytes, std::size_t* share, const char* excess)
    {
        if (bytes > m_left || (share && bytes > *share))
            throw std::length_error(excess);
        m_left -= bytes;
        if (share)
            *share -= bytes;
    }

    static constexpr std::size_t UNLIMITED = std::numeric_limits<std::size_t>::max();
    std::size_t m_left = UNLIMITED; ///< in all
    std::size_t m_leftForTree = UNLIMITED;
    std::size_t m_leftForTexts = UNLIMITED;
};

} // namespace W::replies

#endif
