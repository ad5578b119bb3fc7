// SPDX-License-Identifier: MIT
#include "support/PugiReader.h"

#include <cstdlib>
#include <pugixml.hpp>
#include <stdexcept>

namespace bench {

namespace {

using namespace W;
using pugi::xml_node;

const char* entry(const xml_node& node, const char* name)
{
    const pugi::xml_attribute attribute = node.attribute(name);
    return attribute ? attribute.value() : node.child_value(name);
}

UINT32 number(const xml_node& node, const char* name) { return static_cast<UINT32>(std::strtol(entry(node, name), nullptr, 10)); }

WDateTime date(const xml_node& node, const char* name)
{
    return WDateTime::fromString(entry(node, name), WDateTime::FORMAT_ISO8601, WDateTime::ZONE_UTC);
}

void readImage(const xml_node& node, const char* field, const PugiContext& context, WMediaResource& image)
{
    image.setContentProvider(context.provider);
    image.setResourceURL(entry(node, field));
    image.setUID(field);
    image.setDownloader(context.downloader, context.downloaderArg);
}

void readDetail(const xml_node& node, const PugiContext& context, WContent& content)
{
    content.setResourceURL(entry(node, "contentUrl"));
    std::list<WMediaResource> thumbnails;
    for (const xml_node& image : node.child("thumbnail"))
        readImage(image.parent(), image.name(), context, thumbnails.emplace_back());
    content.setThumbnails(std::move(thumbnails));
    content.setSize(entry(node, "size"));
    content.setFormat(entry(node, "format"));
    content.setResolution(
        WSize(static_cast<std::int32_t>(number(node, "width")), static_cast<std::int32_t>(number(node, "height"))));
    content.setCreateTime(date(node, "createTime"));
}

void readUser(const xml_node& node, const PugiContext& context, WPerson& person)
{
    person.setUID(entry(node, "userId"));
    person.setName(entry(node, "userName"));
    if (const xml_node thumbnail = node.child("thumbnail")) {
        WMediaResource photo;
        readImage(thumbnail, "userImageThumbnail_72X72", context, photo);
        person.setPhoto(std::move(photo));
    }
}

} // namespace

void readWithPugixml(const std::string& body, const PugiContext& context, WContainer<WContent>& contents, unsigned int& count)
{
    pugi::xml_document document;
    if (!document.load_buffer(body.data(), body.size()))
        throw std::runtime_error("the reply is no document");
    count = 0;
    for (const xml_node& node : document.child("rsp").child("data").children("content")) {
        WContent& content = contents.data().emplace_back();
        content.setContentProvider(context.provider);
        content.setUID(entry(node, "contentId"));
        content.setType(entry(node, "contentType"));
        content.setRegisterTime(date(node, "contentRegisterTime"));
        content.setDescription(entry(node, "contentDesc"));
        content.setCommentCount(number(node, "commentCount"));
        readDetail(node.child("contentDetail"), context, content);
        WPerson user;
        readUser(node.child("contentCreator"), context, user);
        content.setUser(std::move(user));
        ++count;
    }
    contents.setCount(static_cast<std::int32_t>(count));
}

} // namespace bench
