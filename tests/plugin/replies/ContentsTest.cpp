// SPDX-License-Identifier: MIT
// Contents in their kinds, and the lists of them.
#include "plugin/replies/ReplyTest.h"

using namespace kinloom_test;
using namespace W;

namespace {

class ContentReply : public ReplyTest {
protected:
    /// The one content below a group.
    WContent inGroup(const STRING& attributes, const STRING& children = "")
    {
        return content(dataReply("<group><content id='1' " + attributes + ">" + children + "</content></group>"));
    }
    WContent inGallery(const STRING& children) { return inGroup("galleryID='g'", children); }
    WContent plain(const STRING& attributes, const STRING& children = "")
    {
        return content(dataReply("<content contentId='1' " + attributes + ">" + children + "</content>"));
    }
    static STRING sizeOf(const WContent& content)
    {
        return std::to_string(content.getResolution().getWidth()) + "x" + std::to_string(content.getResolution().getHeight());
    }
};

const STRING USER = "<contentRegisterMember id='u1' userName='Anna'/>";

} // namespace

// --- Lists

TEST_F(ContentReply, ReadsTheIdentifierFromAttributeAndChild)
{
    EXPECT_EQ(content(dataReply("<content contentId='a'/>")).getUID(), "a");
    EXPECT_EQ(content(dataReply("<content><contentId>b</contentId></content>")).getUID(), "b");
    EXPECT_EQ(content(dataReply("<content contentId='a'><contentId>b</contentId></content>")).getUID(), "a");
}

