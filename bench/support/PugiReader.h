// SPDX-License-Identifier: MIT
/// \file Contents of a feed read with another parser.
#ifndef SUPPORT_PUGIREADER_H
#define SUPPORT_PUGIREADER_H

#include "W/WContainer.h"
#include "W/WContent.h"

#include <string>

namespace bench {

/// What every record gets beside the reply's values.
struct PugiContext {
    W::WContentProvider provider;
    W::WDownloader downloader;
    void* downloaderArg;
};

/// Reads the contents below "data", with the fields that a feed has, each looked up as attribute, then as child. Nothing is checked
/// but that the text parses. \throw std::runtime_error
void readWithPugixml(const std::string& body, const PugiContext& context, W::WContainer<W::WContent>& contents,
                     unsigned int& count);

} // namespace bench

#endif
