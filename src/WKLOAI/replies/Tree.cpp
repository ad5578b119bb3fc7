// SPDX-License-Identifier: MIT
#include "WKLOAI/replies/Tree.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <libxml/parserInternals.h>

namespace W::replies {

namespace {

constexpr std::size_t ALIGNMENT = alignof(xmlNode);

} // namespace

void Arena::addChunk(std::size_t least)
{
    const std::size_t usual = m_chunks.empty() ? m_firstChunk : std::min(2 * m_chunks.back().size, LARGEST_CHUNK);
    const std::size_t size = std::max(usual, least);
    m_budget.spendOnTree(size);
    m_chunks.reserve(m_chunks.size() + 1);
    m_chunks.push_back({std::unique_ptr<char[]>(new char[size]), size});
    m_free = m_chunks.back().memory.get();
    m_end = m_free + size;
}

char* Arena::take(std::size_t size)
{
    if (size > static_cast<std::size_t>(m_end - m_free))
        addChunk(size);
    char* const taken = m_free;
    m_free += size;
    return taken;
}

void* Arena::zeroed(std::size_t size)
{
    // Texts are of any length, so the next node may have to be moved up.
    const auto misaligned = reinterpret_cast<std::uintptr_t>(m_free) % ALIGNMENT;
    const std::size_t padding = misaligned ? ALIGNMENT - misaligned : 0;
    if (padding <= static_cast<std::size_t>(m_end - m_free))
        m_free += padding; // a new chunk is aligned as it is
    return std::memset(take(size), 0, size);
}

char* Arena::copy(std::string_view text)
{
    char* const to = take(text.size() + 1);
    std::memcpy(to, text.data(), text.size());
    to[text.size()] = '\0';
    return to;
}

char* Arena::extend(char* text, std::size_t length, std::string_view more)
{
    assert(text + length + 1 == m_free);
    if (more.size() > static_cast<std::size_t>(m_end - m_free)) {
        // Half as much again, so that a text that comes in many pieces is copied a constant number of times.
        addChunk(length + more.size() + length / 2 + 1);
        text = static_cast<char*>(std::memcpy(m_free, text, length));
        m_free += length + 1;
    }
    std::memcpy(text + length, more.data(), more.size());
    m_free += more.size();
    text[length + more.size()] = '\0';
    return text;
}

void Arena::rewind(const void* position)
{
    auto* const begin = static_cast<char*>(const_cast<void*>(position));
    while (!m_chunks.back().holds(begin)) {
        m_budget.refundFromTree(m_chunks.back().size);
        m_chunks.pop_back();
    }
    m_free = begin;
    m_end = m_chunks.back().memory.get() + m_chunks.back().size;
}

xmlNode* Tree::addNode(xmlElementType type)
{
    auto* const node = m_arena.make<xmlNode>();
    node->type = type;
    node->parent = m_current;
    if (!m_current)
        return node;
    if (m_current->extra == OPEN_TEXT)
        m_current->extra = CLOSED_TEXT;
    node->prev = m_current->last;
    (node->prev ? node->prev->next : m_current->children) = node;
    m_current->last = node;
    return node;
}

void Tree::open(const xmlChar* name)
{
    m_current = addNode(XML_ELEMENT_NODE);
    m_current->name = name;
    m_lastAttribute = nullptr;
    if (!m_root)
        m_root = m_current;
}

void Tree::attribute(const xmlChar* name, std::string_view value)
{
    auto* const attribute = m_arena.make<xmlAttr>();
    attribute->type = XML_ATTRIBUTE_NODE;
    attribute->name = name;
    attribute->parent = m_current;
    attribute->prev = m_lastAttribute;
    (m_lastAttribute ? m_lastAttribute->next : m_current->properties) = attribute;
    m_lastAttribute = attribute;

    auto* const text = m_arena.make<xmlNode>();
    text->type = XML_TEXT_NODE;
    text->name = xmlStringText;
    text->parent = reinterpret_cast<xmlNode*>(attribute);
    char* const content = m_arena.copy(value);
    text->content = reinterpret_cast<xmlChar*>(content);
    attribute->children = text;
    attribute->last = text;

    // The parser leaves an ampersand as a reference, for those who build a tree to resolve.
    constexpr std::string_view AMPERSAND = "&#38;";
    char* to = std::strchr(content, '&');
    if (!to)
        return;
    for (const char* from = to; *from;) {
        const bool reference = std::strncmp(from, AMPERSAND.data(), AMPERSAND.size()) == 0;
        *to++ = reference ? '&' : *from;
        from += reference ? AMPERSAND.size() : 1;
    }
    *to = '\0';
}

void Tree::text(std::string_view text)
{
    if (!m_current || m_current->extra == CLOSED_TEXT)
        return;
    if (m_current->extra == NO_TEXT) {
        xmlNode* const node = addNode(XML_TEXT_NODE);
        node->name = xmlStringText;
        node->content = reinterpret_cast<xmlChar*>(m_arena.copy(text));
        m_current->extra = OPEN_TEXT;
        m_textLength = text.size();
        return;
    }
    xmlNode* const node = m_current->last;
    node->content = reinterpret_cast<xmlChar*>(m_arena.extend(reinterpret_cast<char*>(node->content), m_textLength, text));
    m_textLength += text.size();
}

void Tree::other()
{
    if (!m_current)
        return;
    if (!m_current->children)
        addNode(XML_COMMENT_NODE)->name = xmlStringComment;
    else if (m_current->extra == OPEN_TEXT)
        m_current->extra = CLOSED_TEXT;
}

xmlNode* Tree::close()
{
    xmlNode* const closed = m_current;
    m_current = closed->parent;
    return closed;
}

void Tree::forget(xmlNode* closed)
{
    xmlNode* const parent = closed->parent;
    if (!parent || parent->last != closed)
        return;
    if (closed->prev) {
        closed->prev->next = nullptr;
        parent->last = closed->prev;
        m_arena.rewind(closed);
        return;
    }
    // The only child: one stays, without name and content.
    m_arena.rewind(closed + 1);
    closed->type = XML_COMMENT_NODE;
    closed->name = xmlStringComment;
    closed->children = closed->last = nullptr;
    closed->properties = nullptr;
}

} // namespace W::replies
