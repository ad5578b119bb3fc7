// SPDX-License-Identifier: MIT
#include "http/TlsCause.h"

#include "http/StatusMap.h"
#include "http/Url.h"

#include <algorithm>
#include <string_view>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// One way to fail. "{name}" stands for who was asked, "{file}" for the file of authorities.
struct Verdict {
    long number;          ///< OpenSSL's X509_V_ERR_...
    const char* bySystem; ///< when the system's authorities are trusted
    const char* byFile;   ///< when those of a file are; null: the same
};

constexpr char UNKNOWN_ISSUER[] = "no authority that this computer trusts vouches for the certificate of {name}: ca_file in the "
                                  "configuration can name another one, unless the service leaves out certificates in between";
constexpr char UNKNOWN_TO_FILE[] = "no authority in {file} vouches for the certificate of {name}: ca_file in the configuration is "
                                   "to hold the one that does, unless the service leaves out certificates in between";

constexpr char FORGED[] = "the certificate of {name} was not signed by the authority that it names";
constexpr char FORGED_BY_FILE[] = "the certificate of {name} was not signed by the authority of that name in {file}";

constexpr Verdict VERDICTS[] = {
    {2, UNKNOWN_ISSUER, UNKNOWN_TO_FILE},
    {3, "{file} holds no revocation list of the authority that vouches for the certificate of {name}", nullptr},
    {7, FORGED, FORGED_BY_FILE},
    {9, "the certificate of {name} is not valid yet: the service has to wait for it, or this computer's clock is wrong", nullptr},
    {10, "the certificate of {name} has expired: the service needs a new one, or this computer's clock is wrong", nullptr},
    {11, "the revocation list in {file} is not valid yet", nullptr},
    {12, "the revocation list in {file} has expired: its authority has a newer one", nullptr},
    {18, "the certificate of {name} is self-signed, and nothing here vouches for it: ca_file in the configuration can name it",
     "the certificate of {name} is self-signed, and not the one in {file}"},
    {19, "the authority that vouches for the certificate of {name} is not trusted here: ca_file in the configuration can name it",
     "the authority that vouches for the certificate of {name} is not in {file}"},
    {20, UNKNOWN_ISSUER, UNKNOWN_TO_FILE},
    {21, UNKNOWN_ISSUER, UNKNOWN_TO_FILE},
    {23, "the certificate of {name} was revoked by its authority: the service needs a new one", nullptr},
    {24, "the certificate of {name} was signed by one that may sign no others", nullptr},
    {26, "the certificate of {name} is not one for servers", nullptr},
    {66, "the key of the certificate of {name} is too weak: the service needs a longer one", nullptr},
    {67, "the key of the authority that vouches for the certificate of {name} is too weak", nullptr},
    {68, "the certificate of {name} is signed in a way that is too weak: the service needs a new one", nullptr},
    {79, "the certificate of {name} was signed by one that may sign no others", nullptr},
};

/// Failures without a verdict on a certificate: known by what libcurl, and below it OpenSSL, writes.
struct Saying {
    CURLcode result;
    std::string_view part; ///< of the text
    const char* bySystem;
    const char* byFile = nullptr;
};

constexpr char TOO_OLD[] = "{name} offers only versions of TLS that are too old: the service needs 1.2 or newer";
constexpr char NO_TLS[] = "what answers at {name} does not speak TLS: is its address one of http?";
constexpr char BROKEN_OFF[] = "{name} broke the connection off before it was encrypted";
constexpr char NO_LIST[] = "this computer's list of authorities cannot be read: ca_file in the configuration can name another one";
constexpr char BAD_FILE[] = "{file}, which ca_file in the configuration names, cannot be read or holds no certificates";

/// The first that fits counts.
constexpr Saying SAYINGS[] = {
    {CURLE_PEER_FAILED_VERIFICATION, "name", "the certificate that {name} shows is for other names, so it may be somebody else's"},
    {CURLE_SSL_CONNECT_ERROR, "protocol version", TOO_OLD},
    {CURLE_SSL_CONNECT_ERROR, "unsupported protocol", TOO_OLD},
    {CURLE_SSL_CONNECT_ERROR, "wrong version number", NO_TLS},
    {CURLE_SSL_CONNECT_ERROR, "packet length too long", NO_TLS},
    {CURLE_SSL_CONNECT_ERROR, "http request", NO_TLS},
    // A signature that does not verify.
    {CURLE_SSL_CONNECT_ERROR, "asn1 encoding routines", FORGED, FORGED_BY_FILE},
    {CURLE_SSL_CONNECT_ERROR, "rsa routines", FORGED, FORGED_BY_FILE},
    {CURLE_SSL_CONNECT_ERROR, "handshake failure", "{name} and this computer know no way of encryption in common"},
    {CURLE_SSL_CONNECT_ERROR, "SSL_ERROR_SYSCALL", BROKEN_OFF},
    {CURLE_SSL_CONNECT_ERROR, "unexpected eof", BROKEN_OFF},
    {CURLE_SSL_CONNECT_ERROR, "reset by peer", BROKEN_OFF},
    {CURLE_SSL_CACERT_BADFILE, "", NO_LIST, BAD_FILE},
    {CURLE_SSL_CRL_BADFILE, "", NO_LIST, BAD_FILE},
    {CURLE_SSL_CONNECT_ERROR, "", "no encrypted connection to {name}: {text}"},
};

void replace(std::string& text, std::string_view place, const std::string& with)
{
    if (const std::size_t at = text.find(place); at != std::string::npos)
        text.replace(at, place.size(), with);
}

template <class Entry> const char* sentenceOf(const Entry& entry, const TlsFailure& failure)
{
    return !failure.caFile.empty() && entry.byFile ? entry.byFile : entry.bySystem;
}

const char* sentenceFor(const TlsFailure& failure)
{
    if (failure.result == CURLE_PEER_FAILED_VERIFICATION)
        for (const Verdict& verdict : VERDICTS)
            if (verdict.number == failure.verification)
                return sentenceOf(verdict, failure);
    for (const Saying& saying : SAYINGS)
        if (saying.result == failure.result && failure.text.find(saying.part) != std::string::npos)
            return sentenceOf(saying, failure);
    return "the certificate of {name} is not acceptable: {text}";
}

/// The host that a URL names, and its port where it is an unusual one.
std::string peerOf(const std::string& url)
{
    constexpr std::string_view SLASHES = "://";
    constexpr std::string_view USUAL = ":443";
    std::string peer = originOf(url);
    if (const std::size_t scheme = peer.find(SLASHES); scheme != std::string::npos)
        peer.erase(0, scheme + SLASHES.size());
    if (peer.size() > USUAL.size() && peer.compare(peer.size() - USUAL.size(), USUAL.size(), USUAL) == 0)
        peer.erase(peer.size() - USUAL.size());
    return peer;
}

} // namespace

std::string causeOf(const TlsFailure& failure)
{
    if (!isTlsFailure(failure.result))
        return {};
    constexpr std::string_view ADVICE = ": ca_file in the configuration";
    std::string cause = sentenceFor(failure);
    if (failure.ofProxy)
        cause.erase(std::min(cause.find(ADVICE), cause.size()));
    // What others have written comes last, so that nothing is put into it.
    replace(cause, "{file}", failure.caFile);
    replace(cause, "{name}", (failure.ofProxy ? "the proxy " : "") + peerOf(failure.url));
    replace(cause, "{text}", failure.text);
    std::replace_if(
        cause.begin(), cause.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
    return cause;
}

} // namespace http
} // namespace W
