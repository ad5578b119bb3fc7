// SPDX-License-Identifier: MIT
// One content: its comments, and what is done with it from the couch.
#include "tv/api/Api.h"
#include "tv/api/CommentsInDoubt.h"
#include "tv/api/PageRecords.h"
#include "tv/api/Waiting.h"
#include "tv/service/FeedEntries.h"
#include "tv/service/Television.h"

#include <algorithm>

namespace tv {

namespace {

using namespace std::chrono_literals;

constexpr auto VIEW_PATIENCE = 10s;
/// For what is known without its comments: whoever looks at a photo of a service that is slow or stalled sees that soon.
constexpr auto SHORT_PATIENCE = 3s;
// Together less than a page waits for a comment that it sends: it must not take for a failure what is still under way.
constexpr auto COMMENT_PATIENCE = 18s;
constexpr auto LOOK_PATIENCE = 5s;
constexpr Millis CLOCKS = 5LL * 60 * 1000;    ///< by so much the service's clock may be behind
constexpr std::size_t LONGEST_COMMENT = 4096; ///< in characters, as the service takes them

std::size_t characters(const std::string& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

bool isBlank(const std::string& text) { return text.find_first_not_of(" \t\r\n") == std::string::npos; }

Json commentsOf(const W::WContent& content)
{
    Json comments = Json::array();
    for (const W::WComment& comment : content.getComments())
        comments.push_back(jsonOf(comment));
    return comments;
}

/// A list of contents that were chosen one by one.
Json listOf(Television& television, Favourites::Kind kind, const ApiRequest& request)
{
    const std::int64_t index = request.index();
    const std::int64_t count = request.count();
    const bool hidden = kind == Favourites::Kind::HIDDEN;
    std::vector<Index::Found> found;
    for (const std::string& content : television.favourites().list(kind))
        if (auto entry = television.index().find(content); entry && entry->hidden == hidden)
            found.push_back(std::move(*entry));
    Json contents = Json::array();
    const auto total = static_cast<std::int64_t>(found.size());
    for (std::int64_t place = index; place < total && place - index < count; ++place)
        contents.push_back(itemOf(television, found[static_cast<std::size_t>(place)].entry));
    return {{"total", total}, {"index", index}, {"contents", std::move(contents)}};
}

/// Something that a person has chosen for a content that is there.
void requireKnown(Television& television, const std::string& content)
{
    if (!television.index().find(content))
        throw ApiError(Refusal::GONE, "The photo is not there any more.");
}

/// A content as the service has it. What is known is shown while the service is away or does not answer, then this is nothing.
std::optional<W::WContent> viewContent(Television& television, const ApiRequest& request, bool known)
{
    const std::string& id = request.pieces[0];
    Connection& connection = television.connection();
    if (known && connection.standing() == Standing::AWAY)
        return std::nullopt;
    try {
        return callFor(request.connection, connection, kinloom::ViewContent{id}, known ? SHORT_PATIENCE : VIEW_PATIENCE);
    } catch (const CallTrouble& trouble) {
        if (trouble.trouble() == Trouble::NOT_FOUND) {
            television.drop(id);
            throw;
        }
        if (!known)
            throw;
        return std::nullopt;
    }
}

/// The last comment of a text among those of a content, by whoever this television belongs to where that is known, not written
/// before \p since.
const W::WComment* findComment(const Television& television, const W::WContent& content, const std::string& text, Millis since)
{
    const std::string person = television.person();
    const auto& comments = content.getComments();
    const auto found = std::find_if(comments.rbegin(), comments.rend(), [&](const W::WComment& comment) {
        const std::string& author = comment.getUser().getUID();
        return comment.getComment() == text && (author.empty() || person.empty() || author == person) &&
               millisOf(comment.getRegisterDate()) >= since;
    });
    return found == comments.rend() ? nullptr : &*found;
}

/// Sends a comment. One that was sent before, without an answer, is sent only where it is not there.
/// \return the comment, where it was there already.
std::optional<W::WComment> sendComment(ApiContext& context, const ApiRequest& request, const std::string& text)
{
    const std::string& id = request.pieces[0];
    Connection& connection = context.television.connection();
    if (const auto since = context.doubts.since(id, text)) {
        const W::WContent content = callFor(request.connection, connection, kinloom::ViewContent{id}, LOOK_PATIENCE);
        context.doubts.settle(id, text);
        if (const W::WComment* const written = findComment(context.television, content, text, *since - CLOCKS))
            return *written;
    }
    try {
        callFor(request.connection, connection, kinloom::CreateComment{id, text}, COMMENT_PATIENCE);
    } catch (const CallTrouble& trouble) {
        if (trouble.failure().unsettled)
            context.doubts.note(id, text);
        throw;
    }
    return std::nullopt;
}

} // namespace

httpd::Reply getContent(ApiContext& context, ApiRequest& request)
{
    Television& television = context.television;
    const std::string& id = request.pieces[0];
    const auto known = television.index().find(id);
    television.follower().watch(id);
    const auto content = viewContent(television, request, known.has_value());
    Entry entry = known ? known->entry : entryOf(*content, content->getGalleryID());
    Json comments = Json::array();
    if (content) {
        television.addresses().note({*content});
        comments = commentsOf(*content);
        entry.comments = std::max<std::int64_t>(content->getCommentCount(), static_cast<std::int64_t>(comments.size()));
        if (known && entry.comments != known->entry.comments)
            television.index().setComments(id, entry.comments);
        // The index keeps no more than the beginning of a long text.
        entry.description = content->getDescription();
    }
    const auto group = television.index().group(entry.group);
    return jsonReply({{"content", itemOf(television, entry)},
                      {"comments", std::move(comments)},
                      {"complete", content.has_value()},
                      {"total", group ? Json(visibleTotal(television, *group)) : Json(nullptr)}});
}

httpd::Reply postComment(ApiContext& context, ApiRequest& request)
{
    Television& television = context.television;
    const std::string& id = request.pieces[0];
    const std::string text = textOf(request.object(), "text");
    if (isBlank(text))
        throw ApiError(Refusal::BAD_REQUEST, "There is nothing in the comment.");
    if (characters(text) > LONGEST_COMMENT)
        throw ApiError(Refusal::TOO_LONG, "A comment has at most 4096 characters.");
    if (const auto there = sendComment(context, request, text))
        return jsonReply(jsonOf(*there), 201);
    // The service tells nothing of a comment that it has taken; it is found among the others, the last of its text.
    Json written = {{"id", nullptr}, {"text", text}, {"size", text.size()}, {"written", localTime(present())}, {"author", nullptr}};
    try {
        const W::WContent content = callFor(request.connection, television.connection(), kinloom::ViewContent{id}, LOOK_PATIENCE);
        if (const W::WComment* const found = findComment(television, content, text, 0))
            written = jsonOf(*found);
        television.index().setComments(id, content.getCommentCount());
    } catch (const CallTrouble&) {
        // It is written all the same.
    }
    if (const auto known = television.index().find(id))
        television.tellOfComment(known->entry.group, id);
    return jsonReply(written, 201);
}

httpd::Reply putMark(ApiContext& context, ApiRequest& request)
{
    const bool marked = flagOf(request.object(), "marked");
    requireKnown(context.television, request.pieces[0]);
    context.television.favourites().set(Favourites::Kind::MARKED, request.pieces[0], marked);
    return jsonReply({{"marked", marked}});
}

httpd::Reply putHide(ApiContext& context, ApiRequest& request)
{
    const bool hidden = flagOf(request.object(), "hidden");
    requireKnown(context.television, request.pieces[0]);
    context.television.setHidden(request.pieces[0], hidden);
    return jsonReply({{"hidden", hidden}});
}

httpd::Reply getHidden(ApiContext& context, ApiRequest& request)
{
    return jsonReply(listOf(context.television, Favourites::Kind::HIDDEN, request));
}

httpd::Reply getMarked(ApiContext& context, ApiRequest& request)
{
    return jsonReply(listOf(context.television, Favourites::Kind::MARKED, request));
}

} // namespace tv
