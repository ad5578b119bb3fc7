// SPDX-License-Identifier: MIT
/// \file The host's configuration, by service provider.
#ifndef W_WCONFIGMANAGER_H
#define W_WCONFIGMANAGER_H

#include "W/WContentProvider.h"

#include <type_traits>

namespace W {

/// A configuration value: nothing, a truth value, a number or a text.
class WVariant {
public:
    /// Nothing; its text is empty.
    WVariant() = default;
    WVariant(const STRING& text) : m_text(text) {}
    WVariant(const char* text) : m_text(text ? text : "") {}
    WVariant(bool value) : m_text(value ? "true" : "false") {}
    WVariant(double value);
    template <class Number, class = std::enable_if_t<std::is_integral<Number>::value && !std::is_same<Number, bool>::value>>
    WVariant(Number value) : m_text(std::to_string(value))
    {
    }

    STRING toString() const { return m_text; }
    bool isEmpty() const { return m_text.empty(); }

private:
    STRING m_text;
};

/// The process-wide configuration store. All members may be called from any thread.
class WConfigManager {
public:
    /// \return the one store; never null, never destroyed, not owned by the caller.
    static WConfigManager* getInstance();

    /// The option of a provider, or the empty variant when it is not set.
    WVariant getCPOption(const WContentProvider& provider, const STRING& key);

    /// Sets an option of a provider, in memory; the host decides what is written to a file, and when.
    void setCPOption(const WContentProvider& provider, const STRING& key, const WVariant& value);

    WConfigManager(const WConfigManager&) = delete;
    WConfigManager& operator=(const WConfigManager&) = delete;

private:
    WConfigManager() = default;
    ~WConfigManager() = default;
};

} // namespace W

#endif
