// SPDX-License-Identifier: MIT
// Every field of every record: where it is looked for, and what of its element's text it takes.
#include "plugin/replies/FieldTable.h"

using namespace kinloom_test;
using namespace W;

namespace {

class ReplyFields : public ReplyTest {
protected:
    /// Replies around a record's element.
    static STRING inData(const STRING& xml) { return dataReply(xml); }
    static STRING inGroup(const STRING& xml) { return dataReply("<group>" + xml + "</group>"); }

    static WContent firstContent(WKLOAI& oai, const STRING& body)
    {
        const ListResult<WContent> result = parseList<WContent>(oai, body);
        return result.size() == 1 ? result.front() : WContent();
    }
    static WGroup firstGroup(WKLOAI& oai, const STRING& body)
    {
        const ListResult<WGroup> result = parseList<WGroup>(oai, body);
        return result.size() == 1 ? result.front() : WGroup();
    }
    static WComment firstComment(WKLOAI& oai, const STRING& body)
    {
        const ListResult<WComment> result = parseList<WComment>(oai, body);
        return result.size() == 1 ? result.front() : WComment();
    }
    static WKLGallery firstGallery(WKLOAI& oai, const STRING& body)
    {
        const ListResult<WKLGallery> result = parseList<WKLGallery>(oai, body);
        return result.size() == 1 ? result.front() : WKLGallery();
    }

    /// A content of the kind that its identifiers select.
    static std::function<WContent(WKLOAI&, const STRING&)> reader(const STRING& galleryID, const STRING& boardID,
                                                                  const STRING& calendarID)
    {
        return [=](WKLOAI& oai, const STRING& xml) {
            WContent content;
            content.setUID("1");
            content.setGalleryID(galleryID);
            content.setMsgBoardID(boardID);
            content.setCalendarID(calendarID);
            EXPECT_EQ(oai.parseContent(ParsedDocument(xml).root(), content), 0);
            return content;
        };
    }
};

STRING resolutionOf(const WContent& content)
{
    return std::to_string(content.getResolution().getWidth()) + "x" + std::to_string(content.getResolution().getHeight());
}

} // namespace

TEST_F(ReplyFields, OfAPlainContent)
{
    RecordKind<WContent> kind{"content", {"content", {{"contentId", "1"}}}, inData, firstContent, reader("", "", ""), {}};
    kind.fields = {
        textField("contentType", &WContent::getType),
        dateField<WContent>("contentRegisterTime", [](const WContent& c) { return c.getRegisterTime(); }),
        textField("contentDesc", &WContent::getDescription),
        countField<WContent>("commentCount", [](const WContent& c) { return c.getCommentCount(); }),
    };
    expectFields(*oai, kind);
    kind.fields = {textField("type", &WContent::getType)}; // read when there is no contentType
    expectFields(*oai, kind);
    expectNoReport();
}

TEST_F(ReplyFields, OfAContentDetail)
{
    RecordKind<WContent> kind{"contentDetail",
                              {"contentDetail"},
                              [](const STRING& xml) { return inData("<content contentId='1'>" + xml + "</content>"); },
                              firstContent,
                              [](WKLOAI& plugin, const STRING& xml) {
                                  WContent content;
                                  plugin.getContentDetail(ParsedDocument(xml).root(), content);
                                  return content;
                              },
                              {
                                  textOfField<WContent>("contentUrl", [](const WContent& c) { return c.getResourceURL(); }),
                                  textField("size", &WContent::getSize),
                                  textField("format", &WContent::getFormat),
                                  dateField<WContent>("createTime", [](const WContent& c) { return c.getCreateTime(); }),
                              }};
    expectFields(*oai, kind);

    kind.element.fields = {{"height", "600"}};
    kind.fields = {{"width", "800", "800x600", "640", "640x600", resolutionOf, "0x0"}};
    expectFields(*oai, kind);
    kind.element.fields = {{"width", "800"}};
    kind.fields = {{"height", "600", "800x600", "480", "800x480", resolutionOf, "0x0"}};
    expectFields(*oai, kind);
}

