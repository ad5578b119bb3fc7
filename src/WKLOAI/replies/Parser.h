// SPDX-License-Identifier: MIT
/// \file libxml2's parser, kept from one reply to the next.
#ifndef WKLOAI_REPLIES_PARSER_H
#define WKLOAI_REPLIES_PARSER_H

#include <libxml/parser.h>
#include <memory>

namespace W::replies {

/// Keeps a parser for the next reply, or frees it.
struct ParserReturn {
    void operator()(xmlParserCtxt* parser) const noexcept;
};
using ParserPointer = std::unique_ptr<xmlParserCtxt, ParserReturn>;

/// A parser without input. The one that was kept knows names of earlier replies: making a parser, and filling its dictionary with
/// the service's names again, costs more than parsing a short reply. Any thread. \throw std::bad_alloc
ParserPointer takeParser();

/// Frees the parser that is kept. The library leaves nothing behind when it is unloaded after this.
void freeKeptParser() noexcept;

} // namespace W::replies

#endif
