// SPDX-License-Identifier: MIT
// The television as a whole: its state, its settings, its guests, and what happens.
#include "httpd/Channel.h"
#include "httpd/Text.h"
#include "tv/api/Api.h"
#include "tv/service/Television.h"

#include <algorithm>

namespace tv {

namespace {

constexpr std::size_t MOST_WANTED = 200; ///< pictures that a page may want in advance
constexpr int LONGEST_SIDE = 100'000;    ///< more than any panel has; what is made is bounded apart from it

struct SizeWord {
    const char* word;
    PictureSize size;
};

constexpr SizeWord SIZES[] = {{"grid", PictureSize::GRID}, {"screen", PictureSize::SCREEN}, {"full", PictureSize::FULL}};

PictureSize sizeOf(const std::string& word)
{
    const auto* const found =
        std::find_if(std::begin(SIZES), std::end(SIZES), [&](const SizeWord& one) { return word == one.word; });
    if (found == std::end(SIZES))
        throw ApiError(Refusal::BAD_REQUEST, "size is grid, screen or full.");
    return found->size;
}

/// A bound of a picture; 0 when none is named.
int boundOf(const Json& picture, const char* name)
{
    const auto bound = picture.find(name);
    if (bound == picture.end())
        return 0;
    if (!bound->is_number_unsigned() || *bound > LONGEST_SIDE)
        throw ApiError(Refusal::BAD_REQUEST, std::string(name) + " is a number of pixels.");
    return bound->get<int>();
}

/// The last event that the page has seen, as far as it tells.
std::optional<std::uint64_t> lastSeen(const ApiRequest& request)
{
    const auto header = request.head.header("Last-Event-ID");
    const std::string& text = header ? *header : request.parameter("after");
    return text.empty() ? std::nullopt : httpd::parseDecimal<std::uint64_t>(text);
}

} // namespace

httpd::Reply getState(ApiContext& context, ApiRequest&) { return jsonReply(context.television.state()); }

httpd::Reply postPairing(ApiContext& context, ApiRequest& request)
{
    request.object();
    context.television.pairAgain();
    return jsonReply(context.television.state());
}

httpd::Reply postSignOut(ApiContext& context, ApiRequest& request)
{
    request.object();
    context.television.signOut();
    return jsonReply(context.television.state());
}

httpd::Reply getSettings(ApiContext& context, ApiRequest&) { return jsonReply(context.television.preferences().all()); }

httpd::Reply putSettings(ApiContext& context, ApiRequest& request)
{
    const Json settings = context.television.preferences().change(request.object());
    context.television.events().tell("settings", settings);
    return jsonReply(settings);
}

httpd::Reply postGuests(ApiContext& context, ApiRequest& request)
{
    Guests* const guests = context.television.guests();
    if (guests == nullptr)
        throw ApiError(Refusal::NOT_FOUND, "This television was started without guests; --lan lets them in.");
    const std::string id = textOf(request.object(), "group");
    const auto group = context.television.index().group(id);
    if (!group)
        throw ApiError(Refusal::NOT_FOUND, "There is no such group.");
    guests->start(id, group->name, GuestLimits());
    return jsonReply(context.television.guestsState());
}

httpd::Reply deleteGuests(ApiContext& context, ApiRequest&)
{
    Guests* const guests = context.television.guests();
    if (guests == nullptr)
        throw ApiError(Refusal::NOT_FOUND, "This television was started without guests.");
    guests->stop();
    return jsonReply(Json::object());
}

httpd::Reply postWatching(ApiContext& context, ApiRequest& request)
{
    const Json object = request.object();
    const auto contents = object.find("contents");
    if (contents == object.end() || !contents->is_array() || contents->size() > MOST_WANTED)
        throw ApiError(Refusal::BAD_REQUEST, "contents is a list of up to 200 pictures.");
    const std::string tab = object.contains("tab") ? textOf(object, "tab") : std::string();
    std::vector<WantedPicture> pictures;
    for (const Json& content : *contents) {
        if (!content.is_object())
            throw ApiError(Refusal::BAD_REQUEST, "contents is a list of pictures, each with id and size.");
        pictures.push_back(
            {textOf(content, "id"), sizeOf(textOf(content, "size")), {boundOf(content, "width"), boundOf(content, "height")}});
    }
    context.television.pictures().wantSoon(tab, pictures);
    return jsonReply(Json::object());
}

httpd::Reply getEvents(ApiContext& context, ApiRequest& request)
{
    Television& television = context.television;
    const Json state = television.state();
    httpd::Reply reply;
    reply.contentType = "text/event-stream; charset=utf-8";
    addDataHeaders(reply);
    reply.body = httpd::Channel::body(
        television.events().listen({{"version", {{"version", state["version"]}}}, {"state", state}}, lastSeen(request)));
    return reply;
}

} // namespace tv
