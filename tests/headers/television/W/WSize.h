// SPDX-License-Identifier: MIT
/// \file Sizes.
#ifndef TELEVISION_W_WSIZE_H
#define TELEVISION_W_WSIZE_H

#include <cstdint>

namespace W {

class WSize {
public:
    WSize();
    WSize(std::int32_t width, std::int32_t height);
    std::int32_t getWidth() const;
    std::int32_t getHeight() const;
};

} // namespace W

#endif
