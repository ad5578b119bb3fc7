// SPDX-License-Identifier: MIT
/// \file AWS Signature Version 4, as object stores take it: for requests, in a header, and for addresses.
#ifndef OBJECTS_SIGNATURE_H
#define OBJECTS_SIGNATURE_H

#include <chrono>
#include <ctime>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace objects {

/// Names and values, in their order.
using Fields = std::vector<std::pair<std::string, std::string>>;

/// Who asks. The session token is empty unless the keys were lent for a while.
struct Credentials {
    std::string accessKey;
    std::string secretKey;
    std::string sessionToken;
};

/// What a signature covers. Nothing in it is encoded; path and query go onto the wire as \c targetOf has them, and are signed so.
struct SignedRequest {
    std::string method;
    std::string path; ///< from the slash on
    Fields query;
    Fields headers; ///< all that are signed; "host" must be among them
};

/// A header's name in small letters.
std::string lowerCased(std::string name);
/// Escapes what is neither letter, digit nor one of "-._~", as signatures want it.
std::string percentEncoded(std::string_view text);
/// The same for a path, whose slashes stay.
std::string encodedPath(std::string_view path);
/// Path and query as they stand in a request line and in the signature: escaped, the query in order.
std::string targetOf(const SignedRequest& request);

/// A time as signatures have it: "20150830T123600Z".
std::string signatureTime(std::time_t time);

/// The payload's digest where the sender does not tell one.
constexpr std::string_view UNSIGNED_PAYLOAD = "UNSIGNED-PAYLOAD";

/// Signs with one secret for one region. Safe for several threads. Throws std::runtime_error when there is no digest to be had.
class Signer {
public:
    Signer(Credentials credentials, std::string region, std::string service = "s3");

    /// The value of the Authorization header. \param payloadDigest the SHA-256 of the body in hexadecimal digits, or
    /// UNSIGNED_PAYLOAD. \param time as the request's "x-amz-date" has it
    std::string authorization(const SignedRequest& request, std::string_view payloadDigest, std::time_t time) const;
    /// A target (path and query) by which anybody may send the request, without further headers, for so long from a time on.
    std::string presignedTarget(SignedRequest request, std::time_t time, std::chrono::seconds life) const;

private:
    std::string signature(const SignedRequest& request, std::string_view payloadDigest, std::time_t time) const;
    std::string scope(std::string_view day) const;

    Credentials m_credentials;
    std::string m_region;
    std::string m_service;
};

} // namespace objects

#endif
