// SPDX-License-Identifier: MIT
#include "plugin/support/Records.h"

#include "W/WConfigManager.h"

namespace kinloom_test {

W::WContentProvider kinloomProvider() { return {"Kinloom", W::WContentProvider::SERVICE_KINLOOM}; }

void configure(const W::STRING& appID, const W::STRING& authToken, const W::STRING& duid)
{
    W::WConfigManager* const config = W::WConfigManager::getInstance();
    const W::WContentProvider provider = kinloomProvider();
    config->setCPOption(provider, "app_id", appID);
    config->setCPOption(provider, "AuthToken", authToken);
    config->setCPOption(provider, "duid", duid);
}

W::STRING TempFolder::write(const W::STRING& name, const W::STRING& content) const
{
    test::writeFile(file(name), content);
    return file(name);
}

W::WGroup groupWith(const W::STRING& uid, const W::STRING& name)
{
    W::WGroup group;
    group.setUID(uid);
    group.setName(name);
    return group;
}

W::WContent contentWith(const W::STRING& uid, const W::STRING& mimeType)
{
    W::WContent content;
    content.setUID(uid);
    content.setMIMEType(mimeType);
    return content;
}

W::WComment commentWith(const W::STRING& uid, const W::STRING& text)
{
    W::WComment comment;
    comment.setUID(uid);
    comment.setComment(text);
    return comment;
}

W::WPerson personWith(const W::STRING& uid)
{
    W::WPerson person;
    person.setUID(uid);
    return person;
}

} // namespace kinloom_test
