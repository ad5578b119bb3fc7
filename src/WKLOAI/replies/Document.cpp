// SPDX-License-Identifier: MIT
#include "WKLOAI/replies/Document.h"

#include "WKLOAI/replies/Encoding.h"
#include "WKLOAI/replies/Guard.h"

#include <algorithm>
#include <cstring>
#include <libxml/catalog.h>
#include <libxml/parserInternals.h>
#include <new>
#include <stdexcept>

namespace W::replies {

namespace {

std::string_view text(const xmlChar* begin, std::size_t length) { return {reinterpret_cast<const char*>(begin), length}; }

} // namespace

/// What the parser calls. Nothing may be thrown through it.
struct Document::Events {
    static Document& of(void* self) { return *static_cast<Document*>(self); }

    /// Hands the parser the next piece. One that has found an error gets no more, since it would go on to look for others.
    static int read(void* self, char* buffer, int size)
    {
        std::string_view& unread = of(self).m_unread;
        const std::size_t length = of(self).m_failed ? 0 : std::min(unread.size(), static_cast<std::size_t>(size));
        std::memcpy(buffer, unread.data(), length);
        unread.remove_prefix(length);
        of(self).endInput();
        return static_cast<int>(length);
    }

    static void startElement(void* self, const xmlChar* name, const xmlChar*, const xmlChar*, int, const xmlChar**,
                             int attributeCount, int, const xmlChar** attributes)
    {
        of(self).run([&](Tree& tree) {
            if (of(self).m_context->nsNr > 2 * MAX_NAMESPACES)
                throw std::length_error("the reply has too many namespaces");
            of(self).accountForNames();
            tree.open(name);
            ++of(self).m_depth;
            // Each attribute is a name, a prefix, a namespace, and the begin and end of the value. No field has a prefix.
            for (const xmlChar** attribute = attributes; attributeCount > 0; --attributeCount, attribute += 5)
                if (!attribute[1])
                    tree.attribute(attribute[0], text(attribute[3], static_cast<std::size_t>(attribute[4] - attribute[3])));
        });
    }

    static void endElement(void* self, const xmlChar*, const xmlChar*, const xmlChar*)
    {
        of(self).run([&](Tree& tree) {
            xmlNode* const element = tree.close();
            --of(self).m_depth;
            if (of(self).m_sink && of(self).m_sink->ended(element, of(self).m_depth))
                tree.forget(element);
        });
    }

    static void characters(void* self, const xmlChar* begin, int length)
    {
        of(self).run([&](Tree& tree) { tree.text(text(begin, static_cast<std::size_t>(length))); });
    }

    static void cdata(void* self, const xmlChar*, int)
    {
        of(self).run([](Tree& tree) { tree.other(); });
    }

    static void comment(void* self, const xmlChar*)
    {
        of(self).run([](Tree& tree) { tree.other(); });
    }

    static void instruction(void* self, const xmlChar*, const xmlChar*)
    {
        of(self).run([&](Tree& tree) {
            of(self).forgetCatalogs();
            of(self).accountForNames();
            tree.other();
        });
    }

    // The parser comes here before it reads what a document type declares, and goes no further. Entities, defaults and external
    // subsets, all the ways in which few bytes become much work, begin with one.
    static void documentType(void* self, const xmlChar*, const xmlChar*, const xmlChar*)
    {
        of(self).run([](Tree&) { throw std::invalid_argument("the reply has a document type"); });
    }

    static void failed(void* self, xmlErrorPtr) { of(self).m_failed = true; }

    static xmlSAXHandler handler()
    {
        xmlSAXHandler handler{};
        handler.initialized = XML_SAX2_MAGIC;
        handler.internalSubset = documentType;
        handler.startElementNs = startElement;
        handler.endElementNs = endElement;
        handler.characters = characters;
        handler.ignorableWhitespace = characters;
        handler.cdataBlock = cdata;
        handler.comment = comment;
        handler.processingInstruction = instruction;
        handler.serror = failed;
        return handler;
    }
};

/// Has the parser ask for no more once it has everything. Near the end of its input it would at every step, which is a third of the
/// time of a short reply.
void Document::endInput()
{
    if (m_unread.empty() && m_context->input && m_context->input->buf)
        m_context->input->buf->readcallback = nullptr;
}

template <class Step> void Document::run(Step&& step)
{
    if (!m_failed) {
        try {
            step(m_tree);
            return;
        } catch (...) {
            m_exception = std::current_exception();
            m_failed = true;
        }
    }
    xmlStopParser(m_context.get());
}

// An instruction may name a catalog to look external entities up in, and there are none of those. The parser puts each at the end
// of a list, to which it walks from the beginning.
void Document::forgetCatalogs()
{
    if (!m_context->catalogs)
        return;
    xmlCatalogFreeLocal(m_context->catalogs);
    m_context->catalogs = nullptr;
}

// The parser keeps each name once.
void Document::accountForNames()
{
    constexpr std::size_t NAME_SIZE = 96;
    const auto names = static_cast<std::size_t>(xmlDictSize(m_context->dict)) - m_knownNames;
    if (names == m_names)
        return;
    if (names > MAX_NAMES)
        throw std::length_error("the reply has too many names");
    m_budget.spendOnTree((names - m_names) * NAME_SIZE);
    m_names = names;
}

// libxml2 has a routine for all of this, which forgets to free the buffer when the memory ends half way.
void Document::openInput()
{
    m_knownNames = static_cast<std::size_t>(xmlDictSize(m_context->dict));
    *m_context->sax = Events::handler();
    m_context->userData = this;

    xmlParserInputBuffer* const buffer = xmlParserInputBufferCreateIO(Events::read, nullptr, this, XML_CHAR_ENCODING_NONE);
    xmlParserInput* const input = buffer ? xmlNewIOInputStream(m_context.get(), buffer, XML_CHAR_ENCODING_NONE) : nullptr;
    if (!input) {
        xmlFreeParserInputBuffer(buffer);
        throw std::bad_alloc();
    }
    if (inputPush(m_context.get(), input) < 0) {
        xmlFreeInputStream(input);
        throw std::bad_alloc();
    }
}

Document::Document(const STRING& body, Budget& budget, ElementSink* sink)
    : m_budget(budget), m_tree(budget, body.size()), m_sink(sink), m_context(takeParser())
{
    STRING decoded;
    const std::optional<std::string_view> utf8 = inUtf8(body, decoded);
    if (!utf8 || !isParsable(*utf8))
        throw std::invalid_argument("the reply cannot be parsed");
    budget.spendOnText(decoded.capacity());
    m_unread = *utf8;

    const Quiet quiet;
    openInput();
    // The text is in UTF-8, whatever its declaration says. What programs set for all their parsers does not count here.
    xmlCtxtUseOptions(m_context.get(), XML_PARSE_NONET | XML_PARSE_IGNORE_ENC);
    xmlParseDocument(m_context.get());
    if (m_failed)
        xmlResetLastError(); // libxml2 keeps one for the thread

    if (m_exception)
        std::rethrow_exception(m_exception);
    if (m_failed || !m_context->wellFormed || !root())
        throw std::invalid_argument("the reply is malformed");
}

} // namespace W::replies
