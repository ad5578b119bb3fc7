// SPDX-License-Identifier: MIT
// People, their pictures, and comments.
#include "plugin/replies/ReplyTest.h"

using namespace kinloom_test;
using namespace W;

namespace {

class PersonReply : public ReplyTest {
protected:
    WPerson shortUser(const STRING& inside, const STRING& attributes = "")
    {
        return oai->getUser(ParsedDocument("<contentCreator " + attributes + ">" + inside + "</contentCreator>").root());
    }
    std::vector<WPerson> fullUsers(const STRING& xml, const STRING& name = "member")
    {
        const std::list<WPerson> people = oai->getUsers(ParsedDocument("<x>" + xml + "</x>").root(), name);
        return {people.begin(), people.end()};
    }
};
class CommentReply : public ReplyTest {};

const STRING USER_IMAGE = "userImageThumbnail_72X72";

STRING thumbnail(const STRING& url) { return "<thumbnail " + USER_IMAGE + "='" + url + "'/>"; }

} // namespace

// --- Short users

TEST_F(PersonReply, TakesAThumbnailForThePhoto)
{
    for (const STRING& inside : {thumbnail("u"), "<thumbnail><" + USER_IMAGE + ">u</" + USER_IMAGE + "></thumbnail>",
                                 "<userImage>" + thumbnail("u") + "</userImage>"}) {
        const WPerson person = shortUser(inside);
        EXPECT_EQ(person.getPhoto().getResourceURL(), "u") << inside;
        EXPECT_EQ(person.getPhoto().getUID(), USER_IMAGE) << inside;
        EXPECT_EQ(person.getPhoto().getContentProvider().getID(), provider().getID()) << inside;
        EXPECT_TRUE(hasDownloader(person.getPhoto(), *oai)) << inside;
    }
}

TEST_F(PersonReply, LetsTheLastPictureWinInDocumentOrder)
{
    const STRING nested = "<userImage>" + thumbnail("nested") + "</userImage>";
    EXPECT_EQ(shortUser(thumbnail("direct") + nested).getPhoto().getResourceURL(), "nested");
    EXPECT_EQ(shortUser(nested + thumbnail("direct")).getPhoto().getResourceURL(), "direct");
    EXPECT_EQ(shortUser(thumbnail("a") + thumbnail("b")).getPhoto().getResourceURL(), "b");
    EXPECT_EQ(shortUser("<userImage>" + thumbnail("a") + "<x/>" + thumbnail("b") + "</userImage>").getPhoto().getResourceURL(),
              "b");
    EXPECT_EQ(shortUser(thumbnail("a") + "<userImage/>").getPhoto().getResourceURL(), "a");
    EXPECT_EQ(shortUser(thumbnail("a") + "<thumbnail/>").getPhoto().getResourceURL(), "");
}

TEST_F(PersonReply, GivesAPictureWithoutUrlNeitherIdentifierNorDownloader)
{
    for (const STRING& inside : {STRING("<thumbnail/>"), thumbnail(""), "<thumbnail><" + USER_IMAGE + "/></thumbnail>"}) {
        const WMediaResource photo = shortUser(inside).getPhoto();
        EXPECT_EQ(photo.getUID(), "") << inside;
        EXPECT_TRUE(hasNoDownloader(photo)) << inside;
        EXPECT_EQ(photo.getContentProvider().getID(), provider().getID()) << inside;
    }
}

TEST_F(PersonReply, LeavesThePhotoUnsetWithoutAPicture)
{
    EXPECT_EQ(dump(shortUser("<x>" + thumbnail("no") + "</x>", USER_IMAGE + "='no'").getPhoto()), dump(WMediaResource()));
    EXPECT_EQ(dump(shortUser("<userImage " + USER_IMAGE + "='no'/>").getPhoto()), dump(WMediaResource()));
}

TEST_F(PersonReply, HasNoProviderOfItsOwn)
{
    EXPECT_EQ(shortUser("", "userId='1'").getContentProvider().getID(), 0u);
    EXPECT_EQ(fullUsers("<member id='1'/>").front().getContentProvider().getID(), 0u);
}

// --- Full users