TEST_F(ContentReply, SkipsContentsWithoutIdentifier)
{
    const ListResult<WContent> result = contents(
        dataReply("<content/><content contentId=''/><content id='x'/><content><contentId/></content><content contentId='1'/>"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.uids(), std::vector<STRING>{"1"});
    EXPECT_EQ(result.count, 1u);
    EXPECT_EQ(result.records.getCount(), 1);
}

TEST_F(ContentReply, KeepsTheOrderOfContentsAndGroups)
{
    const ListResult<WContent> result =
        contents(dataReply("<content contentId='1'/><group><content id='2'/><content id='3'/></group><x/><content contentId='4'/>"
                           "<group><content/><x><content id='no'/></x><content id='5'/></group>"));
    EXPECT_EQ(result.uids(), (std::vector<STRING>{"1", "2", "3", "4", "5"}));
    EXPECT_EQ(result.count, 5u);
}

TEST_F(ContentReply, ReadsTheIdentifiersOfAContentInAGroup)
{
    for (const Shape shape : SHAPES) {
        SCOPED_TRACE(nameOf(shape));
        const Element element("content",
                              {{"id", "1"}, {"galleryID", "g"}, {"messageBoardID", "b"}, {"calendarID", "c"}, {"contentId", "no"}});
        const WContent record = content(test::replyWithData({Element("group", {}, {element})}, shape));
        EXPECT_EQ(record.getUID(), "1");
        EXPECT_EQ(record.getGalleryID(), "g");
        EXPECT_EQ(record.getMsgBoardID(), "b");
        EXPECT_EQ(record.getCalendarID(), "c");
    }
}

TEST_F(ContentReply, IgnoresOtherIdentifiersOfAContentBelowData)
{
    const WContent record = plain("id='x' galleryID='g' messageBoardID='b' calendarID='c' contentType='photo' size='5'");
    EXPECT_EQ(record.getUID(), "1");
    EXPECT_EQ(record.getGalleryID(), "");
    EXPECT_EQ(record.getType(), "photo");
    EXPECT_EQ(record.getSize(), "");
}

TEST_F(ContentReply, TakesTheDataElementItselfForAContent)
{
    for (const char* const data :
         {"<data><contentId>7</contentId><contentType>photo</contentType><contentDetail contentUrl='u'/></data>",
          "<data contentType='photo'><contentId>7</contentId><contentDetail><contentUrl>u</contentUrl></contentDetail></data>",
          "<data><contentType>photo</contentType><contentDetail contentUrl='u'/><contentId>7</contentId></data>",
          "<data contentId='7'><contentId/><contentDetail contentUrl='u'/><contentType>photo</contentType></data>"}) {
        SCOPED_TRACE(data);
        const ListResult<WContent> result = contents("<rsp>" + STRING(data) + "</rsp>");
        ASSERT_EQ(result.uids(), std::vector<STRING>{"7"});
        EXPECT_EQ(result.count, 1u);
        EXPECT_EQ(result.records.getCount(), 1);
        EXPECT_EQ(result.front().getType(), "photo");
        EXPECT_EQ(result.front().getResourceURL(), "u");
    }
}

TEST_F(ContentReply, TakesTheDataElementOnlyForAContentIdElement)
{
    // The attribute alone does not make "data" a content: the walk looks at the children.
    EXPECT_EQ(contents("<rsp><data contentId='7'><x/></data></rsp>").size(), 0u);
    EXPECT_EQ(contents(dataReply("<contentId/>")).size(), 0u);
    EXPECT_EQ(contents(dataReply("<contentId/><contentId>7</contentId>")).size(), 0u);
}

TEST_F(ContentReply, CountsTheDataElementForEachContentIdElement)
{
    const ListResult<WContent> result = contents(dataReply(
        "<contentId>7</contentId><content contentId='1'/><contentId>8</contentId><contentDesc>d</contentDesc><contentId/>"));
    EXPECT_EQ(result.uids(), (std::vector<STRING>{"7", "1", "7", "7"}));
    EXPECT_EQ(result.count, 4u);
    EXPECT_EQ(result.front().getDescription(), "d");
    EXPECT_EQ(dump(result.records.getData().back()), dump(result.front()));
}

// --- The kinds and their precedence

TEST_F(ContentReply, PrefersGalleryToMessageBoardToCalendar)
{
    const STRING fields =
        "<contentExt>jpg</contentExt><messageText>m</messageText><eventTitle>t</eventTitle><contentType>photo</contentType>";
    const WContent photo = inGroup("galleryID='g' messageBoardID='b' calendarID='c'", fields);
    EXPECT_EQ(photo.getExt(), "jpg");
    EXPECT_TRUE(photo.getMessages().empty());
    EXPECT_TRUE(photo.getEvents().empty());
    EXPECT_EQ(photo.getType(), "");

    const WContent message = inGroup("messageBoardID='b' calendarID='c'", fields);
    EXPECT_EQ(message.getExt(), "");
    ASSERT_EQ(message.getMessages().size(), 1u);
    EXPECT_EQ(message.getMessages().front().getText(), "m");
    EXPECT_TRUE(message.getEvents().empty());

    const WContent event = inGroup("calendarID='c'", fields);
    EXPECT_TRUE(event.getMessages().empty());
    ASSERT_EQ(event.getEvents().size(), 1u);
    EXPECT_EQ(event.getEvents().front().getTitle(), "t");
    EXPECT_EQ(event.getType(), "");

    const WContent plainOne = inGroup("", fields);
    EXPECT_EQ(plainOne.getType(), "photo");
    EXPECT_TRUE(plainOne.getEvents().empty());
}

TEST_F(ContentReply, ReadsNothingMoreOfAContentWithoutIdentifiers)
{
    ParsedDocument document("<content contentType='photo' contentDesc='d'><contentCreator userId='u'/></content>");
    WContent record;
    EXPECT_EQ(oai->parseContent(document.root(), record), 0);
    WContent expected;
    expected.setContentProvider(provider());
    EXPECT_EQ(dump(record), dump(expected));
}

TEST_F(ContentReply, SetsTheProviderOfEveryKind)
{
    for (const char* const attributes : {"", "galleryID='g'", "messageBoardID='b'", "calendarID='c'"})
        EXPECT_EQ(inGroup(attributes).getContentProvider().getID(), provider().getID()) << attributes;
}

TEST_F(ContentReply, SetsTheDownloaderOfGalleryContentsOnly)
{
    EXPECT_TRUE(hasDownloader(inGroup("galleryID='g'"), *oai));
    for (const char* const attributes : {"", "messageBoardID='b'", "calendarID='c'"})
        EXPECT_TRUE(hasNoDownloader(inGroup(attributes))) << attributes;
}

TEST_F(ContentReply, IgnoresANullNode)
{
    WContent record;
    WContainer<WContent> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseContent(nullptr, record), 0);
    EXPECT_EQ(oai->parseContents(nullptr, list, count), 0);
    oai->getContentDetail(nullptr, record);
    EXPECT_EQ(dump(record), dump(WContent()));
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(list.getCount(), -1);
    EXPECT_TRUE(oai->getThumbnails(nullptr).empty());
    EXPECT_EQ(oai->getPhotoResolution(nullptr), WSize());
    EXPECT_EQ(oai->getVideoResolution(nullptr), WSize());
    WEvent event;
    WMessage message;
    EXPECT_EQ(oai->parseEvent(nullptr, event), 0);
    EXPECT_EQ(oai->parseMessage(nullptr, message), 0);
    EXPECT_EQ(dump(event), dump(WEvent()));
    EXPECT_EQ(dump(message), dump(WMessage()));
}

