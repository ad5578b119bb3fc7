// SPDX-License-Identifier: MIT
/// \file Free-form properties of records.
#ifndef W_WEXTENDEDPROPERTY_H
#define W_WEXTENDEDPROPERTY_H

#include "W/WTypes.h"

#include <map>

namespace W {

/// Text values by text key, for what a host keeps beside a record.
class WExtendedProperty {
public:
    WExtendedProperty() = default;
    virtual ~WExtendedProperty() = default;
    WExtendedProperty(const WExtendedProperty&) = default;
    WExtendedProperty(WExtendedProperty&&) = default;
    WExtendedProperty& operator=(const WExtendedProperty&) = default;
    WExtendedProperty& operator=(WExtendedProperty&&) = default;

    void set(const STRING& key, const STRING& value) { m_values[key] = value; }
    /// The value of a key, or the empty text.
    STRING get(const STRING& key) const
    {
        const auto found = m_values.find(key);
        return found == m_values.end() ? STRING() : found->second;
    }
    bool contains(const STRING& key) const { return m_values.count(key) != 0; }
    /// All of them, for hosts that pass records on.
    const std::map<STRING, STRING>& values() const { return m_values; }
    std::size_t size() const { return m_values.size(); }
    void clear() { m_values.clear(); }

private:
    std::map<STRING, STRING> m_values;
};

} // namespace W

#endif
