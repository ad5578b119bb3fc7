// SPDX-License-Identifier: MIT
#include "objects/Signature.h"

#include "common/Digest.h"

#include <algorithm>
#include <map>

namespace objects {

namespace {

constexpr std::string_view ALGORITHM = "AWS4-HMAC-SHA256";
constexpr std::size_t DAY_CHARACTERS = 8; ///< of a time: "20150830"

bool isUnreserved(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_' ||
           c == '~';
}

std::string encoded(std::string_view text, std::string_view kept)
{
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        if (isUnreserved(c) || kept.find(c) != std::string_view::npos) {
            result += c;
        } else {
            result += '%';
            result += DIGITS[static_cast<unsigned char>(c) >> 4];
            result += DIGITS[static_cast<unsigned char>(c) & 0x0F];
        }
    }
    return result;
}

/// Escaped, and only then in order: the escape character stands before what it stands for.
std::string canonicalQuery(const Fields& query)
{
    Fields sorted;
    sorted.reserve(query.size());
    for (const auto& [name, value] : query)
        sorted.emplace_back(percentEncoded(name), percentEncoded(value));
    std::sort(sorted.begin(), sorted.end());
    std::string text;
    for (const auto& [name, value] : sorted)
        text.append(text.empty() ? "" : "&").append(name).append("=").append(value);
    return text;
}

/// Without blanks at its ends, and with one where there were several.
std::string tightened(std::string_view value)
{
    std::string text;
    for (const char c : value) {
        const char mark = c == '\t' ? ' ' : c;
        if (mark != ' ' || (!text.empty() && text.back() != ' '))
            text += mark;
    }
    if (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

struct CanonicalHeaders {
    std::string lines;
    std::string names;
};

CanonicalHeaders canonicalHeaders(const Fields& headers)
{
    // Those of one name keep their order.
    std::multimap<std::string, std::string> sorted;
    for (const auto& [name, value] : headers)
        sorted.emplace(lowerCased(name), tightened(value));
    CanonicalHeaders canonical;
    for (auto field = sorted.begin(); field != sorted.end();) {
        const std::string& name = field->first;
        canonical.names.append(canonical.names.empty() ? "" : ";").append(name);
        canonical.lines.append(name).append(":").append(field->second);
        const auto last = sorted.upper_bound(name);
        for (++field; field != last; ++field)
            canonical.lines.append(",").append(field->second);
        canonical.lines += '\n';
    }
    return canonical;
}

} // namespace

std::string lowerCased(std::string name)
{
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return name;
}

std::string percentEncoded(std::string_view text) { return encoded(text, ""); }

std::string encodedPath(std::string_view path) { return encoded(path, "/"); }

std::string targetOf(const SignedRequest& request)
{
    const std::string query = canonicalQuery(request.query);
    return encodedPath(request.path) + (query.empty() ? "" : "?" + query);
}

std::string signatureTime(std::time_t time)
{
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
    return {text, length};
}

Signer::Signer(Credentials credentials, std::string region, std::string service)
    : m_credentials(std::move(credentials)), m_region(std::move(region)), m_service(std::move(service))
{
}

std::string Signer::scope(std::string_view day) const
{
    return std::string(day) + "/" + m_region + "/" + m_service + "/aws4_request";
}

std::string Signer::signature(const SignedRequest& request, std::string_view payloadDigest, std::time_t time) const
{
    const CanonicalHeaders headers = canonicalHeaders(request.headers);
    std::string canonical = request.method;
    canonical.append("\n").append(encodedPath(request.path));
    canonical.append("\n").append(canonicalQuery(request.query));
    canonical.append("\n").append(headers.lines);
    canonical.append("\n").append(headers.names);
    canonical.append("\n").append(payloadDigest);

    const std::string when = signatureTime(time);
    const std::string day = when.substr(0, DAY_CHARACTERS);
    std::string key = "AWS4" + m_credentials.secretKey;
    for (const std::string& step : {day, m_region, m_service, std::string("aws4_request")})
        key = common::hmacSha256(key, step);
    std::string text(ALGORITHM);
    text.append("\n").append(when).append("\n").append(scope(day)).append("\n").append(common::toHex(common::sha256(canonical)));
    return common::toHex(common::hmacSha256(key, text));
}

std::string Signer::authorization(const SignedRequest& request, std::string_view payloadDigest, std::time_t time) const
{
    const std::string day = signatureTime(time).substr(0, DAY_CHARACTERS);
    return std::string(ALGORITHM) + " Credential=" + m_credentials.accessKey + "/" + scope(day) +
           ", SignedHeaders=" + canonicalHeaders(request.headers).names + ", Signature=" + signature(request, payloadDigest, time);
}

std::string Signer::presignedTarget(SignedRequest request, std::time_t time, std::chrono::seconds life) const
{
    const std::string when = signatureTime(time);
    request.query.emplace_back("X-Amz-Algorithm", ALGORITHM);
    request.query.emplace_back("X-Amz-Credential", m_credentials.accessKey + "/" + scope(when.substr(0, DAY_CHARACTERS)));
    request.query.emplace_back("X-Amz-Date", when);
    request.query.emplace_back("X-Amz-Expires", std::to_string(life.count()));
    if (!m_credentials.sessionToken.empty())
        request.query.emplace_back("X-Amz-Security-Token", m_credentials.sessionToken);
    request.query.emplace_back("X-Amz-SignedHeaders", canonicalHeaders(request.headers).names);
    const std::string mark = signature(request, UNSIGNED_PAYLOAD, time);
    return targetOf(request) + "&X-Amz-Signature=" + mark;
}

} // namespace objects
