// SPDX-License-Identifier: MIT
/// \file Names in place of numbers.
#ifndef KINLOOM_CORE_NAMING_H
#define KINLOOM_CORE_NAMING_H

#include <string>
#include <vector>

namespace kinloom {

/// Something that has a number and a name.
struct Named {
    std::string uid;
    std::string name;
};

/// Whether the word is to be taken for a number as it is: digits only, or nothing that could be a name.
bool isNumberWord(const std::string& word);

/// The number of what a word means. A word that begins with "name:" is the name behind that, also when it has digits only; another
/// one is a number or a name. Names that differ from the word in case alone count where none is the same.
/// \param kind for messages, such as "group". \param list what to look at instead: a sentence.
/// \throw Failure (usage) when the word is no text or means several, with their numbers; Failure (failed) when it means none.
std::string numberByName(const std::string& word, const std::vector<Named>& all, const std::string& kind, const std::string& list);

/// What to type for a thing: its name where that says which, else its number.
std::string wordFor(const Named& thing, const std::vector<Named>& all);

/// Refuses bytes that are no UTF-8. \param what names them in the message. \throw Failure (usage).
void requireText(const std::string& bytes, const std::string& what);

} // namespace kinloom

#endif