TEST_F(ContentReply, ReadsAListFromATreeToo)
{
    ParsedDocument document(
        "<data><content contentId='1'/><group><content id='2' galleryID='g'><comment commentId='k'/></content></group>"
        "<contentId>3</contentId></data>");
    WContainer<WContent> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseContents(document.root(), list, count), 0);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(list.getCount(), 3);
    ASSERT_EQ(list.getData().size(), 3u);
    EXPECT_EQ(std::next(list.getData().begin())->getComments().size(), 1u);
    EXPECT_EQ(list.getData().back().getUID(), "3");
}

// --- Gallery contents

TEST_F(ContentReply, TakesTheVideoResolutionWithoutAPhotoResolution)
{
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' contentResolutionX='1920' contentResolutionY='1080'")), "1920x1080");
}

TEST_F(ContentReply, TriesTheVideoResolutionWhenHalfThePhotoResolutionIsMissing)
{
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' width='800' contentResolutionX='1920' contentResolutionY='1080'")), "1920x1080");
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' height='600' contentResolutionX='1920' contentResolutionY='1080'")), "1920x1080");
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' width='800'")), "0x0");
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' width='800' contentResolutionX='1920'")), "0x0");
}

TEST_F(ContentReply, TriesTheVideoResolutionWhenThePhotoResolutionIsZero)
{
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' width='0' height='0' contentResolutionX='1920' contentResolutionY='1080'")),
              "1920x1080");
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' width='x' height='y' contentResolutionX='1920' contentResolutionY='1080'")),
              "1920x1080");
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' width='0' height='1' contentResolutionX='1920' contentResolutionY='1080'")), "0x1");
}

TEST_F(ContentReply, PrefersThePhotoResolution)
{
    EXPECT_EQ(sizeOf(inGroup("galleryID='g' width='800' height='600' contentResolutionX='1920' contentResolutionY='1080'")),
              "800x600");
}

TEST_F(ContentReply, ReadsResolutionsFromAnyElement)
{
    ParsedDocument document("<x width='1' contentResolutionX='3'><height>2</height><contentResolutionY>4</contentResolutionY></x>");
    EXPECT_EQ(oai->getPhotoResolution(document.root()), WSize(1, 2));
    EXPECT_EQ(oai->getVideoResolution(document.root()), WSize(3, 4));
}

TEST_F(ContentReply, ReadsTheRegistrant)
{
    const WContent record = inGallery(USER + "<contentRegisterMember id='u2'/>");
    EXPECT_EQ(record.getUser().getUID(), "u1");
    EXPECT_EQ(record.getUser().getName(), "Anna");
}

TEST_F(ContentReply, LeavesTheUserUnsetWithoutARegistrant)
{
    EXPECT_EQ(dump(inGallery("<contentCreator userId='no'/>").getUser()), dump(WPerson()));
}

TEST_F(ContentReply, LeavesThumbnailsUnsetWithoutAThumbnailElement)
{
    EXPECT_TRUE(inGallery(USER).getThumbnails().empty());

    // A record that has some keeps them.
    ParsedDocument document("<content/>");
    WContent record;
    record.setGalleryID("g");
    WPerson user;
    user.setName("before");
    record.setUser(user);
    record.setThumbnails(std::list<WMediaResource>(1));
    record.setEvents(std::list<WEvent>(1));
    record.setCommentCount(3);
    EXPECT_EQ(oai->parseContent(document.root(), record), 0);
    EXPECT_EQ(record.getThumbnails().size(), 1u);
    EXPECT_EQ(record.getUser().getName(), "before");
    EXPECT_EQ(record.getEvents().size(), 1u);
    EXPECT_EQ(record.getCommentCount(), 3u);
}

