// SPDX-License-Identifier: MIT
#include "Plugin.h"

#include "Targets.h"
#include "W/WConfigManager.h"
#include "whost/FakeClient.h"

#include <libxml/xmlerror.h>

namespace fuzz {

namespace {

// NOLINTNEXTLINE(cert-dcl50-cpp): libxml2's type
void keepQuiet(void*, const char*, ...) {}

W::WKLOAI* makePlugin()
{
    xmlSetGenericErrorFunc(nullptr, keepQuiet); // for the other reader
    auto* const made = new W::WKLOAI;
    for (const char* const key : {"app_id", "AuthToken", "duid"})
        W::WConfigManager::getInstance()->setCPOption(made->getContentProvider(), key, W::STRING("any"));
    made->parseAuthStatus("<rsp><result><stat>ok</stat></result></rsp>", nullptr);
    require(made->service()->isLoggedIn(), "the plugin signs in");
    W::fake::refuseAll(W::WSTATUS_UNREACHABLE);
    W::fake::checkRequests(false);
    return made;
}

} // namespace

W::WKLOAI& plugin()
{
    static W::WKLOAI* const instance = makePlugin();
    return *instance;
}

} // namespace fuzz
