// SPDX-License-Identifier: MIT
/// \file What the library shows of itself.
#ifndef KINLOOM_EXPORT_H
#define KINLOOM_EXPORT_H

/// Marks what programs may link with; everything else stays inside the library.
#define KINLOOM_CLIENT_API __attribute__((visibility("default")))

#endif
