// SPDX-License-Identifier: MIT
// Without memory the plugin refuses, or reports a failure once; it neither crashes nor leaks nor calls back twice.
#include "FailingAllocator.h"

#include "W/WConfigManager.h"
#include "WKLOAI/WKLOAI.h"
#include "whost/FakeClient.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace W;

// Nothing in here allocates: the callbacks run inside the plugin's scope.
struct Outcome {
    std::atomic<int> callbacks{0};
    std::atomic<int> status{1};
    void note(int result)
    {
        ++callbacks;
        status = result;
    }
};

Outcome& outcomeOf(VOID* userData) { return *static_cast<Outcome*>(userData); }
void onStatus(WSTATUS s, const WContentProvider&, VOID* u) { outcomeOf(u).note(s); }
void onGroups(WSTATUS s, const WContentProvider&, const WContainer<WGroup>&, const WPerson&, VOID* u) { outcomeOf(u).note(s); }
void onGroup(WSTATUS s, const WContentProvider&, const WGroup&, VOID* u) { outcomeOf(u).note(s); }
void onContents(WSTATUS s, const WContentProvider&, const WContainer<WContent>&, VOID* u) { outcomeOf(u).note(s); }
void onContent(WSTATUS s, const WContentProvider&, const WContent&, VOID* u) { outcomeOf(u).note(s); }
void onUpload(WSTATUS s, const WContentProvider&, const WGroup&, const WContent&, const STRING&, VOID* u) { outcomeOf(u).note(s); }
void onComment(WSTATUS s, const WContentProvider&, const WComment&, VOID* u) { outcomeOf(u).note(s); }
void onCommentID(WSTATUS s, const WContentProvider&, const WComment&, const STRING&, VOID* u) { outcomeOf(u).note(s); }
void onFile(WSTATUS s, const WContentProvider&, const STRING&, VOID* u) { outcomeOf(u).note(s); }
void onResource(WSTATUS s, const WContentProvider&, const WMediaResource&, std::istream&, VOID* u) { outcomeOf(u).note(s); }

const char* const LONG = "a text that is too long to be kept inside a string object";

/// A name for the files of this process: the tests run beside each other, and some of the files go to a folder that all share.
const STRING& fileTag()
{
    static const STRING TAG = "torture." + std::to_string(getpid());
    return TAG;
}

STRING pictureFile()
{
    char name[] = "/tmp/torture.XXXXXX";
    const int file = mkstemp(name);
    EXPECT_EQ(write(file, "picture", 7), 7);
    close(file);
    return name;
}

/// What the operations are given; made beforehand, since what a caller allocates does not count.
struct Inputs {
    WPerson nobody;
    WGroup group;
    WContent content;
    WComment comment;
    WMediaResource resource;
    STRING marker = LONG;
    STRING none;
    STRING url = "http://h/some/where/photograph.jpg";
    STRING folder = "/tmp";
    STRING fileName = fileTag() + ".download";
    STRING picture = pictureFile();

    Inputs()
    {
        group.setUID(LONG);
        group.setName(LONG);
        group.setDescription(LONG);
        content.setUID(LONG);
        content.setMIMEType("image/jpeg");
        content.setDescription(LONG);
        comment.setUID(LONG);
        comment.setComment(LONG);
        resource.setResourceURL("http://h/some/where/" + fileTag() + ".resource");
    }
    ~Inputs() { std::remove(picture.c_str()); }
};

const Inputs& inputs()
{
    static const Inputs inputs;
    return inputs;
}

