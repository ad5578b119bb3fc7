// SPDX-License-Identifier: MIT
// The library's entry points.
#include "KLService/KeepLoaded.h"
#include "WKLOAI/WKLOAI.h"
#include "WKLOAI/replies/Parser.h"

#include <libxml/parser.h>

void* createPlugin()
{
    // libxml2 keeps a state for each thread that has parsed, and frees it when the thread ends, if it is still there by then. The
    // host's worker outlives this library; were libxml2 unloaded with it, each time would leave a state behind.
    W::keepLoaded(reinterpret_cast<const void*>(&xmlInitParser));
    return new W::WKLOAI;
}

void destroyPlugin(void* plugin)
{
    delete static_cast<W::WKLOAI*>(plugin);
    W::replies::freeKeptParser();
}
