// SPDX-License-Identifier: MIT
/// \file What the program was started with.
#ifndef KINLOOM_TV_CORE_OPTIONS_H
#define KINLOOM_TV_CORE_OPTIONS_H

#include "tv/service/Follower.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>

namespace tv {

struct Options {
    std::string config;                               ///< the file with what this television signs in with
    std::string service;                              ///< address; empty: where the file leads
    std::string listen = "127.0.0.1:0";               ///< "ADDR:PORT" of the page
    std::string cache;                                ///< the folder of pictures and index
    std::uint64_t cacheSize = std::uint64_t{2} << 30; ///< bytes of pictures
    std::string lan;                                  ///< "ADDR:PORT" of the guests' page; empty: no guests
    std::string web;                                  ///< the folder of the pages; empty: none
    std::string state;                                ///< the folder of settings, marks and hides
    bool open = false;                                ///< a browser is started as well
    Follower::Times times;
    std::chrono::milliseconds rounds{5000};  ///< between two looks at what takes its time
    std::chrono::milliseconds unseen{60000}; ///< that guests may come although no page shows their address

    /// So much time lies between two looks at what is new; what goes along with it follows.
    void lookEvery(std::chrono::milliseconds time)
    {
        times.poll = time;
        rounds = std::max<std::chrono::milliseconds>(time / 4, std::chrono::milliseconds(100));
        unseen = std::max<std::chrono::milliseconds>(time * 3, std::chrono::seconds(5));
    }
};

} // namespace tv

#endif
