// SPDX-License-Identifier: MIT
#include "core/Naming.h"

#include "core/Errors.h"
#include "core/Text.h"

#include <algorithm>

namespace kinloom {

namespace {

constexpr std::string_view NAME_PREFIX = "name:";

bool beginsWithPrefix(const std::string& word) { return word.compare(0, NAME_PREFIX.size(), NAME_PREFIX) == 0; }

bool hasDigitsOnly(const std::string& word) { return word.find_first_not_of("0123456789") == std::string::npos; }

template <class Matches> std::vector<const Named*> allThat(const std::vector<Named>& all, Matches matches)
{
    std::vector<const Named*> found;
    for (const Named& one : all)
        if (matches(one))
            found.push_back(&one);
    return found;
}

std::vector<const Named*> thoseMeant(const std::string& word, const std::vector<Named>& all)
{
    const bool prefixed = beginsWithPrefix(word);
    const std::string name = prefixed ? word.substr(NAME_PREFIX.size()) : word;
    std::vector<const Named*> found;
    if (!prefixed)
        found = allThat(all, [&](const Named& one) { return one.uid == name; });
    if (found.empty())
        found = allThat(all, [&](const Named& one) { return one.name == name; });
    if (found.empty())
        found = allThat(all, [small = folded(name)](const Named& one) { return folded(one.name) == small; });
    return found;
}

} // namespace

bool isNumberWord(const std::string& word) { return hasDigitsOnly(word) || word == "." || word == ".."; }

std::string numberByName(const std::string& word, const std::vector<Named>& all, const std::string& kind, const std::string& list)
{
    requireText(word, "the name of a " + kind);
    const std::vector<const Named*> found = thoseMeant(word, all);
    if (found.size() == 1)
        return found.front()->uid;
    const std::string shown = "'" + neutralised(word) + "'";
    if (found.empty())
        throw Failure(Exit::FAILED, "there is no " + kind + " " + shown + " for you. " + list);
    std::string numbers;
    for (const Named* const one : found)
        numbers.append(numbers.empty() ? "" : ", ").append(neutralised(one->uid));
    throw Failure(Exit::USAGE, shown + " means " + std::to_string(found.size()) + " " + kind + "s: " + numbers +
                                   ". Name the one you mean by its number.");
}

std::string wordFor(const Named& thing, const std::vector<Named>& all)
{
    const bool plain = !thing.name.empty() && isText(thing.name) && neutralised(thing.name) == thing.name;
    const bool misread = !plain || hasDigitsOnly(thing.name) || thing.name.front() == '-' || beginsWithPrefix(thing.name) ||
                         isNumberWord(thing.name);
    if (misread || thoseMeant(thing.name, all).size() != 1)
        return thing.uid;
    return thing.name;
}

void requireText(const std::string& bytes, const std::string& what)
{
    if (!isText(bytes))
        throw Failure(Exit::USAGE, what + " is no valid UTF-8: '" + neutralised(bytes) +
                                       "'. Nothing was sent. Is the terminal set to another encoding?");
}

} // namespace kinloom
