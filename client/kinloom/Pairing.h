// SPDX-License-Identifier: MIT
/// \file How a device that nobody can type at gets its credentials: it shows a code, and a person takes it in elsewhere (RFC 8628).
///
///     kinloom::PairingOrder order;
///     order.service = "http://photos.example:8750";
///     order.deviceName = "Living room";
///     order.shown = [&](const kinloom::PairingCode& code) { screen.show(code.userCode, code.completeAddress); };
///     const kinloom::Pairing pairing(order);
///     const kinloom::PairedDevice device = pairing.call().outcome().value();
///     kinloom::keepDevice(device, order.service, file);
#ifndef KINLOOM_PAIRING_H
#define KINLOOM_PAIRING_H

#include "kinloom/Call.h"
#include "whost/ConfigFile.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace kinloom {

/// What a person needs to take a device in. All of it is as the service wrote it.
struct PairingCode {
    std::string userCode;            ///< to be typed or compared: "BCDF-GHJK"
    std::string address;             ///< of the page where it is typed
    std::string completeAddress;     ///< of the page that knows the code already; for a QR code
    std::chrono::seconds lifetime{}; ///< after which the code ends
};

struct PairingOrder {
    std::string service;    ///< "http://photos.example:8750"
    std::string deviceName; ///< what people know this device by
    /// Told when there is a code to be shown; with \c renew again, when another has taken its place. On a thread of the library; it
    /// should return soon and must not throw.
    std::function<void(const PairingCode& code)> shown;
    /// Whether a code that ends is followed by a new one, for as long as the call's patience lasts.
    bool renew = false;
};

/// Asks a service to take this device in, and waits until a person has done so. The HTTP client's options are those of the process
/// (W::setHttpOptions). While the service is away it goes on asking, less often, until the code ends.
class KINLOOM_CLIENT_API Pairing {
public:
    /// Begins. \param options its patience ends the call as timed out; without one the code's lifetime does. Progress and retries
    /// mean nothing here.
    explicit Pairing(PairingOrder order, const CallOptions& options = {});
    /// Ends the call as cancelled. Must not run in one of the order's functions.
    ~Pairing();
    Pairing(const Pairing&) = delete;
    Pairing& operator=(const Pairing&) = delete;

    /// The call, with its cancel and its waits. It fails as REFUSED when a person has turned the device away, as TIMED_OUT when the
    /// time is over, and as INVALID when the address is none of a service.
    Call<PairedDevice> call() const;

private:
    struct Impl;
    std::shared_ptr<Impl> m_impl; ///< a question that ends may look at it for a moment longer
};

/// Writes what a device signs in with, and the way to its service, into a configuration file, which nobody but its owner can read
/// then. What else it holds stays. \param file as it was loaded. \throw W::ConfigError when it cannot be written, or the service
/// has sent what no configuration can hold; CallError (invalid) when the service's address is none.
KINLOOM_CLIENT_API void keepDevice(const PairedDevice& device, const std::string& service, W::ConfigFile& file);

} // namespace kinloom

#endif
