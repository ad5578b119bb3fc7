// SPDX-License-Identifier: MIT
#include "server/Replies.h"

#include "support/Documents.h"

#include <charconv>

namespace bench {

namespace {

constexpr std::string_view SERVICE = "/openapi/service/kinloom/";
constexpr std::string_view BYTES = "/bytes/";

std::string reply(const std::string& status, const std::string& type, const std::string& body)
{
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body;
}

std::string document(const std::string& body) { return reply("200 OK", "text/xml", body); }

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

bool beginsWith(std::string_view text, std::string_view part) { return text.substr(0, part.size()) == part; }

/// The number behind a mark, or another when the mark is not there.
std::uint64_t numberBehind(std::string_view text, std::string_view mark, std::uint64_t otherwise)
{
    const std::size_t at = text.find(mark);
    if (at == std::string_view::npos)
        return otherwise;
    std::uint64_t number = otherwise;
    std::from_chars(text.data() + at + mark.size(), text.data() + text.size(), number);
    return number;
}

} // namespace

Replies::Replies(unsigned short port)
    : m_ok(document(documents::OK)),
      m_user(document(documents::USER)),
      m_slot(document(documents::slot("http://127.0.0.1:" + std::to_string(port) + "/sink"))),
      m_silentSlot(document(documents::slot("http://127.0.0.1:" + std::to_string(port) + "/silent"))),
      m_failed(reply("500 Internal Server Error", "text/plain", "Error=101\n")),
      m_forbidden(reply("403 Forbidden", "text/plain", "Error=104\n")),
      m_broken("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: 1000\r\n\r\n<rsp><result>"),
      m_notXml(document("503 come back later"))
{
}

Reply Replies::find(std::string_view path)
{
    if (beginsWith(path, BYTES)) {
        const std::uint64_t size = numberBehind(path, BYTES, 0);
        return {Reply::Kind::WHOLE, &fillerHead(size), size};
    }
    if (!beginsWith(path, SERVICE))
        return {Reply::Kind::WHOLE, &m_ok, 0, path != "/silent"};
    path.remove_prefix(SERVICE.size());
    if (contains(path, "records="))
        return {Reply::Kind::WHOLE,
                &kept("groups", documents::groups, static_cast<unsigned int>(numberBehind(path, "records=", 0)))};
    if (beginsWith(path, "fail-500/"))
        return {Reply::Kind::WHOLE, &m_failed};
    if (beginsWith(path, "fail-403/"))
        return {Reply::Kind::WHOLE, &m_forbidden};
    if (beginsWith(path, "fail-cut/"))
        return {Reply::Kind::CUT, &m_broken};
    if (beginsWith(path, "fail-xml/"))
        return {Reply::Kind::WHOLE, &m_notXml};
    if (beginsWith(path, "hold/"))
        return {Reply::Kind::NEVER};
    if (contains(path, "/feeds?"))
        return {Reply::Kind::WHOLE,
                &kept("contents", documents::contents, static_cast<unsigned int>(numberBehind(path, "search_count=", 30)))};
    if (beginsWith(path, "silent/upload"))
        return {Reply::Kind::WHOLE, &m_silentSlot};
    if (contains(path, "/upload"))
        return {Reply::Kind::WHOLE, &m_slot};
    if (beginsWith(path, "auth") || beginsWith(path, "register"))
        return {Reply::Kind::WHOLE, &m_user};
    return {Reply::Kind::WHOLE, &m_ok};
}

const std::string& Replies::kept(const std::string& key, std::string (*body)(unsigned int), unsigned int count)
{
    const auto [place, isNew] = m_kept.try_emplace(key + std::to_string(count));
    if (isNew)
        place->second = document(body(count));
    return place->second;
}

const std::string& Replies::fillerHead(std::uint64_t size)
{
    const auto [place, isNew] = m_kept.try_emplace("bytes" + std::to_string(size));
    if (isNew)
        place->second =
            "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n";
    return place->second;
}

} // namespace bench
