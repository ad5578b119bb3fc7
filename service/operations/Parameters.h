// SPDX-License-Identifier: MIT
/// \file Parameters of requests, read with their limits.
#ifndef KINLOOMD_OPERATIONS_PARAMETERS_H
#define KINLOOMD_OPERATIONS_PARAMETERS_H

#include "operations/Documents.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace kinloomd {

class Service;

inline constexpr std::size_t NAME_CHARACTERS = 200;  ///< of a group
inline constexpr std::size_t TEXT_CHARACTERS = 4096; ///< of a description or a comment

/// A text that a person has written, made valid. Empty when it is not there; throws BAD_PARAMETER when it is too long.
std::string textParameter(const Parameters& parameters, const char* name, std::size_t maximum);

/// The same, of a text that is there. \param name what it is called when it is too long
std::string checkedText(std::string_view bytes, const char* name, std::size_t maximum);

/// A number; \p fallback when it is not there or empty. Throws BAD_PARAMETER for anything else.
std::uint32_t numberParameter(const Parameters& parameters, const char* name, std::uint32_t fallback);

/// The "search_count" of a page. Throws BAD_PARAMETER above the limit.
std::uint32_t pageSize(const Service& service, const Parameters& parameters, std::uint32_t fallback);

/// The identifier that a path or a parameter names. Throws NOT_FOUND for what cannot be one.
Id requireId(std::string_view text);

/// Reads "option_include": names joined by commas, or "none". Throws BAD_PARAMETER for other names.
Include includeParameter(const Parameters& parameters);

/// A word that a parameter may have, and what it stands for.
template <typename Value> struct Word {
    std::string_view name;
    Value value;
};

/// The value of a parameter's word; the first of the table when the parameter is not there or empty. Throws BAD_PARAMETER for
/// other words.
template <typename Value, std::size_t COUNT>
Value wordParameter(const Parameters& parameters, const char* name, const Word<Value> (&words)[COUNT])
{
    const std::string_view word = parameters.get(name);
    if (word.empty())
        return words[0].value;
    for (const Word<Value>& entry : words) {
        if (entry.name == word)
            return entry.value;
    }
    throw ServiceError(Failure::BAD_PARAMETER, std::string(name) + " has an unknown value.");
}

} // namespace kinloomd

#endif
