// SPDX-License-Identifier: MIT
/// \file Reading libxml2's nodes where they lie: no wrapper and no copy per field.
///
/// Only elements count. A comment, an instruction or a CDATA section beside a field neither hides nor fakes it.
#ifndef KLSERVICE_XML_H
#define KLSERVICE_XML_H

#include <cstring>
#include <libxml/tree.h>

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

/// The value of an attribute, or null when the element has none of that name. Without a document type, which no reply has when it
/// gets here, a value is one text node at most.
inline const char* attribute(const xmlNode* element, const char* called)
{
    for (const xmlAttr* attribute = element->properties; attribute; attribute = attribute->next)
        if (std::strcmp(text(attribute->name), called) == 0)
            return attribute->children ? text(attribute->children->content) : "";
    return nullptr;
}

/// A field of a record: the attribute, else the text of the first child element, else empty.
inline const char* entry(const xmlNode* node, const char* called)
{
    if (!isElement(node))
        return "";
    const char* const value = attribute(node, called);
    return value ? value : childText(node, called);
}

} // namespace W::xml

#endif