TEST_F(ContentReply, ReadsTheFirstThumbnailElementOfAGalleryContent)
{
    const WContent record = inGallery("<thumbnail><contentThumbnail_116X87>a</contentThumbnail_116X87></thumbnail>"
                                      "<thumbnail><contentThumbnail_116X87>b</contentThumbnail_116X87></thumbnail>");
    ASSERT_EQ(record.getThumbnails().size(), 1u);
    EXPECT_EQ(record.getThumbnails().front().getResourceURL(), "a");
}

TEST_F(ContentReply, ReadsTheCommentsOfContentsButPlainOnes)
{
    const STRING two =
        "<comment commentId='k1' commentText='one'/><x/><comment/><comment commentId='k2'><commentText>two</commentText></comment>";
    for (const char* const attributes : {"galleryID='g'", "messageBoardID='b'", "calendarID='c'"}) {
        SCOPED_TRACE(attributes);
        const WContent record = inGroup(attributes, two);
        ASSERT_EQ(record.getComments().size(), 2u);
        EXPECT_EQ(record.getComments().front().getUID(), "k1");
        EXPECT_EQ(record.getComments().back().getComment(), "two");
    }
    EXPECT_TRUE(inGroup("", two).getComments().empty());
    EXPECT_TRUE(plain("", two).getComments().empty());
}

TEST_F(ContentReply, KeepsTheCommentsOfContentsApart)
{
    const ListResult<WContent> result =
        contents(dataReply("<group><content id='1' galleryID='g'><comment commentId='k1'/></content><content "
                           "galleryID='g'><comment commentId='no'/></content>"
                           "<content id='2'><comment commentId='no'/></content><content id='3' galleryID='g'/>"
                           "<content id='4' calendarID='c'><comment commentId='k4'/></content></group>"));
    ASSERT_EQ(result.uids(), (std::vector<STRING>{"1", "2", "3", "4"}));
    std::vector<std::size_t> numbers;
    for (const WContent& record : result.records.getData())
        numbers.push_back(record.getComments().size());
    EXPECT_EQ(numbers, (std::vector<std::size_t>{1, 0, 0, 1}));
    EXPECT_EQ(result.records.getData().back().getComments().front().getUID(), "k4");
}

TEST_F(ContentReply, SetsTheCommentCountOfAGalleryContentOnlyFromAText)
{
    EXPECT_EQ(inGroup("galleryID='g' commentCount='5'").getCommentCount(), 5u);
    EXPECT_EQ(inGroup("galleryID='g' commentCount='x'").getCommentCount(), 0u);

    WContent record;
    record.setGalleryID("g");
    record.setCommentCount(9);
    for (const char* const xml : {"<content/>", "<content commentCount=''/>", "<content><commentCount/></content>"}) {
        ParsedDocument document(xml);
        EXPECT_EQ(oai->parseContent(document.root(), record), 0);
        EXPECT_EQ(record.getCommentCount(), 9u) << xml;
    }
}

TEST_F(ContentReply, ReadsLinkedEvents)
{
    const WContent record =
        inGallery("<eventLink><contentLink ID='e1' calendarID='c' eventTitle='one'/><x/><contentLink eventTitle='no'/>"
                  "<contentLink><ID>e2</ID><eventTitle>two</eventTitle></contentLink></eventLink>"
                  "<eventLink><contentLink ID='no'/></eventLink>");
    ASSERT_EQ(record.getEvents().size(), 2u);
    const WEvent& first = record.getEvents().front();
    EXPECT_EQ(first.getUID(), "e1");
    EXPECT_EQ(first.getCalendarUID(), "c");
    EXPECT_EQ(first.getTitle(), "one");
    EXPECT_EQ(first.getContentProvider().getID(), provider().getID());
    EXPECT_EQ(record.getEvents().back().getUID(), "e2");
    EXPECT_EQ(record.getEvents().back().getTitle(), "two");
}

TEST_F(ContentReply, EmptiesTheEventsForALinkWithoutAny)
{
    ParsedDocument document("<content><eventLink/></content>");
    WContent record;
    record.setGalleryID("g");
    record.setEvents(std::list<WEvent>(1));
    EXPECT_EQ(oai->parseContent(document.root(), record), 0);
    EXPECT_TRUE(record.getEvents().empty());
}

