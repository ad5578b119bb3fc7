// SPDX-License-Identifier: MIT
/// \file Names and values of a query or a form body.
#ifndef KINLOOMD_WIRE_FORMDECODER_H
#define KINLOOMD_WIRE_FORMDECODER_H

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kinloomd {

/// The decoded pairs of a query or body, in their order.
class Parameters {
public:
    void add(std::string name, std::string value) { m_pairs.emplace_back(std::move(name), std::move(value)); }
    /// Appends to the value of the last pair; nothing when there is none.
    void extendLast(std::string_view more)
    {
        if (!m_pairs.empty())
            m_pairs.back().second += more;
    }

    /// The value of the first pair of that name.
    std::optional<std::string_view> find(std::string_view name) const;
    /// The same, with the empty text for a pair that is not there.
    std::string_view get(std::string_view name) const { return find(name).value_or(std::string_view()); }

    const std::vector<std::pair<std::string, std::string>>& pairs() const { return m_pairs; }

private:
    std::vector<std::pair<std::string, std::string>> m_pairs;
};

/// Form-decodes one name or value: "+" is a blank, %XX a byte; a percent sign without two hexadecimal digits stands for itself.
std::string decodeFormText(std::string_view text);

/// Percent-decodes a piece of a path: as above, but "+" stands for itself.
std::string decodePathText(std::string_view text);

/// Decodes "name=value" pairs joined by "&". Empty pairs (a leading, trailing or double "&") are passed over. Clients may send text
/// as it was typed: a piece without "=" cannot be a pair, so it is taken for the continuation of a value that held a raw "&".
Parameters decodeForm(std::string_view form);

} // namespace kinloomd

#endif
