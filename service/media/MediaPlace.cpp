// SPDX-License-Identifier: MIT
#include "media/MediaPlace.h"

#include "core/Digest.h"
#include "core/Log.h"
#include "media/FolderMedia.h"
#include "media/ObjectMedia.h"
#include "objects/Credentials.h"
#include "store/Contents.h"
#include "store/Moving.h"
#include "store/People.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace kinloomd {

namespace {

constexpr std::string_view SCHEME = "s3://";
constexpr const char* USUAL_REGION = "us-east-1";
constexpr std::size_t MEDIA_NUMBER_BYTES = 8;

/// What the records remember of a place. The first is that which never changes.
constexpr struct {
    const char* setting;
    std::string MediaPlace::*member;
} REMEMBERED[] = {
    {MEDIA_SETTING, &MediaPlace::media},
    {"media_endpoint", &MediaPlace::endpoint},
    {"media_region", &MediaPlace::region},
    {"media_credentials", &MediaPlace::credentialsFile},
};

struct BucketName {
    std::string bucket;
    std::string prefix;
};

BucketName bucketNamed(const std::string& media)
{
    const std::string rest = media.substr(SCHEME.size());
    const auto slash = rest.find('/');
    BucketName name{rest.substr(0, slash), slash == std::string::npos ? std::string() : rest.substr(slash + 1)};
    if (!name.prefix.empty() && name.prefix.back() != '/')
        name.prefix += '/';
    return name;
}

/// Who waits for a medium waits for the store no longer than this.
objects::StoreLimits storeLimits()
{
    objects::StoreLimits limits;
    limits.whole = std::chrono::seconds(20);
    limits.retries.attempts = 4;
    return limits;
}

MediaPlace rememberedPlace(DatabaseConnection& connection)
{
    MediaPlace place;
    for (const auto& each : REMEMBERED)
        place.*each.member = findSetting(connection, each.setting);
    return place;
}

std::string placeName(const MediaPlace& place) { return place.isBucket() ? place.media : "its folder"; }

/// A place, and the number of the media that came to it.
struct NumberedPlace {
    MediaPlace place;
    std::string number;
};

NumberedPlace numberedPlace(Database& database)
{
    const auto connection = database.read();
    const Snapshot snapshot(connection);
    return {rememberedPlace(connection), findSetting(connection, MEDIA_NUMBER_SETTING)};
}

bool isSame(const MediaPlace& a, const MediaPlace& b)
{
    return std::all_of(std::begin(REMEMBERED), std::end(REMEMBERED),
                       [&](const auto& each) { return a.*each.member == b.*each.member; });
}

void rememberPlace(DatabaseConnection& connection, const MediaPlace& place)
{
    const MediaPlace before = rememberedPlace(connection);
    for (const auto& each : REMEMBERED) {
        if (before.*each.member != place.*each.member)
            changeSetting(connection, each.setting, place.*each.member);
    }
}

/// \return the number of the media at the place.
std::string remember(Database& database, const MediaPlace& place)
{
    const NumberedPlace known = numberedPlace(database);
    if (isSame(known.place, place))
        return known.number;
    // Nobody else may put media where they were before.
    const auto work = [&place](DatabaseConnection& connection) {
        requireChangeable(connection);
        const MediaPlace before = rememberedPlace(connection);
        if (before.media == place.media) {
            rememberPlace(connection, place);
        } else {
            if (!(keptOriginals(connection).empty() && keptPersonImages(connection).empty()))
                throw std::runtime_error("the media of these records are in " + placeName(before) + ", and not in " +
                                         placeName(place) + (before.isBucket() ? ": name it with --media" : ": leave --media out"));
            rememberMedia(connection, place);
        }
        return findSetting(connection, MEDIA_NUMBER_SETTING);
    };
    return database.change(work, Database::Purpose::ALONE);
}

} // namespace

std::unique_ptr<MediaStore> mediaAt(const DataFolder& folder, const MediaPlace& place)
{
    if (!place.isBucket())
        return std::make_unique<FolderMedia>(folder);
    const BucketName name = bucketNamed(place.media);
    objects::Credentials credentials = place.credentialsFile.empty() ? objects::takeCredentialsFromEnvironment()
                                                                     : objects::credentialsFromFile(place.credentialsFile);
    auto store = std::make_unique<objects::ObjectStore>(
        objects::StorePlace{place.endpoint, place.region.empty() ? USUAL_REGION : place.region, name.bucket},
        std::move(credentials), storeLimits());
    return std::make_unique<ObjectMedia>(
        std::move(store), name.prefix, objects::parseEndpoint(place.publicEndpoint.empty() ? place.endpoint : place.publicEndpoint),
        folder.temporary());
}

MediaPlace rememberedMedia(Database& database) { return rememberedPlace(database.read()); }

void rememberMedia(DatabaseConnection& connection, const MediaPlace& place)
{
    rememberPlace(connection, place);
    changeSetting(connection, MEDIA_NUMBER_SETTING, toHex(randomBytes(MEDIA_NUMBER_BYTES)));
}

MediaPlace lastingPlace(MediaPlace place)
{
    if (!place.credentialsFile.empty())
        place.credentialsFile = std::filesystem::absolute(place.credentialsFile).string();
    return place;
}

std::string checkMediaPlace(const MediaPlace& place, const std::string& option)
{
    if (!place.isBucket())
        return place.endpoint.empty() && !place.redirect ? "" : "what is said of a store needs " + option + " s3://BUCKET";
    if (place.media.rfind(SCHEME, 0) != 0 || !objects::isBucketName(bucketNamed(place.media).bucket))
        return option + " needs a bucket and perhaps a prefix, such as s3://photos/family";
    if (place.endpoint.empty())
        return option + " needs --s3-endpoint, where the store is";
    try {
        for (const std::string& endpoint : {place.endpoint, place.publicEndpoint}) {
            if (!endpoint.empty())
                objects::parseEndpoint(endpoint);
        }
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "";
}

std::unique_ptr<MediaStore> openMediaToServe(const DataFolder& folder, Database& database, const MediaPlace& place)
{
    const MediaPlace lasting = lastingPlace(place);
    auto media = mediaAt(folder, lasting);
    database.setMediaNumber(remember(database, lasting));
    try {
        media->prepare();
    } catch (const objects::StoreUnavailable& error) {
        // The family's page and its records are there without it.
        writeLog(Priority::WARNING, "the media in " + place.media + " are away for now: " + error.what());
    }
    return media;
}

std::unique_ptr<MediaStore> openMedia(const DataFolder& folder, Database& database)
{
    NumberedPlace known = numberedPlace(database);
    database.setMediaNumber(std::move(known.number));
    return mediaAt(folder, known.place);
}

void requireMediaInFolder(Database& database, const char* command)
{
    const MediaPlace place = rememberedMedia(database);
    if (place.isBucket())
        throw std::runtime_error(std::string(command) + " is for media in the data folder; these are in " + place.media +
                                 ": copy the bucket by its own means, and the database beside it");
}

} // namespace kinloomd