// --- Messages and events

TEST_F(ContentReply, ReplacesTheMessagesAndEventsOfARecord)
{
    ParsedDocument document("<content messageText='m' eventTitle='t'/>");
    WContent message;
    message.setMsgBoardID("b");
    message.setMessages(std::list<WMessage>(3));
    EXPECT_EQ(oai->parseContent(document.root(), message), 0);
    ASSERT_EQ(message.getMessages().size(), 1u);
    EXPECT_EQ(message.getMessages().front().getContentProvider().getID(), provider().getID());

    WContent event;
    event.setCalendarID("c");
    event.setEvents(std::list<WEvent>(3));
    EXPECT_EQ(oai->parseContent(document.root(), event), 0);
    ASSERT_EQ(event.getEvents().size(), 1u);
    EXPECT_EQ(event.getEvents().front().getTitle(), "t");
    EXPECT_EQ(event.getEvents().front().getUID(), "");
}

TEST_F(ContentReply, ReadsSizeAndDateOfAMessageButNotOfAnEvent)
{
    const STRING fields = " size='5' contentCreateDate='2010-05-05T07:04:09Z'";
    const WContent message = inGroup("messageBoardID='b'" + fields);
    EXPECT_EQ(message.getSize(), "5");
    EXPECT_TRUE(message.getCreateDate().isSet());
    const WContent event = inGroup("calendarID='c'" + fields);
    EXPECT_EQ(event.getSize(), "");
    EXPECT_FALSE(event.getCreateDate().isSet());
}

// --- Plain contents

TEST_F(ContentReply, TakesTheOtherTypeWhenTheContentTypeIsEmpty)
{
    EXPECT_EQ(plain("type='video'").getType(), "video");
    EXPECT_EQ(plain("contentType='' type='video'").getType(), "video");
    EXPECT_EQ(plain("type='video'", "<contentType/>").getType(), "video");
    EXPECT_EQ(plain("contentType='photo' type='video'").getType(), "photo");
}

TEST_F(ContentReply, SetsTheCommentCountOfAPlainContentToZeroWithoutAText)
{
    EXPECT_EQ(plain("commentCount='5'").getCommentCount(), 5u);
    ParsedDocument document("<content/>");
    WContent record;
    record.setUID("1");
    record.setCommentCount(9);
    EXPECT_EQ(oai->parseContent(document.root(), record), 0);
    EXPECT_EQ(record.getCommentCount(), 0u);
}

TEST_F(ContentReply, TakesTheUploadUrlWhenTheDetailHasNone)
{
    EXPECT_EQ(plain("uploadUrl='up'", "<contentDetail size='1'/>").getResourceURL(), "up");
    EXPECT_EQ(plain("uploadUrl='up'", "<contentDetail contentUrl='down'/>").getResourceURL(), "down");
    EXPECT_EQ(plain("", "<contentDetail/><uploadUrl>up</uploadUrl>").getResourceURL(), "up");
}

TEST_F(ContentReply, TakesNoUploadUrlWithoutADetail) { EXPECT_EQ(plain("uploadUrl='up'").getResourceURL(), ""); }

TEST_F(ContentReply, LetsTheLastDetailWin)
{
    const WContent record =
        plain("uploadUrl='up'", "<contentDetail contentUrl='a' size='1' width='1' height='2'><thumbnail>"
                                "<contentThumbnail_116X87>t</contentThumbnail_116X87></thumbnail></contentDetail>"
                                "<contentDetail format='f'/>");
    EXPECT_EQ(record.getResourceURL(), "up");
    EXPECT_EQ(record.getSize(), "");
    EXPECT_EQ(record.getFormat(), "f");
    EXPECT_EQ(sizeOf(record), "0x0");
    EXPECT_EQ(record.getThumbnails().size(), 1u); // a detail without thumbnails leaves those of the one before
    EXPECT_EQ(plain("uploadUrl='up'", "<contentDetail/><contentDetail contentUrl='b'/>").getResourceURL(), "b");
}