TEST_F(ReplyFields, OfAGalleryContent)
{
    RecordKind<WContent> kind{"content in a gallery",
                              {"content", {{"id", "1"}, {"galleryID", "g"}}},
                              inGroup,
                              firstContent,
                              reader("g", "b", "c"),
                              {
                                  textField("size", &WContent::getSize),
                                  dateField<WContent>("contentCreateDate", [](const WContent& c) { return c.getCreateDate(); }),
                                  textField("contentExt", &WContent::getExt),
                                  textField("format", &WContent::getFormat),
                                  textField("contentDurationTime", &WContent::getDuration),
                                  textOfField<WContent>("contentUrl", [](const WContent& c) { return c.getResourceURL(); }),
                                  textField("contentDesc", &WContent::getDescription),
                                  dateField<WContent>("contentRegisterDate", [](const WContent& c) { return c.getRegisterDate(); }),
                                  countField<WContent>("commentCount", [](const WContent& c) { return c.getCommentCount(); }),
                              }};
    expectFields(*oai, kind);

    const struct {
        const char* width;
        const char* height;
    } resolutions[] = {{"width", "height"}, {"contentResolutionX", "contentResolutionY"}};
    for (const auto& resolution : resolutions) {
        kind.element.fields = {{"id", "1"}, {"galleryID", "g"}, {resolution.height, "600"}};
        kind.fields = {{resolution.width, "800", "800x600", "640", "640x600", resolutionOf, "0x0"}};
        expectFields(*oai, kind);
        kind.element.fields = {{"id", "1"}, {"galleryID", "g"}, {resolution.width, "800"}};
        kind.fields = {{resolution.height, "600", "800x600", "480", "800x480", resolutionOf, "0x0"}};
        expectFields(*oai, kind);
    }
}

TEST_F(ReplyFields, OfAMessage)
{
    const auto messageOf = [](const WContent& c) { return c.getMessages().size() == 1 ? c.getMessages().front() : WMessage(); };
    RecordKind<WContent> kind{
        "message",
        {"content", {{"id", "1"}, {"messageBoardID", "b"}}},
        inGroup,
        firstContent,
        reader("", "b", "c"),
        {
            textField("size", &WContent::getSize),
            dateField<WContent>("contentCreateDate", [](const WContent& c) { return c.getCreateDate(); }),
            textOfField<WContent>("messageText", [=](const WContent& c) { return messageOf(c).getText(); }),
            dateField<WContent>("messageRegisterDate", [=](const WContent& c) { return messageOf(c).getRegisterDate(); }),
        }};
    expectFields(*oai, kind);
}

namespace {

template <class Record, class EventOf> std::vector<Field<Record>> eventFields(EventOf eventOf)
{
    return {
        textOfField<Record>("eventTitle", [=](const Record& r) { return eventOf(r).getTitle(); }),
        textOfField<Record>("eventType", [=](const Record& r) { return eventOf(r).getType(); }),
        dateField<Record>("eventStartDate", [=](const Record& r) { return eventOf(r).getWhen().getStartTime(); }),
        dateField<Record>("eventEndDate", [=](const Record& r) { return eventOf(r).getWhen().getEndTime(); }),
        textOfField<Record>("eventDescription", [=](const Record& r) { return eventOf(r).getDescription(); }),
        dateField<Record>("eventRegisterDate", [=](const Record& r) { return eventOf(r).getRegisterDate(); }),
    };
}

WEvent eventOf(const WContent& content) { return content.getEvents().size() == 1 ? content.getEvents().front() : WEvent(); }

} // namespace

TEST_F(ReplyFields, OfACalendarEvent)
{
    expectFields(*oai, RecordKind<WContent>{"event",
                                            {"content", {{"id", "1"}, {"calendarID", "c"}}},
                                            inGroup,
                                            firstContent,
                                            reader("", "", "c"),
                                            eventFields<WContent>(eventOf)});
}

