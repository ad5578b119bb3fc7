// SPDX-License-Identifier: MIT
/// \file For whom a reply is read.
#ifndef WKLOAI_REPLIES_READING_H
#define WKLOAI_REPLIES_READING_H

#include "W/WMediaResource.h"

#include <atomic>

namespace W::replies {

/// What the readers of replies need of the facade, which they do not know.
struct Reading {
    /// Whose records these are. Borrowed, like the flag, for the length of the parse.
    const WContentProvider& provider;
    /// Set while a cancel is pending: lists end early then.
    const std::atomic<bool>& cancelRequested;
    /// Gives a resource that can be downloaded its downloader.
    void (*giveDownloader)(WMediaResource& resource, VOID* facade);
    VOID* facade;

    bool isCancelRequested() const { return cancelRequested.load(std::memory_order_acquire); }
};

} // namespace W::replies

#endif
