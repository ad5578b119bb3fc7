// SPDX-License-Identifier: MIT
// What stands on the wire: each operation's request byte for byte, and what becomes of each reply, on the real host.
#include "plugin/support/Golden.h"
#include "W/WStatus.h"
#include "WKLOAI/WKLOAI.h"
#include "plugin/support/Clock.h"
#include "plugin/support/Documents.h"
#include "plugin/support/LogCapture.h"
#include "plugin/support/Operations.h"
#include "plugin/support/Recorder.h"
#include "plugin/support/Records.h"
#include "support/RawServer.h"
#include "whost/HttpOptions.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>

using namespace W;
using namespace kinloom_test;

namespace {

/// What an operation of a case works with.
struct Stage {
    WKLOAI& oai;
    Recorder& recorder;
    const TempFolder& folder;
};

enum class Ending { CLOSE, RESET };

struct GoldenCase {
    const char* family;
    const char* name;
    std::function<WSTATUS(const Stage& stage)> start;
    /// What the callback reports; nothing when it is never called.
    std::optional<WSTATUS> reported = WSTATUS_OK;
    WSTATUS returned = WSTATUS_OK;
    bool signedIn = true;
    /// The exchanges, in their order; one of the case's own name when there is none.
    std::vector<STRING> exchanges;
    Ending ending = Ending::CLOSE;
};

std::ostream& operator<<(std::ostream& out, const GoldenCase& golden) { return out << golden.family << '/' << golden.name; }

// --- Operations

const char* const RESOURCE_FILE = "/tmp/kinloom-golden-test.jpg";

/// An operation with the arguments that it has in all tests.
std::function<WSTATUS(const Stage&)> asUsual(const STRING& name)
{
    return [&operation = operationNamed(name)](const Stage& s) {
        Arguments arguments = operation.argumentsIn(s.folder);
        // Its name is another each time; what stands on file is not.
        arguments.resource.setResourceURL("http://media.kinloom.example/kinloom-golden-test.jpg?size=full");
        return operation.startWith(s.oai, arguments, &s.recorder);
    };
}

WSTATUS listGroups(const Stage& s, const STRING& person, UINT32 index, UINT32 count, KL_OPTION_SORT sort, KL_OPTION_INCLUDE include)
{
    return s.oai.retrieveGroupList(personWith(person), Callback<WContainer<WGroup>, WPerson>::call, index, count, sort, include,
                                   &s.recorder);
}

WSTATUS listDefaults(const Stage& s) { return listGroups(s, "", 0, 0, KL_SORT_ALPHABETICAL, KL_INCLUDE_NONE); }
WSTATUS listPage(const Stage& s) { return listGroups(s, "", 20, 5, KL_SORT_RECENT_USED, KL_INCLUDE_ALL); }
WSTATUS listUsage(const Stage& s) { return listGroups(s, "", 0, 10, KL_SORT_CREATED_TIME, KL_INCLUDE_USAGE); }
WSTATUS listOfPerson(const Stage& s) { return listGroups(s, "p42", 0, 10, KL_SORT_ALPHABETICAL, KL_INCLUDE_NONE); }

WSTATUS createGroup(const Stage& s, const STRING& name, const STRING& description, const STRING& person)
{
    WGroup group = groupWith("", name);
    group.setDescription(description);
    return s.oai.createGroup(group, personWith(person), Callback<WGroup>::call, &s.recorder);
}

WSTATUS createDescribed(const Stage& s) { return createGroup(s, "Mum & \"Dad\" \xF0\x9F\x8E\x89", "all of us, 100%", ""); }
WSTATUS createForPerson(const Stage& s) { return createGroup(s, "Family", "", "p42"); }

WSTATUS feedBefore(const Stage& s)
{
    return s.oai.retrieveGroupFeeds(groupWith("g1"), "2010-05-05 07:04:09", "", 1, KL_BASE_UPLOAD_TIME, KL_ITEM_PHOTO,
                                    KL_INCLUDE_ALL, Callback<WContainer<WContent>>::call, &s.recorder);
}
WSTATUS feedDefault(const Stage& s)
{
    return s.oai.retrieveGroupFeeds(groupWith("g1"), "", "c100", 0, KL_BASE_CREATED_TIME, KL_ITEM_ALL, KL_INCLUDE_NONE,
                                    Callback<WContainer<WContent>>::call, &s.recorder);
}

WSTATUS askMIMEType(const Stage& s)
{
    WContent content;
    content.setResourceURL("http://media.kinloom.example/c1.jpg");
    const WSTATUS status = s.oai.retrieveContentMIMEType(content);
    EXPECT_EQ(content.getMIMEType(), "image/jpeg");
    return status;
}

WSTATUS askMIMETypeOfNothing(const Stage& s)
{
    WMediaResource thumbnail;
    thumbnail.setResourceURL("http://media.kinloom.example/small.jpg");
    const WSTATUS status = s.oai.retrieveThumbMIMEType(thumbnail);
    EXPECT_EQ(thumbnail.getMIMEType(), "");
    return status;
}

WSTATUS uploadDescribed(const Stage& s)
{
    WContent content = contentWith("", "image/jpeg");
    content.setDescription("us at the sea");
    return s.oai.createContent(groupWith("g1"), content, KL_CONTENT_PHOTO, s.folder.write("photo.jpg", PHOTO_FILE),
                               Callback<WGroup, WContent, STRING>::call, &s.recorder);
}

/// The upload that no operation makes: with fields beside the file.
WSTATUS uploadWithFields(const Stage& s)
{
    auto command = std::make_unique<ContentCreationCMD>(s.oai.getContentProvider());
    command->setCMDKey(CMD_CONTENT_CREATION);
    command->callback = Callback<WGroup, WContent, STRING>::call;
    command->userData = &s.recorder;
    command->owner = &s.oai;
    return s.oai.service()->postDataRequest("http://upload.kinloom.example/form", {{"title", "us & them"}, {"album", "2010"}},
                                            {{"appToken", ""}, {"DATE", "today"}}, {{"filename", "image/jpeg"}}, command.release(),
                                            s.folder.write("photo.jpg", PHOTO_FILE));
}

/// The logout that no operation makes: it asks nobody, and brings its completion onto the worker all the same.
WSTATUS logOut(const Stage& s)
{
    auto command = std::make_unique<KLLogoutCMD>(s.oai.getContentProvider());
    command->setCMDKey(CMD_LOGOUT);
    command->callback = Callback<>::call;
    command->userData = &s.recorder;
    command->owner = &s.oai;
    return s.oai.service()->logout(command.release());
}

WSTATUS listAllComments(const Stage& s)
{
    return s.oai.retrieveComments(contentWith("c1"), Callback<WContainer<WComment>>::call, 0, 0, &s.recorder);
}

// --- Cases

std::vector<GoldenCase> makeCases()
{
    std::vector<GoldenCase> all;
    const auto add = [&all](const char* family, const char* name, const auto& start,
                            std::optional<WSTATUS> reported) -> GoldenCase& {
        all.push_back({family, name, start, reported, WSTATUS_OK, true, {}, Ending::CLOSE});
        return all.back();
    };
    // Each operation's own exchange
    for (const OperationCase& operation : operations()) {
        const Exchange& own = operation.exchange;
        const auto reported = operation.callsBack ? std::optional<WSTATUS>(WSTATUS_OK) : std::nullopt;
        GoldenCase& golden = add(own.family, own.name, asUsual(operation.name), reported);
        golden.exchanges = own.files;
        golden.signedIn = own.signedIn;
    }

    // Other replies, other arguments, and what no operation sends
    const auto auth = asUsual("authKL");
    add("account", "auth-again", auth, 0);
    add("account", "auth-fail", auth, 0).signedIn = false;
    add("account", "auth-forbidden", auth, -205).signedIn = false;
    add("account", "auth-error", auth, -208).signedIn = false;
    add("account", "auth-cut", auth, -107).signedIn = false;
    const auto enrol = asUsual("registerKL");
    add("account", "register-forbidden", enrol, -202).signedIn = false;
    add("account", "register-error", enrol, -107).signedIn = false;
    add("account", "logout", logOut, 0);

    const auto list = asUsual("retrieveGroupList");
    add("groups", "list-attributes", list, 0);
    add("groups", "list-defaults", listDefaults, 0);
    add("groups", "list-page", listPage, 0);
    add("groups", "list-usage", listUsage, 0);
    add("groups", "list-person", listOfPerson, 0);
    add("groups", "list-chunked", list, 0);
    add("groups", "list-fail", list, -16);
    add("groups", "list-garbage", list, -16);
    add("groups", "list-doctype", list, -16);
    add("groups", "list-not-modified", list, 0);
    add("groups", "list-unauthorized", list, -202);
    add("groups", "list-not-found", list, -205);
    add("groups", "list-too-many-requests", list, -16);
    add("groups", "list-server-error", list, -107);
    add("groups", "list-unavailable", list, -16);
    add("groups", "list-cut", list, -107);
    add("groups", "list-cut-head", list, -107);
    add("groups", "list-reset", list, -107).ending = Ending::RESET;
    add("groups", "create-described", createDescribed, 0);
    add("groups", "create-person", createForPerson, 0);
    add("groups", "create-conflict", asUsual("createGroup"), -203);
    add("groups", "delete-forbidden", asUsual("deleteGroup"), -205);

    add("feeds", "before", feedBefore, 100);
    add("feeds", "default", feedDefault, 0).exchanges = {"after"}; // 30 is what is asked for anyway

    const auto view = asUsual("viewContent");
    add("contents", "view-gallery", view, 0);
    add("contents", "view-gone", view, -205);
    add("contents", "mime-type", askMIMEType, std::nullopt);
    add("contents", "mime-type-not-found", askMIMETypeOfNothing, std::nullopt);

    const auto upload = asUsual("createContent");
    add("uploads", "described", uploadDescribed, 0).exchanges = {"described-slot", "photo-file"};
    add("uploads", "full", upload, -16).exchanges = {"photo-slot", "full-file"};
    add("uploads", "fields", uploadWithFields, 0);
    add("uploads", "refused", upload, std::nullopt).returned = -1;

    add("comments", "create-forbidden", asUsual("createComment"), -205);
    add("comments", "list-all", listAllComments, std::nullopt);

    const auto download = asUsual("download");
    add("downloads", "direct-not-found", download, -205);
    add("downloads", "direct-cut", download, -107);
    return all;
}

std::vector<GoldenExchange> exchangesOf(const GoldenCase& golden)
{
    if (golden.exchanges.empty())
        return {{golden.family, golden.name}};
    std::vector<GoldenExchange> all;
    for (const STRING& name : golden.exchanges)
        all.push_back({golden.family, name});
    return all;
}

/// Has the files compared and not written, whatever the environment says.
class ReadingOnly {
public:
    ReadingOnly()
    {
        if (const char* const value = std::getenv(VARIABLE))
            m_value = value;
        unsetenv(VARIABLE);
    }
    ~ReadingOnly()
    {
        if (m_value)
            setenv(VARIABLE, m_value->c_str(), 1);
    }
    ReadingOnly(const ReadingOnly&) = delete;
    ReadingOnly& operator=(const ReadingOnly&) = delete;

private:
    static constexpr const char* VARIABLE = "KINLOOM_UPDATE_GOLDEN";
    std::optional<STRING> m_value;
};

class Golden : public testing::TestWithParam<GoldenCase> {
protected:
    void SetUp() override
    {
        options = httpOptions();
        HttpOptions routed = options;
        routed.connectTo = {"::127.0.0.1:" + std::to_string(server.port())};
        setHttpOptions(routed);

        configure(APP_ID, AUTH_TOKEN, DUID);
        oai = static_cast<WKLOAI*>(createPlugin());
        if (GetParam().signedIn) {
            ASSERT_EQ(oai->parseAuthStatus(documents::OK, nullptr), 0);
        }
        exchanges = exchangesOf(GetParam());
    }
    void TearDown() override
    {
        destroyPlugin(oai);
        setHttpOptions(options);
        if (GetParam().name == STRING("resource")) // the others run beside it, and all share the folder
            std::remove(RESOURCE_FILE);
    }
    LogCapture log;
    const StoppedClock clock{2010, 5, 5};
    test::RawServer server;
    TempFolder folder;
    HttpOptions options;
    Recorder recorder;
    WKLOAI* oai = nullptr;
    std::vector<GoldenExchange> exchanges;
};

} // namespace

