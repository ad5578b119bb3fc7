// SPDX-License-Identifier: MIT
#include "wire/FormDecoder.h"

#include "httpd/Text.h"

namespace kinloomd {

namespace {

std::string decode(std::string_view text, bool plusIsBlank)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool whole = text[i] == '%' && i + 2 < text.size();
        const int high = whole ? httpd::hexDigit(text[i + 1]) : -1;
        const int low = whole ? httpd::hexDigit(text[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            result += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            result += plusIsBlank && text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

} // namespace

std::optional<std::string_view> Parameters::find(std::string_view name) const
{
    for (const auto& [key, value] : m_pairs) {
        if (key == name)
            return value;
    }
    return std::nullopt;
}

std::string decodeFormText(std::string_view text) { return decode(text, true); }

std::string decodePathText(std::string_view text) { return decode(text, false); }

Parameters decodeForm(std::string_view form)
{
    Parameters parameters;
    std::size_t emptyPieces = 0;
    while (!form.empty()) {
        const auto end = form.find('&');
        const std::string_view piece = form.substr(0, end);
        form.remove_prefix(end == std::string_view::npos ? form.size() : end + 1);
        const auto equals = piece.find('=');
        if (piece.empty()) {
            ++emptyPieces;
            continue;
        }
        if (equals == std::string_view::npos)
            parameters.extendLast(std::string(emptyPieces + 1, '&') + decodeFormText(piece));
        else
            parameters.add(decodeFormText(piece.substr(0, equals)), decodeFormText(piece.substr(equals + 1)));
        emptyPieces = 0;
    }
    return parameters;
}

} // namespace kinloomd
