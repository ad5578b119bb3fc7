// SPDX-License-Identifier: MIT
/// \file From the elements of a reply to records.
#ifndef WKLOAI_REPLIES_RECORDREADER_H
#define WKLOAI_REPLIES_RECORDREADER_H

#include "KLService/HostValues.h"
#include "KLService/Xml.h"
#include "W/WGroup.h"
#include "W/WKLGallery.h"
#include "WKLOAI/replies/Budget.h"
#include "WKLOAI/replies/Reading.h"

#include <cstdlib>
#include <list>

namespace W::replies {

/// Fills records from libxml2's nodes, in place. What an element lacks reads as empty; nothing in a document makes a record fail.
/// A null node leaves everything as it is. Every walk stops when a cancel is pending.
/// Lives for one reply, on one thread. Everything may throw when there is no memory left, or no budget.
class RecordReader {
public:
    RecordReader(const Reading& reading, Budget& budget) : m_reading(reading), m_budget(budget) {}

    // Contents. The record already holds the identifiers that select its kind.
    void content(const xmlNode* node, WContent& content);
    /// A content of a gallery, whatever identifiers the record holds.
    void galleryContent(const xmlNode* node, WContent& content);
    void contentDetail(const xmlNode* node, WContent& content);
    std::list<WMediaResource> thumbnails(const xmlNode* node);
    WSize photoResolution(const xmlNode* node) const;
    WSize videoResolution(const xmlNode* node) const;
    void event(const xmlNode* node, WEvent& event);
    void message(const xmlNode* node, WMessage& message);

    // Groups and galleries.
    void group(const xmlNode* node, WGroup& group);
    void groupImage(const xmlNode* node, WGroup& group);
    /// \param contents that have been read already.
    void gallery(const xmlNode* node, WKLGallery& gallery, std::list<WContent> contents = {});

    // People and comments.
    WPerson shortUser(const xmlNode* node);
    WMediaResource userImage(const xmlNode* node);
    /// An image that is named after its field, when it has a URL.
    WMediaResource thumbnail(const xmlNode* node, const char* field);
    WMediaResource namedImage(const xmlNode* node, const char* field, const STRING& uid);
    WPerson fullUser(const xmlNode* node);
    std::list<WPerson> fullUsers(const xmlNode* parent, const char* name);
    void comment(const xmlNode* node, WComment& comment);
    /// Appends the comment of an element that has an identifier. \return whether it has.
    bool appendComment(const xmlNode* node, std::list<WComment>& comments);

    // A comment in a content may be read before the content itself; it then belongs to the next one that is.
    void readAhead(const xmlNode* comment) { appendComment(comment, m_comments); }
    void forgetAhead() { m_comments.clear(); }

    /// Whether a cancel is pending, or was when this was asked before: a list that has ended early stays a cancelled one.
    bool cancelled() { return m_cancelled = m_cancelled || m_reading.isCancelRequested(); }
    Budget& budget() { return m_budget; }

    /// A new record at the end of a list.
    template <class Record> Record& append(std::list<Record>& records)
    {
        constexpr std::size_t LINKS = 3 * sizeof(void*); // of the list, and the allocation's own
        m_budget.spendOnRecord(sizeof(Record) + LINKS);
        return records.emplace_back();
    }

    /// A text for a setter. Valid until the next call: setters copy, and one buffer serves them all.
    const STRING& str(const char* text)
    {
        m_buffer.assign(text);
        if (m_buffer.size() >= sizeof(STRING) / 2) // a shorter one lies within the record
            m_budget.spendOnText(m_buffer.size());
        return m_buffer;
    }
    const STRING& str(const xml::Value& value) { return str(value.text()); }

private:
    void galleryItem(const xmlNode* node, WContent& content);
    void boardMessage(const xmlNode* node, WContent& content);
    void calendarEvent(const xmlNode* node, WContent& content);
    void plainContent(const xmlNode* node, WContent& content);
    std::list<WEvent> linkedEvents(const xmlNode* eventLink);
    std::list<WComment> commentsOf(const xmlNode* node);
    /// The element to read a registrant from; null when there is none, and the record keeps the person that it has.
    const xmlNode* registrant(const xmlNode* firstUser);

    const WContentProvider& provider() const { return m_reading.provider; }
    void setDownloader(WMediaResource& resource) const { m_reading.giveDownloader(resource, m_reading.facade); }

    WDateTime date(const char* text)
    {
        m_buffer.assign(text);
        return WDateTime::fromString(m_buffer, date_format::ISO8601, time_zone::UTC);
    }
    /// Leading digits; 0 when there are none.
    static long number(const char* text) { return std::strtol(text, nullptr, 10); }
    static UINT32 countOf(const char* text) { return static_cast<UINT32>(number(text)); }
    static WSize sizeOf(const char* width, const char* height);

    const Reading m_reading;
    Budget& m_budget;
    STRING m_buffer;
    bool m_cancelled = false;
    std::list<WComment> m_comments; ///< read ahead of their content
};

} // namespace W::replies

#endif
