// SPDX-License-Identifier: MIT
/// \file Bytes that are written one after the other, and read anywhere.
#ifndef KINLOOM_TV_API_SCROLL_H
#define KINLOOM_TV_API_SCROLL_H

#include "common/UniqueFd.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tv {

/// Few bytes are kept in memory, more of them in a file without a name. What the disk does not take stays in memory: whoever reads
/// goes on, with a full disk as well. Used by one thread at a time.
class Scroll {
public:
    static constexpr std::size_t FEW = 16 * 1024; ///< bytes that need no file

    /// \param folder for the file
    explicit Scroll(std::string folder) : m_folder(std::move(folder)) {}

    /// Adds bytes, which are read together. \return where they begin.
    std::int64_t add(std::string_view bytes);
    /// Nothing more is added.
    void finish();
    /// Reads bytes that were added together. Throws std::system_error.
    void read(char* buffer, std::size_t size, std::int64_t offset) const;
    /// How much memory it takes.
    std::size_t inMemory() const { return m_tail.capacity(); }

private:
    void toDisk();

    std::string m_folder;
    std::string m_path;
    common::UniqueFd m_file;
    std::int64_t m_onDisk = 0; ///< bytes
    std::string m_tail;        ///< what follows them
    bool m_refused = false;    ///< the disk takes no more
};

} // namespace tv

#endif
