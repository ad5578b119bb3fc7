// SPDX-License-Identifier: MIT
/// \file The plugin's options, and what is shown of any option. The client's are W::clientOptions().
#ifndef KINLOOM_COMMANDS_OPTIONS_H
#define KINLOOM_COMMANDS_OPTIONS_H

#include <string>

namespace kinloom {

/// The name of the plugin's section.
inline constexpr const char* PROVIDER_NAME = "Kinloom";

/// The options that the plugin reads.
inline constexpr const char* PROVIDER_KEYS[] = {"app_id", "AuthToken", "duid"};

/// The option's value as it may be shown: a token is masked whole, and so is the sign-in part of a URL.
std::string masked(const std::string& key, const std::string& value);

} // namespace kinloom

#endif
