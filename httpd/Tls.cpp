// SPDX-License-Identifier: MIT
#include "httpd/Tls.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509err.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace httpd {

namespace {

constexpr std::size_t FILE_BLOCK = 64 * 1024;

using Context = std::shared_ptr<SSL_CTX>;

std::string lastError()
{
    const unsigned long error = ERR_peek_last_error();
    const char* const reason = ERR_reason_error_string(error);
    ERR_clear_error();
    return reason == nullptr ? "it is not in PEM format" : reason;
}

/// Each part of the library numbers its reasons by itself.
bool isError(unsigned long error, int part, int reason) { return ERR_GET_LIB(error) == part && ERR_GET_REASON(error) == reason; }

void requireReadable(const char* what, const std::string& file)
{
    const UniqueFd opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    char byte = 0;
    if (!opened || ::read(opened.get(), &byte, 1) < 0)
        throw std::runtime_error(std::string("cannot read the ") + what + " '" + file +
                                 "': " + std::generic_category().message(errno));
}

/// Nobody is there to be asked for a passphrase.
int refusePassphrase(char*, int, int, void*) { return -1; }

/// Clients that offer a choice of protocols get the one that is spoken here.
int chooseProtocol(SSL*, const unsigned char** chosen, unsigned char* size, const unsigned char* offered, unsigned offeredSize,
                   void*)
{
    static constexpr unsigned char SPOKEN[] = "\x08http/1.1";
    unsigned char* found = nullptr;
    if (SSL_select_next_proto(&found, size, SPOKEN, sizeof SPOKEN - 1, offered, offeredSize) != OPENSSL_NPN_NEGOTIATED)
        return SSL_TLSEXT_ERR_NOACK;
    *chosen = found;
    return SSL_TLSEXT_ERR_OK;
}

Context load(const TlsFiles& files)
{
    requireReadable("certificate", files.certificate);
    requireReadable("key", files.key);
    ERR_clear_error();
    Context context(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free);
    if (!context)
        throw std::runtime_error("cannot set encryption up: " + lastError());
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER | SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_default_passwd_cb(context.get(), &refusePassphrase);
    SSL_CTX_set_alpn_select_cb(context.get(), &chooseProtocol, nullptr);
    if (SSL_CTX_use_certificate_chain_file(context.get(), files.certificate.c_str()) != 1)
        throw std::runtime_error("cannot use the certificate '" + files.certificate + "': " + lastError());
    if (SSL_CTX_use_PrivateKey_file(context.get(), files.key.c_str(), SSL_FILETYPE_PEM) != 1) {
        const unsigned long error = ERR_peek_last_error();
        if (isError(error, ERR_LIB_X509, X509_R_KEY_VALUES_MISMATCH) || isError(error, ERR_LIB_X509, X509_R_KEY_TYPE_MISMATCH)) {
            ERR_clear_error();
            throw std::runtime_error("the key '" + files.key + "' is not that of the certificate '" + files.certificate + "'");
        }
        throw std::runtime_error("cannot use the key '" + files.key + "': " + lastError());
    }
    if (SSL_CTX_check_private_key(context.get()) != 1)
        throw std::runtime_error("the key '" + files.key + "' is not that of the certificate '" + files.certificate + "'");
    return context;
}

class TlsTransport : public Transport {
public:
    TlsTransport(Context context, int socket, std::chrono::milliseconds idleTime, Counters& counters)
        : Transport(socket, idleTime, counters), m_context(std::move(context)), m_tls(SSL_new(m_context.get()), &SSL_free)
    {
        if (!m_tls || SSL_set_fd(m_tls.get(), socket) != 1)
            throw std::runtime_error("cannot set encryption up: " + lastError());
    }

    const char* scheme() const override { return "https"; }

    bool open() override
    {
        for (;;) {
            ERR_clear_error();
            const int done = SSL_accept(m_tls.get());
            if (done == 1)
                return m_open = true;
            const bool plain = isError(ERR_peek_error(), ERR_LIB_SSL, SSL_R_HTTP_REQUEST);
            if (await(outcomeOf(done)))
                continue;
            ++counters().failedHandshakes;
            if (plain) {
                answerPlain();
                // What the client has sent, nobody has read.
                finish();
            }
            return false;
        }
    }

    bool sendFile(int file, std::int64_t offset, std::int64_t length) override
    {
        std::string block(FILE_BLOCK, '\0');
        while (length > 0) {
            const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(length, FILE_BLOCK));
            const ssize_t count = ::pread(file, block.data(), wanted, offset);
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0 || !write(std::string_view(block).substr(0, static_cast<std::size_t>(count))))
                return false;
            offset += count;
            length -= count;
        }
        return true;
    }

protected:
    long tryRead(char* buffer, std::size_t size) override
    {
        ERR_clear_error();
        return outcomeOf(SSL_read(m_tls.get(), buffer, clamped(size)));
    }
    long tryWrite(std::string_view bytes, bool) override
    {
        ERR_clear_error();
        return outcomeOf(SSL_write(m_tls.get(), bytes.data(), clamped(bytes.size())));
    }
    void sendEnd() override
    {
        ERR_clear_error();
        if (m_open)
            SSL_shutdown(m_tls.get());
        ERR_clear_error();
    }

private:
    static int clamped(std::size_t size) { return static_cast<int>(std::min<std::size_t>(size, 1 << 30)); }

    long outcomeOf(int result)
    {
        if (result > 0)
            return result;
        switch (SSL_get_error(m_tls.get(), result)) {
        case SSL_ERROR_WANT_READ:
            return WANTS_READ;
        case SSL_ERROR_WANT_WRITE:
            return WANTS_WRITE;
        case SSL_ERROR_ZERO_RETURN:
            return 0;
        default:
            ERR_clear_error();
            m_open = false;
            return BROKEN;
        }
    }

    /// Whoever asks without encryption is told so in words that it understands.
    void answerPlain() const
    {
        constexpr std::string_view ANSWER = "HTTP/1.1 400 Bad Request\r\nContent-Type: text/plain; charset=utf-8\r\n"
                                            "Content-Length: 35\r\nConnection: close\r\n\r\nThis server speaks https, not http.";
        [[maybe_unused]] const ssize_t sent = ::send(socket(), ANSWER.data(), ANSWER.size(), MSG_NOSIGNAL);
    }

    Context m_context;
    std::unique_ptr<SSL, decltype(&SSL_free)> m_tls;
    bool m_open = false;
};

} // namespace

void requireUsable(const TlsFiles& files) { load(files); }

Tls::Tls(TlsFiles files) : m_files(std::move(files)), m_context(load(m_files)) {}

void Tls::reload()
{
    Context fresh = load(m_files);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_context.swap(fresh);
}

std::unique_ptr<Transport> Tls::accept(int socket, std::chrono::milliseconds idleTime, Counters& counters) const
{
    Context context;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        context = m_context;
    }
    return std::make_unique<TlsTransport>(std::move(context), socket, idleTime, counters);
}

} // namespace httpd
