// SPDX-License-Identifier: MIT
/// \file Reading libxml2's nodes where they lie: no wrapper and no copy per field.
///
/// Only elements count. A comment, an instruction or a CDATA section beside a field neither hides nor fakes it.
#ifndef KLSERVICE_XML_H
#define KLSERVICE_XML_H

#include <cstring>
#include <libxml/tree.h>
#include <memory>
#include <utility>

namespace W::xml {

inline const char* text(const xmlChar* content) { return content ? reinterpret_cast<const char*>(content) : ""; }

inline const char* name(const xmlNode* node) { return text(node->name); }

inline bool isElement(const xmlNode* node) { return node && node->type == XML_ELEMENT_NODE; }

inline bool isElement(const xmlNode* node, const char* called) { return isElement(node) && std::strcmp(name(node), called) == 0; }

/// The first child element, or null.
inline const xmlNode* firstElement(const xmlNode* parent)
{
    const xmlNode* child = parent->children;
    while (child && !isElement(child))
        child = child->next;
    return child;
}

/// The first child element of that name, or null.
inline const xmlNode* firstChild(const xmlNode* parent, const char* called)
{
    for (const xmlNode* child = parent->children; child; child = child->next)
        if (isElement(child, called))
            return child;
    return nullptr;
}

/// The first run of text inside an element, up to a comment or a child; empty when there is none. CDATA is not text.
inline const char* firstText(const xmlNode* element)
{
    for (const xmlNode* child = element->children; child; child = child->next)
        if (child->type == XML_TEXT_NODE)
            return text(child->content);
    return "";
}

/// The text of the first child element of that name, or empty.
inline const char* childText(const xmlNode* parent, const char* called)
{
    const xmlNode* const child = firstChild(parent, called);
    return child ? firstText(child) : "";
}

/// A text of the tree, or a copy of one that does not lie in it as one piece. Valid as long as this and the tree.
class Value {
public:
    /// No text: what is not there.
    Value() = default;
    explicit Value(const char* text) : m_text(text) {}
    /// Takes over what libxml2 has put together; nothing is its empty text.
    explicit Value(xmlChar* copy) : m_text(xml::text(copy)), m_copy(copy) {}

    bool exists() const { return m_text != nullptr; }
    bool isEmpty() const { return !m_text || *m_text == '\0'; }
    bool isCopy() const { return m_copy != nullptr; }
    /// Empty when there is no text.
    const char* text() const { return m_text ? m_text : ""; }

private:
    struct Free {
        void operator()(xmlChar* copy) const { xmlFree(copy); }
    };
    const char* m_text = nullptr;
    std::unique_ptr<xmlChar, Free> m_copy;
};

/// All of an attribute's value. References to entities, which only documents of a caller's own have, stand beside the text as
/// nodes.
inline Value valueOf(const xmlAttr* attribute)
{
    const xmlNode* const first = attribute->children;
    if (!first)
        return Value("");
    if (first->type == XML_TEXT_NODE && !first->next)
        return Value(text(first->content));
    return Value(xmlNodeListGetString(attribute->doc, const_cast<xmlNode*>(first), 1));
}

/// Whether an attribute is called that. One with a prefix is called something else: "k:id" is not "id".
inline bool isCalled(const xmlAttr* attribute, const char* name)
{
    return !attribute->ns && std::strcmp(text(attribute->name), name) == 0;
}

/// The value of an attribute, when the element has one of that name.
inline Value attribute(const xmlNode* element, const char* called)
{
    for (const xmlAttr* attribute = element->properties; attribute; attribute = attribute->next)
        if (isCalled(attribute, called))
            return valueOf(attribute);
    return Value();
}

/// A field of a record: the attribute, else the text of the first child element, else empty.
inline Value entry(const xmlNode* node, const char* called)
{
    if (!isElement(node))
        return Value("");
    Value value = attribute(node, called);
    return value.exists() ? std::move(value) : Value(childText(node, called));
}

} // namespace W::xml

#endif