TEST_F(ReplyFields, OfALinkedEvent)
{
    RecordKind<WEvent> kind{
        "linked event",
        {"contentLink", {{"ID", "e1"}}},
        [](const STRING& xml) { return inGroup("<content id='1' galleryID='g'><eventLink>" + xml + "</eventLink></content>"); },
        [](WKLOAI& plugin, const STRING& body) { return eventOf(firstContent(plugin, body)); },
        [](WKLOAI& plugin, const STRING& xml) {
            WEvent event;
            EXPECT_EQ(plugin.parseEvent(ParsedDocument(xml).root(), event), 0);
            return event;
        },
        eventFields<WEvent>([](const WEvent& event) { return event; })};
    expectFields(*oai, kind);

    // The identifiers are read by the walk, not by the record's routine.
    kind.read = [](WKLOAI& plugin, const STRING& xml) {
        ParsedDocument document("<content><eventLink>" + xml + "</eventLink></content>");
        WContent content;
        content.setGalleryID("g");
        EXPECT_EQ(plugin.parseContent(document.root(), content), 0);
        return eventOf(content);
    };
    kind.fields = {textOfField<WEvent>("calendarID", [](const WEvent& event) { return event.getCalendarUID(); })};
    expectFields(*oai, kind);
}

TEST_F(ReplyFields, OfAGroup)
{
    const RecordKind<WGroup> kind{"group",
                                  {"group"},
                                  inData,
                                  firstGroup,
                                  [](WKLOAI& plugin, const STRING& xml) {
                                      WGroup group;
                                      EXPECT_EQ(plugin.parseGroup(ParsedDocument(xml).root(), group, "ignored"), 0);
                                      return group;
                                  },
                                  {
                                      textOfField<WGroup>("groupId", [](const WGroup& g) { return g.getUID(); }),
                                      textField("groupName", &WGroup::getName),
                                      textField("groupDesc", &WGroup::getDescription),
                                      countField<WGroup>("totalContentCount", [](const WGroup& g) { return g.getTotalCount(); }),
                                      countField<WGroup>("photoCount", [](const WGroup& g) { return g.getPhotoCount(); }),
                                      countField<WGroup>("audioCount", [](const WGroup& g) { return g.getAudioCount(); }),
                                      countField<WGroup>("videoCount", [](const WGroup& g) { return g.getVideoCount(); }),
                                      countField<WGroup>("commentCount", [](const WGroup& g) { return g.getCommentCount(); }),
                                  }};
    expectFields(*oai, kind);
}

TEST_F(ReplyFields, OfAGroupImage)
{
    const auto read = [](WKLOAI& plugin, const STRING& xml) {
        WGroup group;
        plugin.getGroupImage(ParsedDocument(xml).root(), group);
        return group;
    };
    expectFields(*oai, RecordKind<WGroup>{"groupImage",
                                          {"groupImage"},
                                          [](const STRING& xml) { return inData("<group>" + xml + "</group>"); },
                                          firstGroup,
                                          read,
                                          {textField("groupImageUrl", &WGroup::getImageUrl)}});

    const STRING child = "<groupImageThumbnail_274X204>u</groupImageThumbnail_274X204>";
    EXPECT_EQ(read(*oai, "<groupImage><thumbnail>" + child + "</thumbnail></groupImage>").getImage().getResourceURL(), "u");
    const STRING attribute = "groupImageThumbnail_274X204='u'";
    EXPECT_EQ(read(*oai, "<groupImage><thumbnail " + attribute + "/></groupImage>").getImage().getResourceURL(), "u");
}

namespace {

std::vector<Field<WPerson>> shortUserFields()
{
    return {
        textOfField<WPerson>("userId", [](const WPerson& p) { return p.getUID(); }),
        textField("userName", &WPerson::getName),
    };
}

std::vector<Field<WPerson>> fullUserFields()
{
    return {
        textOfField<WPerson>("id", [](const WPerson& p) { return p.getUID(); }),
        textField("userName", &WPerson::getName),
        textField("phoneNumber", &WPerson::getPhoneNumber),
        textOfField<WPerson>("userImage", [](const WPerson& p) { return p.getPhoto().getResourceURL(); }),
        textOfField<WPerson>("userStatus", [](const WPerson& p) { return p.getStatus(); }),
        textOfField<WPerson>("contentDelFlag", [](const WPerson& p) { return p.getDelFlag(); }),
        dateField<WPerson>("userRegisterDate", [](const WPerson& p) { return p.getRegisterDate(); }),
    };
}

} // namespace

