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
        const std::int64_t count = copy(buffer, std::min(size, static_cast<std::size_t>(m_left)));
        m_position += count;
        m_left -= count;
        return count > 0 ? count : BROKEN;
    }

private:
    std::int64_t copy(char* buffer, std::size_t size) const
    {
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
        const std::int64_t size = httpd::sizeOf(reply.body).value_or(0);
        const std::int64_t stopAfter = std::min(size, fault.stallAfter ? *fault.stallAfter : *fault.cutAfter);
        auto broken = std::make_unique<BrokenBody>(std::move(reply.body), stopAfter, fault.stallAfter.has_value());
        reply.body = httpd::StreamBody{std::move(broken), size};
    }
    return reply;
}

} // namespace kinloomd
