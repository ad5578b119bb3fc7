// SPDX-License-Identifier: MIT
// Replies that are read while a cancel is pending.
#include "plugin/replies/ReplyTest.h"
#include "replies/Samples.h"

#include <thread>

using namespace kinloom_test;
using namespace W;

namespace {

class CancelledReply : public SignedInTest {
protected:
    void SetUp() override
    {
        SignedInTest::SetUp();
        ASSERT_EQ(cancel(), 0);
        ASSERT_TRUE(oai->isCancelRequested());
    }

    template <class Record> void expectEmptied(const STRING& body)
    {
        WContainer<Record> list;
        list.data().emplace_back().setUID("from before");
        unsigned int count = 5;
        EXPECT_EQ(oai->parseString(body, list, count), 0);
        EXPECT_TRUE(list.getData().empty());
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(list.getCount(), 0);
    }
};

const STRING CONTENT =
    "<content contentDesc='d' size='1'><contentDetail contentUrl='u'/><contentCreator userId='1'/><comment commentId='1'/>"
    "<contentRegisterMember id='1'/><eventLink><contentLink ID='1'/></eventLink>"
    "<thumbnail><contentThumbnail_116X87>t</contentThumbnail_116X87></thumbnail></content>";

} // namespace

TEST_F(CancelledReply, EmptiesEveryList)
{
    for (const Shape shape : SHAPES) {
        expectEmptied<WContent>(test::feedReply(3, shape));
        expectEmptied<WContent>(test::viewReply(3, 2, shape));
        expectEmptied<WContent>(dataReply("<contentId>1</contentId>"));
        expectEmptied<WGroup>(test::groupsReply(3, shape));
        expectEmptied<WGroup>(dataReply("<user><group/></user><groupId>1</groupId>"));
        expectEmptied<WComment>(test::commentsReply(3, shape));
        expectEmptied<WKLGallery>(test::galleryReply(3, shape));
    }
    EXPECT_EQ(log->text(), "");
}

TEST_F(CancelledReply, EmptiesTheListThoughTheReplyHoldsNothing)
{
    WContainer<WContent> list;
    list.data().emplace_back();
    unsigned int count = 5;
    EXPECT_EQ(oai->parseString("<rsp><data/></rsp>", list, count), 0);
    EXPECT_TRUE(list.getData().empty());
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(list.getCount(), -1);
}

TEST_F(CancelledReply, LeavesTheListAloneWithoutData)
{
    WContainer<WContent> list;
    list.data().emplace_back();
    unsigned int count = 5;
    EXPECT_EQ(oai->parseString("<rsp><x/></rsp>", list, count), 0);
    EXPECT_EQ(list.getData().size(), 1u);
}

TEST_F(CancelledReply, FailsAllTheSame)
{
    WContainer<WContent> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseString("<rsp><data>", list, count), -16);
    EXPECT_EQ(oai->parseString("<rsp><result><stat>fail</stat></result><data/></rsp>", list, count), -16);
    EXPECT_EQ(facadeLog(), (std::vector<WSTATUS>{-16, -16}));
    log->clear();
}

TEST_F(CancelledReply, EmptiesListsOutOfATreeToo)
{
    ParsedDocument document("<data><content contentId='1'/><group groupId='1'/></data>");
    WContainer<WContent> contents;
    WContainer<WGroup> groups;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseContents(document.root(), contents, count), 0);
    EXPECT_EQ(contents.getCount(), 0);
    EXPECT_EQ(oai->parseGroups(document.root(), groups, count), 0);
    EXPECT_TRUE(contents.getData().empty());
    EXPECT_TRUE(groups.getData().empty());

    ParsedDocument others("<rsp><comment commentId='1'/><group><gallery id='1'/></group></rsp>");
    WContainer<WComment> comments;
    WContainer<WKLGallery> galleries;
    EXPECT_EQ(oai->parseComments(others.root(), comments, count), 0);
    EXPECT_EQ(oai->parseGalleries(others.root(), galleries, count), 0);
    EXPECT_TRUE(comments.getData().empty());
    EXPECT_TRUE(galleries.getData().empty());
    EXPECT_EQ(count, 0u);
}

