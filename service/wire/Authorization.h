// SPDX-License-Identifier: MIT
/// \file The Authorization header of signed requests, and the signature in it.
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

/// The signature of a request: HMAC-SHA1 of the token and one zero byte under the application id, in lowercase hexadecimal digits.
std::string requestSignature(std::string_view appId, std::string_view token);

} // namespace kinloomd

#endif
