// SPDX-License-Identifier: MIT
// The interface, called by the numbers of its slots, against a server of the test's own.
#include "W/WConfigManager.h"
#include "contract/Plugin.h"
#include "support/CaptureStdout.h"
#include "support/RawServer.h"
#include "support/TempDir.h"
#include "whost/HttpOptions.h"

#include <condition_variable>
#include <cstddef>
#include <cxxabi.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <thread>

using namespace contract;
using namespace W;
using testing::IsEmpty;

namespace {

/// The virtual slots, in their order; 1 and 2 are the destructors.
enum Slot : std::size_t {
    IS_VALID = 0,
    DESTROY = 1,
    DELETE = 2,
    LOGIN = 3,
    LOGOUT = 4,
    RETRIEVE_EXCEPTIONS = 5,
    RESOLVE_EXCEPTION = 6,
    REGISTER_KL = 7,
    UNREGISTER_KL = 8,
    AUTH_KL = 9,
    RETRIEVE_GROUP_LIST = 10,
    CREATE_GROUP = 11,
    DELETE_GROUP = 12,
    RETRIEVE_GROUP_FEEDS = 13,
    RETRIEVE_GROUP_GALLERY = 14,
    CREATE_CONTENT = 15,
    DELETE_CONTENT = 16,
    UPDATE_CONTENT = 17,
    VIEW_CONTENT = 18,
    CREATE_COMMENT = 19,
    DELETE_COMMENT = 20,
    UPDATE_COMMENT = 21,
    VIEW_COMMENT = 22,
    CANCEL = 23,
    DOWNLOAD = 24,
    PROGRESS_STATUS = 25,
    SLOTS = 26,
};

/// The function in a slot of an object's virtual table, which its first word points to.
void* functionIn(void* object, std::size_t slot) { return (*static_cast<void***>(object))[slot]; }

/// Calls a slot as a host does that knows the interface by its slots only. References are passed as pointers.
template <class Result, class... Arguments>
__attribute__((no_sanitize("undefined"))) Result callSlot(void* object, std::size_t slot, Arguments... arguments)
{
    using Function = Result (*)(void*, Arguments...);
    return reinterpret_cast<Function>(functionIn(object, slot))(object, arguments...);
}

const WContentProvider PROVIDER("Kinloom", WContentProvider::SERVICE_KINLOOM);

/// Counts the callbacks that carry it as their user data, and keeps the last one's status and text.
class Calls {
public:
    void add(WSTATUS status, const STRING& text = "")
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_count;
        m_status = status;
        m_text = text;
        m_changed.notify_all();
    }
    /// Waits for a callback and returns its status.
    WSTATUS wait()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        EXPECT_TRUE(m_changed.wait_for(lock, test::PATIENCE, [this] { return m_count > 0; })) << "no callback";
        EXPECT_EQ(m_count, 1);
        m_count = 0;
        return m_status;
    }
    STRING text()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_text;
    }
    int count()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
    WSTATUS m_status = 0;
    STRING m_text;
};

Calls& callsOf(VOID* userData) { return *static_cast<Calls*>(userData); }

VOID onStatus(WSTATUS status, const WContentProvider& provider, VOID* userData)
{
    callsOf(userData).add(status, provider.getName());
}
VOID onLogin(WSTATUS status, const WContentProvider&, const STRING&, const STRING&, VOID* userData)
{
    callsOf(userData).add(status);
}
VOID onException(WSTATUS status, WException*, VOID* userData) { callsOf(userData).add(status); }
VOID onGroups(WSTATUS status, const WContentProvider&, const WContainer<WGroup>& groups, const WPerson& person, VOID* userData)
{
    callsOf(userData).add(status, groups.getData().empty() ? "" : groups.getData().front().getName() + " of " + person.getUID());
}
VOID onGroup(WSTATUS status, const WContentProvider&, const WGroup& group, VOID* userData)
{
    callsOf(userData).add(status, group.getUID());
}
VOID onContents(WSTATUS status, const WContentProvider&, const WContainer<WContent>& contents, VOID* userData)
{
    callsOf(userData).add(status, contents.getData().empty() ? "" : contents.getData().front().getUID());
}
VOID onContent(WSTATUS status, const WContentProvider&, const WContent& content, VOID* userData)
{
    callsOf(userData).add(status, content.getUID());
}
VOID onUploaded(WSTATUS status, const WContentProvider&, const WGroup& group, const WContent& content, const STRING& path,
                VOID* userData)
{
    callsOf(userData).add(status, group.getUID() + " " + content.getUID() + " " + path.substr(path.rfind('/') + 1));
}
VOID onUpdated(WSTATUS status, const WContentProvider&, const WContent&, const STRING&, VOID* userData)
{
    callsOf(userData).add(status);
}
VOID onCommentID(WSTATUS status, const WContentProvider&, const WComment& comment, const STRING& uid, VOID* userData)
{
    callsOf(userData).add(status, comment.getUID() + " " + uid);
}
VOID onComment(WSTATUS status, const WContentProvider&, const WComment& comment, VOID* userData)
{
    callsOf(userData).add(status, comment.getUID());
}
VOID onFile(WSTATUS status, const WContentProvider&, const STRING& name, VOID* userData) { callsOf(userData).add(status, name); }

