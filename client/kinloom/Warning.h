// SPDX-License-Identifier: MIT
/// \file What a person should know, although nothing has failed.
#ifndef KINLOOM_WARNING_H
#define KINLOOM_WARNING_H

#include "kinloom/Export.h"

#include <functional>
#include <string>

namespace kinloom {

/// Has a function called with what a person should know: that this device's credentials go out unencrypted to somewhere beyond this
/// computer and private networks. That is said once, whatever lane it concerns, before anything is sent. The sentence is one line,
/// and may hold a host's name as it came.
/// \param told runs on threads of the library, must return soon and must not throw; empty: nobody is told.
KINLOOM_CLIENT_API void onWarning(std::function<void(const std::string& sentence)> told);

} // namespace kinloom

#endif
