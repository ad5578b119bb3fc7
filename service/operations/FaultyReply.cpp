// SPDX-License-Identifier: MIT
#include "operations/FaultyReply.h"

#include <algorithm>
#include <cstring>

namespace kinloomd {

namespace {

constexpr std::string_view GARBAGE = "\x16\x03<rsp><result><stat>ok</st\xFF\xFE& <![CDATA[ ]] </rsp><rsp\x01 x=\"";

/// The first bytes of a body, and then the end that the fault asks for.
class BrokenBody : public httpd::BodySource {
public:
    BrokenBody(httpd::Body&& body, std::int64_t stopAfter, bool stall) : m_body(std::move(body)), m_left(stopAfter), m_stall(stall)
    {
    }

    std::int64_t read(char* buffer, std::size_t size, httpd::Connection& connection) override
    {
        if (m_left <= 0) {
            if (m_stall)
                connection.wait(-1);
            return BROKEN;
        }
        const std::int64_t count = copy(buffer, std::min(size, static_cast<std::size_t>(m_left)), connection);
        if (count <= 0)
            return count == 0 ? BROKEN : count;
        m_position += count;
        m_left -= count;
        return count;
    }

private:
    /// \return how many bytes, or what the source of a stream says.
    std::int64_t copy(char* buffer, std::size_t size, httpd::Connection& connection) const
    {
        if (const auto* const stream = std::get_if<httpd::StreamBody>(&m_body))
            return stream->source->read(buffer, size, connection);
        if (const auto* const file = std::get_if<httpd::FileBody>(&m_body))
            return ::pread(file->file.get(), buffer, size, file->offset + m_position);
        std::memcpy(buffer, std::get<std::string>(m_body).data() + m_position, size);
        return static_cast<std::int64_t>(size);
    }

    httpd::Body m_body;
    std::int64_t m_position = 0;
    std::int64_t m_left;
    bool m_stall;
};

} // namespace

httpd::Reply withFault(httpd::Reply reply, const Fault& fault)
{
    if (fault.garbage) {
        reply.body.emplace<std::string>(GARBAGE);
        reply.status = 200;
    }
    if (fault.stallAfter || fault.cutAfter) {
        // Announced is the size of the whole, where it is known; a stream that ends before the fault comes to it is whole.
        const std::optional<std::int64_t> size = httpd::sizeOf(reply.body);
        std::int64_t stopAfter = fault.stallAfter ? *fault.stallAfter : *fault.cutAfter;
        if (size)
            stopAfter = std::min(*size, stopAfter);
        auto broken = std::make_unique<BrokenBody>(std::move(reply.body), stopAfter, fault.stallAfter.has_value());
        reply.body = httpd::StreamBody{std::move(broken), size};
    }
    return reply;
}

} // namespace kinloomd