const STRING OK = "<result><stat>ok</stat></result>";

/// A reply to each operation, by the end of its path.
test::RawReply answer(const test::RawRequest& request)
{
    const STRING target = request.target().substr(0, request.target().find('?'));
    const auto endsWith = [&](const STRING& end) {
        return target.size() >= end.size() && target.compare(target.size() - end.size(), end.size(), end) == 0;
    };
    const auto document = [](const STRING& inner) { return test::RawReply::ok("<rsp>" + OK + inner + "</rsp>"); };
    if (endsWith("/upload"))
        return document("<data contentId='c77' uploadUrl='http://upload.example/slot/77'/>");
    if (endsWith("/slot/77") || endsWith("/feeds") || endsWith("c1/view"))
        return document("<data><content contentId='c9'/></data>");
    if (endsWith("m1/view"))
        return document("<comment commentId='m9'/><data/>");
    if (endsWith("/group.list") || endsWith("group.create"))
        return document("<data><group groupId='g9' groupName='Family'/></data>");
    if (endsWith(".jpg"))
        return test::RawReply::ok("a photo", {"Content-Type: image/jpeg"});
    if (endsWith(".slow"))
        return test::RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nhalf").stall();
    return document("");
}

class Slots : public testing::Test {
protected:
    void SetUp() override
    {
        server.onRequest(answer);
        before = httpOptions();
        HttpOptions options = before;
        options.connectTo = {"::127.0.0.1:" + std::to_string(server.port())};
        setHttpOptions(options);
        WConfigManager* const config = WConfigManager::getInstance();
        config->setCPOption(PROVIDER, "app_id", "app-7");
        config->setCPOption(PROVIDER, "AuthToken", "token-of-tv");
        config->setCPOption(PROVIDER, "duid", "duid-0001");
        plugin = library.createPlugin();
        ASSERT_NE(plugin, nullptr);
        group.setUID("g1");
        group.setName("Family");
        content.setUID("c1");
        content.setMIMEType("image/jpeg");
        comment.setUID("m1");
        comment.setComment("lovely");
        person.setUID("p1");
    }
    void TearDown() override
    {
        library.destroyPlugin(plugin);
        setHttpOptions(before);
    }

    template <class... Arguments> WSTATUS call(Slot slot, Arguments... arguments)
    {
        return callSlot<WSTATUS>(plugin, slot, arguments..., static_cast<VOID*>(&calls));
    }
    void signIn()
    {
        ASSERT_EQ(call(AUTH_KL, onStatus), 0);
        ASSERT_EQ(calls.wait(), 0);
    }
    /// Calls every operation but the account's, and expects the same from all.
    void expectFromAllOperations(WSTATUS status)
    {
        double done = 0;
        double total = 0;
        EXPECT_EQ(call(RETRIEVE_GROUP_LIST, &person, onGroups, 0u, 10u, KL_SORT_ALPHABETICAL, KL_INCLUDE_NONE), status);
        EXPECT_EQ(call(CREATE_GROUP, &group, &person, onGroup), status);
        EXPECT_EQ(call(DELETE_GROUP, &group, onGroup), status);
        EXPECT_EQ(call(RETRIEVE_GROUP_FEEDS, &group, &empty, &marker, 30u, KL_BASE_CREATED_TIME, KL_ITEM_ALL, KL_INCLUDE_NONE,
                       onContents),
                  status);
        EXPECT_EQ(call(CREATE_CONTENT, &group, &content, KL_CONTENT_PHOTO, &path, onUploaded), status);
        EXPECT_EQ(call(DELETE_CONTENT, &content, onContent), status);
        EXPECT_EQ(call(VIEW_CONTENT, &content, onContent), status);
        EXPECT_EQ(call(CREATE_COMMENT, &content, &comment, onCommentID), status);
        EXPECT_EQ(call(DELETE_COMMENT, &comment, onComment), status);
        EXPECT_EQ(call(VIEW_COMMENT, &comment, onCommentID), status);
        EXPECT_EQ(call(CANCEL, &PROVIDER, onStatus), status);
        EXPECT_EQ(call(DOWNLOAD, &PROVIDER, &url, &folder.path(), &empty, onFile), status);
        EXPECT_EQ(call(PROGRESS_STATUS, &PROVIDER, &done, &total), status);
    }

