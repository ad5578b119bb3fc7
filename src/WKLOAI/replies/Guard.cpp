// SPDX-License-Identifier: MIT
#include "WKLOAI/replies/Guard.h"

#include <algorithm>
#include <cstring>

namespace W::replies {

namespace {

bool begins(std::string_view text, std::string_view with) { return text.substr(0, with.size()) == with; }

/// Takes off what precedes and holds the mark, or everything when there is no mark. \return what was taken.
std::string_view takePast(std::string_view& text, std::string_view mark)
{
    const std::size_t found = text.find(mark);
    const std::string_view taken = text.substr(0, found == std::string_view::npos ? found : found + mark.size());
    text.remove_prefix(taken.size());
    return taken;
}

/// A document type can only stand before the root element, among blanks, comments and instructions. The parser has a hook that
/// stops it there too; but once it has found an error it calls no hooks, and still reads what the document type declares.
bool hasDocumentType(std::string_view text)
{
    constexpr std::string_view DOCUMENT_TYPE = "<!DOCTYPE";
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
        if (begins(text, "<!--")) {
            text.remove_prefix(4);
            takePast(text, "-->");
        } else if (begins(text, "<?")) {
            // Where a broken instruction ends is up to the parser.
            if (takePast(text, "?>").find(DOCUMENT_TYPE) != std::string_view::npos)
                return true;
        } else {
            return begins(text, DOCUMENT_TYPE);
        }
    }
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/// Whether what stands between one "<" and the next holds no start tag that is too much for the parser.
bool isBounded(std::string_view piece)
{
    if (piece.size() < 2 || isBlank(piece[1]) || std::strchr("!?/", piece[1]))
        return true; // none at all
    std::size_t attributes = 0;
    char quote = '\0';
    bool afterEquals = false;
    for (std::size_t i = 1; i < piece.size(); ++i) {
        const char c = piece[i];
        if (i > MAX_TAG)
            return false;
        if (quote != '\0') {
            if (c == quote)
                quote = '\0';
        } else if (c == '"' || c == '\'') {
            quote = c;
            if (afterEquals && ++attributes > MAX_ATTRIBUTES)
                return false;
        } else if (c == '>') {
            return true;
        }
        afterEquals = c == '=' || (afterEquals && isBlank(c));
    }
    return true;
}

/// No tag holds a "<", and the shortest attribute is five bytes long; so only where no "<" comes for a while can there be too many.
bool tagsAreBounded(std::string_view text)
{
    constexpr std::size_t STRIDE = 5 * MAX_ATTRIBUTES;
    std::size_t position = text.find('<');
    while (position != std::string_view::npos && text.size() - position > STRIDE) {
        const void* const last = memrchr(text.data() + position + 1, '<', STRIDE);
        if (last) {
            position = static_cast<std::size_t>(static_cast<const char*>(last) - text.data());
            continue;
        }
        const std::size_t next = text.find('<', position + STRIDE);
        if (!isBounded(text.substr(position, next == std::string_view::npos ? next : next - position)))
            return false;
        position = next;
    }
    return true;
}

} // namespace

bool isParsable(std::string_view text) { return text.size() <= MAX_BODY && !hasDocumentType(text) && tagsAreBounded(text); }

} // namespace W::replies