TEST_F(PersonReply, ReadsUsersInDocumentOrder)
{
    const std::vector<WPerson> people = fullUsers("<member id='1'/><x/><member><id>2</id></member>");
    ASSERT_EQ(people.size(), 2u);
    EXPECT_EQ(people[0].getUID(), "1");
    EXPECT_EQ(people[1].getUID(), "2");
}

TEST_F(PersonReply, ReadsUsersOfThatNameOnly)
{
    const STRING xml = "<member id='1'/><Member id='2'/><member2 id='3'/><membe id='4'/><other><member id='5'/></other>";
    ASSERT_EQ(fullUsers(xml).size(), 1u);
    EXPECT_EQ(fullUsers(xml, "Member").at(0).getUID(), "2");
    EXPECT_TRUE(fullUsers(xml, "nobody").empty());
    EXPECT_TRUE(fullUsers("member", "text").empty());
    EXPECT_TRUE(fullUsers("<!--x-->", "comment").empty());
    EXPECT_TRUE(fullUsers("<?member?>").empty());
}

TEST_F(PersonReply, LeavesNothingOfOneUserInTheNext)
{
    const std::vector<WPerson> people = fullUsers(
        "<member id='1' userName='Anna' phoneNumber='5' userImage='u' contentDelFlag='Y' userRegisterDate='2010-05-05T07:04:09Z'>"
        "<userStatus code='3'>away</userStatus></member><member/>");
    ASSERT_EQ(people.size(), 2u);
    EXPECT_EQ(people[0].getStatusCode(), "3");
    WPerson expected;
    WMediaResource photo;
    photo.setContentProvider(provider());
    expected.setPhoto(photo);
    EXPECT_EQ(dump(people[1]), dump(expected));
}

TEST_F(PersonReply, NamesThePictureAfterTheUser)
{
    const WPerson person = fullUsers("<member id='u1' userImage='url'/>").at(0);
    EXPECT_EQ(person.getPhoto().getUID(), "u1");
    EXPECT_EQ(person.getPhoto().getResourceURL(), "url");
    EXPECT_TRUE(hasDownloader(person.getPhoto(), *oai));

    const WPerson without = fullUsers("<member id='u1'/>").at(0);
    EXPECT_EQ(without.getPhoto().getUID(), "u1");
    EXPECT_TRUE(hasNoDownloader(without.getPhoto()));
    EXPECT_EQ(without.getPhoto().getContentProvider().getID(), provider().getID());
}

TEST_F(PersonReply, ReadsTheStatusCodeFromTheStatusElement)
{
    EXPECT_EQ(fullUsers("<member><userStatus code='3'>away</userStatus></member>").at(0).getStatusCode(), "3");
    EXPECT_EQ(fullUsers("<member><userStatus>away<code>3</code></userStatus></member>").at(0).getStatusCode(), "3");
    EXPECT_EQ(fullUsers("<member><userStatus code='3'><code>4</code></userStatus></member>").at(0).getStatusCode(), "3");
    EXPECT_EQ(fullUsers("<member><userStatus/><userStatus code='4'/></member>").at(0).getStatusCode(), "");
    const WPerson person = fullUsers("<member userStatus='here'><userStatus code='3'>away</userStatus></member>").at(0);
    EXPECT_EQ(person.getStatus(), "here");
    EXPECT_EQ(person.getStatusCode(), "3");
}

TEST_F(PersonReply, LeavesTheStatusCodeEmptyWithoutAStatusElement)
{
    const WPerson person = fullUsers("<member userStatus='here' code='3'><code>4</code></member>").at(0);
    EXPECT_EQ(person.getStatus(), "here");
    EXPECT_EQ(person.getStatusCode(), "");
}

TEST_F(PersonReply, TakesTheCommentFlagWhenTheContentFlagIsEmpty)
{
    EXPECT_EQ(fullUsers("<member contentDelFlag='' commentDelFlag='Y'/>").at(0).getDelFlag(), "Y");
    EXPECT_EQ(fullUsers("<member><contentDelFlag/><commentDelFlag>Y</commentDelFlag></member>").at(0).getDelFlag(), "Y");
    EXPECT_EQ(fullUsers("<member contentDelFlag='N' commentDelFlag='Y'/>").at(0).getDelFlag(), "N");
}

// --- Images

