// SPDX-License-Identifier: MIT
// Groups and galleries, and the lists of them.
#include "plugin/replies/ReplyTest.h"

using namespace kinloom_test;
using namespace W;
using namespace std::string_literals;

namespace {

class GroupReply : public ReplyTest {};
class GalleryReply : public ReplyTest {
protected:
    /// The one gallery of a reply.
    WKLGallery gallery(const STRING& inGroup)
    {
        const ListResult<WKLGallery> result = galleries(envelope("<group>" + inGroup + "</group><data/>"));
        EXPECT_EQ(result.status, 0) << inGroup;
        EXPECT_EQ(result.size(), 1u) << inGroup;
        return result.size() == 1 ? result.front() : WKLGallery();
    }
    static std::vector<STRING> contentsOf(const WKLGallery& gallery)
    {
        std::vector<STRING> all;
        for (const WContent& content : gallery.getContents())
            all.push_back(content.getUID());
        return all;
    }
};

const STRING GROUP_IMAGE = "groupImageThumbnail_274X204";

} // namespace

// --- Lists of groups

TEST_F(GroupReply, ListsGroupsAndTheNewOneUncounted)
{
    const ListResult<WGroup> result = groups(dataReply("<group groupId='1'/><groupId>3</groupId><group groupId='2'/>"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.uids(), (std::vector<STRING>{"1", "3", "2"}));
    EXPECT_EQ(result.count, 2u);
    EXPECT_EQ(result.records.getCount(), 2);
}

TEST_F(GroupReply, ReadsTheIdentifierOfANewGroupFromData)
{
    for (const char* const data : {"<data><groupId>7</groupId></data>", "<data groupId='7'><groupId>8</groupId></data>",
                                   "<data groupId='7'><groupId/></data>"}) {
        SCOPED_TRACE(data);
        const ListResult<WGroup> result = groups("<rsp>" + STRING(data) + "</rsp>");
        EXPECT_EQ(result.uids(), std::vector<STRING>{"7"});
        EXPECT_EQ(result.count, 0u);
        EXPECT_EQ(result.records.getCount(), 0);
    }
}

TEST_F(GroupReply, GivesANewGroupNothingButItsIdentifier)
{
    const WGroup created = group(dataReply("<groupId>7</groupId><groupName>no</groupName>"));
    WGroup expected;
    expected.setUID("7");
    EXPECT_EQ(dump(created), dump(expected));
}

TEST_F(GroupReply, AppendsTheNewGroupForEachGroupIdElement)
{
    EXPECT_EQ(groups(dataReply("<groupId>7</groupId><groupId>8</groupId><groupId/>")).uids(), (std::vector<STRING>{"7", "7", "7"}));
    // An empty identifier makes a group too, unlike a content.
    EXPECT_EQ(groups(dataReply("<groupId/>")).uids(), std::vector<STRING>{""});
    EXPECT_EQ(groups("<rsp><data groupId='7'><x/></data></rsp>").size(), 0u);
}

TEST_F(GroupReply, ReadsGroupsOfUsers)
{
    const ListResult<WGroup> result = groups(dataReply(
        "<user id='u1'><group id='x' groupId='1'/><x><group groupId='no'/></x><group><id>y</id><groupId>2</groupId></group></user>"
        "<group groupId='3'/><user><group groupId='4'/></user><user/>"));
    EXPECT_EQ(result.uids(), (std::vector<STRING>{"1", "2", "3", "4"}));
    EXPECT_EQ(result.count, 4u);
}

TEST_F(GroupReply, KeepsTheGroupIdAndNotTheIdOfAUsersGroup)
{
    EXPECT_EQ(group(dataReply("<user id='u'><group id='a' groupId='b'/></user>")).getUID(), "b");
    EXPECT_EQ(group(dataReply("<user id='u'><group id='a'/></user>")).getUID(), "");
}

TEST_F(GroupReply, ListsGroupsWithoutIdentifier)
{
    const ListResult<WGroup> result = groups(dataReply("<group/><group groupName='n'/>"));
    EXPECT_EQ(result.uids(), (std::vector<STRING>{"", ""}));
    EXPECT_EQ(result.count, 2u);
}

TEST_F(GroupReply, ReadsAListFromATreeToo)
{
    ParsedDocument document("<data><group groupId='1'/><groupId>3</groupId><user><group groupId='2'/></user></data>");
    WContainer<WGroup> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseGroups(document.root(), list, count), 0);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(list.getCount(), 2);
    EXPECT_EQ(list.getData().size(), 3u);
}

TEST_F(GroupReply, IgnoresANullNode)
{
    WGroup record;
    WContainer<WGroup> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseGroup(nullptr, record, "u"), 0);
    EXPECT_EQ(oai->parseGroups(nullptr, list, count), 0);
    oai->getGroupImage(nullptr, record);
    EXPECT_EQ(dump(record), dump(WGroup()));
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(list.getCount(), -1);
}

// --- One group

