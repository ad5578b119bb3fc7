// SPDX-License-Identifier: MIT
#include "support/RawServer.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <strings.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace test {

RawReply& RawReply::add(Step step)
{
    m_steps.push_back(std::move(step));
    return *this;
}

RawReply& RawReply::send(std::string bytes) { return add({Kind::SEND, std::move(bytes)}); }
RawReply& RawReply::sendEndlessly(std::string bytes, std::uint64_t limit) { return add({Kind::ENDLESS, std::move(bytes), limit}); }
RawReply& RawReply::drip(std::string bytes, std::size_t piece, std::chrono::milliseconds pause)
{
    return add({Kind::DRIP, std::move(bytes), std::max<std::size_t>(piece, 1), pause});
}
RawReply& RawReply::hold() { return add({Kind::HOLD, {}}); }
RawReply& RawReply::stall() { return add({Kind::STALL, {}}); }
RawReply& RawReply::close() { return add({Kind::CLOSE, {}}); }
RawReply& RawReply::reset() { return add({Kind::RESET, {}}); }

RawReply RawReply::ok(const std::string& body, const std::vector<std::string>& header) { return status(200, body, header); }

RawReply RawReply::status(int code, const std::string& body, const std::vector<std::string>& header)
{
    std::string bytes = "HTTP/1.1 " + std::to_string(code) + " Said\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    for (const std::string& line : header)
        bytes += line + "\r\n";
    return RawReply().send(bytes + "\r\n" + body);
}

std::string RawRequest::line() const { return head.substr(0, head.find("\r\n")); }

std::string RawRequest::target() const
{
    const std::string all = line();
    const std::size_t begin = all.find(' ') + 1;
    return all.substr(begin, all.rfind(' ') - begin);
}

std::vector<std::string> RawRequest::fields() const
{
    std::vector<std::string> lines;
    for (std::size_t begin = head.find("\r\n") + 2; begin + 2 < head.size();) {
        const std::size_t end = head.find("\r\n", begin);
        lines.push_back(head.substr(begin, end - begin));
        begin = end + 2;
    }
    return lines;
}

namespace {

std::optional<std::string> find(const RawRequest& request, const std::string& name)
{
    for (const std::string& line : request.fields())
        if (line.size() > name.size() && line[name.size()] == ':' && strncasecmp(line.c_str(), name.c_str(), name.size()) == 0)
            return line.substr(name.size() + 1);
    return std::nullopt;
}

} // namespace

bool RawRequest::has(const std::string& name) const { return find(*this, name).has_value(); }
std::string RawRequest::field(const std::string& name) const { return find(*this, name).value_or(""); }

struct RawServer::State {
    using Lock = std::unique_lock<std::mutex>;
    enum class Go { ON, END };

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    int listener = -1;
    int stopEvent = -1;    ///< readable for good once the server stops
    int releaseEvent = -1; ///< a semaphore: each read takes one release
    std::uint16_t port = 0;
    bool stopping = false;

    std::deque<RawReply> replies;
    std::function<RawReply(const RawRequest&)> rule;
    Greeting greeting = Greeting::READ;
    bool discard = false;

    std::vector<RawRequest> requests;
    std::size_t accepted = 0;
    std::size_t closed = 0;
    std::size_t waiting = 0;
    std::uint64_t sent = 0;

    std::thread acceptor;
    std::vector<std::thread> threads;

    /// Waits until a socket is ready. False: the server stops, or time is up.
    bool ready(int socket, short events, int timeoutMs = -1) const
    {
        pollfd sockets[2] = {{socket, events, 0}, {stopEvent, POLLIN, 0}};
        int result;
        do
            result = poll(sockets, 2, timeoutMs);
        while (result < 0 && errno == EINTR);
        return result > 0 && sockets[1].revents == 0;
    }

    template <class Condition> bool waitUntil(Condition condition, std::chrono::milliseconds patience) const
    {
        Lock lock(mutex);
        return changed.wait_for(lock, patience, condition);
    }

    void acceptAll()
    {
        while (ready(listener, POLLIN)) {
            const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (socket < 0)
                continue;
            const int on = 1;
            setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            const Lock lock(mutex);
            const std::size_t number = accepted++;
            changed.notify_all();
            threads.emplace_back([this, socket, number] { serve(socket, number); });
        }
    }

    void serve(int socket, std::size_t number)
    {
        Greeting how;
        {
            const Lock lock(mutex);
            how = greeting;
        }
        if (how == Greeting::READ)
            exchange(socket, number);
        else if (how == Greeting::RESET)
            breakConnection(socket);
        else if (how == Greeting::IGNORE)
            waitForPeer(socket, false);
        ::close(socket);
        const Lock lock(mutex);
        ++closed;
        changed.notify_all();
    }

    void exchange(int socket, std::size_t number)
    {
        std::string buffer;
        for (Go go = Go::ON; go == Go::ON;) {
            RawRequest request;
            request.connection = number;
            if (!readRequest(socket, buffer, request))
                return;
            go = perform(socket, answerTo(request));
        }
    }

