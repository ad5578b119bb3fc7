// SPDX-License-Identifier: MIT
/// \file Notes of the host's own.
#ifndef TELEVISION_W_WEXTENDEDPROPERTY_H
#define TELEVISION_W_WEXTENDEDPROPERTY_H

namespace W {

class WExtendedProperty {
public:
    virtual ~WExtendedProperty();
    void clear();
};

} // namespace W

#endif
