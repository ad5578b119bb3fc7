// SPDX-License-Identifier: MIT
/// \file What marks the client's inner parts: they are not exported from the library.
#ifndef HTTP_INTERNAL_H
#define HTTP_INTERNAL_H

#define WHOST_INTERNAL [[gnu::visibility("hidden")]]

#endif
