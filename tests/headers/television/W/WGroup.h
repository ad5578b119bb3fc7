// SPDX-License-Identifier: MIT
/// \file Groups.
#ifndef TELEVISION_W_WGROUP_H
#define TELEVISION_W_WGROUP_H

#include "W/WPerson.h"

namespace W {

class WGroup : public WMediaResource {
public:
    void setName(const std::string& name);
    const std::string& getName() const;
    void setDescription(const std::string& description);
    const std::string& getDescription() const;
    void setImageUrl(const std::string& url);
    void setImage(const WMediaResource& image);
    void setMaster(const WPerson& master);
    void setTotalCount(UINT32 count);
    void setPhotoCount(UINT32 count);
    void setAudioCount(UINT32 count);
    void setVideoCount(UINT32 count);
    void setCommentCount(UINT32 count);
};

} // namespace W

#endif
