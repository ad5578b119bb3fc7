// SPDX-License-Identifier: MIT
/// \file libxml2's parser, kept from one reply to the next.
#ifndef WKLOAI_REPLIES_PARSER_H
#define WKLOAI_REPLIES_PARSER_H

#include <exception>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <memory>

namespace W::replies {

/// Keeps what libxml2 reports without a parser, such as a failed allocation, off standard error. The handler is the calling
/// thread's own, and is put back.
class Quiet {
public:
    Quiet();
    ~Quiet();
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    xmlStructuredErrorFunc m_handler;
    void* m_context;
};

/// Keeps a parser for the next reply, or frees it.
struct ParserReturn {
    void operator()(xmlParserCtxt* parser) const noexcept;
};
using ParserPointer = std::unique_ptr<xmlParserCtxt, ParserReturn>;

/// There is no parser to be had. Not a fault of the reply's: it has not been looked at.
class NoParser : public std::exception {
public:
    const char* what() const noexcept override { return "no parser can be made"; }
};

/// A parser without input. The one that was kept knows names of earlier replies: making a parser, and filling its dictionary with
/// the service's names again, costs more than parsing a short reply. Any thread. \throw NoParser
ParserPointer takeParser();

/// Frees the parser that is kept. The library leaves nothing behind when it is unloaded after this.
void freeKeptParser() noexcept;

} // namespace W::replies

#endif
