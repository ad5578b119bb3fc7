// SPDX-License-Identifier: MIT
/// \file The list type that list callbacks receive.
#ifndef W_WCONTAINER_H
#define W_WCONTAINER_H

#include "W/WExtendedProperty.h"

#include <list>

namespace W {

/// A list of records with a count of its own. The order of the virtual members is part of the binary contract.
///
/// The count is what a list reply's parser counted, which is not always the length of the list; a fresh container holds -1.
template <class T> class WContainer {
public:
    WContainer() = default;
    virtual ~WContainer() = default;
    WContainer(const WContainer&) = default;
    WContainer(WContainer&&) = default;
    WContainer& operator=(const WContainer&) = default;
    WContainer& operator=(WContainer&&) = default;

    virtual const std::list<T>& getData() const { return m_data; }
    virtual void setData(const std::list<T>& data) { m_data = data; }
    virtual std::list<T>& data() { return m_data; }
    /// Empties list, text and properties, and sets the count back to -1.
    virtual void clear()
    {
        m_count = -1;
        m_text.clear();
        m_properties.clear();
        m_data.clear();
    }

    std::int32_t getCount() const { return m_count; }
    void setCount(std::int32_t count) { m_count = count; }

    const STRING& getText() const { return m_text; }
    void setText(const STRING& text) { m_text = text; }

    WExtendedProperty& properties() { return m_properties; }
    const WExtendedProperty& properties() const { return m_properties; }

private:
    std::int32_t m_count = -1;
    STRING m_text;
    WExtendedProperty m_properties;
    std::list<T> m_data;
};

} // namespace W

#endif
