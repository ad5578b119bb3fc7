// SPDX-License-Identifier: MIT
#include "output/Records.h"

#include "core/Text.h"

namespace kinloom {

namespace {

Json textOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

/// A number where the service sent one, else its text.
Json numberOrText(const std::string& text)
{
    if (const auto number = wholeNumber(text))
        return *number;
    return textOrNull(text);
}

Json dateOrNull(const W::WDateTime& date) { return date.isSet() ? Json(date.toString()) : Json(nullptr); }

Json resolutionOf(const W::WContent& content)
{
    const W::WSize size = content.getResolution();
    if (size == W::WSize())
        return nullptr;
    return {{"width", size.getWidth()}, {"height", size.getHeight()}};
}

Json toJson(const W::WEvent& event)
{
    return {{"id", event.getUID()},
            {"title", event.getTitle()},
            {"type", event.getType()},
            {"description", event.getDescription()},
            {"start", dateOrNull(event.getWhen().getStartTime())},
            {"end", dateOrNull(event.getWhen().getEndTime())}};
}

std::string sizeOf(const W::WContent& content)
{
    const auto bytes = wholeNumber(content.getSize());
    return bytes ? sizeText(static_cast<double>(*bytes)) : content.getSize();
}

std::string pixelsOf(const W::WContent& content)
{
    const W::WSize size = content.getResolution();
    return size == W::WSize() ? std::string() : std::to_string(size.getWidth()) + " x " + std::to_string(size.getHeight());
}

std::string kindOf(const W::WContent& content) { return content.getType().empty() ? content.getFormat() : content.getType(); }

} // namespace

std::string dateText(const W::WDateTime& date)
{
    if (!date.isSet())
        return {};
    const auto seconds = static_cast<std::time_t>(date.getSeconds());
    std::tm parts{};
    if (localtime_r(&seconds, &parts) == nullptr)
        return date.toString();
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts);
    return std::string(text, length);
}

const W::WDateTime& madeAt(const W::WContent& content)
{
    if (content.getCreateTime().isSet())
        return content.getCreateTime();
    return content.getCreateDate().isSet() ? content.getCreateDate() : sharedAt(content);
}

const W::WDateTime& sharedAt(const W::WContent& content)
{
    return content.getRegisterTime().isSet() ? content.getRegisterTime() : content.getRegisterDate();
}

Json toJson(const W::WPerson& person)
{
    return {{"id", person.getUID()}, {"name", person.getName()}, {"photo", textOrNull(person.getPhoto().getResourceURL())}};
}

/// Null where nothing is known of a person.
Json personOrNull(const W::WPerson& person)
{
    return person.getUID().empty() && person.getName().empty() ? Json(nullptr) : toJson(person);
}

Included includedBy(W::KL_OPTION_INCLUDE include)
{
    const bool all = include == W::KL_INCLUDE_ALL;
    const bool people = include == W::KL_INCLUDE_CREATOR || include == W::KL_INCLUDE_MEMBER;
    return {all || include == W::KL_INCLUDE_USAGE, all || people};
}

Json toJson(const W::WGroup& group, Included included)
{
    Json document = {{"id", group.getUID()}, {"name", group.getName()}, {"description", group.getDescription()}};
    if (included.creator)
        document["master"] = personOrNull(group.getMaster());
    if (included.usage) {
        document["contents"] = group.getTotalCount();
        document["photos"] = group.getPhotoCount();
        document["videos"] = group.getVideoCount();
        document["music"] = group.getAudioCount();
        document["comments"] = group.getCommentCount();
    }
    document["image"] = textOrNull(group.getImageUrl());
    return document;
}

Json toJson(const W::WComment& comment)
{
    return {{"id", comment.getUID()},
            {"text", comment.getComment()},
            {"size", numberOrText(comment.getSize())},
            {"written", dateOrNull(comment.getRegisterDate())},
            {"author", personOrNull(comment.getUser())}};
}