    test::CaptureStdout output; // the plugin's reports
    test::RawServer server;
    test::TempDir folder;
    Library library;
    HttpOptions before;
    void* plugin = nullptr;
    Calls calls;

    WGroup group;
    WContent content;
    WComment comment;
    WPerson person;
    const STRING empty;
    const STRING marker = "c100";
    const STRING url = "http://media.example/a/photo.jpg?size=full";
    STRING path = "/nowhere/photo.jpg";
};

/// What stands in a slot, as a signature.
STRING nameIn(void* object, std::size_t slot)
{
    Dl_info info{};
    void* const function = functionIn(object, slot);
    if (!dladdr(function, &info) || !info.dli_sname || info.dli_saddr != function)
        return "";
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status), std::free);
    STRING text = name ? name.get() : info.dli_sname;
    const STRING longString = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >";
    for (std::size_t at; (at = text.find(longString)) != STRING::npos;)
        text.replace(at, longString.size(), "STRING");
    return text;
}

} // namespace

TEST_F(Slots, StandInTheOrderOfTheContract)
{
    const STRING p = "W::WContentProvider const&";
    const STRING status = "void (*)(int, " + p + ", void*)";
    const STRING groupCall = "void (*)(int, " + p + ", W::WGroup const&, void*)";
    const STRING contentCall = "void (*)(int, " + p + ", W::WContent const&, void*)";
    const STRING contentsCall = "void (*)(int, " + p + ", W::WContainer<W::WContent> const&, void*)";
    const STRING commentIDCall = "void (*)(int, " + p + ", W::WComment const&, STRING const&, void*)";
    const STRING commentCall = "void (*)(int, " + p + ", W::WComment const&, void*)";
    const STRING table[SLOTS] = {
        "", // WPlugin's own
        "W::WKLOAI::~WKLOAI()",
        "W::WKLOAI::~WKLOAI()",
        "W::WKLOAI::login(STRING const&, STRING const&, void (*)(int, " + p + ", STRING const&, STRING const&, void*), void*)",
        "W::WKLOAI::logout(" + status + ", void*)",
        "W::WKLOAI::retrieveExceptions(std::__cxx11::list<W::WException*, std::allocator<W::WException*> >&)",
        "W::WKLOAI::resolveException(W::WException*, void (*)(int, W::WException*, void*), void*)",
        "W::WKLOAI::registerKL(" + status + ", void*)",
        "W::WKLOAI::unregisterKL(" + status + ", void*)",
        "W::WKLOAI::authKL(" + status + ", void*)",
        "W::WKLOAI::retrieveGroupList(W::WPerson const&, void (*)(int, " + p +
            ", W::WContainer<W::WGroup> const&, W::WPerson const&, void*), unsigned int, unsigned int, W::KL_OPTION_SORT, "
            "W::KL_OPTION_INCLUDE, void*)",
        "W::WKLOAI::createGroup(W::WGroup const&, W::WPerson const&, " + groupCall + ", void*)",
        "W::WKLOAI::deleteGroup(W::WGroup const&, " + groupCall + ", void*)",
        "W::WKLOAI::retrieveGroupFeeds(W::WGroup const&, STRING const&, STRING const&, unsigned int, W::KL_SEARCH_BASE, "
        "W::KL_OPTION_ITEM, W::KL_OPTION_INCLUDE, " +
            contentsCall + ", void*)",
        "W::WKLOAI::retrieveGroupGallery(W::WGroup const&, W::KL_CONTENT_TYPE, unsigned int, W::KL_SEARCH_DIRECTION, "
        "W::KL_OPTION_SORT, W::KL_OPTION_ORDER, " +
            contentsCall + ", void*)",
        "W::WKLOAI::createContent(W::WGroup const&, W::WContent const&, W::KL_CONTENT_TYPE, STRING const&, void (*)(int, " + p +
            ", W::WGroup const&, W::WContent const&, STRING const&, void*), void*)",
        "W::WKLOAI::deleteContent(W::WContent const&, " + contentCall + ", void*)",
        "W::WKLOAI::updateContent(W::WContent const&, STRING const&, void (*)(int, " + p +
            ", W::WContent const&, STRING const&, void*), void*)",
        "W::WKLOAI::viewContent(W::WContent const&, " + contentCall + ", void*)",
        "W::WKLOAI::createComment(W::WContent const&, W::WComment const&, " + commentIDCall + ", void*)",
        "W::WKLOAI::deleteComment(W::WComment const&, " + commentCall + ", void*)",
        "W::WKLOAI::updateComment(W::WComment const&, " + commentCall + ", void*)",
        "W::WKLOAI::viewComment(W::WComment const&, " + commentIDCall + ", void*)",
        "W::WKLOAI::cancel(" + p + ", " + status + ", void*)",
        "W::WKLOAI::download(" + p + ", STRING const&, STRING const&, STRING const&, void (*)(int, " + p +
            ", STRING const&, void*), void*)",
        "W::WKLOAI::progressStatus(" + p + ", double&, double&, void*)",
    };
    for (std::size_t slot = DESTROY; slot < SLOTS; ++slot)
        EXPECT_EQ(nameIn(plugin, slot), table[slot]) << "slot " << slot;
}

