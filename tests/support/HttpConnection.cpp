// SPDX-License-Identifier: MIT
#include "HttpConnection.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace test {

namespace {

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

} // namespace

HttpConnection::HttpConnection(const std::string& address, const char* source)
{
    const auto colon = address.rfind(':');
    std::string host = address.substr(0, colon);
    if (host.front() == '[')
        host = host.substr(1, host.size() - 2);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), address.substr(colon + 1).c_str(), &hints, &found) != 0)
        throw std::runtime_error("no address: " + address);
    m_socket = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    if (source != nullptr && (::inet_pton(AF_INET, source, &own.sin_addr) != 1 ||
                              ::bind(m_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0))
        throw std::runtime_error(std::string("cannot come from ") + source);
    const int failed = ::connect(m_socket, found->ai_addr, found->ai_addrlen);
    ::freeaddrinfo(found);
    if (failed != 0)
        throw std::runtime_error(std::string("cannot connect: ") + std::strerror(errno));
}

HttpConnection::~HttpConnection() { ::close(m_socket); }

bool HttpConnection::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void HttpConnection::hangUp() { ::shutdown(m_socket, SHUT_WR); }

bool HttpConnection::fill(std::chrono::milliseconds time)
{
    pollfd event = {m_socket, POLLIN, 0};
    m_error = 0;
    if (::poll(&event, 1, static_cast<int>(time.count())) <= 0) {
        m_error = ETIMEDOUT;
        return false;
    }
    char block[65536];
    const ssize_t count = ::recv(m_socket, block, sizeof block, 0);
    if (count <= 0) {
        m_error = count < 0 ? errno : 0;
        return false;
    }
    m_buffer.append(block, static_cast<std::size_t>(count));
    return true;
}

std::optional<std::string> HttpConnection::takeLine()
{
    std::size_t end = 0;
    while ((end = m_buffer.find("\r\n")) == std::string::npos) {
        if (!fill())
            return std::nullopt;
    }
    const std::string line = m_buffer.substr(0, end);
    m_buffer.erase(0, end + 2);
    return line;
}

std::optional<std::string> HttpConnection::takeBytes(std::size_t count)
{
    while (m_buffer.size() < count) {
        if (!fill())
            return std::nullopt;
    }
    const std::string bytes = m_buffer.substr(0, count);
    m_buffer.erase(0, count);
    return bytes;
}

HttpReply HttpConnection::receiveHead()
{
    HttpReply response;
    const auto first = takeLine();
    if (!first || first->size() < 12)
        return response;
    response.status = std::stoi(first->substr(9, 3));
    for (auto line = takeLine(); line && !line->empty(); line = takeLine()) {
        const auto colon = line->find(": ");
        response.headers[lowerCase(line->substr(0, colon))] = line->substr(colon + 2);
    }
    return response.status == 100 ? receiveHead() : response;
}

int HttpConnection::receiveInterim()
{
    const auto first = takeLine();
    for (auto line = first; line && !line->empty();)
        line = takeLine();
    return first && first->size() >= 12 ? std::stoi(first->substr(9, 3)) : 0;
}

std::optional<std::string> HttpConnection::receiveChunk()
{
    const auto size = takeLine();
    if (!size)
        return std::nullopt;
    auto chunk = takeBytes(std::stoul(*size, nullptr, 16));
    const auto end = takeLine();
    return chunk && end ? chunk : std::nullopt;
}

HttpReply HttpConnection::receive(bool headOnly)
{
    HttpReply response = receiveHead();
    if (response.status == 0)
        return response;
    if (response.header("transfer-encoding") == "chunked") {
        for (auto chunk = receiveChunk(); chunk; chunk = receiveChunk()) {
            response.whole = chunk->empty();
            if (response.whole)
                break;
            response.body += *chunk;
        }
        return response;
    }
    const bool empty = headOnly || response.status == 204 || response.status == 304;
    const std::size_t length = empty ? 0 : std::stoul("0" + response.header("content-length"));
    while (m_buffer.size() < length && fill()) {
    }
    response.whole = m_buffer.size() >= length;
    response.body = m_buffer.substr(0, length);
    m_buffer.erase(0, response.body.size());
    return response;
}

bool HttpConnection::waitForClose(std::chrono::milliseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        if (!fill(left))
            return m_error != ETIMEDOUT;
    }
}

} // namespace test
