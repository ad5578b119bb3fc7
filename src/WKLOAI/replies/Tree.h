// SPDX-License-Identifier: MIT
/// \file The nodes of a reply that its readers look at.
#ifndef WKLOAI_REPLIES_TREE_H
#define WKLOAI_REPLIES_TREE_H

#include "WKLOAI/replies/Budget.h"

#include <algorithm>
#include <cstddef>
#include <libxml/tree.h>
#include <memory>
#include <string_view>
#include <vector>

namespace W::replies {

/// Memory handed out in sequence and taken back from its end.
class Arena {
public:
    /// \param textSize length of the text that the nodes will come from: a short one should not cost a large piece of memory.
    Arena(Budget& budget, std::size_t textSize)
        : m_budget(budget), m_firstChunk(std::clamp(8 * textSize, SMALLEST_CHUNK, USUAL_CHUNK))
    {
    }

    /// Zeroed memory, aligned for any node.
    template <class Node> Node* make() { return static_cast<Node*>(zeroed(sizeof(Node))); }
    /// A copy of a text, with a zero behind it.
    char* copy(std::string_view text);
    /// Lengthens the text that was copied last. \return where it is now.
    char* extend(char* text, std::size_t length, std::string_view more);
    /// Takes back what was handed out from this position on.
    void rewind(const void* position);

private:
    struct Chunk {
        std::unique_ptr<char[]> memory;
        std::size_t size;
        bool holds(const char* position) const { return position >= memory.get() && position <= memory.get() + size; }
    };
    static constexpr std::size_t SMALLEST_CHUNK = 1000; ///< malloc hands out up to 1,032 bytes without a search
    static constexpr std::size_t USUAL_CHUNK = 16u << 10;
    static constexpr std::size_t LARGEST_CHUNK = 1u << 20;

    void* zeroed(std::size_t size);
    char* take(std::size_t size);
    void addChunk(std::size_t least);

    Budget& m_budget;
    const std::size_t m_firstChunk;
    std::vector<Chunk> m_chunks;
    char* m_free = nullptr; ///< in the last chunk
    char* m_end = nullptr;
};

/// A tree of libxml2's nodes, made from the parser's events. It holds what can be read of a reply and no more: elements with their
/// attributes, and of each element's text the first run, since no field reads further. What else stands in an element leaves at
/// most one node without content, for those who ask whether an element is empty.
///
/// The nodes live in an arena and belong to this object: libxml2 must not free or change them.
class Tree {
public:
    /// \param replySize length of the reply.
    Tree(Budget& budget, std::size_t replySize) : m_arena(budget, replySize) {}

    void open(const xmlChar* name);
    /// An attribute of the element that has just been opened.
    void attribute(const xmlChar* name, std::string_view value);
    void text(std::string_view text);
    /// A comment, an instruction or a CDATA section.
    void other();
    /// \return the element that ends.
    xmlNode* close();

    /// Forgets an element that has just been closed, and all in it. Nodes beside and above it stay.
    void forget(xmlNode* closed);

    /// The root element, or null.
    const xmlNode* root() const { return m_root; }

private:
    enum TextState : unsigned short { NO_TEXT, OPEN_TEXT, CLOSED_TEXT };

    xmlNode* addNode(xmlElementType type);

    Arena m_arena;
    xmlNode* m_root = nullptr;
    xmlNode* m_current = nullptr; ///< the innermost open element; its "extra" is the state of its text
    xmlAttr* m_lastAttribute = nullptr;
    std::size_t m_textLength = 0; ///< of the text run that is open
};

} // namespace W::replies

#endif