TEST_F(Slots, TellWhetherTheHostHasGivenAHandle)
{
    EXPECT_FALSE(callSlot<bool>(plugin, IS_VALID));
    // The handle is the first word behind the pointer to the virtual table, which makes it the host's to write.
    auto* const words = reinterpret_cast<UINT32*>(static_cast<char*>(plugin) + sizeof(void*));
    EXPECT_EQ(words[0], 0u);
    EXPECT_EQ(words[1], 1u);
    EXPECT_EQ(words[2], 0u);
    words[0] = 0x1234;
    EXPECT_TRUE(callSlot<bool>(plugin, IS_VALID));
}

TEST_F(Slots, DestroyThePlugin)
{
    callSlot<void>(plugin, DELETE);
    plugin = nullptr;
}

TEST_F(Slots, RefuseWhatTheServiceDoesNotOffer)
{
    std::list<WException*> exceptions;
    for (const bool signedIn : {false, true}) {
        if (signedIn)
            signIn();
        EXPECT_EQ(call(LOGIN, &empty, &empty, onLogin), -15);
        EXPECT_EQ(call(LOGOUT, onStatus), -15);
        EXPECT_EQ(callSlot<WSTATUS>(plugin, RETRIEVE_EXCEPTIONS, &exceptions), -15);
        EXPECT_EQ(call(RESOLVE_EXCEPTION, static_cast<WException*>(nullptr), onException), -15);
        EXPECT_EQ(call(UNREGISTER_KL, onStatus), -15);
        EXPECT_EQ(call(RETRIEVE_GROUP_GALLERY, &group, KL_CONTENT_PHOTO, 10u, KL_DIRECTION_AFTER, KL_SORT_ALPHABETICAL,
                       KL_ORDER_ASCENDING, onContents),
                  -15);
        EXPECT_EQ(call(UPDATE_CONTENT, &content, &empty, onUpdated), -15);
        EXPECT_EQ(call(UPDATE_COMMENT, &comment, onComment), -15);
    }
    EXPECT_EQ(calls.count(), 0);
    EXPECT_THAT(exceptions, IsEmpty());
}

TEST_F(Slots, NeedASession)
{
    expectFromAllOperations(-202);
    EXPECT_EQ(server.requestCount(), 0u);
    EXPECT_EQ(calls.count(), 0);
}

TEST_F(Slots, RegisterAndSignIn)
{
    EXPECT_EQ(call(REGISTER_KL, onStatus), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "Kinloom");
    double done = 11;
    double total = 22;
    EXPECT_EQ(call(PROGRESS_STATUS, &PROVIDER, &done, &total), -202);
    signIn();
    EXPECT_EQ(call(PROGRESS_STATUS, &PROVIDER, &done, &total), 0);
    EXPECT_EQ(done, 0.0);
    EXPECT_EQ(total, 0.0);
}

