// SPDX-License-Identifier: MIT
#include "core/ErrorDocument.h"

#include <algorithm>
#include <utility>

namespace kinloom {

namespace {

constexpr std::size_t LONGEST_SENTENCE = 300;

constexpr std::pair<std::string_view, char> ENTITIES[] = {
    {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&#39;", '\''}, {"&#34;", '"'}, {"&amp;", '&'},
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string unescaped(std::string_view text)
{
    std::string plain;
    while (!text.empty()) {
        const auto* const found = std::find_if(std::begin(ENTITIES), std::end(ENTITIES), [&](const auto& entity) {
            return text.substr(0, entity.first.size()) == entity.first;
        });
        if (found != std::end(ENTITIES)) {
            plain += found->second;
            text.remove_prefix(found->first.size());
        } else {
            plain += isBlank(text.front()) ? ' ' : text.front();
            text.remove_prefix(1);
        }
    }
    return plain;
}

/// The text up to a mark, if the mark is there.
std::string before(std::string_view text, std::string_view mark)
{
    const std::size_t end = text.find(mark);
    return end == std::string_view::npos ? std::string() : unescaped(text.substr(0, end));
}

/// At most so many bytes, ending between two characters.
void shorten(std::string& text, std::size_t limit)
{
    if (text.size() <= limit)
        return;
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0U) == 0x80)
        --limit;
    text.resize(limit);
}

} // namespace

std::string firstValue(std::string_view body, std::string_view name)
{
    for (std::size_t at = body.find(name); at != std::string_view::npos; at = body.find(name, at + 1)) {
        if (at == 0)
            continue;
        const char previous = body[at - 1];
        const std::string_view rest = body.substr(at + name.size());
        std::string value;
        if (previous == '<' && rest.substr(0, 1) == ">")
            value = before(rest.substr(1), "<");
        else if (isBlank(previous) && (rest.substr(0, 2) == "=\"" || rest.substr(0, 2) == "='"))
            value = before(rest.substr(2), rest.substr(1, 1));
        if (!value.empty())
            return value;
    }
    return {};
}

ErrorDocument ErrorDocument::read(std::string_view body)
{
    ErrorDocument document{firstValue(body, "code"), firstValue(body, "desc")};
    shorten(document.code, LONGEST_SENTENCE);
    shorten(document.sentence, LONGEST_SENTENCE);
    return document;
}

} // namespace kinloom
