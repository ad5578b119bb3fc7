// SPDX-License-Identifier: MIT
/// \file The addresses that replies hold.
#ifndef KINLOOMD_OPERATIONS_LINKS_H
#define KINLOOMD_OPERATIONS_LINKS_H

#include "media/MediaStore.h"
#include "store/Records.h"

#include <string>

namespace kinloomd {

/// The addresses of one content's files. They share their key and name, which are made once.
class MediaLinks {
public:
    MediaLinks(const std::string& base, const std::string& key, const Content& content);

    std::string original() const { return m_head + "original" + m_middle + m_originalName; }
    std::string thumbnail(const ThumbnailSize& size) const { return m_head + size.name + m_middle + m_thumbnailName; }

private:
    std::string m_head;
    std::string m_middle; ///< key and identifier
    std::string m_originalName;
    std::string m_thumbnailName;
};

/// Writes addresses, and computes the keys in them.
///
/// Media are fetched without any header, so their addresses hold a key that cannot be guessed: a message authentication code of
/// what they name and of the device that they are given to, and that device's number, so that they end with it. The key of a
/// content changes when a member leaves its group too, that of a person's picture with each new one.
class Links {
public:
    /// \param base scheme and authority; \param secret what the keys are made with; \param device whom the addresses are given to.
    Links(std::string base, std::string secret, Id device) : m_base(std::move(base)), m_secret(std::move(secret)), m_device(device)
    {
    }

    /// The device that a key was made for; 0 for what is no key. Whether it is one that this service has made, only comparing
    /// tells.
    static Id deviceOf(const std::string& key);

    std::string upload(Id content) const;
    MediaLinks media(const Content& content) const;
    /// The picture of a group that has one.
    std::string cover(const Group& group, const ThumbnailSize& size) const;
    /// The picture of a person; empty for a person without one.
    std::string personImage(const Person& person) const;

    std::string contentKey(Id content, std::int64_t mediaEpoch) const;
    std::string personKey(Id person, std::int64_t image) const;

private:
    std::string keyOf(const std::string& what) const;

    std::string m_base;
    std::string m_secret;
    Id m_device;
};

} // namespace kinloomd

#endif
