// SPDX-License-Identifier: MIT
/// \file Media by their addresses, without the plugin.
#ifndef KINLOOM_MEDIA_H
#define KINLOOM_MEDIA_H

#include "kinloom/Call.h"

#include <cstdint>
#include <memory>
#include <string>

namespace kinloom {

struct MediaOrder {
    std::string url;
    std::string file;               ///< where it goes, whole or not at all; empty: into memory
    std::uint64_t limit = 64 << 20; ///< most bytes in memory; the host's own limit holds too
    std::string name;               ///< for messages
    /// Most bytes in the file: the first one more ends the fetch. 0: the host's own limit alone.
    std::uint64_t fileLimit = 0;
};

/// Fetches media with the host's HTTP client, many at a time, in this process. No failure and no cancel of the plugin's requests
/// reaches them, nor do they reach each other. The client's options are those of the process (W::setHttpOptions).
/// All members may be called from any thread.
class KINLOOM_CLIENT_API Media {
public:
    Media();
    /// Ends every fetch as cancelled. Must not run in an onEnd function of one.
    ~Media();
    Media(const Media&) = delete;
    Media& operator=(const Media&) = delete;

    /// Begins to fetch. Without a patience in the options a fetch may take its time while it moves. With retries in the options it
    /// is made again when it fails in a way that passes.
    Call<MediaReply> fetch(MediaOrder order, const CallOptions& options = {});

private:
    struct Impl;
    std::shared_ptr<Impl> m_impl; ///< a fetch that ends may look at it for a moment longer
};

} // namespace kinloom

#endif
