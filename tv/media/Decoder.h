// SPDX-License-Identifier: MIT
/// \file Strangers' pictures made into pictures for a panel, behind bars.
#ifndef KINLOOM_TV_MEDIA_DECODER_H
#define KINLOOM_TV_MEDIA_DECODER_H

#include "common/UniqueFd.h"
#include "pictures/PictureProcess.h"
#include "tv/media/Pictures.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tv {

/// What is to be decoded.
struct DecoderOrder {
    common::UniqueFd file; ///< open for reading
    PictureBox box;        ///< what comes of it fits in here
    /// Asked several times a second, on any thread: false gives it up.
    std::function<bool()> wanted;
    /// Goes before others. Asked when one is taken.
    std::function<bool()> urgent;
    /// Called once on the decoder's thread, with a JPEG file when the outcome is DONE. Not called for what was given up before it
    /// began, nor at the decoder's end.
    std::function<void(pictures::PictureOutcome outcome, std::string bytes)> done;
};

/// Decodes one picture at a time in a confined process, a fresh one for each: what a picture may have made of its process does not
/// reach the next. The process is there only while there is work, and for some seconds after. All members may be called from any
/// thread.
class Decoder {
public:
    /// \param program that is started, kinloom-pictures. \param pixels most of a picture
    Decoder(std::string program, std::int64_t pixels);
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    /// Gives up what is being decoded, and waits for that.
    ~Decoder();

    void decode(DecoderOrder order);

private:
    void work();
    bool take(DecoderOrder& order, bool warm);
    pictures::PictureOutcome run(pictures::PictureProcess& process, const DecoderOrder& order, std::string& bytes);

    const std::string m_program;
    const std::int64_t m_pixels;
    std::mutex m_mutex; // guards all below
    std::condition_variable m_changed;
    std::deque<DecoderOrder> m_orders;
    bool m_ending = false;
    std::thread m_thread;
};

} // namespace tv

#endif
