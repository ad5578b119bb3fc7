// SPDX-License-Identifier: MIT
#include "WKLOAI/replies/Parser.h"

#include <atomic>
#include <libxml/dict.h>
#include <libxml/parser.h>

namespace W::replies {

namespace {

/// A dictionary that is kept may hold so many names, in so many bytes: the service's names fit several times over. One that a
/// stranger's reply has filled beyond that goes with the reply.
constexpr int MAX_KEPT_NAMES = 512;
constexpr std::size_t MAX_KEPT_BYTES = 64u << 10;

/// One is enough, since nearly all replies are parsed on the host's one worker. Without a destructor: there may be a worker until
/// the end.
std::atomic<xmlParserCtxt*> g_kept{nullptr};

/// After an error a parser is in a state that nobody has looked at; and a reset would lose catalogs without freeing them.
bool isWorthKeeping(xmlParserCtxt* parser)
{
    return parser->wellFormed && parser->disableSAX == 0 && parser->errNo == XML_ERR_OK && parser->nsNr == 0 && !parser->catalogs &&
           xmlDictSize(parser->dict) <= MAX_KEPT_NAMES && xmlDictGetUsage(parser->dict) <= MAX_KEPT_BYTES;
}

void keepQuiet(void*, xmlErrorPtr) {}

} // namespace

Quiet::Quiet() : m_handler(xmlStructuredError), m_context(xmlStructuredErrorContext)
{
    xmlSetStructuredErrorFunc(nullptr, keepQuiet);
}

Quiet::~Quiet() { xmlSetStructuredErrorFunc(m_context, m_handler); }

void ParserReturn::operator()(xmlParserCtxt* parser) const noexcept
{
    if (isWorthKeeping(parser)) {
        xmlCtxtReset(parser);
        parser = g_kept.exchange(parser);
    }
    xmlFreeParserCtxt(parser);
}

ParserPointer takeParser()
{
    ParserPointer parser(g_kept.exchange(nullptr));
    if (!parser) {
        const Quiet quiet;
        parser.reset(xmlNewParserCtxt());
    }
    if (!parser)
        throw NoParser();
    return parser;
}

void freeKeptParser() noexcept { xmlFreeParserCtxt(g_kept.exchange(nullptr)); }

} // namespace W::replies
