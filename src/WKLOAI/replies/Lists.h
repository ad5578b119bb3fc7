// SPDX-License-Identifier: MIT
/// \file Lists of records, read while the reply is being parsed.
#ifndef WKLOAI_REPLIES_LISTS_H
#define WKLOAI_REPLIES_LISTS_H

#include "W/WContainer.h"
#include "WKLOAI/replies/Document.h"
#include "WKLOAI/replies/RecordReader.h"

#include <vector>

namespace W::replies {

/// The records of one list. Each kind of list takes the elements that hold its records one by one as they end, so that a reply
/// never stands in memory as a whole; or walks a tree that does. finish and deliver come last, in either case.
template <class Record> class RecordList : public ElementSink {
public:
    explicit RecordList(RecordReader& reader) : m_reader(reader) {}

    /// What can be read only when the element that holds the records has ended.
    void finish(const xmlNode*) {}

    /// Appends the records to a container and tells their number; an element without any children changes neither. After a cancel
    /// the container's list is emptied.
    void deliver(WContainer<Record>& container, unsigned int& count, bool hasChildren);

    static bool hasChildren(const xmlNode* node) { return node->children != nullptr; }

protected:
    /// The new record of an element, with its identifier; null when the element has none.
    Record* appendWithID(const xmlNode* element, const char* identifier);

    RecordReader& m_reader;
    std::list<Record> m_records;
    unsigned int m_count = 0; ///< what the reply holds, which is not always what the list does
};

/// Contents in "data", or in "group" elements of it; or "data" itself is one.
class ContentList : public RecordList<WContent> {
public:
    using RecordList::RecordList;
    bool ended(const xmlNode* element, std::size_t depth) override;
    void walk(const xmlNode* data);
    /// Reads the content that the data element itself is.
    void finish(const xmlNode* data);

private:
    void takeContent(const xmlNode* content);
    void takeFromGroup(const xmlNode* content);
    void takeData(const xmlNode* data);

    bool m_dataEnded = false;
    std::size_t m_identifiers = 0; ///< "contentId" elements in "data"
    STRING m_dataID;
    std::vector<WContent*> m_dataRecords; ///< those that the data element itself is, in m_records
};

/// Groups in "data", or in "user" elements of it; a "groupId" in "data" is one more, which does not count.
class GroupList : public RecordList<WGroup> {
public:
    using RecordList::RecordList;
    bool ended(const xmlNode* element, std::size_t depth) override;
    void walk(const xmlNode* data);

private:
    void takeGroup(const xmlNode* group);
    void takeData(const xmlNode* data);

    bool m_dataEnded = false;
    std::size_t m_identifiers = 0; ///< "groupId" elements in "data"
    STRING m_dataID;
};

/// Comments in "rsp".
class CommentList : public RecordList<WComment> {
public:
    using RecordList::RecordList;
    bool ended(const xmlNode* element, std::size_t depth) override;
    void walk(const xmlNode* parent);

private:
    void takeComment(const xmlNode* comment);
};

/// Galleries in the first "group" of "rsp".
class GalleryList : public RecordList<WKLGallery> {
public:
    using RecordList::RecordList;
    bool ended(const xmlNode* element, std::size_t depth) override;
    void walk(const xmlNode* root);
    static bool hasChildren(const xmlNode* root);

private:
    void takeGallery(const xmlNode* gallery);
    void takeContent(const xmlNode* content);

    bool m_groupEnded = false;
    std::list<WContent> m_contents; ///< of the gallery that has not ended
};

} // namespace W::replies

#endif
