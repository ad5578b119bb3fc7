// SPDX-License-Identifier: MIT
/// \file A body in chunks, taken apart. Of the library alone.
#ifndef HTTPD_CHUNKREADER_H
#define HTTPD_CHUNKREADER_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace httpd {

/// Reads a body in chunks as it arrives. Lines end with CR and LF, both; extensions and trailers are passed over.
class ChunkReader {
public:
    enum class State {
        MORE,   ///< the body goes on
        WHOLE,  ///< the body is through
        BROKEN, ///< what came is no chunk
    };

    /// Takes bytes from the front. \return those of them that belong to the body; they live as long as the bytes. Empty only when
    /// all bytes are taken, or the body is through or broken.
    std::string_view take(std::string_view& bytes);
    State state() const { return m_state; }

private:
    enum class Expected { SIZE, EXTENSION, SIZE_END, DATA, DATA_CR, DATA_LF, TRAILER_BEGIN, TRAILER, TRAILER_LF, LAST_LF };

    bool step(unsigned char c);
    bool addDigit(unsigned char c);
    bool skip(unsigned char c, Expected goesOn, Expected ends);

    State m_state = State::MORE;
    Expected m_expected = Expected::SIZE;
    std::uint64_t m_left = 0;   ///< of the chunk
    unsigned m_digits = 0;      ///< of its size
    std::size_t m_overhead = 0; ///< bytes of extensions and trailers
};

} // namespace httpd

#endif
