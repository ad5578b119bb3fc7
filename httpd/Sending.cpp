// SPDX-License-Identifier: MIT
#include "httpd/Sending.h"

#include "httpd/Text.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace httpd {

namespace {

constexpr std::size_t READ_BLOCK = 64 * 1024;
constexpr std::size_t CHUNK_HEAD = 8; ///< of the largest block: its size in hexadecimal digits, and the end of the line

struct Phrase {
    unsigned status;
    const char* text;
};

constexpr Phrase PHRASES[] = {
    {200, "OK"},
    {201, "Created"},
    {202, "Accepted"},
    {204, "No Content"},
    {206, "Partial Content"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {408, "Request Timeout"},
    {409, "Conflict"},
    {411, "Length Required"},
    {412, "Precondition Failed"},
    {413, "Content Too Large"},
    {414, "URI Too Long"},
    {415, "Unsupported Media Type"},
    {416, "Range Not Satisfiable"},
    {421, "Misdirected Request"},
    {422, "Unprocessable Content"},
    {426, "Upgrade Required"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
    {505, "HTTP Version Not Supported"},
    {507, "Insufficient Storage"},
};

const char* phraseOf(unsigned status)
{
    const auto* const found =
        std::find_if(std::begin(PHRASES), std::end(PHRASES), [&](const Phrase& phrase) { return phrase.status == status; });
    return found == std::end(PHRASES) ? "Unknown" : found->text;
}

/// The present as a Date header has it, whatever the locale.
std::string dateText()
{
    constexpr const char* DAYS[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* MONTHS[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::time_t present = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&present, &parts);
    char text[64];
    std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d GMT", DAYS[parts.tm_wday], parts.tm_mday,
                  MONTHS[parts.tm_mon], parts.tm_year + 1900, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text;
}

void addHeader(std::string& head, std::string_view name, std::string_view value)
{
    // What holds the end of a line would be a header that nobody meant to send, or the end of the head.
    constexpr std::string_view ENDS("\r\n\0", 3);
    if (name.find_first_of(ENDS) != std::string_view::npos || value.find_first_of(ENDS) != std::string_view::npos)
        return;
    head.append(name).append(": ").append(value).append("\r\n");
}

} // namespace

bool Sender::send(Reply& reply, Manner manner)
{
    const bool bodiless = reply.status == 204 || reply.status == 304;
    if (bodiless)
        reply.body = std::string();
    const auto size = sizeOf(reply.body);
    const bool chunks = !size && manner.chunks;
    manner.close = manner.close || (!size && !manner.chunks);

    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " " + phraseOf(reply.status) + "\r\n";
    addHeader(head, "Date", dateText());
    if (!reply.contentType.empty())
        addHeader(head, "Content-Type", reply.contentType);
    for (const auto& [name, value] : reply.headers) {
        // What the connection does is said once, and done: a handler may have it closed behind its reply.
        if (equalsIgnoringCase(name, "Connection"))
            manner.close = manner.close || equalsIgnoringCase(value, "close");
        else
            addHeader(head, name, value);
    }
    if (size && !bodiless)
        addHeader(head, "Content-Length", std::to_string(*size));
    else if (chunks)
        addHeader(head, "Transfer-Encoding", "chunked");
    if (manner.close)
        addHeader(head, "Connection", "close");
    head += "\r\n";

    const bool sendsBody = !bodiless && !manner.headOnly && size.value_or(1) > 0;
    m_watch.transferring(m_connection.socket(), sendsBody ? size.value_or(0) : 0);
    // A stream may keep its client waiting for its first piece; the client should know by then what it waits for.
    const bool stream = std::holds_alternative<StreamBody>(reply.body);
    if (const auto* const text = std::get_if<std::string>(&reply.body); sendsBody && text != nullptr && text->size() <= READ_BLOCK)
        return m_transport.write(head += *text) && !manner.close;
    if (!m_transport.write(head, sendsBody && !stream))
        return false;
    return (!sendsBody || std::visit([&](const auto& body) { return sendBody(body, chunks); }, reply.body)) && !manner.close;
}

bool Sender::sendBody(const std::string& text, bool) { return m_transport.write(text); }

bool Sender::sendBody(const FileBody& file, bool) { return m_transport.sendFile(file.file.get(), file.offset, file.length); }

/// Each piece is made while the server holds the client, and must be taken in the time that its size allows.
bool Sender::sendBody(const StreamBody& stream, bool chunks)
{
    std::vector<char> block(CHUNK_HEAD + READ_BLOCK + 2);
    char* const bytes = block.data() + CHUNK_HEAD;
    for (std::int64_t sent = 0; !stream.length || sent < *stream.length;) {
        const auto wanted = stream.length ? std::min<std::int64_t>(*stream.length - sent, READ_BLOCK) : READ_BLOCK;
        m_connection.hold();
        std::int64_t count = BodySource::BROKEN;
        try {
            count = stream.source->read(bytes, static_cast<std::size_t>(wanted), m_connection);
        } catch (...) { // NOLINT(bugprone-empty-catch): it stays broken
        }
        m_watch.transferring(m_connection.socket(), std::max<std::int64_t>(count, 0));
        if (count == BodySource::END)
            return !stream.length && (!chunks || m_transport.write("0\r\n\r\n"));
        if (count <= 0)
            return false;
        sent += count;
        std::string_view piece(bytes, static_cast<std::size_t>(count));
        if (chunks) {
            char size[CHUNK_HEAD + 1];
            const auto digits = static_cast<std::size_t>(std::snprintf(size, sizeof size, "%zx\r\n", piece.size()));
            std::copy_n(size, digits, bytes - digits);
            std::copy_n("\r\n", 2, bytes + piece.size());
            piece = std::string_view(bytes - digits, digits + piece.size() + 2);
        }
        if (!m_transport.write(piece))
            return false;
    }
    return true;
}

} // namespace httpd
