// SPDX-License-Identifier: MIT
/// \file The provider that the plugin stands for.
#ifndef KINLOOM_CLIENT_PROVIDER_H
#define KINLOOM_CLIENT_PROVIDER_H

namespace kinloom {

/// Its name, which is also that of its section in the configuration file.
inline constexpr const char* PROVIDER = "Kinloom";

/// The options without which the plugin does not sign in.
inline constexpr const char* SIGN_IN_OPTIONS[] = {"app_id", "AuthToken", "duid"};

} // namespace kinloom

#endif