TEST_F(ReplyFields, OfAShortUserWhereverOneStands)
{
    const auto read = [](WKLOAI& plugin, const STRING& xml) { return plugin.getUser(ParsedDocument(xml).root()); };
    expectFields(*oai, RecordKind<WPerson>{"groupMaster",
                                           {"groupMaster"},
                                           [](const STRING& xml) { return inData("<group>" + xml + "</group>"); },
                                           [](WKLOAI& plugin, const STRING& body) { return firstGroup(plugin, body).getMaster(); },
                                           read,
                                           shortUserFields()});
    expectFields(*oai, RecordKind<WPerson>{"contentCreator",
                                           {"contentCreator"},
                                           [](const STRING& xml) { return inData("<content contentId='1'>" + xml + "</content>"); },
                                           [](WKLOAI& plugin, const STRING& body) { return firstContent(plugin, body).getUser(); },
                                           read,
                                           shortUserFields()});
    expectFields(
        *oai, RecordKind<WPerson>{"commentCreator",
                                  {"commentCreator"},
                                  [](const STRING& xml) { return envelope("<comment commentId='1'>" + xml + "</comment><data/>"); },
                                  [](WKLOAI& plugin, const STRING& body) { return firstComment(plugin, body).getUser(); },
                                  read,
                                  shortUserFields()});
}

TEST_F(ReplyFields, OfAFullUserWhereverOneStands)
{
    struct Place {
        const char* name;
        STRING attributes;
        std::function<WPerson(const WContent&)> of;
    };
    const Place places[] = {
        {"contentRegisterMember", "galleryID='g'", [](const WContent& c) { return c.getUser(); }},
        {"messageRegisterMember", "messageBoardID='b'",
         [](const WContent& c) { return c.getMessages().empty() ? WPerson() : c.getMessages().front().getUser(); }},
        {"eventRegisterMember", "calendarID='c'", [](const WContent& c) { return eventOf(c).getUser(); }},
    };
    for (const Place& place : places) {
        RecordKind<WPerson> kind{
            place.name,
            {place.name},
            [&](const STRING& xml) { return inGroup("<content id='1' " + place.attributes + ">" + xml + "</content>"); },
            [&](WKLOAI& plugin, const STRING& body) { return place.of(firstContent(plugin, body)); },
            [&](WKLOAI& plugin, const STRING& xml) {
                ParsedDocument document("<content>" + xml + "</content>");
                const std::list<WPerson> people = plugin.getUsers(document.root(), place.name);
                return people.size() == 1 ? people.front() : WPerson();
            },
            fullUserFields()};
        expectFields(*oai, kind);
        kind.fields = {textOfField<WPerson>("commentDelFlag", [](const WPerson& p) { return p.getDelFlag(); })};
        expectFields(*oai, kind);
    }
}

TEST_F(ReplyFields, OfAComment)
{
    RecordKind<WComment> kind{"comment",
                              {"comment", {{"commentId", "1"}}},
                              [](const STRING& xml) { return envelope(xml + "<data/>"); },
                              firstComment,
                              [](WKLOAI& plugin, const STRING& xml) {
                                  WComment comment;
                                  EXPECT_EQ(plugin.parseComment(ParsedDocument(xml).root(), comment), 0);
                                  return comment;
                              },
                              {
                                  textOfField<WComment>("commentSize", [](const WComment& c) { return c.getSize(); }),
                                  textField("commentText", &WComment::getComment),
                                  dateField<WComment>("commentRegisterDate", [](const WComment& c) { return c.getRegisterDate(); }),
                              }};
    expectFields(*oai, kind);

    // The same comments in a content.
    kind.reply = [](const STRING& xml) { return inGroup("<content id='1' galleryID='g'>" + xml + "</content>"); };
    kind.parse = [](WKLOAI& plugin, const STRING& body) {
        const WContent content = firstContent(plugin, body);
        return content.getComments().size() == 1 ? content.getComments().front() : WComment();
    };
    expectFields(*oai, kind);
}

