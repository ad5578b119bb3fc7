// SPDX-License-Identifier: MIT
#include "support/Documents.h"

namespace bench::documents {

namespace {

std::string element(const std::string& name, const std::string& text) { return "<" + name + ">" + text + "</" + name + ">"; }

std::string withData(const std::string& data)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rsp><result><stat>ok</stat></result>" + element("data", data) + "</rsp>";
}

std::string user(const std::string& name, unsigned int number)
{
    const std::string id = "u" + std::to_string(number);
    return element(name, element("userId", id) + element("userName", "Person number " + std::to_string(number)) +
                             element("thumbnail", element("userImageThumbnail_72X72",
                                                          "http://media.kinloom.example/person/" + id + "/72x72.jpg")));
}

std::string thumbnails(const std::string& id)
{
    std::string all;
    for (const char* size : {"1920X1080", "540X405", "116X87"})
        all += element(std::string("contentThumbnail_") + size,
                       std::string("http://media.kinloom.example/content/") + id + "/" + size + ".jpg");
    return element("thumbnail", all);
}

std::string group(unsigned int number)
{
    const std::string id = "g" + std::to_string(number);
    return element(
        "group",
        element("groupId", id) + element("groupName", "Family album " + std::to_string(number)) +
            element("groupDesc", "Pictures of the summer at the lake") +
            element("groupImage", element("groupImageUrl", "http://media.kinloom.example/group/" + id + ".jpg") +
                                      element("thumbnail", element("groupImageThumbnail_274X204",
                                                                   "http://media.kinloom.example/group/" + id + "/274x204.jpg"))) +
            user("groupMaster", number) + element("totalContentCount", "120") + element("photoCount", "100") +
            element("audioCount", "5") + element("videoCount", "15") + element("commentCount", "42"));
}

std::string content(unsigned int number)
{
    const std::string id = "c" + std::to_string(number);
    return element("content",
                   element("contentId", id) + element("galleryID", "g1") + element("contentType", "photo") +
                       element("contentCreateDate", "2010-05-05T07:04:09Z") +
                       element("contentRegisterTime", "2010-05-06T18:30:00Z") + element("contentExt", "jpg") +
                       element("contentUrl", "http://media.kinloom.example/content/" + id + "/original.jpg") +
                       element("contentDesc", "A day at the lake, picture " + std::to_string(number)) + thumbnails(id) +
                       element("contentDetail", element("size", "2413567") + element("format", "JPEG") + element("width", "4000") +
                                                    element("height", "3000") + element("createTime", "2010-05-05T07:04:09Z")) +
                       element("commentCount", "3") + user("contentCreator", number % 7));
}

std::string many(std::string (*make)(unsigned int), unsigned int count)
{
    std::string all;
    for (unsigned int i = 1; i <= count; ++i)
        all += make(i);
    return withData(all);
}

} // namespace

std::string slot(const std::string& uploadUrl) { return withData(element("contentId", "c77") + element("uploadUrl", uploadUrl)); }
std::string groups(unsigned int count) { return many(group, count); }
std::string contents(unsigned int count) { return many(content, count); }

} // namespace bench::documents
