// SPDX-License-Identifier: MIT
/// \file Bodies that mean harm.
#ifndef PLUGIN_REPLIES_HOSTILE_H
#define PLUGIN_REPLIES_HOSTILE_H

#include <functional>
#include <string>
#include <vector>

namespace test {

struct HostileBody {
    std::string name;
    std::string body;
    bool refused; ///< whether it must give -16; any other may give 0 too
};

/// A text so many times, at least \p size bytes of it.
std::string repeated(const std::string& text, std::size_t size);

/// Document types and what they declare. \p file and \p url are what they point at.
std::vector<HostileBody> documentTypes(const std::string& file, const std::string& url);
/// The same document in encodings that hide it from those who look for ASCII.
std::vector<HostileBody> disguises(const std::string& document, bool refused);

/// Bodies of any length that are expensive for their length.
struct Growth {
    std::string name;
    std::function<std::string(std::size_t size)> make;
    bool refused; ///< however long it is
};
const std::vector<Growth>& growths();

/// Byte strings that are no text, or no XML.
std::vector<HostileBody> brokenTexts();

} // namespace test

#endif
