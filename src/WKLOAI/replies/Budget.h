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
    /// the reply it stays below eight times. Short replies may have more.
    explicit Budget(std::size_t replySize)
        : m_left(std::max(6 * replySize, std::size_t{16} << 20)), m_leftForTree(5 * std::max(replySize, std::size_t{1} << 20))
    {
    }

    /// Accounts for memory that is about to be taken. \throw std::length_error when there is not so much left.
    void spend(std::size_t bytes)
    {
        if (bytes > m_left)
            throw std::length_error("the reply takes too much memory");
        m_left -= bytes;
    }
    void spendOnTree(std::size_t bytes)
    {
        if (bytes > m_leftForTree)
            throw std::length_error("the reply has too many nodes");
        spend(bytes);
        m_leftForTree -= bytes;
    }
    void refundFromTree(std::size_t bytes)
    {
        m_left += bytes;
        m_leftForTree += bytes;
    }
    std::size_t left() const { return m_left; }

private:
    std::size_t m_left = std::numeric_limits<std::size_t>::max();
    std::size_t m_leftForTree = std::numeric_limits<std::size_t>::max();
};

} // namespace W::replies

#endif
