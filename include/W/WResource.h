// SPDX-License-Identifier: MIT
/// \file The base of all records.
#ifndef W_WRESOURCE_H
#define W_WRESOURCE_H

#include "W/WContentProvider.h"
#include "W/WExtendedProperty.h"

namespace W {

/// What every record has: a provider, an identifier, and the host's own notes. A value type with deep copies.
class WResource {
public:
    WResource() = default;
    virtual ~WResource() = default;
    WResource(const WResource&) = default;
    WResource(WResource&&) = default;
    WResource& operator=(const WResource&) = default;
    WResource& operator=(WResource&&) = default;

    void setContentProvider(const WContentProvider& provider) { m_provider = provider; }
    const WContentProvider& getContentProvider() const { return m_provider; }

    WExtendedProperty& properties() { return m_properties; }
    const WExtendedProperty& properties() const { return m_properties; }

    /// The identifier that the service gave the record.
    void setUID(const STRING& uid) { m_uid = uid; }
    const STRING& getUID() const { return m_uid; }

    /// A text of the host's own; plugins neither set nor read it.
    void setTag(const STRING& tag) { m_tag = tag; }
    const STRING& getTag() const { return m_tag; }

private:
    WContentProvider m_provider;
    WExtendedProperty m_properties;
    STRING m_uid;
    STRING m_tag;
};

} // namespace W

#endif
