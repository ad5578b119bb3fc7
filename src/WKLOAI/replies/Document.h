// SPDX-License-Identifier: MIT
/// \file A reply as a document.
#ifndef WKLOAI_REPLIES_DOCUMENT_H
#define WKLOAI_REPLIES_DOCUMENT_H

#include "W/WTypes.h"
#include "WKLOAI/replies/Parser.h"
#include "WKLOAI/replies/Tree.h"

#include <exception>

namespace W::replies {

/// Sees each element of a reply when its end has been parsed, inner ones first.
class ElementSink {
public:
    virtual ~ElementSink() = default;
    /// \param element whole, below its open ancestors. \param depth the number of these.
    /// \return true when the document may forget the element.
    virtual bool ended(const xmlNode* element, std::size_t depth) = 0;
};

/// Parses one reply. Refuses document types, and whatever would take more time or memory than its length warrants; says nothing on
/// standard error, opens nothing, and leaves the settings that libxml2 keeps for its process and threads as they are.
class Document {
public:
    /// \param sink may be null. \throw NoParser when there is none, before anything else is done; std::exception when the reply is
    /// malformed or hostile, or what the sink throws.
    Document(const STRING& body, Budget& budget, ElementSink* sink = nullptr);
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    /// What the sink has left of the reply; valid as long as this object. Never null.
    const xmlNode* root() const { return m_tree.root(); }

private:
    struct Events;
    friend struct Events;

    template <class Step> void run(Step&& step);
    void openInput();
    void endInput();
    void forgetCatalogs();
    void accountForNames();

    Budget& m_budget;
    std::string_view m_unread;
    Tree m_tree;
    std::size_t m_depth = 0;      ///< open elements
    std::size_t m_knownNames = 0; ///< from earlier replies
    std::size_t m_names = 0;      ///< that this one has added
    ElementSink* const m_sink;
    bool m_failed = false;
    std::exception_ptr m_exception;
    ParserPointer m_context; // owns the names in the tree
};

} // namespace W::replies

#endif
