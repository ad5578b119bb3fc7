// SPDX-License-Identifier: MIT
#include "support/Certificates.h"

#include "support/OpenSsl.h"

#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>
#include <stdexcept>

namespace test {

namespace {

using Key = Owned<EVP_PKEY, EVP_PKEY_free>;
using X509Pointer = Owned<X509, X509_free>;

void require(bool good, const char* what)
{
    if (!good)
        throw std::runtime_error(std::string("OpenSSL fails: ") + what);
}

Key makeKey(int rsaBits)
{
    Key key(rsaBits > 0 ? EVP_RSA_gen(static_cast<unsigned int>(rsaBits)) : EVP_EC_gen("P-256"));
    require(key != nullptr, "a key");
    return key;
}

X509Pointer makeCertificate(EVP_PKEY* key, const std::string& name, long serial, long from, long until)
{
    X509Pointer certificate(X509_new());
    X509* const c = certificate.get();
    require(c != nullptr, "a certificate");
    X509_set_version(c, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(c), serial);
    X509_gmtime_adj(X509_getm_notBefore(c), from);
    X509_gmtime_adj(X509_getm_notAfter(c), until);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(c), "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(name.c_str()),
                               -1, -1, 0);
    X509_set_pubkey(c, key);
    return certificate;
}

void extend(X509* certificate, int kind, const std::string& value)
{
    const Owned<X509_EXTENSION, X509_EXTENSION_free> extension(X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str()));
    require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, value.c_str());
}

/// What a function writes, as text.
template <class Write> std::string pem(Write write)
{
    const Owned<BIO, BIO_free_all> memory(BIO_new(BIO_s_mem()));
    require(memory && write(memory.get()) == 1, "writing PEM");
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return std::string(text, static_cast<std::size_t>(size));
}

std::string pemOf(X509* certificate)
{
    return pem([&](BIO* out) { return PEM_write_bio_X509(out, certificate); });
}

} // namespace

struct Authority::State {
    Key key = makeKey(0);
    X509Pointer certificate;
    long nextSerial = 100;
};

Authority::Authority(const std::string& name) : m_state(std::make_unique<State>())
{
    constexpr long DAY = 86'400;
    m_state->certificate = makeCertificate(m_state->key.get(), name, 1, -DAY, DAY);
    X509* const c = m_state->certificate.get();
    X509_set_issuer_name(c, X509_get_subject_name(c));
    extend(c, NID_basic_constraints, "critical,CA:TRUE");
    extend(c, NID_key_usage, "critical,keyCertSign,cRLSign");
    require(X509_sign(c, m_state->key.get(), EVP_sha256()) > 0, "signing an authority");
}

Authority::~Authority() = default;

Certificate Authority::issue(const CertificateWish& wish)
{
    const Key key = makeKey(wish.rsaBits);
    const long serial = m_state->nextSerial++;
    const X509Pointer certificate = makeCertificate(key.get(), "A service of the tests", serial, wish.from, wish.until);
    X509* const c = certificate.get();
    X509_set_issuer_name(c, X509_get_subject_name(wish.selfSigned ? c : m_state->certificate.get()));
    std::string names;
    for (const std::string& name : wish.names)
        names += (names.empty() ? "" : ",") + name;
    extend(c, NID_subject_alt_name, names);
    extend(c, NID_ext_key_usage, wish.usage);
    EVP_PKEY* const signer = wish.selfSigned ? key.get() : m_state->key.get();
    require(X509_sign(c, signer, wish.oldDigest ? EVP_sha1() : EVP_sha256()) > 0, "signing a certificate");
    return {pemOf(c),
            pem([&](BIO* out) { return PEM_write_bio_PrivateKey(out, key.get(), nullptr, nullptr, 0, nullptr, nullptr); }), serial};
}

std::string Authority::certificate() const { return pemOf(m_state->certificate.get()); }

std::string Authority::revocations(const std::vector<long>& serials) const
{
    const Owned<X509_CRL, X509_CRL_free> list(X509_CRL_new());
    const Owned<ASN1_TIME, ASN1_TIME_free> from(X509_gmtime_adj(nullptr, -60));
    const Owned<ASN1_TIME, ASN1_TIME_free> until(X509_gmtime_adj(nullptr, 3600));
    require(list && from && until, "a revocation list");
    X509_CRL_set_version(list.get(), 1);
    X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(m_state->certificate.get()));
    X509_CRL_set1_lastUpdate(list.get(), from.get());
    X509_CRL_set1_nextUpdate(list.get(), until.get());
    for (const long serial : serials) {
        const Owned<ASN1_INTEGER, ASN1_INTEGER_free> number(ASN1_INTEGER_new());
        X509_REVOKED* const revoked = X509_REVOKED_new();
        ASN1_INTEGER_set(number.get(), serial);
        X509_REVOKED_set_serialNumber(revoked, number.get());
        X509_REVOKED_set_revocationDate(revoked, from.get());
        require(X509_CRL_add0_revoked(list.get(), revoked) == 1, "revoking");
    }
    X509_CRL_sort(list.get());
    require(X509_CRL_sign(list.get(), m_state->key.get(), EVP_sha256()) > 0, "signing a revocation list");
    return pem([&](BIO* out) { return PEM_write_bio_X509_CRL(out, list.get()); });
}

} // namespace test
