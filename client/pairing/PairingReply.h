// SPDX-License-Identifier: MIT
/// \file What a service answers to a device that is being paired.
#ifndef KINLOOM_CLIENT_PAIRINGREPLY_H
#define KINLOOM_CLIENT_PAIRINGREPLY_H

#include "kinloom/Pairing.h"

#include <optional>
#include <string>

namespace kinloom {

/// The answer to the first question.
struct PairingBegun {
    std::string deviceCode;
    PairingCode code;
    std::chrono::milliseconds interval{}; ///< between two of the questions that follow
};

/// Takes any bytes. Nothing for what is no such answer.
std::optional<PairingBegun> readPairingBegun(const std::string& body);

/// Takes any bytes. Nothing for what holds no credentials.
std::optional<PairedDevice> readPairedDevice(const std::string& body);

/// The word of a refusal, such as "slow_down"; empty for what is none. Takes any bytes.
std::string readPairingError(const std::string& body);

} // namespace kinloom

#endif
