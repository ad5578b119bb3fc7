// SPDX-License-Identifier: MIT
/// \file The plugin that the inputs are given to.
#ifndef FUZZ_PLUGIN_H
#define FUZZ_PLUGIN_H

#include "WKLOAI/WKLOAI.h"

namespace fuzz {

/// One for the process, signed in, on the scripted host, which refuses every request. It is never destroyed.
W::WKLOAI& plugin();

} // namespace fuzz

#endif