Json toJson(const W::WContent& content)
{
    Json thumbnails = Json::array();
    for (const W::WMediaResource& thumbnail : content.getThumbnails())
        thumbnails.push_back({{"name", thumbnail.getUID()}, {"url", thumbnail.getResourceURL()}});
    Json comments = Json::array();
    for (const W::WComment& comment : content.getComments())
        comments.push_back(toJson(comment));
    Json events = Json::array();
    for (const W::WEvent& event : content.getEvents())
        events.push_back(toJson(event));
    return {{"id", content.getUID()},
            {"type", textOrNull(content.getType())},
            {"format", textOrNull(content.getFormat())},
            {"description", content.getDescription()},
            {"size", numberOrText(content.getSize())},
            {"resolution", resolutionOf(content)},
            {"created", dateOrNull(madeAt(content))},
            {"uploaded", dateOrNull(sharedAt(content))},
            {"creator", personOrNull(content.getUser())},
            {"url", textOrNull(content.getResourceURL())},
            {"thumbnails", std::move(thumbnails)},
            {"comment_count", content.getCommentCount()},
            {"comments", std::move(comments)},
            {"events", std::move(events)}};
}

Table groupTable(const std::vector<W::WGroup>& groups, Included included)
{
    std::vector<Table::Column> columns = {{"ID"}, {"NAME", false, true}, {"DESCRIPTION", false, true}};
    if (included.creator)
        columns.push_back({"MASTER", false, true});
    if (included.usage)
        columns.insert(columns.end(), {{"PHOTOS", true}, {"COMMENTS", true}});
    Table table(columns);
    for (const W::WGroup& group : groups) {
        std::vector<std::string> cells = {group.getUID(), group.getName(), group.getDescription()};
        if (included.creator)
            cells.push_back(group.getMaster().getName());
        if (included.usage)
            cells.insert(cells.end(), {std::to_string(group.getPhotoCount()), std::to_string(group.getCommentCount())});
        table.add(cells);
    }
    return table;
}

Table feedTable(const std::vector<W::WContent>& contents)
{
    Table table({{"ID"},
                 {"KIND"},
                 {"TAKEN"},
                 {"BY", false, true},
                 {"PIXELS", true},
                 {"SIZE", true},
                 {"COMMENTS", true},
                 {"DESCRIPTION", false, true}});
    for (const W::WContent& content : contents) {
        table.add({content.getUID(), kindOf(content), dateText(madeAt(content)), content.getUser().getName(), pixelsOf(content),
                   sizeOf(content), std::to_string(content.getCommentCount()), content.getDescription()});
    }
    return table;
}

std::string commentTexts(const std::list<W::WComment>& comments, std::size_t columns)
{
    constexpr std::size_t INDENT = 4;
    const bool aligned = columns > 0;
    const std::string indent = aligned ? std::string(INDENT, ' ') : "\t";
    const std::string gap = aligned ? "  " : "\t";
    const std::size_t room = columns > 2 * INDENT ? columns - INDENT : INDENT;
    std::string text;
    for (const W::WComment& comment : comments) {
        text.append("comment ").append(neutralised(comment.getUID())).append(gap).append(dateText(comment.getRegisterDate()));
        text.append(gap).append(neutralised(comment.getUser().getName())).append("\n");
        for (const std::string& line : neutralisedLines(comment.getComment()))
            for (const std::string& piece : aligned ? wrapped(line, room) : std::vector<std::string>{line})
                text.append(piece.empty() ? "" : indent + piece).append("\n");
    }
    return text;
}

Sheet contentSheet(const W::WContent& content)
{
    Sheet sheet;
    sheet.add("id", content.getUID());
    sheet.add("kind", content.getType());
    sheet.add("format", content.getFormat());
    sheet.addText("description", content.getDescription());
    sheet.add("taken", dateText(madeAt(content)));
    sheet.add("uploaded", dateText(sharedAt(content)));
    sheet.add("by", content.getUser().getName());
    sheet.add("pixels", pixelsOf(content));
    sheet.add("size", sizeOf(content));
    sheet.add("url", content.getResourceURL());
    for (const W::WMediaResource& thumbnail : content.getThumbnails())
        sheet.add("thumbnail", thumbnail.getUID() + " " + thumbnail.getResourceURL());
    for (const W::WEvent& event : content.getEvents())
        sheet.add("event", event.getTitle() + " " + dateText(event.getWhen().getStartTime()));
    sheet.add("comments", std::to_string(content.getCommentCount()));
    return sheet;
}

Sheet commentSheet(const W::WComment& comment)
{
    Sheet sheet;
    sheet.add("id", comment.getUID());
    sheet.add("written", dateText(comment.getRegisterDate()));
    sheet.add("by", comment.getUser().getName());
    sheet.addText("text", comment.getComment());
    return sheet;
}

} // namespace kinloom
