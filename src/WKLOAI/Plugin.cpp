// SPDX-License-Identifier: MIT
// The library's entry points.
#include "WKLOAI/WKLOAI.h"
#include "WKLOAI/replies/Parser.h"

#include <dlfcn.h>
#include <libxml/parser.h>

namespace {

/// libxml2 keeps a state for each thread that has parsed, and frees it when the thread ends, if it is still there by then. The
/// host's worker outlives this library; were libxml2 unloaded with it, each time would leave a state behind.
void keepParserLoaded()
{
    Dl_info parser{};
    if (!dladdr(reinterpret_cast<void*>(&xmlInitParser), &parser) || !parser.dli_fname)
        return;
    if (void* const library = dlopen(parser.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE))
        dlclose(library);
}

} // namespace

void* createPlugin()
{
    keepParserLoaded();
    return new W::WKLOAI;
}

void destroyPlugin(void* plugin)
{
    delete static_cast<W::WKLOAI*>(plugin);
    W::replies::freeKeptParser();
}
