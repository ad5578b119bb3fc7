// SPDX-License-Identifier: MIT
#include "tv/service/FeedEntries.h"

#include "httpd/Text.h"

#include <algorithm>

namespace tv {

namespace {

constexpr std::size_t LONGEST_TEXT = 1000; ///< bytes of a description or a name that are kept

/// The beginning of a text, ending between two characters.
std::string cut(const std::string& text)
{
    if (text.size() <= LONGEST_TEXT)
        return text;
    std::size_t length = LONGEST_TEXT;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80)
        --length;
    return text.substr(0, length);
}

constexpr std::pair<const char*, std::string PictureAddresses::*> THUMBNAILS[] = {
    {"contentThumbnail_540X405", &PictureAddresses::grid},
    {"contentThumbnail_1920X1080", &PictureAddresses::screen},
};

Millis firstOf(std::initializer_list<const W::WDateTime*> dates)
{
    const auto* const set = std::find_if(dates.begin(), dates.end(), [](const W::WDateTime* date) { return date->isSet(); });
    return set == dates.end() ? 0 : millisOf(**set);
}

} // namespace

Millis millisOf(const W::WDateTime& date)
{
    constexpr std::int64_t PER_SECOND = 1000;
    constexpr std::int64_t NANOSECONDS = 1'000'000;
    return date.isSet() ? date.getSeconds() * PER_SECOND + date.getNanoseconds() / NANOSECONDS : 0;
}

Entry entryOf(const W::WContent& content, const std::string& group)
{
    Entry entry;
    entry.id = content.getUID();
    entry.group = group;
    entry.created =
        firstOf({&content.getCreateTime(), &content.getCreateDate(), &content.getRegisterTime(), &content.getRegisterDate()});
    entry.uploaded = firstOf({&content.getRegisterTime(), &content.getRegisterDate()});
    entry.width = std::max(0, content.getResolution().getWidth());
    entry.height = std::max(0, content.getResolution().getHeight());
    entry.size = httpd::parseDecimal<std::int64_t>(content.getSize()).value_or(0);
    entry.type = cut(content.getType());
    entry.format = cut(content.getFormat());
    entry.description = cut(content.getDescription());
    entry.creator = content.getUser().getUID();
    entry.creatorName = cut(content.getUser().getName());
    entry.comments = content.getCommentCount();
    return entry;
}

GroupEntry entryOf(const W::WGroup& group)
{
    GroupEntry entry;
    entry.id = group.getUID();
    entry.name = cut(group.getName());
    entry.description = cut(group.getDescription());
    entry.master = group.getMaster().getUID();
    entry.masterName = cut(group.getMaster().getName());
    entry.total = group.getTotalCount();
    entry.photos = group.getPhotoCount();
    entry.videos = group.getVideoCount();
    entry.music = group.getAudioCount();
    entry.comments = group.getCommentCount();
    return entry;
}

PictureAddresses addressesOf(const W::WContent& content)
{
    PictureAddresses addresses;
    addresses.original = content.getResourceURL();
    for (const W::WMediaResource& thumbnail : content.getThumbnails())
        for (const auto& [name, member] : THUMBNAILS)
            if (thumbnail.getUID() == name && (addresses.*member).empty())
                addresses.*member = thumbnail.getResourceURL();
    return addresses;
}

std::vector<W::WContent> pageOf(std::vector<W::WContent> reply, unsigned int count, bool& more)
{
    more = reply.size() > count;
    if (more)
        reply.resize(count);
    reply.erase(std::remove_if(reply.begin(), reply.end(), [](const W::WContent& content) { return content.getUID().empty(); }),
                reply.end());
    return reply;
}

} // namespace tv