    RawReply answerTo(const RawRequest& request)
    {
        Lock lock(mutex);
        requests.push_back(request);
        changed.notify_all();
        if (!replies.empty()) {
            RawReply reply = std::move(replies.front());
            replies.pop_front();
            return reply;
        }
        const auto answer = rule;
        lock.unlock();
        return answer ? answer(request) : RawReply::ok();
    }

    bool readMore(int socket, std::string& buffer) const
    {
        char piece[65536];
        for (;;) {
            if (!ready(socket, POLLIN))
                return false;
            const ssize_t got = recv(socket, piece, sizeof piece, 0);
            if (got > 0)
                buffer.append(piece, static_cast<std::size_t>(got));
            if (got < 0 && (errno == EAGAIN || errno == EINTR))
                continue;
            return got > 0;
        }
    }

    /// Reads one request from the front of the buffer and the socket.
    bool readRequest(int socket, std::string& buffer, RawRequest& request) const
    {
        std::size_t end;
        while ((end = buffer.find("\r\n\r\n")) == std::string::npos)
            if (!readMore(socket, buffer))
                return false;
        request.head = buffer.substr(0, end + 4);
        buffer.erase(0, end + 4);
        const bool whole = request.field("Transfer-Encoding").find("chunked") != std::string::npos
                               ? readChunks(socket, buffer, request)
                               : readLength(socket, buffer, request);
        request.bytes = request.head + request.body;
        return whole;
    }

    bool readLength(int socket, std::string& buffer, RawRequest& request) const
    {
        bool keep;
        {
            const Lock lock(mutex);
            keep = !discard;
        }
        const std::string length = request.field("Content-Length");
        std::uint64_t left = length.empty() ? 0 : std::stoull(length);
        request.bodySize = left;
        while (left > 0) {
            if (buffer.empty() && !readMore(socket, buffer))
                return false;
            const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size()));
            if (keep)
                request.body.append(buffer, 0, piece);
            buffer.erase(0, piece);
            left -= piece;
        }
        return true;
    }

    bool readChunks(int socket, std::string& buffer, RawRequest& request) const
    {
        std::size_t end;
        while ((end = buffer.find("\r\n0\r\n\r\n")) == std::string::npos && buffer.rfind("0\r\n\r\n", 0) != 0)
            if (!readMore(socket, buffer))
                return false;
        const std::size_t size = end == std::string::npos ? 5 : end + 7;
        request.body = buffer.substr(0, size);
        request.bodySize = size;
        buffer.erase(0, size);
        return true;
    }

    bool sendAll(int socket, const char* bytes, std::size_t size)
    {
        while (size > 0) {
            const ssize_t done = ::send(socket, bytes, size, MSG_NOSIGNAL);
            if (done < 0 && errno == EAGAIN) {
                if (!ready(socket, POLLOUT))
                    return false;
                continue;
            }
            if (done < 0 && errno == EINTR)
                continue;
            if (done <= 0)
                return false;
            bytes += done;
            size -= static_cast<std::size_t>(done);
            const Lock lock(mutex);
            sent += static_cast<std::uint64_t>(done);
            changed.notify_all();
        }
        return true;
    }

    Go perform(int socket, const RawReply& reply)
    {
        for (const RawReply::Step& step : reply.m_steps)
            if (perform(socket, step) == Go::END)
                return Go::END;
        return Go::ON;
    }

    Go perform(int socket, const RawReply::Step& step)
    {
        const auto onIf = [](bool go) { return go ? Go::ON : Go::END; };
        switch (step.kind) {
        case RawReply::Kind::SEND:
            return onIf(sendAll(socket, step.bytes.data(), step.bytes.size()));
        case RawReply::Kind::ENDLESS:
            for (std::uint64_t left = step.amount; left > 0; left -= std::min<std::uint64_t>(left, step.bytes.size()))
                if (!sendAll(socket, step.bytes.data(), static_cast<std::size_t>(std::min<std::uint64_t>(left, step.bytes.size()))))
                    return Go::END;
            return Go::ON;
        case RawReply::Kind::DRIP:
            return onIf(drip(socket, step));
        case RawReply::Kind::HOLD:
            return onIf(waitForPeer(socket, true));
        case RawReply::Kind::STALL:
            waitForPeer(socket, false);
            return Go::END;
        case RawReply::Kind::RESET:
            breakConnection(socket);
            return Go::END;
        case RawReply::Kind::CLOSE:
            break;
        }
        return Go::END;
    }

    bool drip(int socket, const RawReply::Step& step)
    {
        for (std::size_t at = 0; at < step.bytes.size(); at += step.amount) {
            const std::size_t size = std::min<std::size_t>(step.amount, step.bytes.size() - at);
            if (!sendAll(socket, step.bytes.data() + at, size))
                return false;
            // A peer that closes or a server that stops ends the pause.
            if (ready(socket, POLLRDHUP, static_cast<int>(step.pause.count())) || isStopping())
                return false;
        }
        return true;
    }

    bool isStopping() const
    {
        const Lock lock(mutex);
        return stopping;
    }

    /// Waits until the test releases the connection, if it may, or the peer closes it, or the server stops. True: released.
    bool waitForPeer(int socket, bool canRelease)
    {
        countWaiting(+1);
        bool released = false;
        for (bool over = false; !released && !over;) {
            pollfd events[3] = {{socket, POLLRDHUP, 0}, {stopEvent, POLLIN, 0}, {canRelease ? releaseEvent : -1, POLLIN, 0}};
            poll(events, 3, -1);
            eventfd_t taken;
            over = events[0].revents != 0 || events[1].revents != 0;
            // Another connection may have been faster.
            released = !over && events[2].revents != 0 && eventfd_read(releaseEvent, &taken) == 0;
        }
        countWaiting(-1);
        return released;
    }

    void countWaiting(int change)
    {
        const Lock lock(mutex);
        waiting += static_cast<std::size_t>(change);
        changed.notify_all();
    }

    static void breakConnection(int socket)
    {
        const linger now = {1, 0};
        setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }
};

