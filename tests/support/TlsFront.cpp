// SPDX-License-Identifier: MIT
#include "support/TlsFront.h"

#include "support/OpenSsl.h"

#include <atomic>
#include <csignal>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace test {

namespace {

using Context = Owned<SSL_CTX, SSL_CTX_free>;

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

Context makeContext(const Certificate& certificate, TlsFront::Versions versions)
{
    Context context(SSL_CTX_new(TLS_server_method()));
    // Bad certificates and old versions are what tests want to see refused, by the other side.
    SSL_CTX_set_security_level(context.get(), 0);
    if (versions == TlsFront::Versions::OLD) {
        SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
        SSL_CTX_set_max_proto_version(context.get(), TLS1_1_VERSION);
    }
    const Owned<BIO, BIO_free_all> chain(BIO_new_mem_buf(certificate.chain.data(), static_cast<int>(certificate.chain.size())));
    const Owned<BIO, BIO_free_all> key(BIO_new_mem_buf(certificate.key.data(), static_cast<int>(certificate.key.size())));
    const Owned<X509, X509_free> first(PEM_read_bio_X509(chain.get(), nullptr, nullptr, nullptr));
    const Owned<EVP_PKEY, EVP_PKEY_free> own(PEM_read_bio_PrivateKey(key.get(), nullptr, nullptr, nullptr));
    if (SSL_CTX_use_certificate(context.get(), first.get()) != 1 || SSL_CTX_use_PrivateKey(context.get(), own.get()) != 1)
        throw std::runtime_error("the certificate cannot be used");
    while (X509* const next = PEM_read_bio_X509(chain.get(), nullptr, nullptr, nullptr))
        SSL_CTX_add_extra_chain_cert(context.get(), next);
    return context;
}

/// Has small pieces go out at once: a front that lets them wait for each other makes every exchange slow.
void hurry(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool sendAll(int socket, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = send(socket, data, size, MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace

struct TlsFront::State {
    State(std::uint16_t to, const Certificate& certificate, Versions versions)
        : backend(to), context(makeContext(certificate, versions))
    {
    }

    void accept();
    void serve(int client);
    void pass(SSL* tls, int client, int server);
    /// Takes a socket among those that the end closes. \return false when that has come.
    bool keep(int socket);
    void drop(int socket);

    const std::uint16_t backend;
    const Context context;
    int listener = -1;
    std::uint16_t port = 0;
    std::atomic<std::uint64_t> received{0};
    std::thread acceptor;

    std::mutex mutex;
    std::vector<std::thread> threads; // guarded by the mutex, like the next three
    std::set<int> open;
    std::vector<std::string> names;
    bool ending = false;
};

bool TlsFront::State::keep(int socket)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return !ending && open.insert(socket).second;
}

void TlsFront::State::drop(int socket)
{
    const std::lock_guard<std::mutex> lock(mutex);
    open.erase(socket);
    close(socket);
}

void TlsFront::State::accept()
{
    for (int client; (client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        const std::lock_guard<std::mutex> lock(mutex);
        threads.emplace_back([this, client] { serve(client); });
    }
}

void TlsFront::State::serve(int client)
{
    // OpenSSL writes without regard to it; a client that goes away in the middle must not end the test.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    const Owned<SSL, SSL_free> tls(SSL_new(context.get()));
    SSL_set_fd(tls.get(), client);
    hurry(client);
    if (keep(client) && SSL_accept(tls.get()) == 1) {
        const char* const name = SSL_get_servername(tls.get(), TLSEXT_NAMETYPE_host_name);
        {
            const std::lock_guard<std::mutex> lock(mutex);
            names.emplace_back(name != nullptr ? name : "");
        }
        const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(backend);
        hurry(server);
        if (keep(server) && connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            pass(tls.get(), client, server);
        drop(server);
        SSL_shutdown(tls.get());
    }
    drop(client);
}

void TlsFront::State::pass(SSL* tls, int client, int server)
{
    char block[64 << 10];
    while (true) {
        pollfd events[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        if (SSL_pending(tls) == 0 && poll(events, 2, -1) < 0)
            return;
        if (SSL_pending(tls) > 0 || events[0].revents != 0) {
            const int count = SSL_read(tls, block, sizeof block);
            if (count <= 0)
                return;
            received += static_cast<std::uint64_t>(count);
            if (!sendAll(server, block, static_cast<std::size_t>(count)))
                return;
        }
        if (events[1].revents != 0) {
            const ssize_t count = recv(server, block, sizeof block, 0);
            if (count <= 0 || SSL_write(tls, block, static_cast<int>(count)) <= 0)
                return;
        }
    }
}

TlsFront::TlsFront(std::uint16_t backend, const Certificate& certificate, Versions versions)
    : m_state(std::make_unique<State>(backend, certificate, versions))
{
    m_state->listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (bind(m_state->listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_state->listener, 64) != 0 ||
        getsockname(m_state->listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no port");
    m_state->port = ntohs(address.sin_port);
    m_state->acceptor = std::thread([this] { m_state->accept(); });
}

TlsFront::~TlsFront()
{
    shutdown(m_state->listener, SHUT_RDWR);
    m_state->acceptor.join();
    close(m_state->listener);
    {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->ending = true;
        for (const int socket : m_state->open)
            shutdown(socket, SHUT_RDWR);
    }
    for (std::thread& thread : m_state->threads)
        thread.join();
}

std::uint16_t TlsFront::port() const { return m_state->port; }

std::string TlsFront::url(const std::string& host, const std::string& rest) const
{
    return "https://" + host + ":" + std::to_string(port()) + rest;
}

std::vector<std::string> TlsFront::names() const
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->names;
}

std::uint64_t TlsFront::received() const { return m_state->received; }

} // namespace test
