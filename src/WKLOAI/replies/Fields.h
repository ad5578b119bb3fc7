// SPDX-License-Identifier: MIT
/// \file All fields of a record, found in one pass over its element.
#ifndef WKLOAI_REPLIES_FIELDS_H
#define WKLOAI_REPLIES_FIELDS_H

#include "KLService/Xml.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace W::replies {

/// The names of a record's fields, found by a table made at compile time. A field's number is its place in the list.
template <std::size_t N> class FieldNames {
public:
    constexpr explicit FieldNames(const std::string_view (&names)[N])
    {
        for (std::size_t i = 0; i < N; ++i) {
            m_names[i] = names[i];
            std::size_t slot = hash(names[i]);
            while (m_slots[slot] != 0)
                slot = (slot + 1) % SLOTS;
            m_slots[slot] = static_cast<std::uint8_t>(i + 1);
        }
    }

    /// The number of the field of that name, or -1.
    int find(std::string_view name) const
    {
        for (std::size_t slot = hash(name); m_slots[slot] != 0; slot = (slot + 1) % SLOTS)
            if (m_names[m_slots[slot] - 1u] == name)
                return m_slots[slot] - 1;
        return -1;
    }

    constexpr std::size_t size() const { return N; }

private:
    static constexpr std::size_t SLOTS = 128; // a power of two well above any record's number of fields
    static_assert(N < SLOTS / 2);

    // The service's names differ in their length, their end and a letter in the middle.
    static constexpr std::size_t hash(std::string_view name)
    {
        if (name.empty())
            return 0;
        const auto at = [name](std::size_t i) { return static_cast<unsigned char>(name[i]); };
        return (name.size() * 7 + at(name.size() - 1) * 5 + at(name.size() / 2) * 3 + at(0)) % SLOTS;
    }

    std::array<std::string_view, N> m_names{};
    std::array<std::uint8_t, SLOTS> m_slots{};
};

template <std::size_t N> FieldNames(const std::string_view (&)[N]) -> FieldNames<N>;

/// Makes an enumeration of a record's fields and their FieldNames out of one list, FIELD(NUMBER, "name") for each, so that a
/// field's number and its name cannot come apart.
#define WKLOAI_FIELD_TABLE(Enumeration, NAMES, LIST)                                                                               \
    enum Enumeration { LIST(WKLOAI_FIELD_NUMBER) };                                                                                \
    constexpr FieldNames NAMES({LIST(WKLOAI_FIELD_NAME)});
#define WKLOAI_FIELD_NUMBER(number, name) number,
#define WKLOAI_FIELD_NAME(number, name) name,

/// The fields of one element: for each name the attribute, else the text of the first child element, else empty.
template <std::size_t N> class Fields {
public:
    Fields(const FieldNames<N>& names, const xmlNode* element)
    {
        m_texts.fill(nullptr);
        m_children.fill(nullptr);
        if (!xml::isElement(element))
            return;
        for (const xmlAttr* attribute = element->properties; attribute; attribute = attribute->next) {
            const int field = attribute->ns ? -1 : names.find(xml::text(attribute->name));
            if (field >= 0 && !m_texts[field])
                m_texts[field] = keep(xml::valueOf(attribute));
        }
        for (const xmlNode* child = element->children; child; child = child->next) {
            if (!xml::isElement(child))
                continue;
            const int field = names.find(xml::name(child));
            if (field < 0 || m_children[field])
                continue;
            m_children[field] = child;
            if (!m_texts[field])
                m_texts[field] = xml::firstText(child);
        }
    }

    /// The field's text; empty when the element has no such field.
    const char* operator[](std::size_t field) const { return m_texts[field] ? m_texts[field] : ""; }
    bool isEmpty(std::size_t field) const { return !m_texts[field] || *m_texts[field] == '\0'; }
    /// The first child element of that name, or null.
    const xmlNode* child(std::size_t field) const { return m_children[field]; }

private:
    const char* keep(xml::Value&& value)
    {
        const char* const text = value.text();
        if (value.isCopy())
            m_copies.push_back(std::move(value));
        return text;
    }

    std::vector<xml::Value> m_copies; ///< of values that do not lie in the tree as one piece
    std::array<const char*, N> m_texts;
    std::array<const xmlNode*, N> m_children;
};

/// The next element of the same name behind a child, or null.
inline const xmlNode* nextOfSameName(const xmlNode* child)
{
    for (const xmlNode* next = child->next; next; next = next->next)
        if (xml::isElement(next, xml::name(child)))
            return next;
    return nullptr;
}

} // namespace W::replies

#endif
