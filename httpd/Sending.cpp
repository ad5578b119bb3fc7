// SPDX-License-Identifier: MIT
#include "httpd/Sending.h"

namespace httpd {

namespace {

constexpr std::size_t READ_BLOCK = 64 * 1024;

/// A source while the HTTP library reads from it.
struct Reading {
    BodySource& source;
    Connection& connection;
    ConnectionWatch& watch;
};

ssize_t readSource(void* context, std::uint64_t, char* buffer, std::size_t size)
{
    const auto& reading = *static_cast<const Reading*>(context);
    reading.connection.hold();
    std::int64_t count = BodySource::BROKEN;
    try {
        count = reading.source.read(buffer, size, reading.connection);
    } catch (...) { // NOLINT(bugprone-empty-catch): it stays broken
    }
    // The library would ask again and again for nothing.
    if (count <= 0)
        return count == BodySource::END ? MHD_CONTENT_READER_END_OF_STREAM : MHD_CONTENT_READER_END_WITH_ERROR;
    reading.watch.transferring(reading.connection.socket(), count);
    return static_cast<ssize_t>(count);
}

void freeReading(void* context) { delete static_cast<Reading*>(context); }

void freeText(void* context) { delete static_cast<std::string*>(context); }

} // namespace

MHD_Response* Sender::responseOf(std::string& body)
{
    auto* const text = new std::string(std::move(body));
    return MHD_create_response_from_buffer_with_free_callback_cls(text->size(), text->data(), &freeText, text);
}

MHD_Response* Sender::responseOf(FileBody& body)
{
    return MHD_create_response_from_fd_at_offset64(static_cast<std::uint64_t>(body.length), body.file.release(),
                                                   static_cast<std::uint64_t>(body.offset));
}

MHD_Response* Sender::responseOf(StreamBody& body)
{
    // Between two pieces the source may wait as long as it likes; the watch sees to it that the client takes each piece in time.
    MHD_set_connection_option(m_mhd, MHD_CONNECTION_OPTION_TIMEOUT, 0U);
    const std::uint64_t size = body.length ? static_cast<std::uint64_t>(*body.length) : MHD_SIZE_UNKNOWN;
    auto* const reading = new Reading{*body.source, m_connection, m_watch};
    return MHD_create_response_from_callback(size, READ_BLOCK, &readSource, reading, &freeReading);
}

MHD_Result Sender::send(Reply& reply, bool close)
{
    if (reply.status == MHD_HTTP_NO_CONTENT || reply.status == MHD_HTTP_NOT_MODIFIED)
        reply.body = std::string();
    m_watch.transferring(m_connection.socket(), sizeOf(reply.body).value_or(0));
    const std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)> response(
        std::visit([this](auto& body) { return responseOf(body); }, reply.body), &MHD_destroy_response);
    if (!response)
        return MHD_NO;
    if (!reply.contentType.empty())
        MHD_add_response_header(response.get(), "Content-Type", reply.contentType.c_str());
    for (const auto& [name, value] : reply.headers)
        MHD_add_response_header(response.get(), name.c_str(), value.c_str());
    if (close)
        MHD_add_response_header(response.get(), "Connection", "close");
    return MHD_queue_response(m_mhd, reply.status, response.get());
}

} // namespace httpd
