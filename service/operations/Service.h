// SPDX-License-Identifier: MIT
/// \file What all handlers share.
#ifndef KINLOOMD_OPERATIONS_SERVICE_H
#define KINLOOMD_OPERATIONS_SERVICE_H

#include "core/StopSignal.h"
#include "core/WorkerPool.h"
#include "media/MediaStore.h"
#include "media/Pictures.h"
#include "operations/Documents.h"
#include "operations/Faults.h"
#include "operations/Links.h"
#include "operations/Options.h"
#include "operations/Request.h"
#include "store/Database.h"

#include <set>

namespace kinloomd {

/// The service behind the wire: its data, its settings and its helpers. Safe for several threads.
class Service {
public:
    /// Takes over the data folder: waits for programs that are adding files, and removes what an earlier service, stopped at any
    /// moment, has left unfinished. Throws when the folder cannot be used, or another service uses it.
    explicit Service(Options options);

    const Options& options() const { return m_options; }
    Database& database() { return m_database; }
    const MediaStore& media() const { return m_media; }
    WorkerPool& workers() { return m_workers; }
    Faults& faults() { return m_faults; }
    const StopSignal& stopSignal() const { return m_stop; }
    /// Ends what requests and jobs wait for: the service is about to end.
    void stop();
    /// The addresses that a reply to this request may hold.
    Links linksFor(const Request& request) const { return Links(request.baseUrl, m_mediaSecret); }
    /// Writes the documents of replies to this request.
    Documents documentsFor(const Request& request) const { return Documents(m_options.replyShape, linksFor(request)); }

    PictureBounds pictureBounds() const;

    /// Enters an upload to a slot; nobody else may send to the same one meanwhile. \return false when someone does.
    bool beginUpload(Id slot);
    void endUpload(Id slot);

private:
    void sweep();

    Options m_options;
    DataFolder m_folder;
    FolderLock m_serveLock;
    Database m_database;
    MediaStore m_media;
    std::string m_mediaSecret;
    Faults m_faults;
    StopSignal m_stop;
    std::mutex m_uploadsMutex;
    std::set<Id> m_uploads; // guarded by m_uploadsMutex
    WorkerPool m_workers;
};

} // namespace kinloomd

#endif
