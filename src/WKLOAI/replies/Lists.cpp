// SPDX-License-Identifier: MIT
#include "WKLOAI/replies/Lists.h"

namespace W::replies {

namespace {

using xml::isElement;

/// Depths of elements in a reply, as their names show in "rsp", "data", "group", "content", "comment".
constexpr std::size_t IN_ROOT = 1;
constexpr std::size_t IN_LIST = 2;
constexpr std::size_t IN_GROUP = 3;
constexpr std::size_t IN_RECORD = 4;

bool isChild(const xmlNode* element, const char* name, const char* parent)
{
    return isElement(element, name) && isElement(element->parent, parent);
}

} // namespace

// --- All lists

template <class Record> void RecordList<Record>::deliver(WContainer<Record>& container, unsigned int& count, bool hasChildren)
{
    if (hasChildren) {
        count = m_count;
        container.data().splice(container.data().end(), m_records);
        container.setCount(static_cast<std::int32_t>(m_count));
    }
    if (m_reader.cancelled())
        container.data().clear();
}

template <class Record> Record* RecordList<Record>::appendWithID(const xmlNode* element, const char* identifier)
{
    const xml::Value uid = xml::entry(element, identifier);
    if (uid.isEmpty())
        return nullptr;
    Record& record = m_reader.append(m_records);
    record.setUID(m_reader.str(uid));
    return &record;
}

template class RecordList<WContent>;
template class RecordList<WGroup>;
template class RecordList<WComment>;
template class RecordList<WKLGallery>;

// --- Contents

bool ContentList::ended(const xmlNode* element, std::size_t depth)
{
    if (m_dataEnded || depth < IN_ROOT || depth > IN_RECORD)
        return false;
    if (depth == IN_ROOT) {
        m_dataEnded = isElement(element, "data");
        return false;
    }
    if (depth == IN_LIST && isChild(element, "content", "data")) {
        takeContent(element);
        return true;
    }
    if (depth == IN_LIST && isChild(element, "contentId", "data")) {
        takeData(element->parent);
        return m_identifiers > 1;
    }
    if (depth == IN_GROUP && isChild(element, "content", "group") && isElement(element->parent->parent, "data")) {
        takeFromGroup(element);
        return true;
    }
    if (depth == IN_RECORD && isChild(element, "comment", "content") && isChild(element->parent->parent, "group", "data")) {
        m_reader.readAhead(element);
        return true;
    }
    return false;
}

void ContentList::walk(const xmlNode* data)
{
    for (const xmlNode* child = data->children; child && !m_reader.cancelled(); child = child->next) {
        if (isElement(child, "content"))
            takeContent(child);
        else if (isElement(child, "group"))
            for (const xmlNode* content = child->children; content && !m_reader.cancelled(); content = content->next) {
                if (isElement(content, "content"))
                    takeFromGroup(content);
            }
        else if (isElement(child, "contentId"))
            takeData(data);
    }
}

void ContentList::takeContent(const xmlNode* content)
{
    if (m_reader.cancelled())
        return;
    WContent* const record = appendWithID(content, "contentId");
    if (!record)
        return;
    m_reader.content(content, *record);
    ++m_count;
}

void ContentList::takeFromGroup(const xmlNode* content)
{
    if (m_reader.cancelled())
        return;
    WContent* const record = appendWithID(content, "id");
    if (!record) {
        m_reader.forgetAhead();
        return;
    }
    record->setGalleryID(m_reader.str(xml::entry(content, "galleryID")));
    record->setMsgBoardID(m_reader.str(xml::entry(content, "messageBoardID")));
    record->setCalendarID(m_reader.str(xml::entry(content, "calendarID")));
    m_reader.content(content, *record);
    ++m_count;
}

void ContentList::takeData(const xmlNode* data)
{
    if (m_reader.cancelled())
        return;
    if (m_identifiers++ == 0) {
        m_dataID = xml::entry(data, "contentId").text();
        m_reader.budget().spendOnText(m_dataID.size());
    }
    if (m_dataID.empty())
        return;
    // Each of these elements stands for the same content, and for one more in the list.
    WContent& record = m_reader.append(m_records);
    record.setUID(m_reader.str(m_dataID.c_str()));
    m_dataRecords.push_back(&record);
    ++m_count;
}

void ContentList::finish(const xmlNode* data)
{
    if (m_dataRecords.empty() || m_reader.cancelled())
        return;
    const WContent* const first = m_dataRecords.front();
    const std::size_t before = m_reader.budget().left();
    m_reader.content(data, *m_dataRecords.front());
    const std::size_t size = before - m_reader.budget().left();
    for (WContent* const record : m_dataRecords) {
        if (record == first)
            continue;
        m_reader.budget().spendOnText(size);
        *record = *first;
    }
}

// --- Groups

bool GroupList::ended(const xmlNode* element, std::size_t depth)
{
    if (m_dataEnded || depth < IN_ROOT || depth > IN_GROUP)
        return false;
    if (depth == IN_ROOT) {
        m_dataEnded = isElement(element, "data");
        return false;
    }
    if (depth == IN_LIST && isChild(element, "groupId", "data")) {
        takeData(element->parent);
        return m_identifiers > 1;
    }
    const bool inList = depth == IN_LIST && isChild(element, "group", "data");
    const bool inUser = depth == IN_GROUP && isChild(element, "group", "user") && isElement(element->parent->parent, "data");
    if (inList || inUser)
        takeGroup(element);
    return inList || inUser;
}

void GroupList::walk(const xmlNode* data)
{
    for (const xmlNode* child = data->children; child && !m_reader.cancelled(); child = child->next) {
        if (isElement(child, "group"))
            takeGroup(child);
        else if (isElement(child, "user"))
            for (const xmlNode* group = child->children; group && !m_reader.cancelled(); group = group->next) {
                if (isElement(group, "group"))
                    takeGroup(group);
            }
        else if (isElement(child, "groupId"))
            takeData(data);
    }
}

void GroupList::takeGroup(const xmlNode* group)
{
    if (m_reader.cancelled())
        return;
    m_reader.group(group, m_reader.append(m_records));
    ++m_count;
}

void GroupList::takeData(const xmlNode* data)
{
    if (m_reader.cancelled())
        return;
    if (m_identifiers++ == 0) {
        m_dataID = xml::entry(data, "groupId").text();
        m_reader.budget().spendOnText(m_dataID.size());
    }
    // The reply to a creation: the new group is in the list, but not in the count.
    m_reader.append(m_records).setUID(m_reader.str(m_dataID.c_str()));
}

// --- Comments

bool CommentList::ended(const xmlNode* element, std::size_t depth)
{
    if (depth != IN_ROOT || !isElement(element, "comment"))
        return false;
    takeComment(element);
    return true;
}

void CommentList::walk(const xmlNode* parent)
{
    for (const xmlNode* child = parent->children; child && !m_reader.cancelled(); child = child->next)
        if (isElement(child, "comment"))
            takeComment(child);
}

void CommentList::takeComment(const xmlNode* comment)
{
    if (!m_reader.cancelled() && m_reader.appendComment(comment, m_records))
        ++m_count;
}

// --- Galleries

bool GalleryList::ended(const xmlNode* element, std::size_t depth)
{
    if (m_groupEnded || depth < IN_ROOT || depth > IN_RECORD)
        return false;
    if (depth == IN_ROOT) {
        m_groupEnded = isElement(element, "group");
        return false;
    }
    if (depth == IN_LIST && isChild(element, "gallery", "group")) {
        takeGallery(element);
        return true;
    }
    if (depth == IN_GROUP && isChild(element, "content", "gallery") && isElement(element->parent->parent, "group")) {
        takeContent(element);
        return true;
    }
    if (depth == IN_RECORD && isChild(element, "comment", "content") && isChild(element->parent->parent, "gallery", "group")) {
        m_reader.readAhead(element);
        return true;
    }
    return false;
}

void GalleryList::walk(const xmlNode* root)
{
    const xmlNode* const group = xml::firstChild(root, "group");
    for (const xmlNode* child = group ? group->children : nullptr; child && !m_reader.cancelled(); child = child->next)
        if (isElement(child, "gallery"))
            takeGallery(child);
}

bool GalleryList::hasChildren(const xmlNode* root)
{
    const xmlNode* const group = xml::firstChild(root, "group");
    return group && group->children;
}

void GalleryList::takeGallery(const xmlNode* gallery)
{
    std::list<WContent> contents;
    contents.swap(m_contents);
    if (m_reader.cancelled())
        return;
    WKLGallery* const record = appendWithID(gallery, "id");
    if (!record)
        return;
    for (WContent& content : contents)
        content.setGalleryID(m_reader.str(record->getUID().c_str()));
    m_reader.gallery(gallery, *record, std::move(contents));
    ++m_count;
}

void GalleryList::takeContent(const xmlNode* content)
{
    if (m_reader.cancelled())
        return;
    const xml::Value uid = xml::entry(content, "id");
    if (uid.isEmpty()) {
        m_reader.forgetAhead();
        return;
    }
    WContent& record = m_reader.append(m_contents);
    record.setUID(m_reader.str(uid));
    m_reader.galleryContent(content, record);
}

} // namespace W::replies
