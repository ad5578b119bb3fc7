// SPDX-License-Identifier: MIT
/// \file Libraries that must stay in the process.
#ifndef KLSERVICE_KEEPLOADED_H
#define KLSERVICE_KEEPLOADED_H

namespace W {

/// Keeps the library that \p address lies in until the process ends, whoever unloads it. Does nothing for the program itself.
void keepLoaded(const void* address);

} // namespace W

#endif
