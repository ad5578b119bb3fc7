// SPDX-License-Identifier: MIT
/// \file The Authorization header of signed requests.
#ifndef KINLOOMD_WIRE_AUTHORIZATION_H
#define KINLOOMD_WIRE_AUTHORIZATION_H

#include <optional>
#include <string>
#include <string_view>

namespace kinloomd {

/// The fields of the header.
struct Authorization {
    std::string identifier; ///< the scheme, "KL_AUTH_V1"
    std::string appId;
    std::string appType; ///< "dtv"
    std::string token;
    std::string tokenType; ///< "user"
    std::string duid;
    std::string signature;
};

/// Reads name="value" fields separated by commas; blanks may stand around fields and commas, quotes cannot be escaped. Fields with
/// other names are passed over.
/// \return nothing when the header breaks this grammar, or names a field twice.
std::optional<Authorization> parseAuthorization(std::string_view header);

} // namespace kinloomd

#endif
