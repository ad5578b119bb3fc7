// SPDX-License-Identifier: MIT
/// \file Certificates, right and wrong ones, made when a test wants them.
#ifndef SUPPORT_CERTIFICATES_H
#define SUPPORT_CERTIFICATES_H

#include <memory>
#include <string>
#include <vector>

namespace test {

/// What a certificate is to be. As it stands it is a good one.
struct CertificateWish {
    std::vector<std::string> names = {"DNS:photos.example"}; ///< as OpenSSL writes alternative names
    long from = -3600;                                       ///< seconds from now
    long until = 3600;
    int rsaBits = 0;        ///< 0: an elliptic curve
    bool oldDigest = false; ///< signed with SHA-1
    std::string usage = "serverAuth";
    bool selfSigned = false;
};

/// A certificate, those that are sent with it, and its key, in PEM.
struct Certificate {
    std::string chain;
    std::string key;
    long serial = 0;
};

/// Someone who vouches for others. \throw std::runtime_error where OpenSSL fails.
class Authority {
public:
    explicit Authority(const std::string& name = "An authority of the tests");
    ~Authority();
    Authority(const Authority&) = delete;
    Authority& operator=(const Authority&) = delete;

    Certificate issue(const CertificateWish& wish = {});
    /// Its own certificate, in PEM.
    std::string certificate() const;
    /// A list of what it vouches for no longer, in PEM.
    std::string revocations(const std::vector<long>& serials) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace test

#endif
