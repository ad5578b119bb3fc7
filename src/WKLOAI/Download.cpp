// SPDX-License-Identifier: MIT
// Downloads: a URL into a folder of the caller's, or a media resource into the temporary folder with an open stream.
#include "WKLOAI/Completion.h"
#include "WKLOAI/Operation.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace W {

namespace {

/// The text between the last "/" before \p end and \p end; from the start when there is no "/".
STRING segmentBefore(const STRING& url, std::size_t end)
{
    end = std::min(end, url.size());
    const std::size_t slash = end == 0 ? STRING::npos : url.rfind('/', end - 1);
    const std::size_t begin = slash == STRING::npos ? 0 : slash + 1;
    return url.substr(begin, end - begin);
}

/// The last segment of the path, up to the last "?" of the URL.
STRING directDownloadName(const STRING& url) { return segmentBefore(url, url.rfind('?')); }

/// What follows the last "/" of the whole URL, up to the first "?" behind it.
STRING resourceName(const STRING& url)
{
    const std::size_t slash = url.rfind('/');
    const std::size_t begin = slash == STRING::npos ? 0 : slash + 1;
    const std::size_t end = std::min(url.find('?', begin), url.size());
    return url.substr(begin, end - begin);
}

// A folder would open as a good stream, and a pipe would keep the worker waiting: only files are opened or removed.

/// Whether the path leads to a file, be it through a link.
bool leadsToFile(const STRING& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

/// Whether the path itself is a file.
bool isFile(const STRING& path)
{
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

/// What both downloads have in common: the file is opened, or removed when the download was cancelled.
template <class CMD> class FileCompletion : public Completion<CMD> {
public:
    using Completion<CMD>::Completion;

    void begin() { this->service().resetReqStatus(); }

    WSTATUS accept()
    {
        if (leadsToFile(this->cmd.localPath))
            file.open(this->cmd.localPath, std::ios::in | std::ios::binary);
        if (!file.is_open())
            return logFailure(wstatus::FAILED);
        this->service().updateProgressStatus();
        return wstatus::OK;
    }

    void end() { this->service().resetProgressStatus(); }

protected:
    void discardFile()
    {
        file.close();
        if (isFile(this->cmd.localPath))
            std::remove(this->cmd.localPath.c_str());
        sync(); // a television may be switched off at the wall: the file must be gone for good
    }

    std::ifstream file;
};

class DirectDownload : public FileCompletion<KLDirectDownloadCMD> {
public:
    using FileCompletion::FileCompletion;

    void reportCancel()
    {
        discardFile();
        oai.cbCancelDone(wstatus::OK, cmd.userData);
    }
    void deliver(WSTATUS result) { cmd.callback(result, provider(), cmd.fileName, cmd.userData); }
};

class ResourceDownload : public FileCompletion<KLDownloadCMD> {
public:
    using FileCompletion::FileCompletion;

    // Unlike a direct download, a cancelled one reports to its own callback, and the cancel callback stays pending.
    void reportCancel()
    {
        discardFile();
        if (oai.hasCancelCallback())
            deliver(wstatus::OK);
    }
    void deliver(WSTATUS result) { cmd.callback(result, provider(), cmd.resource, file, cmd.userData); }
};

} // namespace

WSTATUS WKLOAI::download(const WContentProvider& provider, const STRING& url, const STRING& directory, const STRING& fileName,
                         KLFileCallback callback, VOID* userData)
{
    return Operation(*this).run(!url.empty() && !directory.empty(), [&](const Operation& operation) {
        operation.begin(); // before the provider is looked at: a refusal ends a pending cancel too
        if (provider.getID() != getContentProvider().getID())
            return logFailure(wstatus::FAILED);
        auto command = operation.makeCommand<KLDirectDownloadCMD>(CMD_DIRECT_DOWNLOAD, callback, userData);
        command->url = url;
        command->fileName = fileName.empty() ? directDownloadName(url) : fileName;
        command->localPath = directory + "/" + command->fileName;

        const STRING path = command->localPath;
        const WSTATUS status = m_pService->retrieveFData(url, "", command.release(), path);
        return status < 0 ? logFailure(status) : wstatus::OK;
    });
}

WSTATUS fnContentDownloader(const WMediaResource& resource, WDownloadCallback callback, VOID* pDownloaderArg, VOID* userData)
{
    assert(pDownloaderArg != __null);
    WKLOAI& oai = *static_cast<WKLOAI*>(pDownloaderArg);
    const Operation operation(oai);
    return guarded([&] {
        const STRING& url = resource.getResourceURL();
        if (url.empty())
            return logFailure(wstatus::INVALID_ARGUMENT);
        auto command = operation.command<KLDownloadCMD>(CMD_DOWNLOAD, callback, userData);
        command->resource = resource;
        command->localPath = "/tmp/" + resourceName(url);

        const STRING path = command->localPath;
        const WSTATUS status = oai.service()->retrieveFData(url, "", command.release(), path);
        return status < 0 ? logFailure(status) : wstatus::OK;
    });
}

void WKLOAI::cbKLDownloadDone(SESSION_STATUS status, const HttpResponse& response, KLDirectDownloadCMD* command)
{
    complete<DirectDownload>(status, response, command);
}

void WKLOAI::cbDownloadDone(SESSION_STATUS status, const HttpResponse& response, KLDownloadCMD* command)
{
    complete<ResourceDownload>(status, response, command);
}

} // namespace W
