// SPDX-License-Identifier: MIT
#include "httpd/Handler.h"

namespace httpd {

std::optional<std::int64_t> sizeOf(const Body& body)
{
    if (const auto* const file = std::get_if<FileBody>(&body))
        return file->length;
    if (const auto* const stream = std::get_if<StreamBody>(&body))
        return stream->length;
    return static_cast<std::int64_t>(std::get<std::string>(body).size());
}

Reply Handler::refusal(const RequestHead&, const Refusal& refusal)
{
    Reply reply;
    reply.status = refusal.status;
    reply.contentType = "text/plain; charset=utf-8";
    reply.body = std::string(refusal.reason) + "\n";
    return reply;
}

void Handler::ended(const RequestHead&, std::optional<unsigned>, std::chrono::steady_clock::duration) {}

} // namespace httpd
