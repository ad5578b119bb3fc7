// SPDX-License-Identifier: MIT
/// \file Texts as programs are given them.
#ifndef SUPPORT_ARGUMENTPOINTERS_H
#define SUPPORT_ARGUMENTPOINTERS_H

#include <string>
#include <vector>

namespace test {

/// Pointers to the texts, and a null behind them, as exec and posix_spawn take arguments and environment. They last as long as the
/// texts stay as they are.
inline std::vector<char*> pointersTo(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str())); // of a time before const; neither writes through them
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace test

#endif