TEST_F(Slots, ServeGroups)
{
    signIn();
    EXPECT_EQ(call(RETRIEVE_GROUP_LIST, &person, onGroups, 0u, 10u, KL_SORT_ALPHABETICAL, KL_INCLUDE_NONE), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "Family of p1");
    EXPECT_EQ(call(CREATE_GROUP, &group, &person, onGroup), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "g9");
    EXPECT_EQ(call(DELETE_GROUP, &group, onGroup), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "g1");
    EXPECT_EQ(
        call(RETRIEVE_GROUP_FEEDS, &group, &empty, &marker, 30u, KL_BASE_CREATED_TIME, KL_ITEM_ALL, KL_INCLUDE_NONE, onContents),
        0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "c9");
}

TEST_F(Slots, ServeContents)
{
    signIn();
    path = folder.file("photo.jpg");
    test::writeFile(path, "a photo");
    EXPECT_EQ(call(CREATE_CONTENT, &group, &content, KL_CONTENT_PHOTO, &path, onUploaded), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "g1 c9 photo.jpg");
    EXPECT_EQ(call(VIEW_CONTENT, &content, onContent), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "c9");
    EXPECT_EQ(call(DELETE_CONTENT, &content, onContent), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "c1");
}

TEST_F(Slots, ServeComments)
{
    signIn();
    EXPECT_EQ(call(CREATE_COMMENT, &content, &comment, onCommentID), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "m1 m1");
    EXPECT_EQ(call(VIEW_COMMENT, &comment, onCommentID), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "m9 m1");
    EXPECT_EQ(call(DELETE_COMMENT, &comment, onComment), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "m1");
}

TEST_F(Slots, DownloadAFile)
{
    signIn();
    EXPECT_EQ(call(DOWNLOAD, &PROVIDER, &url, &folder.path(), &empty, onFile), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "photo.jpg");
    EXPECT_EQ(test::readFile(folder.file("photo.jpg")), "a photo");
}

TEST_F(Slots, FollowATransferAndCancelIt)
{
    signIn();
    const STRING slow = "http://media.example/big.slow";
    ASSERT_EQ(call(DOWNLOAD, &PROVIDER, &slow, &folder.path(), &empty, onFile), 0);
    // The half that was sent arrives some time after it was sent.
    double done = 0;
    double total = 0;
    ASSERT_TRUE(server.waitForWaiting(1));
    const auto deadline = std::chrono::steady_clock::now() + test::PATIENCE;
    while (done != 4.0 && std::chrono::steady_clock::now() < deadline) {
        ASSERT_EQ(call(PROGRESS_STATUS, &PROVIDER, &done, &total), 0);
        std::this_thread::yield();
    }
    EXPECT_EQ(done, 4.0);
    EXPECT_EQ(total, 1000.0);
    EXPECT_EQ(call(CANCEL, &PROVIDER, onStatus), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_EQ(calls.text(), "Kinloom"); // of the cancel callback
    EXPECT_THAT(folder.entries(), IsEmpty());
}

TEST_F(Slots, RefuseAStrangersProvider)
{
    signIn();
    const WContentProvider stranger("Other", WContentProvider::SERVICE_KINLOOM);
    double done = 11;
    double total = 22;
    EXPECT_EQ(call(CANCEL, &stranger, onStatus), -16);
    EXPECT_EQ(call(DOWNLOAD, &stranger, &url, &folder.path(), &empty, onFile), -16);
    EXPECT_EQ(call(PROGRESS_STATUS, &stranger, &done, &total), -16);
    EXPECT_EQ(done, 0.0);
    EXPECT_EQ(total, 0.0);
}

TEST_F(Slots, TakeAnyNumberForAnOption)
{
    signIn();
    const auto any = [](UINT32 number) { return number; };
    EXPECT_EQ(call(RETRIEVE_GROUP_LIST, &person, onGroups, 0u, 10u, any(0xFFFFFFFF), any(0x80000000)), 0);
    EXPECT_EQ(calls.wait(), 0);
    EXPECT_THAT(server.last().target(), testing::EndsWith("&option_sort=alphabetical&option_include=none"));
    EXPECT_EQ(call(CREATE_CONTENT, &group, &content, any(0xFFFFFFFF), &path, onUploaded), -1);
}

TEST_F(Slots, ReachTheInterfaceByItsName)
{
    WKinloomOAI& oai = interfaceOf(plugin);
    EXPECT_FALSE(oai.isValid());
    oai.setHandle(7);
    EXPECT_TRUE(callSlot<bool>(plugin, IS_VALID));
    EXPECT_EQ(oai.getContentProvider().getID(), PROVIDER.getID());
    EXPECT_EQ(oai.logout(nullptr, nullptr), -15);
}
