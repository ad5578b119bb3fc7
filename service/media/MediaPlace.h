// SPDX-License-Identifier: MIT
/// \file Where the media of a service are kept.
#ifndef KINLOOMD_MEDIA_MEDIAPLACE_H
#define KINLOOMD_MEDIA_MEDIAPLACE_H

#include "media/DataFolder.h"
#include "media/MediaStore.h"
#include "store/Database.h"

#include <memory>
#include <string>

namespace kinloomd {

/// A bucket, as it is named when the service is started; empty for the data folder.
struct MediaPlace {
    std::string media;           ///< "s3://BUCKET" or "s3://BUCKET/PREFIX"
    std::string endpoint;        ///< where this computer reaches the store
    std::string publicEndpoint;  ///< where others reach it; empty for the same
    std::string region;          ///< empty for the usual one
    std::string credentialsFile; ///< empty for the environment
    bool redirect = false;       ///< devices are sent to the store for media

    bool isBucket() const { return !media.empty(); }
};

/// \return why a place cannot be; empty when it can. \param option that names it
std::string checkMediaPlace(const MediaPlace& place, const std::string& option = "--media");

/// The media of a service that begins. Its records remember the place, and a place that is not theirs is refused with
/// std::runtime_error, since half of the media would be in another one. A bucket that is missing is made; one that cannot be asked
/// right now is asked later. From now on the database is changed for media at this place alone: once they were moved, changes throw
/// DatabaseReadOnly. Before several threads use the database.
std::unique_ptr<MediaStore> openMediaToServe(const DataFolder& folder, Database& database, const MediaPlace& place);

/// The media at a place. What is missing there is not made.
std::unique_ptr<MediaStore> mediaAt(const DataFolder& folder, const MediaPlace& place);
/// Where the media of records are, as they remember it.
MediaPlace rememberedMedia(Database& database);
/// Lets records remember that their media are at another place from now on, whatever they remember. Within a transaction that is
/// ALONE: changes for the place of before have ended, and none begins any more.
void rememberMedia(DatabaseConnection& connection, const MediaPlace& place);
/// The place as it can be remembered: whatever folder a command is begun in.
MediaPlace lastingPlace(MediaPlace place);

/// The media that the records of a folder remember, for commands; the database is changed for these alone, as with \c
/// openMediaToServe. Keys come from where the service takes them.
std::unique_ptr<MediaStore> openMedia(const DataFolder& folder, Database& database);

/// Throws std::runtime_error when the media are in a bucket. \param command that can do nothing there
void requireMediaInFolder(Database& database, const char* command);

} // namespace kinloomd

#endif
