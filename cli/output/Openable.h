// SPDX-License-Identifier: MIT
/// \file Addresses that can be opened on this computer.
#ifndef KINLOOM_OUTPUT_OPENABLE_H
#define KINLOOM_OUTPUT_OPENABLE_H

#include "W/WContent.h"
#include "W/WGroup.h"

#include <string>

namespace kinloom {

/// The address as a browser on this computer can open it. The service repeats the name that the plugin calls it by; where requests
/// to that name are led elsewhere, the way stands in its place. Other addresses stay as they are.
/// \param way what requests to the plugin's endpoint go to, such as "http://127.0.0.1:8750".
std::string openable(const std::string& url, const std::string& way);

/// The same for all addresses in a record.
void makeOpenable(W::WContent& content, const std::string& way);
void makeOpenable(W::WGroup& group, const std::string& way);
void makeOpenable(W::WComment& comment, const std::string& way);

} // namespace kinloom

#endif
