// SPDX-License-Identifier: MIT
/// \file A plugin that is given replies.
#ifndef PLUGIN_REPLIES_REPLYTEST_H
#define PLUGIN_REPLIES_REPLYTEST_H

#include "plugin/support/Facade.h"
#include "replies/Dump.h"
#include "replies/Reply.h"

#include <libxml++/libxml++.h>

namespace kinloom_test {

using test::dump;
using test::Element;
using test::Shape;
using test::SHAPES;
using W::STRING;

/// A document as a host's tool would parse it, for the public routines.
class ParsedDocument {
public:
    explicit ParsedDocument(const STRING& text)
    {
        m_parser.parse_memory_raw(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
    xmlpp::Node* root() { return m_parser.get_document()->get_root_node(); }

private:
    xmlpp::DomParser m_parser;
};

/// What a list's entry point gave.
template <class Record> struct ListResult {
    static constexpr unsigned int UNTOUCHED = 4711;

    W::WSTATUS status = 0;
    W::WContainer<Record> records;
    unsigned int count = UNTOUCHED;

    std::size_t size() const { return records.getData().size(); }
    const Record& front() const { return records.getData().front(); }
    std::vector<STRING> uids() const
    {
        std::vector<STRING> all;
        for (const Record& record : records.getData())
            all.push_back(record.getUID());
        return all;
    }
};

/// A reply with that verdict and what follows it.
inline STRING envelope(const STRING& rest, const STRING& stat = "ok")
{
    return "<rsp><result><stat>" + stat + "</stat></result>" + rest + "</rsp>";
}
inline STRING dataReply(const STRING& inData) { return envelope("<data>" + inData + "</data>"); }

template <class Record> ListResult<Record> parseList(W::WKLOAI& oai, const STRING& body)
{
    ListResult<Record> result;
    result.status = oai.parseString(body, result.records, result.count);
    return result;
}

class ReplyTest : public FacadeTest {
protected:
    ListResult<W::WContent> contents(const STRING& body) { return parseList<W::WContent>(*oai, body); }
    ListResult<W::WGroup> groups(const STRING& body) { return parseList<W::WGroup>(*oai, body); }
    ListResult<W::WComment> comments(const STRING& body) { return parseList<W::WComment>(*oai, body); }
    ListResult<W::WKLGallery> galleries(const STRING& body) { return parseList<W::WKLGallery>(*oai, body); }

    /// The one content of a reply.
    W::WContent content(const STRING& body)
    {
        const ListResult<W::WContent> result = contents(body);
        EXPECT_EQ(result.status, 0) << body;
        EXPECT_EQ(result.size(), 1u) << body;
        return result.size() == 1 ? result.front() : W::WContent();
    }
    /// The one group of a reply.
    W::WGroup group(const STRING& body)
    {
        const ListResult<W::WGroup> result = groups(body);
        EXPECT_EQ(result.status, 0) << body;
        EXPECT_EQ(result.size(), 1u) << body;
        return result.size() == 1 ? result.front() : W::WGroup();
    }

    /// Expects one report of -16 since the last look.
    void expectOneReport(W::WSTATUS status = W::WSTATUS_FAILED)
    {
        EXPECT_EQ(facadeLog(), std::vector<W::WSTATUS>{status});
        log->clear();
    }
    void expectNoReport() { EXPECT_EQ(log->text(), ""); }
};

/// Whether a resource has the plugin's downloader, with the plugin as its argument.
inline bool hasDownloader(const W::WMediaResource& resource, const W::WKLOAI& oai)
{
    return resource.getDownloader() == W::fnContentDownloader && resource.getDownloaderArg() == &oai;
}
inline bool hasNoDownloader(const W::WMediaResource& resource)
{
    return resource.getDownloader() == nullptr && resource.getDownloaderArg() == nullptr;
}

} // namespace kinloom_test

#endif
