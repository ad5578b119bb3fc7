// SPDX-License-Identifier: MIT
#include "operations/Links.h"

#include "core/Digest.h"
#include "core/Text.h"
#include "operations/Paths.h"

#include <string_view>

namespace kinloomd {

namespace {

constexpr std::size_t KEY_BYTES = 16;
constexpr char DEVICE_MARK = '-'; ///< stands before the device's number at the end of a key

/// The name that a thumbnail of the file is saved under: thumbnails are JPEG files, whatever the original is.
std::string jpegNameOf(const std::string& fileName) { return fileName.substr(0, fileName.rfind('.')) + ".jpg"; }

} // namespace

std::string Links::upload(Id content) const { return m_base + std::string(BASE_PATH) + std::to_string(content) + "/upload.file"; }

MediaLinks::MediaLinks(const std::string& base, const std::string& key, const Content& content)
    : m_head(base + std::string(MEDIA_PATH)),
      m_middle("/" + key + "/" + std::to_string(content.id) + "/"),
      m_originalName(percentEncode(content.fileName)),
      m_thumbnailName(jpegNameOf(m_originalName))
{
}

MediaLinks Links::media(const Content& content) const
{
    return MediaLinks(m_base, contentKey(content.id, content.mediaEpoch), content);
}

std::string Links::cover(const Group& group, const ThumbnailSize& size) const
{
    return m_base + std::string(MEDIA_PATH) + size.name + "/" + contentKey(group.cover, group.mediaEpoch) + "/" +
           std::to_string(group.cover) + "/cover.jpg";
}

std::string Links::personImage(const Person& person) const
{
    if (person.image == 0)
        return {};
    return m_base + std::string(MEDIA_PATH) + "person/" + personKey(person.id, person.image) + "/" + std::to_string(person.id) +
           "-" + std::to_string(person.image) + "/person.jpg";
}

Id Links::deviceOf(const std::string& key)
{
    const auto mark = key.find(DEVICE_MARK);
    return mark == std::string::npos ? 0 : parseId(std::string_view(key).substr(mark + 1)).value_or(0);
}

std::string Links::contentKey(Id content, std::int64_t mediaEpoch) const
{
    return keyOf("content:" + std::to_string(content) + ":" + std::to_string(mediaEpoch));
}

std::string Links::personKey(Id person, std::int64_t image) const
{
    return keyOf("person:" + std::to_string(person) + ":" + std::to_string(image));
}

std::string Links::keyOf(const std::string& what) const
{
    const std::string device = std::to_string(m_device);
    return toHex(hmacSha256(m_secret, what + ":" + device).substr(0, KEY_BYTES)) + DEVICE_MARK + device;
}

} // namespace kinloomd
