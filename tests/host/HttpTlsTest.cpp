// SPDX-License-Identifier: MIT
#include "host/Client.h"

#include <atomic>
#include <csignal>
#include <curl/curl.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace test;

namespace {

template <auto Free> struct Deleter {
    template <class Object> void operator()(Object* object) const { Free(object); }
};
template <class Object, auto Free> using Owned = std::unique_ptr<Object, Deleter<Free>>;

/// A server with a certificate for 127.0.0.1 that only its owner vouches for. It answers each connection once, with "sealed".
class TlsServer {
public:
    TlsServer() : m_key(EVP_EC_gen("P-256")), m_certificate(X509_new()), m_context(SSL_CTX_new(TLS_server_method()))
    {
        makeCertificate();
        SSL_CTX_use_certificate(m_context.get(), m_certificate.get());
        SSL_CTX_use_PrivateKey(m_context.get(), m_key.get());
        m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(m_listener, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(m_listener, 8), 0);
        EXPECT_EQ(getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }
    ~TlsServer()
    {
        shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        close(m_listener);
    }
    std::string url(const std::string& host) const { return "https://" + host + ":" + std::to_string(m_port) + "/"; }
    int port() const { return m_port; }
    int answered() const { return m_answered; }
    void writeCertificate(const std::string& path) const
    {
        const Owned<FILE, fclose> file(fopen(path.c_str(), "w"));
        PEM_write_X509(file.get(), m_certificate.get());
    }

private:
    void makeCertificate()
    {
        X509* const c = m_certificate.get();
        X509_set_version(c, 2);
        ASN1_INTEGER_set(X509_get_serialNumber(c), 1);
        X509_gmtime_adj(X509_getm_notBefore(c), -3600);
        X509_gmtime_adj(X509_getm_notAfter(c), 3600);
        X509_NAME_add_entry_by_txt(X509_get_subject_name(c), "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("tests"),
                                   -1, -1, 0);
        X509_set_issuer_name(c, X509_get_subject_name(c));
        X509_set_pubkey(c, m_key.get());
        const Owned<X509_EXTENSION, X509_EXTENSION_free> name(
            X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1"));
        X509_add_ext(c, name.get(), -1);
        X509_sign(c, m_key.get(), EVP_sha256());
    }

    void serve()
    {
        // OpenSSL writes without regard to it; a client that goes away in the middle of a handshake must not end the test.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        for (int connection; (connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(connection)) {
            const Owned<SSL, SSL_free> tls(SSL_new(m_context.get()));
            SSL_set_fd(tls.get(), connection);
            char request[4096];
            if (SSL_accept(tls.get()) != 1 || SSL_read(tls.get(), request, sizeof request) <= 0)
                continue;
            ++m_answered;
            static constexpr char REPLY[] = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\nConnection: close\r\n\r\nsealed";
            SSL_write(tls.get(), REPLY, sizeof REPLY - 1);
            SSL_shutdown(tls.get());
        }
    }

    Owned<EVP_PKEY, EVP_PKEY_free> m_key;
    Owned<X509, X509_free> m_certificate;
    Owned<SSL_CTX, SSL_CTX_free> m_context;
    int m_listener = -1;
    int m_port = 0;
    std::atomic<int> m_answered{0};
    std::thread m_thread;
};

class HttpTls : public HttpTest {
protected:
    /// A request that trusts the server's own certificate.
    HttpRequest* makeTrusting(const std::string& url)
    {
        tls.writeCertificate(dir.file("ca.pem"));
        HttpRequest* const request = makeGet(url);
        curl_easy_setopt(request->getHandle(), CURLOPT_CAINFO, dir.file("ca.pem").c_str());
        return request;
    }
    TempDir dir;
    TlsServer tls;
};

TEST_F(HttpTls, SpeaksToAServerWithACertificateThatIsTrusted)
{
    const Outcome outcome = run(makeTrusting(tls.url("127.0.0.1")));
    EXPECT_EQ(outcome.status, SESSION_DONE);
    EXPECT_EQ(outcome.payload, "sealed");
}

TEST_F(HttpTls, TrustsNoCertificateThatNobodyVouchesFor)
{
    EXPECT_EQ(get(tls.url("127.0.0.1")).status, SESSION_PROTOCOL_ERROR);
    HttpRequest executed(HTTP_REQUEST_GET, tls.url("127.0.0.1"), HttpHeader(), "", nullptr, nullptr);
    EXPECT_EQ(executed.execute(), WSTATUS_FAILED);
    EXPECT_EQ(tls.answered(), 0);
}

TEST_F(HttpTls, TrustsNoCertificateOfAnotherHost)
{
    options([&](HttpOptions& o) { o.connectTo = {"other.example::127.0.0.1:" + std::to_string(tls.port())}; });
    EXPECT_EQ(run(makeTrusting(tls.url("other.example"))).status, SESSION_PROTOCOL_ERROR);
    EXPECT_EQ(tls.answered(), 0);
}

TEST_F(HttpTls, StaysStrictWhateverACallerSetsOnTheHandle)
{
    HttpRequest* const request = makeGet(tls.url("127.0.0.1"));
    curl_easy_setopt(request->getHandle(), CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(request->getHandle(), CURLOPT_SSL_VERIFYHOST, 0L);
    EXPECT_EQ(run(request).status, SESSION_PROTOCOL_ERROR);
}

} // namespace
