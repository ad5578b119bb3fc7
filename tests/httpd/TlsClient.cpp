// SPDX-License-Identifier: MIT
#include "TlsClient.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <stdexcept>

namespace test {

namespace {

void require(bool holds, const char* what)
{
    if (!holds)
        throw std::runtime_error(what);
}

int versionNumber(TlsClient::Version version)
{
    return version == TlsClient::Version::TLS1_1   ? TLS1_1_VERSION
           : version == TlsClient::Version::TLS1_2 ? TLS1_2_VERSION
                                                   : TLS1_3_VERSION;
}

using File = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

} // namespace

void writeCertificate(const std::string& name, const std::string& certificateFile, const std::string& keyFile)
{
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
    require(key && certificate, "cannot make a key");
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 24L * 3600);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME* const subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), subject);
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> names(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost"), &X509_EXTENSION_free);
    X509_add_ext(certificate.get(), names.get(), -1);
    require(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0, "cannot sign a certificate");
    const File certificateOut(std::fopen(certificateFile.c_str(), "w"), &std::fclose);
    const File keyOut(std::fopen(keyFile.c_str(), "w"), &std::fclose);
    require(certificateOut && keyOut && PEM_write_X509(certificateOut.get(), certificate.get()) == 1 &&
                PEM_write_PrivateKey(keyOut.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
            "cannot write a certificate");
}

struct TlsClient::State {
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context{SSL_CTX_new(TLS_client_method()), &SSL_CTX_free};
    std::unique_ptr<SSL, decltype(&SSL_free)> tls{nullptr, &SSL_free};
};

TlsClient::TlsClient(const std::string& address, Version version, const char* source)
    : m_connection(address, source), m_state(std::make_unique<State>())
{
    SSL_CTX_set_max_proto_version(m_state->context.get(), versionNumber(version));
    // Old versions are offered in earnest: it is the server that must refuse them.
    SSL_CTX_set_min_proto_version(m_state->context.get(), std::min(versionNumber(version), TLS1_2_VERSION));
    SSL_CTX_set_security_level(m_state->context.get(), 0);
    m_state->tls.reset(SSL_new(m_state->context.get()));
    SSL_set_fd(m_state->tls.get(), m_connection.socket());
    require(SSL_connect(m_state->tls.get()) == 1, "nothing was agreed on");
}

TlsClient::~TlsClient() { SSL_shutdown(m_state->tls.get()); }

std::string TlsClient::serverName() const
{
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(SSL_get1_peer_certificate(m_state->tls.get()), &X509_free);
    char name[256] = "";
    X509_NAME_get_text_by_NID(X509_get_subject_name(certificate.get()), NID_commonName, name, sizeof name);
    return name;
}

void TlsClient::send(std::string_view bytes)
{
    require(SSL_write(m_state->tls.get(), bytes.data(), static_cast<int>(bytes.size())) == static_cast<int>(bytes.size()),
            "the server does not take it");
}

bool TlsClient::fill()
{
    char block[16 * 1024];
    const int count = SSL_read(m_state->tls.get(), block, sizeof block);
    if (count > 0)
        m_buffer.append(block, static_cast<std::size_t>(count));
    return count > 0;
}

HttpReply TlsClient::receive()
{
    HttpReply reply;
    while (m_buffer.find("\r\n\r\n") == std::string::npos) {
        if (!fill())
            return reply;
    }
    const std::size_t headSize = m_buffer.find("\r\n\r\n") + 4;
    reply.status = std::stoi(m_buffer.substr(9, 3));
    for (std::size_t line = m_buffer.find("\r\n") + 2; line < headSize - 2; line = m_buffer.find("\r\n", line) + 2) {
        const auto colon = m_buffer.find(": ", line);
        std::string name = m_buffer.substr(line, colon - line);
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        reply.headers[name] = m_buffer.substr(colon + 2, m_buffer.find("\r\n", colon) - colon - 2);
    }
    const std::size_t length = std::stoul(reply.header("content-length"));
    while (m_buffer.size() < headSize + length) {
        if (!fill())
            break;
    }
    reply.whole = m_buffer.size() >= headSize + length;
    reply.body = m_buffer.substr(headSize, length);
    m_buffer.erase(0, headSize + length);
    return reply;
}

} // namespace test
