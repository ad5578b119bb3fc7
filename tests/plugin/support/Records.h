// SPDX-License-Identifier: MIT
/// \file Records, options and files for tests, whichever host they run on.
#ifndef PLUGIN_SUPPORT_RECORDS_H
#define PLUGIN_SUPPORT_RECORDS_H

#include "W/WComment.h"
#include "W/WContent.h"
#include "W/WContentProvider.h"
#include "W/WGroup.h"
#include "W/WPerson.h"
#include "W/WTypes.h"
#include "support/TempDir.h"

namespace kinloom_test {

// What the device is configured with.
inline const W::STRING APP_ID = "app-7";
inline const W::STRING AUTH_TOKEN = "token-of-tv";
inline const W::STRING DUID = "duid-0001";

/// What is in the photo that is uploaded.
inline const W::STRING PHOTO_FILE = "the bytes of a photo\n";

/// The provider that the plugin goes by.
W::WContentProvider kinloomProvider();
/// Sets the three options of the plugin's provider.
void configure(const W::STRING& appID, const W::STRING& authToken, const W::STRING& duid);

/// A folder that is gone with the object.
class TempFolder : public test::TempDir {
public:
    /// Makes a file. \return its path.
    W::STRING write(const W::STRING& name, const W::STRING& content) const;
};

using test::exists;
using test::readFile;

W::WGroup groupWith(const W::STRING& uid, const W::STRING& name = "");
W::WContent contentWith(const W::STRING& uid, const W::STRING& mimeType = "");
W::WComment commentWith(const W::STRING& uid, const W::STRING& text = "");
W::WPerson personWith(const W::STRING& uid);

} // namespace kinloom_test

#endif
