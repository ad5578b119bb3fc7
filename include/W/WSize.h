// SPDX-License-Identifier: MIT
/// \file Sizes in pixels.
#ifndef W_WSIZE_H
#define W_WSIZE_H

#include <cstdint>

namespace W {

/// Width and height in pixels; 0 by 0 when unknown.
class WSize {
public:
    WSize() = default;
    WSize(std::int32_t width, std::int32_t height) : m_width(width), m_height(height) {}

    std::int32_t getWidth() const { return m_width; }
    std::int32_t getHeight() const { return m_height; }

    friend bool operator==(const WSize& a, const WSize& b) { return a.m_width == b.m_width && a.m_height == b.m_height; }
    friend bool operator!=(const WSize& a, const WSize& b) { return !(a == b); }

private:
    std::int32_t m_width = 0;
    std::int32_t m_height = 0;
};

} // namespace W

#endif
