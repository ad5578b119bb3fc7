// SPDX-License-Identifier: MIT
#include "wire/XmlWriter.h"

#include "core/Text.h"

#include <algorithm>
#include <cassert>

namespace kinloomd {

namespace {

/// What a character must be written as; null when it stands for itself. A carriage return would be read as a line end, and white
/// space in an attribute as a blank, so these are written as references.
const char* escapeOf(char c, bool attribute)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\r':
        return "&#13;";
    case '\n':
        return attribute ? "&#10;" : nullptr;
    case '\t':
        return attribute ? "&#9;" : nullptr;
    default:
        return nullptr;
    }
}

bool isPlainAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

} // namespace

XmlWriter::XmlWriter(ReplyShape shape) : m_shape(shape), m_text("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n") {}

void XmlWriter::open(const char* name)
{
    endStartTag();
    m_text += '<';
    m_text += name;
    m_open.push_back(name);
    m_inStartTag = true;
}

void XmlWriter::close()
{
    assert(!m_open.empty());
    if (m_inStartTag) {
        m_text += "/>";
        m_inStartTag = false;
    } else {
        m_text += "</";
        m_text += m_open.back();
        m_text += '>';
    }
    m_open.pop_back();
}

void XmlWriter::field(const char* name, std::string_view text)
{
    if (m_shape == ReplyShape::ELEMENTS) {
        element(name, text);
        return;
    }
    assert(m_inStartTag);
    m_text += ' ';
    m_text += name;
    m_text += "=\"";
    appendEscaped(text, true);
    m_text += '"';
}

void XmlWriter::field(const char* name, std::int64_t number) { field(name, std::to_string(number)); }

void XmlWriter::optionalField(const char* name, std::string_view text)
{
    if (!text.empty())
        field(name, text);
}

void XmlWriter::element(const char* name, std::string_view text)
{
    endStartTag();
    m_text += '<';
    m_text += name;
    m_text += '>';
    appendEscaped(text, false);
    m_text += "</";
    m_text += name;
    m_text += '>';
}

void XmlWriter::text(std::string_view text)
{
    endStartTag();
    appendEscaped(text, false);
}

void XmlWriter::comment(const char* text)
{
    endStartTag();
    m_text += "<!--";
    m_text += text;
    m_text += "-->";
}

void XmlWriter::end()
{
    while (!m_open.empty())
        close();
    m_text += '\n';
}

std::string XmlWriter::finish()
{
    assert(m_open.empty());
    end();
    return take();
}

void XmlWriter::endStartTag()
{
    if (m_inStartTag)
        m_text += '>';
    m_inStartTag = false;
}

void XmlWriter::appendEscaped(std::string_view text, bool attribute)
{
    std::string cleaned;
    if (!isPlainAscii(text)) {
        cleaned = cleanText(text);
        text = cleaned;
    }
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (const char* const escape = escapeOf(text[i], attribute)) {
            m_text.append(text, start, i - start);
            m_text += escape;
            start = i + 1;
        }
    }
    m_text.append(text, start, std::string_view::npos);
}

} // namespace kinloomd
