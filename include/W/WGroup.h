// SPDX-License-Identifier: MIT
/// \file Groups of people who share contents.
#ifndef W_WGROUP_H
#define W_WGROUP_H

#include "W/WPerson.h"

#include <utility>

namespace W {

/// A group, its master and its totals.
class WGroup : public WMediaResource {
public:
    void setName(const STRING& name) { m_name = name; }
    const STRING& getName() const { return m_name; }

    void setDescription(const STRING& description) { m_description = description; }
    const STRING& getDescription() const { return m_description; }

    void setImageUrl(const STRING& url) { m_imageUrl = url; }
    const STRING& getImageUrl() const { return m_imageUrl; }

    void setImage(WMediaResource image) { m_image = std::move(image); }
    const WMediaResource& getImage() const { return m_image; }

    /// The person who owns the group.
    void setMaster(WPerson master) { m_master = std::move(master); }
    const WPerson& getMaster() const { return m_master; }

    void setTotalCount(UINT32 count) { m_totalCount = count; }
    UINT32 getTotalCount() const { return m_totalCount; }

    void setPhotoCount(UINT32 count) { m_photoCount = count; }
    UINT32 getPhotoCount() const { return m_photoCount; }

    void setAudioCount(UINT32 count) { m_audioCount = count; }
    UINT32 getAudioCount() const { return m_audioCount; }

    void setVideoCount(UINT32 count) { m_videoCount = count; }
    UINT32 getVideoCount() const { return m_videoCount; }

    void setCommentCount(UINT32 count) { m_commentCount = count; }
    UINT32 getCommentCount() const { return m_commentCount; }

private:
    STRING m_name;
    STRING m_description;
    STRING m_imageUrl;
    WMediaResource m_image;
    WPerson m_master;
    UINT32 m_totalCount = 0;
    UINT32 m_photoCount = 0;
    UINT32 m_audioCount = 0;
    UINT32 m_videoCount = 0;
    UINT32 m_commentCount = 0;
};

} // namespace W

#endif
