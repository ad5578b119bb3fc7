// SPDX-License-Identifier: MIT
#include "tv/media/PictureReply.h"

#include "common/UniqueFd.h"
#include "httpd/EntityTag.h"
#include "httpd/Text.h"
#include "kinloom/Encode.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <sys/eventfd.h>
#include <utility>

namespace tv {

namespace {

constexpr std::string_view MEDIA = "/media/";
constexpr std::size_t LONGEST_CONTENT = 1024;
/// A page asks each time whether its own is still the one: what was emptied here, or is another family's of the same identifier, is
/// shown from no browser's cache.
constexpr const char* CACHING = "private, no-cache";
/// Nobody looks at a page for longer than that without a picture.
constexpr std::chrono::seconds PATIENCE{60};

struct SizeName {
    std::string_view name;
    PictureSize size;
};
constexpr SizeName SIZES[] = {{"grid", PictureSize::GRID}, {"screen", PictureSize::SCREEN}, {"full", PictureSize::FULL}};

/// What becomes of a request for a picture that is not READY.
struct Answer {
    PictureResult result;
    unsigned status;
    const char* word;
    const char* sentence;
};
constexpr Answer ANSWERS[] = {
    {PictureResult::GONE, 404, "gone", "There is no such picture any more."},
    {PictureResult::BROKEN, 422, "broken", "The picture cannot be shown."},
    {PictureResult::AWAY, 503, "away", "The service does not give the picture now."},
};

struct Wish {
    std::string content;
    PictureSize size = PictureSize::GRID;
    PictureBox box;
};

/// Whatever a service may call a content: files have names of their own.
bool isContentName(std::string_view text)
{
    return !text.empty() && text.size() <= LONGEST_CONTENT && text != "." && text != ".." &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) > 0x1F && c != 0x7F && c != '/'; });
}

/// The value of a parameter that is a number of pixels; 0 without one.
int pixelsIn(std::string_view query, std::string_view name)
{
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(pair.size() + 1, query.size()));
        if (pair.size() > name.size() && pair.substr(0, name.size()) == name && pair[name.size()] == '=')
            return static_cast<int>(httpd::parseDecimal<std::uint16_t>(pair.substr(name.size() + 1)).value_or(0));
    }
    return 0;
}

std::optional<Wish> wishOf(const httpd::RequestHead& head)
{
    std::string_view path = head.path();
    if ((head.method != "GET" && head.method != "HEAD") || path.substr(0, MEDIA.size()) != MEDIA)
        return std::nullopt;
    path.remove_prefix(MEDIA.size());
    const auto slash = path.find('/');
    if (slash == std::string_view::npos)
        return std::nullopt;
    const std::string content = kinloom::percentDecode(path.substr(0, slash));
    if (!isContentName(content))
        return std::nullopt;
    for (const SizeName& one : SIZES) {
        if (one.name == path.substr(slash + 1))
            return Wish{content, one.size, {pixelsIn(head.query(), "width"), pixelsIn(head.query(), "height")}};
    }
    return std::nullopt;
}

void addSafety(httpd::Reply& reply)
{
    // A picture is shown as what it is, in this page, and never as a page of its own.
    reply.headers.emplace_back("X-Content-Type-Options", "nosniff");
    reply.headers.emplace_back("Content-Security-Policy", "default-src 'none'; sandbox");
    reply.headers.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
}

httpd::Reply failureReply(PictureResult result, std::chrono::seconds retryAfter)
{
    const Answer* const answer =
        std::find_if(std::begin(ANSWERS), std::end(ANSWERS), [&](const Answer& one) { return one.result == result; });
    httpd::Reply reply;
    reply.status = answer->status;
    reply.contentType = "application/json";
    reply.headers.emplace_back("Cache-Control", "no-store");
    if (result == PictureResult::AWAY)
        reply.headers.emplace_back("Retry-After", std::to_string(std::max<long long>(retryAfter.count(), 1)));
    addSafety(reply);
    reply.body = std::string(R"({"error":")") + answer->word + R"(","message":")" + answer->sentence + "\"}";
    return reply;
}

httpd::Reply readyReply(Picture picture, const httpd::RequestHead& head)
{
    httpd::Reply reply;
    reply.contentType = picture.type;
    reply.headers.emplace_back("ETag", picture.tag);
    reply.headers.emplace_back("Cache-Control", CACHING);
    addSafety(reply);
    if (httpd::listsTag(head.header("If-None-Match").value_or(""), picture.tag))
        reply.status = 304;
    else
        reply.body = httpd::FileBody{std::move(picture.file), picture.offset, picture.length};
    return reply;
}

/// A picture that one thread waits for and another one brings.
class Delivery {
public:
    Delivery() : m_bell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    void bring(Picture picture)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_picture = std::move(picture);
        }
        ::eventfd_write(m_bell.get(), 1);
    }
    std::optional<Picture> take()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::exchange(m_picture, std::nullopt);
    }
    int bell() const { return m_bell.get(); }

private:
    common::UniqueFd m_bell;
    std::mutex m_mutex;
    std::optional<Picture> m_picture;
};

} // namespace

httpd::Reply pictureReply(Pictures& pictures, const httpd::RequestHead& head, httpd::Connection& connection)
{
    const auto wish = wishOf(head);
    if (!wish)
        return failureReply(PictureResult::GONE, {});
    const auto delivery = std::make_shared<Delivery>();
    const Pictures::Ticket ticket =
        pictures.get(wish->content, wish->size, wish->box, [delivery](Picture picture) { delivery->bring(std::move(picture)); });
    if (ticket != 0) {
        connection.hold();
        if (connection.wait(delivery->bell(), PATIENCE) != httpd::Connection::Event::READABLE)
            pictures.cancel(ticket);
    }
    auto picture = delivery->take();
    if (!picture)
        return failureReply(PictureResult::AWAY, std::chrono::seconds(1));
    return picture->result == PictureResult::READY ? readyReply(std::move(*picture), head)
                                                   : failureReply(picture->result, picture->retryAfter);
}

} // namespace tv
