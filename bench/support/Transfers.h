// SPDX-License-Identifier: MIT
/// \file Whole transfers through the plugin, from the call to the callback.
#ifndef SUPPORT_TRANSFERS_H
#define SUPPORT_TRANSFERS_H

#include "support/Plugin.h"

namespace bench {

/// Downloads a URL to a folder. \throw std::runtime_error when that fails.
void download(const Plugin& plugin, const std::string& url, const std::string& folder, const std::string& name);
/// Uploads a file as a photo of a group, the request for its upload slot included. \throw std::runtime_error
void upload(const Plugin& plugin, const std::string& path, const std::string& group = "g1");

} // namespace bench

#endif