TEST_F(CancelledReply, StopsEveryWalkInsideARecord)
{
    ParsedDocument document(CONTENT);
    WContent photo;
    photo.setGalleryID("g");
    EXPECT_EQ(oai->parseContent(document.root(), photo), 0);
    EXPECT_EQ(photo.getSize(), "1") << "what needs no walk is read";
    EXPECT_TRUE(photo.getThumbnails().empty());
    EXPECT_TRUE(photo.getComments().empty());
    EXPECT_TRUE(photo.getEvents().empty());
    EXPECT_EQ(dump(photo.getUser()), dump(WPerson()));

    WContent plain;
    plain.setUID("1");
    EXPECT_EQ(oai->parseContent(document.root(), plain), 0);
    EXPECT_EQ(plain.getDescription(), "d");
    EXPECT_EQ(plain.getResourceURL(), "");
    EXPECT_EQ(dump(plain.getUser()), dump(WPerson()));

    EXPECT_TRUE(oai->getUsers(document.root(), "contentRegisterMember").empty());
    EXPECT_TRUE(oai->getThumbnails(ParsedDocument("<x><contentThumbnail_116X87>t</contentThumbnail_116X87></x>").root()).empty());

    WGroup group;
    EXPECT_EQ(oai->parseGroup(
                  ParsedDocument("<group groupId='1'><groupMaster userId='m'/><groupImage groupImageUrl='u'/></group>").root(),
                  group, ""),
              0);
    EXPECT_EQ(group.getUID(), "1");
    EXPECT_EQ(group.getMaster().getUID(), "");
    EXPECT_EQ(group.getImageUrl(), "");

    WComment comment;
    EXPECT_EQ(oai->parseComment(ParsedDocument("<comment commentText='t'><commentCreator userId='1'/></comment>").root(), comment),
              0);
    EXPECT_EQ(comment.getComment(), "t");
    EXPECT_EQ(comment.getUser().getUID(), "");
}

TEST_F(CancelledReply, ReadsAShortUserAllTheSame)
{
    const WPerson person = oai->getUser(ParsedDocument("<x userId='1'><thumbnail userImageThumbnail_72X72='u'/></x>").root());
    EXPECT_EQ(person.getUID(), "1");
    EXPECT_EQ(person.getPhoto().getResourceURL(), "u");
}

TEST_F(CancelledReply, ReadsAnUploadSlotAllTheSame)
{
    WContent slot;
    EXPECT_EQ(oai->parseString(documents::slot(), slot), 0);
    EXPECT_EQ(slot.getUID(), "c77");
}

TEST_F(CancelledReply, ForgetsTheUsersIdentity)
{
    service().setUserID("before");
    EXPECT_EQ(oai->parseString("<rsp><stat>ok</stat><userId>u7</userId></rsp>"), 0);
    EXPECT_EQ(service().getUserID(), "");
}

TEST_F(CancelledReply, ReadsAgainWhenTheCancelIsOver)
{
    oai->cancelFlagReset();
    WContainer<WContent> list;
    unsigned int count = 0;
    EXPECT_EQ(oai->parseString(test::feedReply(3, Shape::ELEMENTS), list, count), 0);
    EXPECT_EQ(list.getData().size(), 3u);
}

TEST_F(CancelledReply, NeverHandsOutHalfAListWhenItComesInBetween)
{
    const STRING body = test::feedReply(2000, Shape::ELEMENTS);
    std::size_t emptied = 0;
    for (int round = 0; round < 20; ++round) {
        oai->cancelFlagReset();
        WContainer<WContent> list;
        unsigned int count = 0;
        WSTATUS status = -1;
        std::thread parser([&] { status = oai->parseString(body, list, count); });
        std::this_thread::yield();
        EXPECT_EQ(cancel(), 0);
        // A new operation ends a pending cancel; a list that was cut short is not to come out for it.
        if (round % 2)
            oai->cancelFlagReset();
        parser.join();
        EXPECT_EQ(status, 0);
        EXPECT_TRUE(list.getData().empty() || list.getData().size() == 2000u) << list.getData().size();
        EXPECT_EQ(list.getCount(), static_cast<std::int32_t>(count));
        emptied += list.getData().empty();
    }
    EXPECT_GT(emptied, 0u);
}
