// SPDX-License-Identifier: MIT
/// \file The configuration's options, as the command line sees them.
#ifndef KINLOOM_COMMANDS_OPTIONS_H
#define KINLOOM_COMMANDS_OPTIONS_H

#include "whost/HttpOptions.h"

#include <string>

namespace kinloom {

/// The name of the plugin's section.
inline constexpr const char* PROVIDER_NAME = "Kinloom";

/// The options that the plugin reads.
inline constexpr const char* PROVIDER_KEYS[] = {"app_id", "AuthToken", "duid"};

/// One option of the HTTP client, and how it reads.
struct ClientKey {
    const char* key;
    std::string (*text)(const W::HttpOptions&);
};
/// All options of the HTTP client.
extern const ClientKey CLIENT_KEYS[];
extern const std::size_t CLIENT_KEY_COUNT;

/// The option's value as it may be shown: a token is masked whole, and so is the sign-in part of a URL.
std::string masked(const std::string& key, const std::string& value);

} // namespace kinloom

#endif
