// SPDX-License-Identifier: MIT
/// \file What the fuzzers of all targets but replies begin with.
#ifndef FUZZ_SEEDTEXTS_H
#define FUZZ_SEEDTEXTS_H

#include <map>
#include <string>
#include <vector>

namespace fuzz {

/// The inputs of each target.
const std::map<std::string, std::vector<std::string>>& seedTexts();

} // namespace fuzz

#endif
