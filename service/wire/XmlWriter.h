// SPDX-License-Identifier: MIT
/// \file Reply documents, written from front to back.
#ifndef KINLOOMD_WIRE_XMLWRITER_H
#define KINLOOMD_WIRE_XMLWRITER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kinloomd {

/// How the fields of a record are written: the reply format allows both.
enum class ReplyShape {
    ELEMENTS,   ///< each field is a child element
    ATTRIBUTES, ///< each field is an attribute
};

/// Writes one XML document. Element and field names are the program's own and are written as they are; every text is made valid and
/// escaped, so that no value can break the document or add to it.
class XmlWriter {
public:
    explicit XmlWriter(ReplyShape shape);

    /// Begins an element. The name must outlive the writer.
    void open(const char* name);
    /// Ends the element begun last.
    void close();

    /// Writes a field of the current element in the writer's shape. All fields stand before the element's child elements.
    void field(const char* name, std::string_view text);
    void field(const char* name, std::int64_t number);
    /// The same; nothing for an empty text.
    void optionalField(const char* name, std::string_view text);

    /// Writes a child element with a text, whatever the shape: for fields that readers look for as elements.
    void element(const char* name, std::string_view text);

    /// Writes text into the current element.
    void text(std::string_view text);

    /// Writes a comment. The text must be the program's own, without "--".
    void comment(const char* text);

    /// Ends every element that is open, and the document.
    void end();

    /// The document. All elements must have been ended; the writer is empty afterwards.
    std::string finish();

    /// What has been written; the writer goes on where it is, with nothing.
    std::string take() { return std::exchange(m_text, {}); }
    /// What has been written since \c forget; until something is written.
    std::string_view written() const { return m_text; }
    /// Forgets what has been written, which has been sent, and goes on where it is.
    void forget() { m_text.clear(); }

private:
    void endStartTag();
    void appendEscaped(std::string_view text, bool attribute);

    ReplyShape m_shape;
    std::string m_text;
    std::vector<const char*> m_open;
    bool m_inStartTag = false;
};

} // namespace kinloomd

#endif
