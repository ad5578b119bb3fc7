// SPDX-License-Identifier: MIT
/// \file What all handlers share.
#ifndef KINLOOMD_OPERATIONS_SERVICE_H
#define KINLOOMD_OPERATIONS_SERVICE_H

#include "core/Log.h"
#include "core/StopSignal.h"
#include "core/TimeZone.h"
#include "media/DataFolder.h"
#include "media/MediaStore.h"
#include "media/Thumbnailer.h"
#include "operations/ChangeWatch.h"
#include "operations/Documents.h"
#include "operations/Faults.h"
#include "operations/Links.h"
#include "operations/Metrics.h"
#include "operations/Options.h"
#include "operations/Request.h"
#include "operations/SharedSigners.h"
#include "operations/Signers.h"
#include "operations/TrashPurge.h"
#include "operations/page/WebFiles.h"
#include "store/Database.h"

#include <memory>
#include <optional>
#include <set>

namespace kinloomd {

/// The setting that holds the address of the service that was started last.
inline constexpr const char* ADDRESS_SETTING = "address";

/// The service behind the wire: its data, its settings and its helpers. Safe for several threads.
class Service {
public:
    /// Takes over the data folder: waits for programs that are adding files, and removes what an earlier service, stopped at any
    /// moment, has left unfinished. Throws when the folder cannot be used, or another service uses it.
    explicit Service(Options options);
    /// Keeps what the next service on the folder must know.
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    const Options& options() const { return m_options; }
    Database& database() { return m_database; }
    const MediaStore& media() const { return *m_media; }
    Faults& faults() { return m_faults; }
    Metrics& metrics() { return m_metrics; }
    const DataFolder& folder() const { return m_folder; }
    /// Keeps sign-ins that fail from filling the log.
    LogThrottle& signInThrottle() { return m_signInThrottle; }
    const StopSignal& stopSignal() const { return m_stop; }
    /// Ends what requests and jobs wait for: the service is about to end.
    void stop();
    /// A device has signed a request. Only for a thread that holds no connection to the database.
    void noteSigner(const httpd::RequestHead& head, const std::string& duid);
    /// The device that an unsigned request is credited to; empty when it cannot be told. Only for a thread that holds no connection
    /// to the database.
    std::string creditedSigner(const httpd::RequestHead& head);
    /// The addresses that a reply to this request may hold.
    Links linksFor(const Request& request) const { return linksFor(request, request.caller.device); }
    /// Addresses as they are given to a device.
    Links linksFor(const Request& request, Id device) const { return Links(request.baseUrl, m_mediaSecret, device); }
    /// Writes the documents of replies to this request.
    Documents documentsFor(const Request& request) const { return Documents(m_options.replyShape, linksFor(request)); }

    /// Of pictures whose camera noted none.
    const TimeZone& timeZone() const { return m_timeZone; }
    Thumbnailer& thumbnailer() { return m_thumbnailer; }
    /// The family's page.
    const WebFiles& web() const { return m_web; }
    ChangeWatch& changes() { return m_changes; }

    /// Enters an upload of a person to a slot. \return false when the same person sends to the same one already.
    bool beginUpload(Id slot, Id person);
    void endUpload(Id slot, Id person);
    std::size_t uploadsUnderWay();

private:
    /// \return whether other services may use the same database.
    bool isShared() const { return !m_options.data.database.empty(); }
    void enterFolder();
    void sweep();
    void noteAddress();

    Options m_options;
    TimeZone m_timeZone;
    DataFolder m_folder;
    std::optional<FolderLock> m_serveLock;
    Database m_database;
    std::unique_ptr<MediaStore> m_media;
    std::string m_mediaSecret;
    Faults m_faults;
    Metrics m_metrics;
    LogThrottle m_signInThrottle{60, std::chrono::seconds(10)};
    StopSignal m_stop;
    std::mutex m_uploadsMutex;
    std::set<std::pair<Id, Id>> m_uploads;        // by slot and person; guarded by m_uploadsMutex
    Signers m_signers;                            ///< of the only service
    std::optional<SharedSigners> m_sharedSigners; ///< where there may be several
    Thumbnailer m_thumbnailer;
    TrashPurge m_purge;
    WebFiles m_web;
    ChangeWatch m_changes;
};

} // namespace kinloomd

#endif
