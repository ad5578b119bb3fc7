// SPDX-License-Identifier: MIT
/// \file What is kept of a service's media, be they in its folder or in a store.
#ifndef TESTS_SERVICE_KEPTMEDIA_H
#define TESTS_SERVICE_KEPTMEDIA_H

#include <cstddef>
#include <string>

namespace kinloomd_test {

/// How many originals are kept.
std::size_t countOriginals(const std::string& dataFolder);
/// \return whether the original of a content is kept.
bool hasOriginal(const std::string& dataFolder, const std::string& content);
/// Has everything collected that is without a record, however young it is.
void collectAllUnknown(const std::string& dataFolder);

} // namespace kinloomd_test

#endif
