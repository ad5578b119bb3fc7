// SPDX-License-Identifier: MIT
/// \file One picture on its way from the service.
#ifndef KINLOOM_TV_MEDIA_JOB_H
#define KINLOOM_TV_MEDIA_JOB_H

#include "kinloom/Media.h" // IWYU pragma: export
#include "tv/media/PictureName.h"
#include "tv/media/Pictures.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace tv {

/// A transfer under way; none.
using Transfer = std::shared_ptr<kinloom::Call<kinloom::MediaReply>>;

/// Guarded by the lock of its Pictures, but for what is said otherwise.
struct Job {
    enum class Phase : std::uint8_t {
        WAITING,  ///< for its turn, or for its next try
        FINDING,  ///< its addresses are asked for
        FETCHING, ///< the transfer is under way
        MAKING,   ///< it is decoded, checked, written
    };

    Job(std::string id, PictureForm what, std::string called) : content(std::move(id)), form(what), name(std::move(called)) {}

    const std::string content;
    const PictureForm form;
    const std::string name; ///< in the cache
    std::map<Pictures::Ticket, Pictures::Waiter> waiters;
    Phase phase = Phase::WAITING;
    std::chrono::steady_clock::time_point notBefore; ///< of the next try
    bool soon = false;                               ///< a tab wants it in advance
    bool anew = false;                               ///< the address was refused, and has been asked for anew
    bool original = false;                           ///< it is made of the original
    bool inMemory = false;                           ///< the disk has no room for the original
    unsigned unreached = 0;                          ///< tries that did not reach the service
    std::string file;                                ///< where the original goes
    Transfer call;
    std::atomic<bool> cancelled{false}; ///< nobody wants it any more; any thread
    std::atomic<bool> urgent{false};    ///< somebody waits for it now; any thread
};

} // namespace tv

#endif
