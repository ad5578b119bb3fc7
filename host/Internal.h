// SPDX-License-Identifier: MIT
/// \file What marks the host's inner parts: they are not exported from the library.
#ifndef WHOST_INTERNAL_H
#define WHOST_INTERNAL_H

/// On a class, a function or a namespace of host/ that no public header declares.
#define WHOST_INTERNAL [[gnu::visibility("hidden")]]

#endif
