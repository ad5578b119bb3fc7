// SPDX-License-Identifier: MIT
#include "tv/api/Handler.h"

#include "tv/media/PictureReply.h"

#include <memory>

namespace tv {

namespace {

constexpr std::size_t LONGEST_BODY = 64 * 1024;
constexpr std::string_view API = "/api/";
constexpr std::string_view MEDIA = "/media/";

bool begins(std::string_view path, std::string_view with) { return path.substr(0, with.size()) == with; }

} // namespace

Handler::Handler(Television& television, Gate& gate, const Page& page, const std::string& cacheFolder)
    : m_television(television),
      m_gate(gate),
      m_page(page),
      m_shows(television.index(), cacheFolder),
      m_context{television, m_shows, m_doubts}
{
}

httpd::Decision Handler::decide(const httpd::RequestHead& head, httpd::Connection& connection)
{
    if (auto stopped = m_gate.stop(head))
        return std::move(*stopped);
    const std::string_view path = head.path();
    if (begins(path, API))
        return decideApi(head, connection);
    if (begins(path, MEDIA)) {
        if (!m_television.isSomebodys())
            return failureReply(Refusal::GONE, "This television belongs to nobody.");
        connection.hold();
        return pictureReply(m_television.pictures(), head, connection);
    }
    if (auto file = m_page.answer(head))
        return std::move(*file);
    return failureReply(Refusal::NOT_FOUND, "There is nothing at this address.");
}

httpd::Decision Handler::decideApi(const httpd::RequestHead& head, httpd::Connection& connection)
{
    bool otherMethod = false;
    std::vector<std::string> pieces;
    const Route* const route = routeOf(head.method, head.path(), pieces, otherMethod);
    if (route == nullptr) {
        httpd::Reply reply = failureReply(Refusal::NOT_FOUND, "There is nothing at this address.");
        if (otherMethod)
            reply.status = 405;
        return reply;
    }
    auto request = std::make_shared<ApiRequest>(ApiRequest{head, connection, std::move(pieces), parametersOf(head.query()), {}});
    connection.hold();
    if (!head.bodySize || *head.bodySize > 0)
        return httpd::BodyInMemory{LONGEST_BODY,
                                   [this, route, request](std::string body) {
                                       request->body = std::move(body);
                                       return answer(*route, m_context, *request);
                                   },
                                   [] { return failureReply(Refusal::TOO_LONG, "That is too long."); }};
    return answer(*route, m_context, *request);
}

httpd::Reply Handler::refusal(const httpd::RequestHead&, const httpd::Refusal& refusal)
{
    httpd::Reply reply = failureReply(Refusal::BAD_REQUEST, refusal.reason);
    reply.status = refusal.status;
    return reply;
}

} // namespace tv
