// SPDX-License-Identifier: MIT
/// \file Names for downloaded files.
#ifndef KINLOOM_FILES_FILENAME_H
#define KINLOOM_FILES_FILENAME_H

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kinloom {

/// A name that a file may have in any folder, made from text that others wrote: valid UTF-8 without separators and controls,
/// without a dot, blank or dash at its beginning, at most 200 bytes with its extension kept. Never empty.
std::string safeFileName(std::string_view text);

/// The name that a URL suggests: its path's last segment, decoded and made safe; \p otherwise when it suggests none.
std::string nameFromUrl(std::string_view url, std::string_view otherwise);

/// Checks a name that a person chose; it is taken as it is or not at all.
/// \throw Failure (usage) when it is empty, begins with a dot or a dash, has a separator or control in it, or is longer than 255
/// bytes.
void requireFileName(const std::string& name);

/// "photo.jpg" with the number 2 is "photo (2).jpg"; number 1 is the name itself.
std::string numberedName(const std::string& name, unsigned int number);

/// Remembers from which number on a name may be free, for folders in which many files want the same one: so that nobody asks for
/// each of its numbers every time.
class TakenNumbers {
public:
    /// The first number of a name's numbered forms that is not taken for good.
    /// \param isTaken whether a form is, from now on; each is asked for once, as long as the answer is yes.
    unsigned int firstFree(const std::string& name, const std::function<bool(const std::string& numbered)>& isTaken);

private:
    std::unordered_map<std::string, unsigned int> m_first;
};

/// Whether a name is another one, or one of its numbered forms.
bool isFormOf(const std::string& name, const std::string& other);

/// The usual file name extension of a MIME type or format name, with its dot; empty when there is none.
std::string extensionOf(std::string_view format);

} // namespace kinloom

#endif
