// SPDX-License-Identifier: MIT
// The library's entry points.
#include "WKLOAI/WKLOAI.h"

void* createPlugin() { return new W::WKLOAI; }

void destroyPlugin(void* plugin) { delete static_cast<W::WKLOAI*>(plugin); }
