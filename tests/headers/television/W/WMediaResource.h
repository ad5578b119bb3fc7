// SPDX-License-Identifier: MIT
/// \file Records with a media file.
#ifndef TELEVISION_W_WMEDIARESOURCE_H
#define TELEVISION_W_WMEDIARESOURCE_H

#include "W/WResource.h"

#include <istream>

namespace W {

class WMediaResource : public WResource {
public:
    void setResourceURL(const std::string& url);
    const std::string& getResourceURL() const;
    void setMIMEType(const std::string& type);
    const std::string& getMIMEType() const;
    void
    setDownloader(WSTATUS (*downloader)(const WMediaResource&,
                                        void (*)(WSTATUS, const WContentProvider&, const WMediaResource&, std::istream&, void*),
                                        void*, void*),
                  void* argument);
};

} // namespace W

#endif
