// SPDX-License-Identifier: MIT
#include "output/Openable.h"

#include "kinloom/Route.h"

#include <list>

namespace kinloom {

namespace {

void lead(W::WMediaResource& media, const std::string& way) { media.setResourceURL(openable(media.getResourceURL(), way)); }

W::WPerson led(W::WPerson person, const std::string& way)
{
    auto photo = person.getPhoto();
    lead(photo, way);
    person.setPhoto(photo);
    return person;
}

} // namespace

std::string openable(const std::string& url, const std::string& way)
{
    const std::string& named = endpoint().text();
    const bool begins = url.compare(0, named.size(), named) == 0;
    if (!begins || (url.size() > named.size() && url[named.size()] != '/'))
        return url;
    return way + url.substr(named.size());
}

void makeOpenable(W::WComment& comment, const std::string& way) { comment.setUser(led(comment.getUser(), way)); }

void makeOpenable(W::WContent& content, const std::string& way)
{
    lead(content, way);
    content.setUser(led(content.getUser(), way));
    auto thumbnails = content.getThumbnails();
    for (W::WMediaResource& thumbnail : thumbnails)
        lead(thumbnail, way);
    content.setThumbnails(thumbnails);
    auto comments = content.getComments();
    for (W::WComment& comment : comments)
        makeOpenable(comment, way);
    content.setComments(comments);
}

void makeOpenable(W::WGroup& group, const std::string& way)
{
    lead(group, way);
    group.setImageUrl(openable(group.getImageUrl(), way));
    group.setMaster(led(group.getMaster(), way));
}

} // namespace kinloom
