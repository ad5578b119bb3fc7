// SPDX-License-Identifier: MIT
/// \file The facade, as the readers of its replies see it.
#ifndef WKLOAI_READINGFOR_H
#define WKLOAI_READINGFOR_H

#include "WKLOAI/WKLOAI.h"
#include "WKLOAI/replies/Reading.h"

namespace W {

/// \param oai lives as long as what is returned, and as the records that are read with it: their downloader leads to it.
inline replies::Reading readingFor(WKLOAI& oai)
{
    const auto giveDownloader = [](WMediaResource& resource, VOID* facade) { resource.setDownloader(fnContentDownloader, facade); };
    return {oai.getContentProvider(), oai.cancelRequested(), giveDownloader, &oai};
}

} // namespace W

#endif