TEST_F(ReplyFields, OfAGallery)
{
    expectFields(*oai,
                 RecordKind<WKLGallery>{
                     "gallery",
                     {"gallery", {{"id", "g"}}},
                     [](const STRING& xml) { return envelope("<group>" + xml + "</group><data/>"); },
                     firstGallery,
                     [](WKLOAI& plugin, const STRING& xml) {
                         WKLGallery gallery;
                         gallery.setUID("g");
                         EXPECT_EQ(plugin.parseGallery(ParsedDocument(xml).root(), gallery), 0);
                         return gallery;
                     },
                     {
                         dateField<WKLGallery>("galleryDate", [](const WKLGallery& g) { return g.getDate(); }),
                         textField("galleryDescription", &WKLGallery::getDescription),
                         dateField<WKLGallery>("galleryRegisterDate", [](const WKLGallery& g) { return g.getRegisterDate(); }),
                     }});
}

// --- What of an element is its text

namespace {

struct TextCase {
    const char* xml;
    const char* expected;
};

// The first run of text: comments, instructions, CDATA sections and elements end it, and do not count themselves.
constexpr TextCase TEXTS[] = {
    {"plain", "plain"},
    {"  blanks kept  ", "  blanks kept  "},
    {"a &amp; b &lt;c&gt; &quot;&apos;", "a & b <c> \"'"},
    {"&#65;&#x42;&#233;", "AB\xC3\xA9"},
    {"&amp;#38;", "&#38;"},
    {"&#38;amp;", "&amp;"},
    {"line\r\nend\rmac", "line\nend\nmac"},
    {"12<!-- -->34", "12"},
    {"<!-- -->34", "34"},
    {"<!-- --><!-- -->34<!-- -->56", "34"},
    {"12<?pi?>34", "12"},
    {"<?pi?>34", "34"},
    {"12<![CDATA[34]]>56", "12"},
    {"<![CDATA[12]]>34", "34"},
    {"<![CDATA[12]]>", ""},
    {"12<b/>34", "12"},
    {"12<b>x</b>34", "12"},
    {"<b>x</b>34", "34"},
    {"<b>x</b>", ""},
    {"  <!-- c -->value", "  "},
    {"\n<b/>\nvalue", "\n"},
    {"", ""},
    {"<!-- only -->", ""},
};

} // namespace

TEST_F(ReplyFields, TakeTheFirstRunOfText)
{
    for (const TextCase& text : TEXTS) {
        SCOPED_TRACE(text.xml);
        const STRING element = "<content contentId='1'><contentDesc>" + STRING(text.xml) + "</contentDesc></content>";
        EXPECT_EQ(content(dataReply(element)).getDescription(), text.expected);

        ParsedDocument document(element);
        WContent record;
        record.setUID("1");
        ASSERT_EQ(oai->parseContent(document.root(), record), 0);
        EXPECT_EQ(record.getDescription(), text.expected);
    }
}

TEST_F(ReplyFields, TakeAnAttributesWholeValue)
{
    static constexpr TextCase VALUES[] = {
        {"plain", "plain"},
        {"a &amp; b &lt;c&gt; &quot;", "a & b <c> \""},
        {"&amp;", "&"},
        {"&amp;&amp;", "&&"},
        {"&amp;#38;", "&#38;"},
        {"&#38;#38;", "&#38;"},
        {"&amp;amp;amp;", "&amp;amp;"},
        {"&#65;&#xE9;", "A\xC3\xA9"},
        {"tab\tnewline\nkept as blanks", "tab newline kept as blanks"},
        {"tab&#9;newline&#10;kept", "tab\tnewline\nkept"},
        {"\xF0\x9F\x8E\x82", "\xF0\x9F\x8E\x82"},
        {"", ""},
        {" ", " "},
    };
    for (const TextCase& value : VALUES) {
        SCOPED_TRACE(value.xml);
        const STRING element = "<content contentId='1' contentDesc=\"" + STRING(value.xml) + "\"/>";
        EXPECT_EQ(content(dataReply(element)).getDescription(), value.expected);

        ParsedDocument document(element);
        WContent record;
        record.setUID("1");
        ASSERT_EQ(oai->parseContent(document.root(), record), 0);
        EXPECT_EQ(record.getDescription(), value.expected);
    }
}

