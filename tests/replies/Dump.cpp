// SPDX-License-Identifier: MIT
#include "replies/Dump.h"

namespace test {

namespace {

/// Writes records as indented lines.
class Dumper {
public:
    std::string take() { return std::move(m_text); }

    void add(const char* name, const W::WContent& content)
    {
        const Level level(*this, name);
        media(content);
        value("type", content.getType());
        value("size", content.getSize());
        value("ext", content.getExt());
        value("format", content.getFormat());
        value("duration", content.getDuration());
        value("description", content.getDescription());
        value("createDate", content.getCreateDate());
        value("createTime", content.getCreateTime());
        value("registerDate", content.getRegisterDate());
        value("registerTime", content.getRegisterTime());
        if (content.getResolution() != W::WSize())
            line("resolution",
                 std::to_string(content.getResolution().getWidth()) + " x " + std::to_string(content.getResolution().getHeight()));
        value("commentCount", content.getCommentCount());
        value("galleryID", content.getGalleryID());
        value("msgBoardID", content.getMsgBoardID());
        value("calendarID", content.getCalendarID());
        add("user", content.getUser());
        for (const W::WMediaResource& thumbnail : content.getThumbnails())
            add("thumbnail", thumbnail);
        for (const W::WComment& comment : content.getComments())
            add("comment", comment);
        for (const W::WMessage& message : content.getMessages())
            add("message", message);
        for (const W::WEvent& event : content.getEvents())
            add("event", event);
    }

    void add(const char* name, const W::WGroup& group)
    {
        const Level level(*this, name);
        media(group);
        value("name", group.getName());
        value("description", group.getDescription());
        value("imageUrl", group.getImageUrl());
        add("image", group.getImage());
        add("master", group.getMaster());
        value("totalCount", group.getTotalCount());
        value("photoCount", group.getPhotoCount());
        value("audioCount", group.getAudioCount());
        value("videoCount", group.getVideoCount());
        value("commentCount", group.getCommentCount());
    }

    void add(const char* name, const W::WKLGallery& gallery)
    {
        const Level level(*this, name);
        resource(gallery);
        value("date", gallery.getDate());
        value("registerDate", gallery.getRegisterDate());
        value("description", gallery.getDescription());
        for (const W::WContent& content : gallery.getContents())
            add("content", content);
    }

    void add(const char* name, const W::WComment& comment)
    {
        const Level level(*this, name);
        resource(comment);
        value("size", comment.getSize());
        value("comment", comment.getComment());
        value("registerDate", comment.getRegisterDate());
        add("user", comment.getUser());
    }

    void add(const char* name, const W::WMessage& message)
    {
        const Level level(*this, name);
        resource(message);
        value("text", message.getText());
        value("registerDate", message.getRegisterDate());
        add("user", message.getUser());
    }

    void add(const char* name, const W::WEvent& event)
    {
        const Level level(*this, name);
        resource(event);
        value("title", event.getTitle());
        value("type", event.getType());
        value("description", event.getDescription());
        value("calendarUID", event.getCalendarUID());
        value("start", event.getWhen().getStartTime());
        value("end", event.getWhen().getEndTime());
        value("registerDate", event.getRegisterDate());
        value("rule", event.getRecurrenceRule().getRule());
        add("user", event.getUser());
    }

    void add(const char* name, const W::WPerson& person)
    {
        const Level level(*this, name);
        resource(person);
        value("name", person.getName());
        value("phoneNumber", person.getPhoneNumber());
        value("status", person.getStatus());
        value("statusCode", person.getStatusCode());
        value("delFlag", person.getDelFlag());
        value("registerDate", person.getRegisterDate());
        add("photo", person.getPhoto());
    }

    void add(const char* name, const W::WMediaResource& mediaResource)
    {
        const Level level(*this, name);
        media(mediaResource);
    }

private:
    /// A record's name and, indented, what it holds; nothing at all of a nested record that holds nothing.
    class Level {
    public:
        Level(Dumper& dumper, const char* name) : m_dumper(dumper), m_begin(dumper.m_text.size())
        {
            dumper.m_text.append(2 * dumper.m_depth++, ' ').append(name).append("\n");
            m_inside = dumper.m_text.size();
        }
        ~Level()
        {
            if (m_dumper.m_text.size() == m_inside && m_dumper.m_depth > 1)
                m_dumper.m_text.erase(m_begin);
            --m_dumper.m_depth;
        }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

    private:
        Dumper& m_dumper;
        std::size_t m_begin;
        std::size_t m_inside;
    };

    void line(const char* name, const std::string& text)
    {
        m_text.append(2 * m_depth, ' ').append(name).append(" ").append(text).append("\n");
    }
    void value(const char* name, const std::string& text)
    {
        if (!text.empty())
            line(name, "\"" + text + "\"");
    }
    void value(const char* name, const W::WDateTime& date)
    {
        if (date.isSet())
            line(name, date.toString());
    }
    void value(const char* name, W::UINT32 number)
    {
        if (number != 0)
            line(name, std::to_string(number));
    }

    void resource(const W::WResource& record)
    {
        const W::WContentProvider& provider = record.getContentProvider();
        if (!provider.getName().empty() || provider.getServiceType() != W::WContentProvider::SERVICE_UNKNOWN)
            line("provider", provider.getName() + " " + std::to_string(provider.getServiceType()));
        value("uid", record.getUID());
        value("tag", record.getTag());
        if (record.properties().size() != 0)
            line("properties", std::to_string(record.properties().size()));
    }
    void media(const W::WMediaResource& record)
    {
        resource(record);
        value("url", record.getResourceURL());
        value("mimeType", record.getMIMEType());
        if (record.getDownloader())
            line("downloader", record.getDownloaderArg() ? "with argument" : "without argument");
    }

    std::string m_text;
    std::size_t m_depth = 0;
};

template <class Record> std::string dumped(const char* name, const Record& record)
{
    Dumper dumper;
    dumper.add(name, record);
    return dumper.take();
}

} // namespace

std::string dump(const W::WContent& content) { return dumped("content", content); }
std::string dump(const W::WGroup& group) { return dumped("group", group); }
std::string dump(const W::WKLGallery& gallery) { return dumped("gallery", gallery); }
std::string dump(const W::WComment& comment) { return dumped("comment", comment); }
std::string dump(const W::WEvent& event) { return dumped("event", event); }
std::string dump(const W::WMessage& message) { return dumped("message", message); }
std::string dump(const W::WPerson& person) { return dumped("person", person); }
std::string dump(const W::WMediaResource& resource) { return dumped("resource", resource); }

} // namespace test