TEST_F(PersonReply, ReadsANamedImage)
{
    ParsedDocument document("<x picture='u'><other>v</other></x>");
    const WMediaResource image = oai->getImage(document.root(), "picture", "id7");
    EXPECT_EQ(image.getUID(), "id7");
    EXPECT_EQ(image.getResourceURL(), "u");
    EXPECT_TRUE(hasDownloader(image, *oai));
    EXPECT_EQ(oai->getImage(document.root(), "other", "").getResourceURL(), "v");

    const WMediaResource none = oai->getImage(document.root(), "absent", "id7");
    EXPECT_EQ(none.getUID(), "id7");
    EXPECT_TRUE(hasNoDownloader(none));
    EXPECT_EQ(none.getContentProvider().getID(), provider().getID());
}

TEST_F(PersonReply, ReadsAUserImage)
{
    ParsedDocument document(thumbnail("u"));
    EXPECT_EQ(oai->userImage(document.root()).getUID(), USER_IMAGE);
    EXPECT_EQ(oai->userImage(document.root()).getResourceURL(), "u");
}

TEST_F(PersonReply, IgnoresANullNode)
{
    EXPECT_EQ(dump(oai->getUser(nullptr)), dump(WPerson()));
    EXPECT_EQ(dump(oai->userImage(nullptr)), dump(WMediaResource()));
    EXPECT_EQ(dump(oai->getImage(nullptr, "x", "uid")), dump(WMediaResource()));
    EXPECT_TRUE(oai->getUsers(nullptr, "x").empty());
}

// --- Comments

TEST_F(CommentReply, ReadsCommentsBesideTheData)
{
    const ListResult<WComment> result =
        comments(envelope("<comment commentId='1'/><x/><data/><comment><commentId>2</commentId></comment>"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.uids(), (std::vector<STRING>{"1", "2"}));
    EXPECT_EQ(result.count, 2u);
    EXPECT_EQ(result.records.getCount(), 2);
}

TEST_F(CommentReply, ReadsNoCommentsInsideTheData)
{
    const ListResult<WComment> result = comments(dataReply("<comment commentId='1'/>"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.size(), 0u);
    EXPECT_EQ(result.count, 0u);
}

TEST_F(CommentReply, NeedsDataToBeRead)
{
    const ListResult<WComment> result = comments(envelope("<comment commentId='1'/>"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.size(), 0u);
    EXPECT_EQ(result.count, ListResult<WComment>::UNTOUCHED);

    const ListResult<WComment> alone = comments("<rsp><comment commentId='1'/></rsp>");
    EXPECT_EQ(alone.status, 0) << "comments are children too";
    EXPECT_EQ(alone.size(), 0u);
}

TEST_F(CommentReply, SkipsCommentsWithoutIdentifier)
{
    const ListResult<WComment> result =
        comments(envelope("<comment/><comment commentId=''/><comment id='x'/><comment commentId='1'/><data/>"));
    EXPECT_EQ(result.uids(), std::vector<STRING>{"1"});
    EXPECT_EQ(result.count, 1u);
}

TEST_F(CommentReply, SetsTheProvider)
{
    EXPECT_EQ(comments(envelope("<comment commentId='1'/><data/>")).front().getContentProvider().getID(), provider().getID());
}

TEST_F(CommentReply, LetsTheLastCreatorWin)
{
    const WComment comment =
        comments(
            envelope(
                "<comment commentId='1'><commentCreator userId='a' userName='Anna'/><commentCreator userId='b'/></comment><data/>"))
            .front();
    EXPECT_EQ(comment.getUser().getUID(), "b");
    EXPECT_EQ(comment.getUser().getName(), "");
}

TEST_F(CommentReply, ReadsAListFromATreeToo)
{
    ParsedDocument document("<any><comment commentId='1'/><comment/></any>");
    WContainer<WComment> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseComments(document.root(), list, count), 0);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(list.getCount(), 1);
    EXPECT_EQ(list.getData().size(), 1u);
}

TEST_F(CommentReply, IgnoresANullNode)
{
    WComment record;
    WContainer<WComment> list;
    unsigned int count = 5;
    EXPECT_EQ(oai->parseComment(nullptr, record), 0);
    EXPECT_EQ(oai->parseComments(nullptr, list, count), 0);
    EXPECT_EQ(dump(record), dump(WComment()));
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(list.getCount(), -1);
}
