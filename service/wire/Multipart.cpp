// SPDX-License-Identifier: MIT
#include "wire/Multipart.h"

#include "core/Failure.h"
#include "core/Text.h"

#include <algorithm>
#include <array>

namespace kinloomd {

namespace {

constexpr std::size_t BOUNDARY_BYTES = 200; // the standard allows 70; clients are known to use more

[[noreturn]] void malformed(const char* what) { throw ServiceError(Failure::MALFORMED_REQUEST, what); }

/// Reads "value" or "\"value\"" from the front of the text and takes it off.
std::optional<std::string> takeValue(std::string_view& text)
{
    std::string value;
    if (text.empty() || text.front() != '"') {
        const auto end = text.find(';');
        value = trim(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end);
        return value;
    }
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            text.remove_prefix(i + 1);
            return value;
        }
        // Only a quote and a backslash are ever escaped; other backslashes belong to paths.
        if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\'))
            ++i;
        value += text[i];
    }
    return std::nullopt;
}

/// The value of a parameter in "type; name=value; name=\"value\"".
std::optional<std::string> parameterOf(std::string_view header, std::string_view wanted)
{
    const auto first = header.find(';');
    if (first == std::string_view::npos)
        return std::nullopt;
    header.remove_prefix(first);
    while (!header.empty() && header.front() == ';') {
        header = trim(header.substr(1));
        const auto equals = header.find('=');
        if (equals == std::string_view::npos)
            return std::nullopt;
        const std::string_view name = trim(header.substr(0, equals));
        header = trim(header.substr(equals + 1));
        auto value = takeValue(header);
        if (!value || equalsIgnoringCase(name, wanted))
            return value;
        header = trim(header);
    }
    return std::nullopt;
}

/// Form clients write a quote, a carriage return and a line feed in a name as percent escapes, and nothing else.
std::string decodeNameEscapes(const std::string& name)
{
    struct Escape {
        std::string_view text;
        char character;
    };
    static constexpr std::array<Escape, 3> ESCAPES = {{{"%22", '"'}, {"%0D", '\r'}, {"%0A", '\n'}}};
    std::string result;
    for (std::size_t i = 0; i < name.size(); ++i) {
        char character = name[i];
        for (const Escape& escape : ESCAPES) {
            if (equalsIgnoringCase(std::string_view(name).substr(i, 3), escape.text)) {
                character = escape.character;
                i += 2;
                break;
            }
        }
        result += character;
    }
    return result;
}

void applyHeader(PartHeaders& headers, std::string_view line)
{
    const auto colon = line.find(':');
    if (colon == std::string_view::npos)
        malformed("A part has a malformed header.");
    const std::string_view name = trim(line.substr(0, colon));
    const std::string_view value = trim(line.substr(colon + 1));
    if (equalsIgnoringCase(name, "Content-Type")) {
        headers.contentType = value;
    } else if (equalsIgnoringCase(name, "Content-Disposition")) {
        if (!equalsIgnoringCase(trim(value.substr(0, value.find(';'))), "form-data"))
            malformed("A part is no form data.");
        headers.name = decodeNameEscapes(parameterOf(value, "name").value_or(""));
        if (const auto fileName = parameterOf(value, "filename"))
            headers.fileName = decodeNameEscapes(*fileName);
    }
}

PartHeaders parseHeaders(std::string_view block)
{
    PartHeaders headers;
    while (!block.empty()) {
        const auto end = block.find("\r\n");
        applyHeader(headers, block.substr(0, end));
        block.remove_prefix(end == std::string_view::npos ? block.size() : end + 2);
    }
    return headers;
}

} // namespace

std::optional<std::string> MultipartParser::boundaryOf(std::string_view contentType)
{
    const std::string_view type = trim(contentType.substr(0, contentType.find(';')));
    if (!equalsIgnoringCase(type, "multipart/form-data"))
        return std::nullopt;
    auto boundary = parameterOf(contentType, "boundary");
    if (!boundary || boundary->empty() || boundary->size() > BOUNDARY_BYTES || boundary->find_first_of("\r\n") != std::string::npos)
        return std::nullopt;
    return boundary;
}

