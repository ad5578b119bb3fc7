// SPDX-License-Identifier: MIT
/// \file The descriptor by which a host tells service providers apart.
#ifndef W_WCONTENTPROVIDER_H
#define W_WCONTENTPROVIDER_H

#include "W/WTypes.h"

namespace W {

/// Name, kind and identifier of one service provider. A value type.
class WContentProvider {
public:
    enum ServiceType : UINT32 {
        SERVICE_UNKNOWN = 0,
        SERVICE_KINLOOM = 12,
    };

    /// No provider: empty name, SERVICE_UNKNOWN, identifier 0.
    WContentProvider() = default;
    WContentProvider(const STRING& name, ServiceType type);
    virtual ~WContentProvider() = default;
    WContentProvider(const WContentProvider&) = default;
    WContentProvider(WContentProvider&&) = default;
    WContentProvider& operator=(const WContentProvider&) = default;
    WContentProvider& operator=(WContentProvider&&) = default;

    /// Stable hash of name and service type: the same in every process and on every platform.
    UINT32 getID() const { return m_id; }
    const STRING& getName() const { return m_name; }
    ServiceType getServiceType() const { return m_type; }

private:
    STRING m_name;
    ServiceType m_type = SERVICE_UNKNOWN;
    UINT32 m_id = 0;
};

} // namespace W

#endif
