// SPDX-License-Identifier: MIT
#include "support/Transfers.h"

#include <stdexcept>

namespace bench {

void download(const Plugin& plugin, const std::string& url, const std::string& folder, const std::string& name)
{
    Event done;
    const auto callback = [](W::WSTATUS status, const W::WContentProvider&, const std::string&, void* event) {
        static_cast<Event*>(event)->set(status);
    };
    if (plugin->download(plugin->getContentProvider(), url, folder, name, callback, &done) < 0 || done.wait() < 0)
        throw std::runtime_error("the download of " + url + " failed");
}

void upload(const Plugin& plugin, const std::string& path, const std::string& groupID)
{
    Event done;
    const auto callback = [](W::WSTATUS status, const W::WContentProvider&, const W::WGroup&, const W::WContent&,
                             const std::string&, void* event) { static_cast<Event*>(event)->set(status); };
    W::WGroup group;
    group.setUID(groupID);
    W::WContent content;
    content.setMIMEType("image/jpeg");
    if (plugin->createContent(group, content, W::KL_CONTENT_PHOTO, path, callback, &done) < 0 || done.wait() < 0)
        throw std::runtime_error("the upload of " + path + " failed");
}

} // namespace bench