TEST_P(Golden, StandsOnTheWireAsOnFile)
{
    for (const GoldenExchange& exchange : exchanges) {
        test::RawReply reply;
        reply.send(exchange.response());
        server.reply(GetParam().ending == Ending::RESET ? reply.reset() : reply.close());
    }
    EXPECT_EQ(GetParam().start({*oai, recorder, folder}), GetParam().returned);
    ASSERT_TRUE(server.waitForRequests(exchanges.size()));
    if (GetParam().reported) {
        ASSERT_TRUE(recorder.waitFor(1));
        EXPECT_EQ(recorder.only().status, *GetParam().reported);
    }
    destroyPlugin(oai); // so that what would still come has come
    oai = nullptr;
    EXPECT_EQ(recorder.count(), GetParam().reported ? 1u : 0u);
    ASSERT_EQ(server.requestCount(), exchanges.size());
    for (std::size_t i = 0; i < exchanges.size(); ++i)
        EXPECT_TRUE(matchesGolden(exchanges[i], server.requests()[i].bytes));
}

INSTANTIATE_TEST_SUITE_P(Exchange, Golden, testing::ValuesIn(makeCases()), [](const auto& test) {
    STRING name = STRING(test.param.family) + "_" + test.param.name;
    for (char& c : name)
        if (c == '-')
            c = '_';
    return name;
});

