// SPDX-License-Identifier: MIT
/// \file The [client] section of the configuration file.
#ifndef FRAMEWORK_CLIENTSECTION_H
#define FRAMEWORK_CLIENTSECTION_H

#include "Internal.h"
#include "whost/HttpOptions.h"

#include <string>
#include <toml++/toml.h>

namespace W {

/// Puts the entries of the section over options; entries without a meaning are passed over.
/// \param path the file's, for messages. \throw ConfigError at the first entry whose value does not fit.
WHOST_INTERNAL void readClientSection(const toml::table& section, const std::string& path, HttpOptions& options);

/// Puts one entry, given as text, into the section. \throw ConfigError when there is no such entry or the text does not fit it.
WHOST_INTERNAL void writeClientOption(toml::table& section, const std::string& path, const std::string& key,
                                      const std::string& value);

} // namespace W

#endif
