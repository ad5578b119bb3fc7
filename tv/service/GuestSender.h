// SPDX-License-Identifier: MIT
/// \file Guests' photos on their way to the service.
#ifndef KINLOOM_TV_SERVICE_GUESTSENDER_H
#define KINLOOM_TV_SERVICE_GUESTSENDER_H

#include "tv/guests/Guests.h"
#include "tv/service/Connection.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace tv {

/// Sends guests' photos in a lane of their own, like uploads of anybody else.
class GuestSender : public GuestUploads {
public:
    explicit GuestSender(Connection& connection) : m_connection(connection) {}

    void send(const GuestPhoto& photo, Progress progress, Done done) override;
    void cancel(const std::string& id) override;

private:
    struct Upload {
        std::optional<kinloom::Call<W::WContent>> call; ///< nothing: it is about to begin
        bool cancelled = false;
    };

    void end(const std::string& id);

    Connection& m_connection;
    std::mutex m_mutex;
    std::map<std::string, Upload> m_underWay; // guarded by m_mutex
};

} // namespace tv

#endif