TEST(GoldenDifference, ShowsWhatIsMissingAndWhatIsNew)
{
    EXPECT_EQ(differenceOf("a\r\nb\r\nc", "a\r\nx\r\nc"), "  a\\r\n- b\\r\n+ x\\r\n  c\n");
    EXPECT_EQ(differenceOf("a\n", "a\r\n"), "- a\n+ a\\r\n  \n");
}

TEST(GoldenDifference, FailsForAByteMoreOrLess)
{
    const ReadingOnly readingOnly;
    const GoldenExchange create{"comments", "create"};
    const STRING request = create.request(); // one that ends without a line break, as the separator begins with one
    ASSERT_EQ(request.substr(request.size() - 6), "& true");
    EXPECT_TRUE(matchesGolden(create, request));
    EXPECT_FALSE(matchesGolden(create, request + "\n"));
    EXPECT_FALSE(matchesGolden(create, request.substr(0, request.size() - 1)));
    EXPECT_EQ(create.response().rfind("HTTP/1.1 200 OK\r\n", 0), 0u);
}

TEST(GoldenDifference, FailsForARequestThatIsNotOnFile)
{
    const ReadingOnly readingOnly;
    EXPECT_FALSE(matchesGolden({"groups", "no-such-exchange"}, "GET / HTTP/1.1\r\n\r\n"));
    EXPECT_FALSE(matchesGolden({"groups", "list"}, "GET / HTTP/1.1\r\n\r\n"));
}

TEST(GoldenFiles, BelongToAnExchangeEach)
{
    std::set<STRING> families;
    std::set<STRING> known;
    for (const GoldenCase& golden : makeCases()) {
        families.insert(golden.family);
        for (const GoldenExchange& exchange : exchangesOf(golden))
            known.insert(exchange.path());
    }
    for (const STRING& family : families)
        for (const auto& entry : std::filesystem::directory_iterator(STRING(GOLDEN_DIR) + "/" + family))
            EXPECT_EQ(known.erase(entry.path()), 1u) << entry.path() << " belongs to no exchange";
    for (const STRING& path : known)
        ADD_FAILURE() << path << " is missing";
}
