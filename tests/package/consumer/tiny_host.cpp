// SPDX-License-Identifier: MIT
// The smallest host there can be: it loads the plugin, asks who it is, makes one call that needs no service, and lets it go.

#include "W/W.h"
#include "whost/HttpOptions.h"

#include <cstdio>
#include <dlfcn.h>

namespace {

int failed(const char* what)
{
    const char* why = dlerror();
    std::fprintf(stderr, "%s: %s\n", what, why ? why : "unknown error");
    return 1;
}

void onGroups(W::WSTATUS, const W::WContentProvider&, const W::WContainer<W::WGroup>&, const W::WPerson&, void*) {}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s PLUGIN\n", argv[0]);
        return 2;
    }
    W::HttpOptions options = W::httpOptions();
    options.connectTimeoutMs = 2000;
    W::setHttpOptions(options);

    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!library)
        return failed(argv[1]);
    auto create = reinterpret_cast<void* (*)()>(dlsym(library, "createPlugin"));
    auto destroy = reinterpret_cast<void (*)(void*)>(dlsym(library, "destroyPlugin"));
    if (!create || !destroy)
        return failed("not a plugin");

    auto* plugin = static_cast<W::WKinloomOAI*>(create());
    std::printf("provider %s\n", plugin->getContentProvider().getName().c_str());
    const W::WSTATUS status =
        plugin->retrieveGroupList(W::WPerson(), onGroups, 0, 0, W::KL_SORT_ALPHABETICAL, W::KL_INCLUDE_NONE, nullptr);
    std::printf("before signing in, a list of groups is refused with %d\n", status);
    destroy(plugin);
    return dlclose(library) == 0 ? 0 : failed("dlclose");
}