MultipartParser::MultipartParser(const std::string& boundary, PartListener& listener)
    : m_listener(listener), m_delimiter("\r\n--" + boundary), m_buffer("\r\n")
{
    // The first boundary may open the body without the line end that belongs to all others, so the buffer begins with one.
}

void MultipartParser::feed(std::string_view bytes)
{
    if (isComplete())
        return;
    m_buffer += bytes;
    while (step()) {
    }
}

/// Deals with what is at the front of the buffer. \return false when more bytes are needed.
bool MultipartParser::step()
{
    switch (m_state) {
    case State::PREAMBLE:
        return skipPreamble();
    case State::AFTER_BOUNDARY:
        return readAfterBoundary();
    case State::HEADERS:
        return readHeaders();
    case State::DATA:
        return readData();
    case State::EPILOGUE:
        m_buffer.clear();
        return false;
    }
    return false;
}

/// \return whether a mark stands, or can only follow, behind the limit: the same in whatever pieces the body arrives.
bool MultipartParser::isBeyondLimit(std::size_t found, std::size_t markSize) const
{
    const std::size_t earliest = found != std::string::npos ? found : m_buffer.size() - std::min(m_buffer.size(), markSize - 1);
    return earliest > HEADER_LIMIT;
}

bool MultipartParser::skipPreamble()
{
    const auto found = m_buffer.find(m_delimiter);
    if (isBeyondLimit(found, m_delimiter.size()))
        malformed("The body does not begin with its boundary.");
    if (found == std::string::npos)
        return false;
    m_buffer.erase(0, found + m_delimiter.size());
    m_state = State::AFTER_BOUNDARY;
    return true;
}

bool MultipartParser::readAfterBoundary()
{
    // Blanks may follow a boundary before its line ends.
    const auto first = m_buffer.find_first_not_of(" \t");
    if (isBeyondLimit(first, 1))
        malformed("A boundary does not end.");
    if (first == std::string::npos || m_buffer.size() < first + 2)
        return false;
    const std::string_view next = std::string_view(m_buffer).substr(first, 2);
    if (next != "--" && next != "\r\n")
        malformed("A boundary is followed by something else than a part.");
    m_state = next == "--" ? State::EPILOGUE : State::HEADERS;
    // The line end stays: a part without headers begins with the empty line that ends them.
    m_buffer.erase(0, first);
    return true;
}

bool MultipartParser::readHeaders()
{
    constexpr std::string_view END = "\r\n\r\n";
    const auto end = m_buffer.find(END);
    if (isBeyondLimit(end, END.size()))
        malformed("The headers of a part are too long.");
    if (end == std::string::npos)
        return false;
    const PartHeaders headers = parseHeaders(end == 0 ? std::string_view() : std::string_view(m_buffer).substr(2, end - 2));
    // The line end before the data stays in the buffer, since it may be the one that opens a boundary: the part is empty then.
    m_buffer.erase(0, end + 2);
    m_skip = 2;
    m_state = State::DATA;
    m_listener.partBegins(headers);
    return true;
}

bool MultipartParser::readData()
{
    const auto found = m_buffer.find(m_delimiter);
    const bool ends = found != std::string::npos;
    // A boundary may have begun in the last bytes.
    const std::size_t tail = m_delimiter.size() - 1;
    const std::size_t certain = ends ? found : m_buffer.size() - std::min(m_buffer.size(), tail);
    if (certain > m_skip)
        m_listener.partData(std::string_view(m_buffer).substr(m_skip, certain - m_skip));
    if (certain > 0) {
        m_skip -= std::min(m_skip, certain);
        m_buffer.erase(0, certain);
    }
    if (!ends)
        return false;
    m_buffer.erase(0, m_delimiter.size());
    m_state = State::AFTER_BOUNDARY;
    m_listener.partEnds();
    return true;
}

} // namespace kinloomd
