// SPDX-License-Identifier: MIT
/// \file Lists.
#ifndef TELEVISION_W_WCONTAINER_H
#define TELEVISION_W_WCONTAINER_H

#include "W/WExtendedProperty.h" // IWYU pragma: export

#include <cstdint>
#include <list>

namespace W {

template <class T> class WContainer {
public:
    WContainer();
    virtual ~WContainer();
    virtual const std::list<T>& getData() const;
    virtual void setData(const std::list<T>& data);
    virtual std::list<T>& data();
    virtual void clear();

    std::int32_t getCount() const;
    void setCount(std::int32_t count);
};

} // namespace W

#endif
