// SPDX-License-Identifier: MIT
#include "server/Sending.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <sys/socket.h>

namespace kinloomd {

namespace {

using Response = std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)>;

constexpr std::size_t READ_BLOCK = 64 * 1024;
constexpr std::string_view GARBAGE = "\x16\x03<rsp><result><stat>ok</st\xFF\xFE& <![CDATA[ ]] </rsp><rsp\x01 x=\"";

/// A reply that stops in the middle: what it would have sent, where it stops, and how.
struct BrokenReply {
    std::string body;
    UniqueFd file;
    std::int64_t offset = 0;
    std::int64_t stopAfter = 0;
    bool stall = false;
    int socket = -1;
    const StopSignal* stop = nullptr;

    ssize_t read(std::uint64_t position, char* buffer, std::size_t size) const
    {
        const auto left = stopAfter - static_cast<std::int64_t>(position);
        if (left <= 0) {
            if (stall)
                stop->waitForHangUp(socket);
            return MHD_CONTENT_READER_END_WITH_ERROR;
        }
        size = std::min(size, static_cast<std::size_t>(left));
        if (file) {
            const ssize_t count = ::pread(file.get(), buffer, size, offset + static_cast<std::int64_t>(position));
            return count > 0 ? count : MHD_CONTENT_READER_END_WITH_ERROR;
        }
        std::memcpy(buffer, body.data() + position, size);
        return static_cast<ssize_t>(size);
    }
};

ssize_t readBroken(void* context, std::uint64_t position, char* buffer, std::size_t size)
{
    return static_cast<const BrokenReply*>(context)->read(position, buffer, size);
}

void freeBroken(void* context) { delete static_cast<BrokenReply*>(context); }

void freeText(void* context) { delete static_cast<std::string*>(context); }

Response wholeResponse(Reply& reply)
{
    if (reply.file) {
        return {MHD_create_response_from_fd_at_offset64(static_cast<std::uint64_t>(reply.length), reply.file.release(),
                                                        static_cast<std::uint64_t>(reply.offset)),
                &MHD_destroy_response};
    }
    auto* const text = new std::string(std::move(reply.body));
    return {MHD_create_response_from_buffer_with_free_callback_cls(text->size(), text->data(), &freeText, text),
            &MHD_destroy_response};
}

Response brokenResponse(Reply& reply, const Fault& fault, std::int64_t size, const StopSignal& stop, int socket)
{
    auto* const broken = new BrokenReply;
    broken->offset = reply.offset;
    broken->stall = fault.stallAfter.has_value();
    broken->stopAfter = std::min(size, fault.stallAfter ? *fault.stallAfter : *fault.cutAfter);
    broken->socket = socket;
    broken->stop = &stop;
    broken->body = std::move(reply.body);
    broken->file = std::move(reply.file);
    return {MHD_create_response_from_callback(static_cast<std::uint64_t>(size), READ_BLOCK, &readBroken, broken, &freeBroken),
            &MHD_destroy_response};
}

} // namespace

MHD_Result sendReply(MHD_Connection* connection, Reply& reply, const std::optional<Fault>& fault, const StopSignal& stop,
                     Connections& connections, int socket, bool closeAfter)
{
    if (fault && fault->garbage) {
        reply.file.reset();
        reply.body = GARBAGE;
        reply.status = MHD_HTTP_OK;
    }
    if (reply.status == MHD_HTTP_NO_CONTENT || reply.status == MHD_HTTP_NOT_MODIFIED)
        reply.body.clear();
    const std::int64_t size = reply.file ? reply.length : static_cast<std::int64_t>(reply.body.size());
    const bool broken = fault && (fault->stallAfter || fault->cutAfter);
    if (broken)
        connections.hold(socket);
    else
        connections.replying(socket, size);
    const Response response = broken ? brokenResponse(reply, *fault, size, stop, socket) : wholeResponse(reply);
    if (!response)
        return MHD_NO;
    MHD_add_response_header(response.get(), "Content-Type", reply.contentType.c_str());
    for (const auto& [name, value] : reply.headers)
        MHD_add_response_header(response.get(), name.c_str(), value.c_str());
    if (closeAfter)
        MHD_add_response_header(response.get(), "Connection", "close");
    return MHD_queue_response(connection, reply.status, response.get());
}

void resetConnection(int socket)
{
    // Connecting to nowhere takes a stream socket out of its connection at once, with a reset where anything was established.
    sockaddr nowhere{};
    nowhere.sa_family = AF_UNSPEC;
    ::connect(socket, &nowhere, sizeof nowhere);
}

} // namespace kinloomd