struct Case {
    const char* name;
    const char* reply;
    WSTATUS (*call)(WKLOAI&, const Inputs&, Outcome&);
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

const char* const OK = "<rsp><result><stat>ok</stat></result></rsp>";
const char* const GROUPS =
    "<rsp><result><stat>ok</stat></result><data><group><groupId>group-of-a-very-long-name</groupId><groupName>"
    "The whole family and its friends</groupName><groupImage><groupImageUrl>http://h/some/where/picture.jpg"
    "</groupImageUrl><thumbnail><groupImageThumbnail_274X204>http://h/some/where/thumbnail.jpg"
    "</groupImageThumbnail_274X204></thumbnail></groupImage><groupMaster><userId>somebody-with-a-long-id"
    "</userId><thumbnail userImageThumbnail_72X72='http://h/some/where/face.jpg'/></groupMaster></group>"
    "</data></rsp>";
const char* const CONTENTS =
    "<rsp><result><stat>ok</stat></result><data><content><contentId>content-with-a-long-identifier</contentId><contentDetail>"
    "<contentUrl>http://h/some/where/photograph.jpg</contentUrl><thumbnail><contentThumbnail_540X405>http://h/some/where/540.jpg"
    "</contentThumbnail_540X405></thumbnail></contentDetail></content><group><content id='content-two-with-a-long-id' "
    "galleryID='gallery'><contentRegisterMember id='member-with-a-long-identifier'/><comment commentId='comment-with-a-long-id'>"
    "<commentText>What a beautiful picture this is</commentText></comment><eventLink><contentLink ID='event-with-a-long-id'/>"
    "</eventLink></content></group></data></rsp>";
const char* const COMMENTS =
    "<rsp><comment><commentId>comment-with-a-long-id</commentId><commentText>What a beautiful picture this is"
    "</commentText></comment><data/></rsp>";
const char* const SLOT =
    "<rsp><data><contentId>content-with-a-long-identifier</contentId><uploadUrl>http://h/upload/slot/number/one"
    "</uploadUrl></data></rsp>";

using In = const Inputs&;

const Case CASES[] = {
    {"auth", OK, [](WKLOAI& o, In, Outcome& u) { return o.authKL(onStatus, &u); }},
    {"register", OK, [](WKLOAI& o, In, Outcome& u) { return o.registerKL(onStatus, &u); }},
    {"groupList", GROUPS,
     [](WKLOAI& o, In in, Outcome& u) {
         return o.retrieveGroupList(in.nobody, onGroups, 0, 5, KL_SORT_ALPHABETICAL, KL_INCLUDE_ALL, &u);
     }},
    {"groupCreation", GROUPS, [](WKLOAI& o, In in, Outcome& u) { return o.createGroup(in.group, in.nobody, onGroup, &u); }},
    {"groupDeletion", GROUPS, [](WKLOAI& o, In in, Outcome& u) { return o.deleteGroup(in.group, onGroup, &u); }},
    {"feed", CONTENTS,
     [](WKLOAI& o, In in, Outcome& u) {
         return o.retrieveGroupFeeds(in.group, in.none, in.marker, 5, KL_BASE_CONTENT_ID, KL_ITEM_ALL, KL_INCLUDE_ALL, onContents,
                                     &u);
     }},
    {"contentView", CONTENTS, [](WKLOAI& o, In in, Outcome& u) { return o.viewContent(in.content, onContent, &u); }},
    {"contentDeletion", CONTENTS, [](WKLOAI& o, In in, Outcome& u) { return o.deleteContent(in.content, onContent, &u); }},
    {"upload", SLOT,
     [](WKLOAI& o, In in, Outcome& u) {
         return o.createContent(in.group, in.content, KL_CONTENT_PHOTO, in.picture, onUpload, &u);
     }},
    {"commentCreation", COMMENTS,
     [](WKLOAI& o, In in, Outcome& u) { return o.createComment(in.content, in.comment, onCommentID, &u); }},
    {"commentDeletion", COMMENTS, [](WKLOAI& o, In in, Outcome& u) { return o.deleteComment(in.comment, onComment, &u); }},
    {"commentView", COMMENTS, [](WKLOAI& o, In in, Outcome& u) { return o.viewComment(in.comment, onCommentID, &u); }},
    {"download", "picture",
     [](WKLOAI& o, In in, Outcome& u) { return o.download(o.getContentProvider(), in.url, in.folder, in.fileName, onFile, &u); }},
    {"resourceDownload", "picture",
     [](WKLOAI& o, In in, Outcome& u) { return fnContentDownloader(in.resource, onResource, &o, &u); }},
};

class Allocation : public testing::TestWithParam<Case> {
protected:
    static void SetUpTestSuite() { torture::installXmlAllocator(); }

    void SetUp() override
    {
        fake::reset();
        WConfigManager* const config = WConfigManager::getInstance();
        config->setCPOption(oai.getContentProvider(), "app_id", "application-with-a-long-name");
        config->setCPOption(oai.getContentProvider(), "AuthToken", "token-of-a-considerable-length");
        config->setCPOption(oai.getContentProvider(), "duid", "device-with-a-long-identifier");
        signIn();
    }

    void TearDown() override
    {
        for (const char* const file : {".download", ".resource"})
            std::remove(("/tmp/" + fileTag() + file).c_str());
    }

    void signIn()
    {
        if (oai.service()->isLoggedIn())
            return;
        fake::answerAll(fake::reply(OK));
        Outcome outcome;
        ASSERT_EQ(oai.authKL(onStatus, &outcome), 0);
        ASSERT_TRUE(fake::waitUntilIdle());
        ASSERT_TRUE(oai.service()->isLoggedIn());
    }

    WKLOAI oai;
};

constexpr std::size_t MOST = 5000; // far more allocations than any operation makes

TEST_P(Allocation, FailingGivesOneAnswerAndLeavesNothing)
{
    const Case& c = GetParam();
    const Inputs& in = inputs();
    std::size_t number = 0;
    for (bool reached = true; reached; ++number) {
        ASSERT_LT(number, MOST);
        signIn();
        fake::answerAll(fake::reply(c.reply));
        Outcome outcome;
        torture::failAllocation(number);
        WSTATUS status = 0;
        {
            const torture::Scope plugin(torture::Scope::PLUGIN);
            status = c.call(oai, in, outcome);
        }
        ASSERT_TRUE(fake::waitUntilIdle());
        reached = torture::endFailing();

        SCOPED_TRACE(number);
        EXPECT_LE(status, 0);
        EXPECT_EQ(outcome.callbacks, status == 0 ? 1 : 0);
        if (status == 0 && !reached) {
            EXPECT_GE(outcome.status, 0) << "with all its memory it works";
        }
        EXPECT_EQ(oai.countCMD(), 0u);
        EXPECT_EQ(fake::liveRequests(), 0u);
        if (HasFailure())
            return;
    }
    EXPECT_GT(number, 10u) << "the allocations were not counted";
}

INSTANTIATE_TEST_SUITE_P(Operation, Allocation, testing::ValuesIn(CASES), [](const auto& test) { return STRING(test.param.name); });

TEST(AllocationOfThePlugin, FailingLeavesNothingBehind)
{
    fake::reset();
    std::size_t number = 0;
    for (bool reached = true; reached; ++number) {
        ASSERT_LT(number, MOST);
        torture::failAllocation(number);
        {
            const torture::Scope plugin(torture::Scope::PLUGIN);
            try {
                destroyPlugin(createPlugin());
            } catch (const std::bad_alloc&) { // what createPlugin does without memory
            }
        }
        reached = torture::endFailing();
    }
    EXPECT_GT(number, 1u);
}

} // namespace
