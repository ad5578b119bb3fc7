// SPDX-License-Identifier: MIT
#include "replies/Samples.h"

#include <cstdint>
#include <cstdio>

namespace test {

namespace {

// Small differences between records, the same in every run.
std::uint32_t mix(std::size_t number, std::uint32_t salt)
{
    std::uint32_t value = static_cast<std::uint32_t>(number) * 2654435761u + salt * 40503u;
    value ^= value >> 15;
    value *= 2246822519u;
    return value ^ value >> 13;
}

std::string date(std::size_t number, std::uint32_t salt)
{
    const std::uint32_t value = mix(number, salt);
    char text[40];
    std::snprintf(text, sizeof text, "20%02u-%02u-%02uT%02u:%02u:%02uZ", 10 + value % 10, 1 + value / 16 % 12, 1 + value / 256 % 28,
                  value / 4096 % 24, value / 65536 % 60, value / 262144 % 60);
    return text;
}

std::string number(std::uint32_t value) { return std::to_string(value); }

const char* personName(std::size_t number)
{
    static const char* const NAMES[] = {"Anna",      "Bj\xC3\xB6rn", "Chlo\xC3\xA9",
                                        "Dong-hyun", "Eva & Tom",    "\xEA\xB9\x80\xEB\xAF\xBC\xEC\xA7\x80"};
    return NAMES[mix(number, 7) % std::size(NAMES)];
}

std::string url(const char* kind, std::size_t number)
{
    char text[160];
    std::snprintf(text, sizeof text, "http://media.kinloom.example/service/media/%s/%010zu/original?key=%08x%08x", kind, number,
                  mix(number, 1), mix(number, 2));
    return text;
}

std::string description(std::size_t number)
{
    static const char* const TEXTS[] = {"A day at the lake, with the new boat", "Grandma's 80th birthday <3", "",
                                        "\xF0\x9F\x8E\x82 and candles",
                                        "First steps! Everybody was watching, nobody had a camera ready"};
    return TEXTS[mix(number, 3) % std::size(TEXTS)];
}

Element shortUser(const char* name, std::size_t number)
{
    return Element(name, {{"userId", std::to_string(1000 + mix(number, 4) % 100)}, {"userName", personName(number)}},
                   {Element("thumbnail", {{"userImageThumbnail_72X72", url("users/72X72", mix(number, 4) % 100)}})});
}

Element fullUser(const char* name, std::size_t number)
{
    Element status("userStatus", {{"code", "1"}});
    status.text = "active";
    return Element(name,
                   {{"id", std::to_string(1000 + mix(number, 4) % 100)},
                    {"userName", personName(number)},
                    {"phoneNumber", "+49 30 5550" + std::to_string(number % 100)},
                    {"userImage", url("users/72X72", mix(number, 4) % 100)},
                    {"contentDelFlag", "N"},
                    {"userRegisterDate", date(number, 5)}},
                   {status});
}

Element thumbnails(std::size_t number)
{
    Element thumbnail("thumbnail");
    for (const char* const size : {"1920X1080", "540X405", "116X87"}) {
        Element image(std::string("contentThumbnail_") + size);
        image.text = url(size, number);
        thumbnail.children.push_back(image);
    }
    return thumbnail;
}

Element eventLink(std::size_t number)
{
    return Element("eventLink", {},
                   {Element("contentLink",
                            {{"ID", "e" + std::to_string(number)},
                             {"calendarID", "7"},
                             {"eventTitle", "Summer party"},
                             {"eventType", "family"},
                             {"eventStartDate", date(number, 8)},
                             {"eventEndDate", date(number, 9)},
                             {"eventDescription", description(number)},
                             {"eventRegisterDate", date(number, 10)}},
                            {fullUser("eventRegisterMember", number)})});
}

template <class Make> std::vector<Element> many(std::size_t count, Make&& make)
{
    std::vector<Element> elements;
    elements.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        elements.push_back(make(i));
    return elements;
}

} // namespace

Element feedContent(std::size_t n)
{
    return Element("content",
                   {{"contentId", std::to_string(100000 + n)},
                    {"contentType", n % 5 ? "photo" : "video"},
                    {"contentRegisterTime", date(n, 11)},
                    {"contentDesc", description(n)},
                    {"commentCount", number(mix(n, 12) % 40)}},
                   {Element("contentDetail",
                            {{"contentUrl", url("originals", n)},
                             {"size", number(mix(n, 13) % 9000000)},
                             {"format", "jpeg"},
                             {"width", "4032"},
                             {"height", "3024"},
                             {"createTime", date(n, 14)}},
                            {thumbnails(n)}),
                    shortUser("contentCreator", n)});
}

Element galleryContent(std::size_t n, std::size_t comments)
{
    Element content("content",
                    {{"id", std::to_string(100000 + n)},
                     {"galleryID", "g1"},
                     {"size", number(mix(n, 13) % 9000000)},
                     {"contentCreateDate", date(n, 14)},
                     {"contentExt", "jpg"},
                     {"format", "jpeg"},
                     {"width", "4032"},
                     {"height", "3024"},
                     {"contentUrl", url("originals", n)},
                     {"contentDesc", description(n)},
                     {"contentRegisterDate", date(n, 11)},
                     {"commentCount", std::to_string(comments)}},
                    {thumbnails(n), fullUser("contentRegisterMember", n)});
    for (std::size_t i = 0; i < comments; ++i)
        content.children.push_back(commentRecord(n * 1000 + i));
    return content;
}

Element groupRecord(std::size_t n)
{
    return Element("group",
                   {{"groupId", std::to_string(500 + n)},
                    {"groupName", std::string("Family ") + personName(n)},
                    {"groupDesc", description(n)},
                    {"totalContentCount", number(mix(n, 15) % 9000)},
                    {"photoCount", number(mix(n, 16) % 8000)},
                    {"audioCount", "0"},
                    {"videoCount", number(mix(n, 17) % 1000)},
                    {"commentCount", number(mix(n, 18) % 5000)}},
                   {Element("groupImage", {{"groupImageUrl", url("covers", n)}},
                            {Element("thumbnail", {{"groupImageThumbnail_274X204", url("covers/274X204", n)}})}),
                    shortUser("groupMaster", n)});
}

Element commentRecord(std::size_t n)
{
    return Element("comment",
                   {{"commentId", "c" + std::to_string(n)},
                    {"commentSize", "36"},
                    {"commentText", "What a picture! " + description(n)},
                    {"commentRegisterDate", date(n, 19)}},
                   {shortUser("commentCreator", n)});
}

std::string feedReply(std::size_t contents, Shape shape, Layout layout)
{
    return replyWithData(many(contents, feedContent), shape, layout);
}

std::string viewReply(std::size_t contents, std::size_t commentsEach, Shape shape, Layout layout)
{
    return replyWithData({Element("group", {{"groupId", "500"}},
                                  many(contents,
                                       [&](std::size_t n) {
                                           Element content = galleryContent(n, commentsEach);
                                           if (n % 4 == 0)
                                               content.children.push_back(eventLink(n));
                                           return content;
                                       }))},
                         shape, layout);
}

std::string groupsReply(std::size_t groups, Shape shape, Layout layout)
{
    return replyWithData(many(groups, groupRecord), shape, layout);
}

std::string commentsReply(std::size_t comments, Shape shape, Layout layout)
{
    std::vector<Element> elements = many(comments, commentRecord);
    elements.emplace_back("data");
    return reply(elements, shape, layout);
}

std::string galleryReply(std::size_t contents, Shape shape, Layout layout)
{
    return reply({Element("group", {},
                          {Element("gallery",
                                   {{"id", "g1"},
                                    {"galleryDate", date(1, 20)},
                                    {"galleryDescription", "Summer"},
                                    {"galleryRegisterDate", date(1, 21)}},
                                   many(contents, [](std::size_t n) { return galleryContent(n, 0); }))}),
                  Element("data")},
                 shape, layout);
}

} // namespace test
