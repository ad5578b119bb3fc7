// SPDX-License-Identifier: MIT
#include "KLService/KeepLoaded.h"

#include <dlfcn.h>

namespace W {

void keepLoaded(const void* address)
{
    Dl_info library{};
    if (!dladdr(address, &library) || !library.dli_fname)
        return;
    if (void* const handle = dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE))
        dlclose(handle);
}

} // namespace W
