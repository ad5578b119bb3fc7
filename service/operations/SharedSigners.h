// SPDX-License-Identifier: MIT
/// \file Which devices have signed requests, and where, as far as several services tell one another.
#ifndef KINLOOMD_OPERATIONS_SHAREDSIGNERS_H
#define KINLOOMD_OPERATIONS_SHAREDSIGNERS_H

#include "operations/Signers.h"
#include "store/Database.h"

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace kinloomd {

/// The signers of addresses, and of the connections that proxies forward, are in the database, as traces: a place, a device, and a
/// time. A trace is written before the signed request is answered, and once more only when it is PART old, so that who signs again
/// and again costs no statement. What a trace says is thus up to PART older than the truth, and who that could make a difference
/// for is credited with nothing. Connections that come to this service itself come to no other one, and are remembered here.
///
/// Safe for several threads. Throws what the database throws.
class SharedSigners {
public:
    /// How old a trace may be that stands for a device which signs again.
    static constexpr Millis PART = std::chrono::duration_cast<std::chrono::milliseconds>(Signers::WINDOW).count() / 5;

    /// The database must outlive it.
    explicit SharedSigners(Database& database) : m_database(database) {}

    /// A device has signed a request. Only for a thread that holds no connection to the database.
    void note(const httpd::RequestHead& head, const std::string& duid);

    /// The device that an unsigned request is credited to, as Signers says it. Only for a thread that holds no connection to the
    /// database.
    std::string credited(const httpd::RequestHead& head);

    /// The same, out of the traces of the request's places. \param present the time of the request
    static std::string creditedBy(const std::vector<Signer>& traces, const httpd::RequestHead& head, Millis present);

private:
    std::vector<Signer> due(const httpd::RequestHead& head, const std::string& duid, Millis present) const;
    void remember(const std::vector<Signer>& traces, const httpd::RequestHead& head);

    Database& m_database;
    Signers m_connections{{}, false};
    mutable std::mutex m_mutex;
    std::unordered_map<std::string, Signer> m_noted; // the traces that were written last; guarded by m_mutex
};

} // namespace kinloomd

#endif