TEST_F(ContentReply, ReadsTheCreatorAsAShortUser)
{
    const WContent record =
        plain("", "<contentCreator userId='u1'/><x/><contentCreator userId='u2'><userName>Eva</userName></contentCreator>");
    EXPECT_EQ(record.getUser().getUID(), "u2");
    EXPECT_EQ(record.getUser().getName(), "Eva");
}

TEST_F(ContentReply, ReadsFieldsOfAnotherKindFromTheDetailOnly)
{
    const WContent record = plain("size='1' format='f' width='8' height='6' contentUrl='u' contentExt='e'");
    EXPECT_EQ(record.getSize(), "");
    EXPECT_EQ(record.getFormat(), "");
    EXPECT_EQ(sizeOf(record), "0x0");
    EXPECT_EQ(record.getResourceURL(), "");
    EXPECT_EQ(record.getExt(), "");
}

// --- Thumbnails

TEST_F(ContentReply, KeepsTheOrderOfThumbnails)
{
    const WContent record = inGallery("<thumbnail><contentThumbnail_116X87>c</contentThumbnail_116X87><other/>"
                                      "<contentThumbnail_1920X1080>a</contentThumbnail_1920X1080>"
                                      "<contentThumbnail_540X405>b</contentThumbnail_540X405></thumbnail>");
    std::vector<STRING> found;
    for (const WMediaResource& thumbnail : record.getThumbnails()) {
        found.push_back(thumbnail.getUID() + " " + thumbnail.getResourceURL());
        EXPECT_TRUE(hasDownloader(thumbnail, *oai));
        EXPECT_EQ(thumbnail.getContentProvider().getID(), provider().getID());
    }
    EXPECT_EQ(found,
              (std::vector<STRING>{"contentThumbnail_116X87 c", "contentThumbnail_1920X1080 a", "contentThumbnail_540X405 b"}));
}

TEST_F(ContentReply, GivesARepeatedThumbnailTheFirstOnesUrl)
{
    ParsedDocument document("<thumbnail><contentThumbnail_116X87>a</contentThumbnail_116X87><contentThumbnail_116X87>b"
                            "</contentThumbnail_116X87></thumbnail>");
    const std::list<WMediaResource> thumbnails = oai->getThumbnails(document.root());
    ASSERT_EQ(thumbnails.size(), 2u);
    EXPECT_EQ(thumbnails.front().getResourceURL(), "a");
    EXPECT_EQ(thumbnails.back().getResourceURL(), "a");
}

TEST_F(ContentReply, GivesAThumbnailTheAttributesUrl)
{
    ParsedDocument document(
        "<thumbnail contentThumbnail_116X87='attribute'><contentThumbnail_116X87>child</contentThumbnail_116X87></thumbnail>");
    const std::list<WMediaResource> thumbnails = oai->getThumbnails(document.root());
    ASSERT_EQ(thumbnails.size(), 1u);
    EXPECT_EQ(thumbnails.front().getResourceURL(), "attribute");
}

TEST_F(ContentReply, MakesNoThumbnailOfAnAttributeAlone)
{
    ParsedDocument document("<thumbnail contentThumbnail_116X87='attribute'/>");
    EXPECT_TRUE(oai->getThumbnails(document.root()).empty());
}

TEST_F(ContentReply, KeepsAThumbnailWithoutUrl)
{
    ParsedDocument document("<thumbnail><contentThumbnail_540X405/></thumbnail>");
    const std::list<WMediaResource> thumbnails = oai->getThumbnails(document.root());
    ASSERT_EQ(thumbnails.size(), 1u);
    EXPECT_EQ(thumbnails.front().getUID(), "contentThumbnail_540X405");
    EXPECT_EQ(thumbnails.front().getResourceURL(), "");
    EXPECT_TRUE(hasDownloader(thumbnails.front(), *oai));
}

TEST_F(ContentReply, LetsTheLastThumbnailElementOfADetailWin)
{
    const WContent record =
        plain("", "<contentDetail><thumbnail><contentThumbnail_116X87>a</contentThumbnail_116X87></thumbnail>"
                  "<thumbnail><contentThumbnail_540X405>b</contentThumbnail_540X405></thumbnail></contentDetail>");
    ASSERT_EQ(record.getThumbnails().size(), 1u);
    EXPECT_EQ(record.getThumbnails().front().getUID(), "contentThumbnail_540X405");
}
