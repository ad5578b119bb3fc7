// SPDX-License-Identifier: MIT
/// \file The base of command records.
#ifndef KLSERVICE_KLSERVICECMD_H
#define KLSERVICE_KLSERVICECMD_H

#include "W/WContentProvider.h"

namespace W {

/// What the service knows of a request in flight: whose it is and of which kind. The facade derives one record per operation.
class KLServiceCMD {
public:
    /// The command key until setCMDKey is called.
    static constexpr UINT32 NO_KEY = 0xFFFFFFFF;

    explicit KLServiceCMD(const WContentProvider& provider) : m_providerKey(provider.getID()) {}
    virtual ~KLServiceCMD() = default;
    KLServiceCMD(const KLServiceCMD&) = delete;
    KLServiceCMD& operator=(const KLServiceCMD&) = delete;

    UINT32 getCPKey() const { return m_providerKey; }
    UINT32 getCMDKey() const { return m_commandKey; }
    void setCMDKey(unsigned int key) { m_commandKey = key; }

    /// The provider key in the upper half, the command key in the lower.
    std::uint64_t getID() const { return std::uint64_t{m_providerKey} << 32 | m_commandKey; }

private:
    UINT32 m_providerKey;
    UINT32 m_commandKey = NO_KEY;
};

} // namespace W

#endif
