// SPDX-License-Identifier: MIT
// A process that loads libraries and does nothing with them: what the memory of the plugin and its host is measured above.
#include "support/Usage.h"

#include <cstdio>
#include <dlfcn.h>

/// Loads the libraries that it is given; prints the resident memory in bytes, before and after it has touched all of their pages.
int main(int argc, char** argv)
{
    std::set<std::string> libraries;
    for (int i = 1; i < argc; ++i) {
        if (!dlopen(argv[i], RTLD_NOW | RTLD_GLOBAL)) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        libraries.insert(argv[i]);
    }
    const double loaded = bench::residentMemory();
    bench::touchLibraries(libraries);
    std::printf("%.0f %.0f\n", loaded, bench::residentMemory());
}