TEST_F(GroupReply, ReadsMissingCountsAsZero)
{
    const WGroup record = group(dataReply("<group groupId='1' photoCount='7'/>"));
    EXPECT_EQ(record.getPhotoCount(), 7u);
    EXPECT_EQ(record.getVideoCount(), 0u);
    EXPECT_EQ(record.getTotalCount(), 0u);
    EXPECT_EQ(record.getAudioCount(), 0u);
    EXPECT_EQ(record.getCommentCount(), 0u);
}

TEST_F(GroupReply, SetsEveryCountAnew)
{
    ParsedDocument document("<group/>");
    WGroup record;
    record.setTotalCount(1);
    record.setPhotoCount(2);
    record.setAudioCount(3);
    record.setVideoCount(4);
    record.setCommentCount(5);
    EXPECT_EQ(oai->parseGroup(document.root(), record, ""), 0);
    EXPECT_EQ(record.getTotalCount() + record.getPhotoCount() + record.getAudioCount() + record.getVideoCount() +
                  record.getCommentCount(),
              0u);
}

TEST_F(GroupReply, SetsTheProvider) { EXPECT_EQ(group(dataReply("<group/>")).getContentProvider().getID(), provider().getID()); }

TEST_F(GroupReply, ReadsItsImage)
{
    const WGroup record =
        group(dataReply("<group><groupImage groupImageUrl='big'><thumbnail " + GROUP_IMAGE + "='small'/></groupImage></group>"));
    EXPECT_EQ(record.getImageUrl(), "big");
    EXPECT_EQ(record.getImage().getUID(), GROUP_IMAGE);
    EXPECT_EQ(record.getImage().getResourceURL(), "small");
    EXPECT_EQ(record.getImage().getContentProvider().getID(), provider().getID());
    EXPECT_TRUE(hasDownloader(record.getImage(), *oai));
    EXPECT_TRUE(hasNoDownloader(record));
}

TEST_F(GroupReply, GivesAnImageWithoutUrlNeitherIdentifierNorDownloader)
{
    for (const STRING& thumbnail :
         {"<thumbnail/>"s, "<thumbnail " + GROUP_IMAGE + "=''/>", "<thumbnail><" + GROUP_IMAGE + "/></thumbnail>"}) {
        const WGroup record = group(dataReply("<group><groupImage>" + thumbnail + "</groupImage></group>"));
        EXPECT_EQ(record.getImage().getUID(), "");
        EXPECT_TRUE(hasNoDownloader(record.getImage()));
        EXPECT_EQ(record.getImage().getContentProvider().getID(), provider().getID()) << "the image is set all the same";
    }
}

TEST_F(GroupReply, LetsTheLastImageWin)
{
    const STRING first = "<thumbnail " + GROUP_IMAGE + "='a'/>";
    const STRING second = "<thumbnail " + GROUP_IMAGE + "='b'/>";
    EXPECT_EQ(group(dataReply("<group><groupImage>" + first + second + "</groupImage></group>")).getImage().getResourceURL(), "b");
    EXPECT_EQ(group(dataReply("<group><groupImage>" + first + "<thumbnail/></groupImage></group>")).getImage().getUID(), "");

    const WGroup record = group(dataReply("<group><groupImage groupImageUrl='u'>" + first + "</groupImage><groupImage/></group>"));
    EXPECT_EQ(record.getImageUrl(), "");
    EXPECT_EQ(record.getImage().getResourceURL(), "a") << "an image element without a thumbnail leaves the image";
}

TEST_F(GroupReply, LeavesTheImageUnsetWithoutOne)
{
    EXPECT_EQ(dump(group(dataReply("<group><thumbnail " + GROUP_IMAGE + "='no'/></group>")).getImage()), dump(WMediaResource()));
}

TEST_F(GroupReply, LetsTheLastMasterWin)
{
    const WGroup record = group(dataReply("<group><groupMaster userId='1' userName='Anna'/><groupMaster userId='2'/></group>"));
    EXPECT_EQ(record.getMaster().getUID(), "2");
    EXPECT_EQ(record.getMaster().getName(), "");
}

// --- Galleries

TEST_F(GalleryReply, ReadsTheFirstGroupOnly)
{
    const ListResult<WKLGallery> result = galleries(envelope("<x/><group><gallery id='1'/><x/><gallery id='2'/></group>"
                                                             "<group><gallery id='no'/></group><data/>"));
    EXPECT_EQ(result.uids(), (std::vector<STRING>{"1", "2"}));
    EXPECT_EQ(result.count, 2u);
    EXPECT_EQ(result.records.getCount(), 2);
}

TEST_F(GalleryReply, ReadsAGroupBehindTheData)
{
    EXPECT_EQ(galleries(envelope("<data/><group><gallery id='1'/></group>")).uids(), std::vector<STRING>{"1"});
}