RawServer::RawServer() : m_state(std::make_unique<State>())
{
    State& s = *m_state;
    s.listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    s.stopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    s.releaseEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (s.listener < 0 || s.stopEvent < 0 || s.releaseEvent < 0 ||
        bind(s.listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(s.listener, SOMAXCONN) != 0 ||
        getsockname(s.listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error(std::string("no port to listen on: ") + std::strerror(errno));
    s.port = ntohs(address.sin_port);
    s.acceptor = std::thread([&s] { s.acceptAll(); });
}

RawServer::~RawServer()
{
    State& s = *m_state;
    {
        const State::Lock lock(s.mutex);
        s.stopping = true;
    }
    eventfd_write(s.stopEvent, 1);
    s.acceptor.join();
    for (std::thread& thread : s.threads)
        thread.join();
    ::close(s.listener);
    ::close(s.stopEvent);
    ::close(s.releaseEvent);
}

std::uint16_t RawServer::port() const { return m_state->port; }
std::string RawServer::url(const std::string& rest) const { return "http://127.0.0.1:" + std::to_string(m_state->port) + rest; }

void RawServer::reply(RawReply reply)
{
    const State::Lock lock(m_state->mutex);
    m_state->replies.push_back(std::move(reply));
}

void RawServer::onRequest(std::function<RawReply(const RawRequest&)> rule)
{
    const State::Lock lock(m_state->mutex);
    m_state->rule = std::move(rule);
}

void RawServer::greet(Greeting greeting)
{
    const State::Lock lock(m_state->mutex);
    m_state->greeting = greeting;
}

void RawServer::discardBodies(bool discard)
{
    const State::Lock lock(m_state->mutex);
    m_state->discard = discard;
}

void RawServer::release() { eventfd_write(m_state->releaseEvent, 1); }

std::vector<RawRequest> RawServer::requests() const
{
    const State::Lock lock(m_state->mutex);
    return m_state->requests;
}

std::size_t RawServer::requestCount() const
{
    const State::Lock lock(m_state->mutex);
    return m_state->requests.size();
}

RawRequest RawServer::last() const
{
    const State::Lock lock(m_state->mutex);
    return m_state->requests.at(m_state->requests.size() - 1);
}

std::size_t RawServer::connectionCount() const
{
    const State::Lock lock(m_state->mutex);
    return m_state->accepted;
}

std::size_t RawServer::closedCount() const
{
    const State::Lock lock(m_state->mutex);
    return m_state->closed;
}

std::size_t RawServer::waitingCount() const
{
    const State::Lock lock(m_state->mutex);
    return m_state->waiting;
}

std::uint64_t RawServer::sentBytes() const
{
    const State::Lock lock(m_state->mutex);
    return m_state->sent;
}

bool RawServer::waitForRequests(std::size_t count, std::chrono::milliseconds patience) const
{
    return m_state->waitUntil([&] { return m_state->requests.size() >= count; }, patience);
}

bool RawServer::waitForConnections(std::size_t count, std::chrono::milliseconds patience) const
{
    return m_state->waitUntil([&] { return m_state->accepted >= count; }, patience);
}

bool RawServer::waitForClosed(std::size_t count, std::chrono::milliseconds patience) const
{
    return m_state->waitUntil([&] { return m_state->closed >= count; }, patience);
}

bool RawServer::waitForWaiting(std::size_t count, std::chrono::milliseconds patience) const
{
    return m_state->waitUntil([&] { return m_state->waiting >= count; }, patience);
}

bool RawServer::waitForSent(std::uint64_t bytes, std::chrono::milliseconds patience) const
{
    return m_state->waitUntil([&] { return m_state->sent >= bytes; }, patience);
}

} // namespace test