TEST_F(ReplyFields, TakeLongTextsWhole)
{
    // Long enough to come from the parser in many pieces, and with references between them.
    STRING text;
    STRING xml;
    for (int i = 0; i < 20000; ++i) {
        const STRING piece = "piece " + std::to_string(i) + " \xEA\xB9\x80";
        text += piece + (i % 7 == 0 ? "&" : " ");
        xml += piece + (i % 7 == 0 ? "&amp;" : " ");
    }
    EXPECT_EQ(content(dataReply("<content contentId='1'><contentDesc>" + xml + "</contentDesc></content>")).getDescription(), text);
    EXPECT_EQ(content(dataReply("<content contentId='1' contentDesc=\"" + xml + "\"/>")).getDescription(), text);
}

TEST_F(ReplyFields, AreNeitherHiddenNorFakedByNodesBesideThem)
{
    for (const char* const beside :
         {"<![CDATA[<contentDesc>fake</contentDesc>]]>", "<!--<contentDesc>fake</contentDesc>-->", "<?contentDesc fake?>",
          "<!--contentDesc-->", "contentDesc", "<contentDescription>fake</contentDescription>", "<contentDes>fake</contentDes>",
          "<other><contentDesc>fake</contentDesc></other>"}) {
        SCOPED_TRACE(beside);
        const STRING field = "<contentDesc>true</contentDesc>";
        for (const STRING& inside : {beside + field, field + beside, beside + field + beside}) {
            const STRING element = "<content contentId='1'>" + inside + "</content>";
            EXPECT_EQ(content(dataReply(element)).getDescription(), "true");
            ParsedDocument document(element);
            WContent record;
            record.setUID("1");
            ASSERT_EQ(oai->parseContent(document.root(), record), 0);
            EXPECT_EQ(record.getDescription(), "true");
        }
        EXPECT_EQ(content(dataReply("<content contentId='1'>" + STRING(beside) + "</content>")).getDescription(), "");
    }
}

TEST_F(ReplyFields, AreComparedByteForByte)
{
    for (const char* const name :
         {"contentdesc", "CONTENTDESC", "contentDesc2", "xcontentDesc", "content", "contentDe\xCC\x81sc"}) {
        const STRING element = "<content contentId='1' " + STRING(name) + "='a'><" + name + ">b</" + name + "></content>";
        EXPECT_EQ(content(dataReply(element)).getDescription(), "") << element;
    }
}

// --- References to entities, in a document that the caller has parsed

TEST_F(ReplyFields, ReadAllOfAValueWithReferences)
{
    ParsedDocument document(
        "<!DOCTYPE data [<!ENTITY who 'Ada &#x26;#38; Ben'>]>"
        "<data><group groupId='g&who;' groupName='of &who;'><groupMaster userId='&who;' userName='&who;!'/></group></data>");
    WContainer<WGroup> groups;
    unsigned int count = 0;
    ASSERT_EQ(oai->parseGroups(document.root(), groups, count), 0);
    ASSERT_EQ(count, 1u);
    const WGroup& group = groups.getData().front();
    EXPECT_EQ(group.getUID(), "gAda & Ben");
    EXPECT_EQ(group.getName(), "of Ada & Ben");
    EXPECT_EQ(group.getMaster().getUID(), "Ada & Ben");
    EXPECT_EQ(group.getMaster().getName(), "Ada & Ben!");

    ParsedDocument contents(
        "<!DOCTYPE data [<!ENTITY one '1'>]><data><content contentId='c&one;' contentDesc='&one;&one;'/></data>");
    WContainer<WContent> list;
    ASSERT_EQ(oai->parseContents(contents.root(), list, count), 0);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(list.getData().front().getUID(), "c1");
    EXPECT_EQ(list.getData().front().getDescription(), "11");
}