TEST_F(GalleryReply, NeedsDataToBeRead)
{
    const ListResult<WKLGallery> result = galleries(envelope("<group><gallery id='1'/></group>"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.size(), 0u);
    EXPECT_EQ(result.count, ListResult<WKLGallery>::UNTOUCHED);
}

TEST_F(GalleryReply, IsAnEmptyListWithoutAGroup)
{
    for (const char* const rest :
         {"<data/>", "<data><group><gallery id='1'/></group></data>", "<gallery id='1'/><data/>", "<group/><data/>"}) {
        const ListResult<WKLGallery> result = galleries(envelope(rest));
        EXPECT_EQ(result.status, 0) << rest;
        EXPECT_EQ(result.size(), 0u) << rest;
        EXPECT_EQ(result.count, ListResult<WKLGallery>::UNTOUCHED) << rest;
        EXPECT_EQ(result.records.getCount(), -1) << rest;
    }
    EXPECT_EQ(galleries(envelope("<group><x/></group><data/>")).count, 0u);
    EXPECT_EQ(galleries(envelope("<group/><group><gallery id='1'/></group><data/>")).size(), 0u);
}

TEST_F(GalleryReply, SkipsGalleriesWithoutIdentifier)
{
    const ListResult<WKLGallery> result =
        galleries(envelope("<group><gallery><content id='1'/></gallery><gallery id='2'/></group><data/>"));
    EXPECT_EQ(result.uids(), std::vector<STRING>{"2"});
    EXPECT_EQ(result.count, 1u);
    EXPECT_TRUE(result.front().getContents().empty());
}

TEST_F(GalleryReply, SkipsContentsWithoutIdentifier)
{
    EXPECT_EQ(contentsOf(gallery("<gallery id='g'><content size='1'/><content contentId='no'/><content "
                                 "id='2'/><content><id>3</id></content></gallery>")),
              (std::vector<STRING>{"2", "3"}));
}

TEST_F(GalleryReply, GivesItsContentsItsOwnIdentifier)
{
    // The identifier may stand behind the contents.
    for (const char* const xml :
         {"<gallery id='g'><content id='1' galleryID='other' messageBoardID='b' contentExt='jpg'><comment "
          "commentId='k'/></content></gallery>",
          "<gallery><content id='1' contentExt='jpg'><comment commentId='k'/></content><id>g</id></gallery>"}) {
        const WKLGallery record = gallery(xml);
        EXPECT_EQ(record.getUID(), "g");
        EXPECT_EQ(record.getContentProvider().getID(), provider().getID());
        ASSERT_EQ(record.getContents().size(), 1u);
        const WContent& item = record.getContents().front();
        EXPECT_EQ(item.getGalleryID(), "g");
        EXPECT_EQ(item.getMsgBoardID(), "");
        EXPECT_EQ(item.getExt(), "jpg");
        EXPECT_EQ(item.getContentProvider().getID(), provider().getID());
        EXPECT_TRUE(hasDownloader(item, *oai));
        EXPECT_EQ(item.getComments().size(), 1u);
    }
}

TEST_F(GalleryReply, KeepsTheContentsOfGalleriesApart)
{
    const ListResult<WKLGallery> result =
        galleries(envelope("<group><gallery id='1'><content id='a'/></gallery><gallery><content id='no'/></gallery>"
                           "<content id='no'/><gallery id='2'/><gallery id='3'><content id='b'/></gallery></group><data/>"));
    ASSERT_EQ(result.uids(), (std::vector<STRING>{"1", "2", "3"}));
    EXPECT_EQ(contentsOf(result.front()), std::vector<STRING>{"a"});
    EXPECT_TRUE(std::next(result.records.getData().begin())->getContents().empty());
    EXPECT_EQ(contentsOf(result.records.getData().back()), std::vector<STRING>{"b"});
}

TEST_F(GalleryReply, ReadsOneGalleryOfATree)
{
    ParsedDocument document("<gallery><content id='1' contentExt='jpg' contentType='photo'/></gallery>");
    WKLGallery record;
    record.setUID("g");
    record.setContents(std::list<WContent>(3));
    EXPECT_EQ(oai->parseGallery(document.root(), record), 0);
    ASSERT_EQ(contentsOf(record), std::vector<STRING>{"1"});
    EXPECT_EQ(record.getContents().front().getGalleryID(), "g");
    EXPECT_EQ(record.getContents().front().getExt(), "jpg");

    // A record without an identifier hands none to its contents, which are then plain ones.
    WKLGallery nameless;
    EXPECT_EQ(oai->parseGallery(document.root(), nameless), 0);
    ASSERT_EQ(nameless.getContents().size(), 1u);
    EXPECT_EQ(nameless.getContents().front().getType(), "photo");
    EXPECT_EQ(nameless.getContents().front().getExt(), "");
}

TEST_F(GalleryReply, ReadsAListFromATreeToo)
{
    ParsedDocument document("<rsp><group><gallery id='1'><content id='a'/></gallery></group></rsp>");
    WContainer<WKLGallery> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseGalleries(document.root(), list, count), 0);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(list.getCount(), 1);
    ASSERT_EQ(list.getData().size(), 1u);
    EXPECT_EQ(contentsOf(list.getData().front()), std::vector<STRING>{"a"});
}

TEST_F(GalleryReply, IgnoresANullNode)
{
    WKLGallery record;
    WContainer<WKLGallery> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseGallery(nullptr, record), 0);
    EXPECT_EQ(oai->parseGalleries(nullptr, list, count), 0);
    EXPECT_EQ(dump(record), dump(WKLGallery()));
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(list.getCount(), -1);
}
