// SPDX-License-Identifier: MIT
/// \file Records that stand for a media file.
#ifndef W_WMEDIARESOURCE_H
#define W_WMEDIARESOURCE_H

#include "W/WResource.h"

#include <iosfwd>

namespace W {

class WMediaResource;

/// Receives a downloaded media resource.
/// \param stream a binary stream on the local file; valid, like the resource, during the call only. Open when the download
/// succeeded; closed when it failed, and also when it was cancelled, which reports 0. Called at most once for each download that
/// was accepted, on the host's HTTP worker thread; not when the request is dropped.
typedef VOID (*WDownloadCallback)(WSTATUS, const WContentProvider&, const WMediaResource&, std::istream&, VOID*);

/// Fetches a media resource. The arguments are the resource, the callback, the argument that was set beside the hook, and the
/// caller's user data, which the callback gets back.
/// \return 0 when the download is on its way; negative when it was refused, and then no callback follows.
typedef WSTATUS (*WDownloader)(const WMediaResource&, WDownloadCallback, VOID* downloaderArg, VOID* userData);

/// A record with a media file behind a URL.
class WMediaResource : public WResource {
public:
    void setResourceURL(const STRING& url) { m_url = url; }
    const STRING& getResourceURL() const { return m_url; }

    void setMIMEType(const STRING& type) { m_mimeType = type; }
    const STRING& getMIMEType() const { return m_mimeType; }

    /// Sets the routine that fetches the file, and the argument that it wants. Neither is owned.
    void setDownloader(WDownloader downloader, VOID* argument)
    {
        m_downloader = downloader;
        m_downloaderArg = argument;
    }
    WDownloader getDownloader() const { return m_downloader; }
    VOID* getDownloaderArg() const { return m_downloaderArg; }

private:
    STRING m_url;
    STRING m_mimeType;
    WDownloader m_downloader = nullptr;
    VOID* m_downloaderArg = nullptr;
};

} // namespace W

#endif
