// SPDX-License-Identifier: MIT
// No body breaks the plugin, keeps it busy, opens a file, makes a connection or prints anything.
#include "plugin/replies/Hostile.h"
#include "plugin/replies/ReplyTest.h"
#include "replies/Samples.h"
#include "support/RawServer.h"

#include <ctime>
#include <filesystem>
#include <functional>
#include <libxml/xmlerror.h>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>

using namespace kinloom_test;
using namespace W;
using test::Growth;
using test::HostileBody;

namespace {

class HostileReply : public ReplyTest {
protected:
    struct Kind {
        const char* name;
        std::function<WSTATUS(const STRING&)> parse;
    };

    std::vector<Kind> kinds()
    {
        return {
            {"contents", [this](const STRING& body) { return checked(contents(body)); }},
            {"groups", [this](const STRING& body) { return checked(groups(body)); }},
            {"comments", [this](const STRING& body) { return checked(comments(body)); }},
            {"galleries", [this](const STRING& body) { return checked(galleries(body)); }},
            {"slot",
             [this](const STRING& body) {
                 WContent slot;
                 return oai->parseString(body, slot);
             }},
            {"auth", [this](const STRING& body) { return oai->parseAuthStatus(body, nullptr); }},
            {"register", [this](const STRING& body) { return oai->parseRegisterStatus(body, nullptr); }},
        };
    }

    template <class Record> WSTATUS checked(const ListResult<Record>& result)
    {
        EXPECT_TRUE(result.status == 0 || result.size() == 0) << "records of a refused reply";
        return result.status;
    }

    /// Gives a body to every kind of reply.
    void expectHarmless(const HostileBody& hostile)
    {
        for (const Kind& kind : kinds()) {
            SCOPED_TRACE(STRING(kind.name) + ", " + hostile.name);
            const WSTATUS status = kind.parse(hostile.body);
            EXPECT_TRUE(status == -16 || (status == 0 && !hostile.refused)) << status;
            EXPECT_EQ(facadeLog(), status ? std::vector<WSTATUS>{-16} : std::vector<WSTATUS>{});
            log->clear();
        }
        EXPECT_EQ(oai->parseString(hostile.body), -16) << "none of these says who the user is";
        log->clear();
    }
    void expectHarmless(const std::vector<HostileBody>& bodies)
    {
        for (const HostileBody& hostile : bodies)
            expectHarmless(hostile);
    }

    /// Processor time of this thread, in seconds.
    static double now()
    {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    }

    TempFolder folder;
};

/// What there is to steal.
class Bait {
public:
    explicit Bait(const TempFolder& folder) : m_path(folder.write("secret", "<!ENTITY e 'stolen'>"))
    {
        m_watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        EXPECT_GE(inotify_add_watch(m_watch, m_path.c_str(), IN_OPEN | IN_ACCESS), 0);
    }
    ~Bait() { close(m_watch); }
    Bait(const Bait&) = delete;
    Bait& operator=(const Bait&) = delete;

    const STRING& path() const { return m_path; }
    bool taken() const
    {
        char events[4096];
        return read(m_watch, events, sizeof events) > 0;
    }

private:
    STRING m_path;
    int m_watch;
};

std::size_t openDescriptors()
{
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        ++count;
    return count;
}

} // namespace

// --- Document types

TEST_F(HostileReply, HasNoDocumentType)
{
    const Bait bait(folder);
    const test::RawServer server;
    expectHarmless(test::documentTypes(bait.path(), server.url("/evil.dtd")));
    EXPECT_FALSE(bait.taken());
    EXPECT_EQ(server.connectionCount(), 0u);
}

TEST_F(HostileReply, HasNoDocumentTypeInAnyEncoding)
{
    const Bait bait(folder);
    const STRING rest = dataReply("<content contentId='1' contentDesc='&e;'/>");
    for (const STRING& type : {STRING("<!DOCTYPE rsp>"), STRING("<!DOCTYPE rsp [<!ENTITY e 'x'>]>"),
                               "<!DOCTYPE rsp [<!ENTITY e SYSTEM '" + bait.path() + "'>]>"})
        expectHarmless(test::disguises(type + rest, true));
    EXPECT_FALSE(bait.taken());
}

TEST_F(HostileReply, MayTalkOfDocumentTypes)
{
    // Where none can stand.
    for (const char* const body :
         {"<!-- <!DOCTYPE rsp> --><rsp><data/></rsp>", "<rsp><data/></rsp><!-- <!DOCTYPE rsp> -->",
          "<rsp><data><![CDATA[<!DOCTYPE rsp [<!ENTITY e 'x'>]>]]></data></rsp>", "<rsp><data>&lt;!DOCTYPE rsp></data></rsp>",
          "<rsp><data a='&lt;!DOCTYPE rsp>'/></rsp>", "<rsp><data><!--<!DOCTYPE rsp>--><?x <!DOCTYPE rsp>?></data></rsp>"})
        EXPECT_EQ(contents(body).status, 0) << body;
    for (const char* const body : {"<rsp><!DOCTYPE rsp><data/></rsp>", "<rsp><data/></rsp><!DOCTYPE rsp>"})
        EXPECT_EQ(contents(body).status, -16) << body;
    log->clear();
}

// --- Encodings

TEST_F(HostileReply, IsReadInEncodingsThatAServiceMayUse)
{
    std::size_t read = 0;
    for (const HostileBody& disguise : test::disguises("<rsp><data><content contentId='1' contentDesc='d'/></data></rsp>", false)) {
        const ListResult<WContent> result = contents(disguise.body);
        EXPECT_EQ(result.status, disguise.refused ? -16 : 0) << disguise.name;
        if (result.status == 0) {
            ASSERT_EQ(result.size(), 1u) << disguise.name;
            EXPECT_EQ(result.front().getDescription(), "d") << disguise.name;
            ++read;
        }
    }
    EXPECT_EQ(read, 12u);
    log->clear();
}

TEST_F(HostileReply, IsReadWithItsCharactersInEveryEncoding)
{
    const struct {
        STRING encoding;
        STRING text;
        STRING expected;
    } texts[] = {
        {"UTF-8", "\xC3\xA9\xEA\xB9\x80\xF0\x9F\x8E\x82", "\xC3\xA9\xEA\xB9\x80\xF0\x9F\x8E\x82"},
        {"utf-8", "\xC3\xA9", "\xC3\xA9"},
        {"ISO-8859-1", "\xE9\xA0\xFF", "\xC3\xA9\xC2\xA0\xC3\xBF"},
        {"iso-8859-15", "\xA4", "\xE2\x82\xAC"},
        {"windows-1252", "\x80\x93", "\xE2\x82\xAC\xE2\x80\x9C"},
        {"US-ASCII", "abc", "abc"},
        {"KOI8-R", "\xC1", "\xD0\xB0"},
        {"EUC-KR", "\xB1\xE8", "\xEA\xB9\x80"},
        {"Shift_JIS", "\x82\xA0\x83\x5C", "\xE3\x81\x82\xE3\x82\xBD"}, // the second byte of the second one is a backslash
        {"GBK", "\xC4\xE3", "\xE4\xBD\xA0"},
        {"Big5", "\xA7\x41", "\xE4\xBD\xA0"},
    };
    for (const auto& text : texts) {
        const STRING body = "<?xml version='1.0' encoding='" + text.encoding + "'?>" +
                            dataReply("<content contentId='1' contentDesc='" + text.text + "'/>");
        EXPECT_EQ(content(body).getDescription(), text.expected) << text.encoding;
    }
}

TEST_F(HostileReply, IsReadInUtf16WithItsCharacters)
{
    // é, a Korean syllable, and a cake, which takes two units.
    const char16_t text[] = u"<rsp><data><content contentId='1' contentDesc='\u00E9\uAE40\U0001F382'/></data></rsp>";
    STRING little = "\xFF\xFE";
    STRING big = "\xFE\xFF";
    for (const char16_t unit : std::u16string(text)) {
        little += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
        big += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    }
    EXPECT_EQ(content(little).getDescription(), "\xC3\xA9\xEA\xB9\x80\xF0\x9F\x8E\x82");
    EXPECT_EQ(content(big).getDescription(), "\xC3\xA9\xEA\xB9\x80\xF0\x9F\x8E\x82");

    for (const STRING& broken :
         {little + "x", little.substr(0, little.size() - 1), STRING("\xFF\xFE"), STRING("\xFE\xFF\xD8"),
          STRING("\xFE\xFF\xD8\x3C\0<", 6), STRING("\xFE\xFF\xDF\x82\0<", 6), STRING("\xFE\xFF\0\0\0<\0?", 8)})
        EXPECT_EQ(contents(broken).status, -16);
    log->clear();
}

TEST_F(HostileReply, IsRefusedWhenItsTextIsBroken)
{
    for (const HostileBody& broken : test::brokenTexts())
        expectHarmless(broken);
}

// --- Size, depth and number

TEST_F(HostileReply, TakesTimeByItsLengthOnly)
{
    for (const Growth& growth : test::growths())
        for (const std::size_t size : {std::size_t{3000}, std::size_t{1} << 20}) {
            SCOPED_TRACE(growth.name + " of " + std::to_string(size));
            const HostileBody hostile{growth.name, growth.make(size), growth.refused};
            const double begin = now();
            expectHarmless(hostile);
            // A hundred times what it takes, and a fraction of what anything quadratic would take.
            EXPECT_LT(now() - begin, 8 * (0.2 + 1e-6 * static_cast<double>(hostile.body.size())));
        }
}

TEST_F(HostileReply, MayBeVeryLong)
{
    for (const Growth& growth : test::growths())
        if (growth.name == "one long text" || growth.name == "contents without identifier" ||
            growth.name == "nesting of nonsense" || growth.name == "ampersands" || growth.name == "CDATA sections and texts" ||
            growth.name == "empty elements") {
            SCOPED_TRACE(growth.name);
            const STRING body = growth.make(100'000'000);
            const double begin = now();
            const WSTATUS status = contents(body).status;
            EXPECT_TRUE(status == 0 || status == -16) << status;
            EXPECT_LT(now() - begin, 100);
        }
    log->clear();
}

TEST_F(HostileReply, IsRefusedWhenItIsEndless)
{
    EXPECT_EQ(contents("<rsp>" + STRING(128u << 20, ' ') + "<data/></rsp>").status, -16);
    expectOneReport();
}

TEST_F(HostileReply, IsRefusedWithMillionsOfLevels)
{
    const HostileBody deep{"a million levels", dataReply(test::repeated("<a>", 3'000'000) + test::repeated("</a>", 4'000'000)),
                           true};
    expectHarmless(deep);
    expectHarmless({"nine megabytes of deep nonsense", test::repeated("<rsp><data a='<'>&&<<", 9'000'000), true});
}

TEST_F(HostileReply, IsReadDownToTheDepthThatTheParserAllows)
{
    const auto nested = [](std::size_t levels) {
        STRING open;
        STRING close;
        for (std::size_t i = 0; i < levels; ++i) {
            open += "<a>";
            close += "</a>";
        }
        return "<rsp><data>" + open + close + "</data></rsp>";
    };
    EXPECT_EQ(contents(nested(250)).status, 0);
    EXPECT_EQ(contents(nested(260)).status, -16);
    log->clear();
}

TEST_F(HostileReply, IsRefusedWithAHundredThousandAttributesOnATag)
{
    STRING tag = "<content contentId='1'";
    for (int i = 0; i < 100'000; ++i)
        tag += " a" + std::to_string(i) + "=''";
    expectHarmless({"attributes", dataReply(tag + "/>"), true});
}

TEST_F(HostileReply, MayHaveAsManyAttributesAsAnyRecordNeeds)
{
    STRING tag = "<content contentId='1'";
    for (int i = 0; i < 200; ++i)
        tag += " a" + std::to_string(i) + "='x'";
    EXPECT_EQ(content(dataReply(tag + " contentDesc='last'/>")).getDescription(), "last");
}

TEST_F(HostileReply, IsRefusedWithAnEndlessTag)
{
    EXPECT_EQ(contents(dataReply("<content contentId='1' contentDesc='" + STRING(1u << 21, 'x') + "'/>")).status, -16);
    EXPECT_EQ(contents(dataReply("<content contentId='1'" + STRING(1u << 21, ' ') + "/>")).status, -16);
    EXPECT_EQ(content(dataReply("<content contentId='1' contentDesc='" + STRING(1u << 19, 'x') + "'/>")).getDescription().size(),
              1u << 19);
    EXPECT_EQ(content(dataReply("<content contentId='1'><contentDesc>" + STRING(1u << 22, 'x') + "</contentDesc></content>"))
                  .getDescription()
                  .size(),
              1u << 22)
        << "a text is no tag";
    log->clear();
}

TEST_F(HostileReply, CountsRepeatedIdentifiersByTheThousands)
{
    STRING identifiers;
    for (int i = 0; i < 10'000; ++i)
        identifiers += "<contentId>7</contentId>";
    const ListResult<WContent> listed = contents(dataReply(identifiers + "<contentDesc>d</contentDesc>"));
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.size(), 10'000u);
    EXPECT_EQ(listed.count, 10'000u);
    EXPECT_EQ(listed.records.getData().back().getDescription(), "d");

    STRING groupIdentifiers;
    for (int i = 0; i < 10'000; ++i)
        groupIdentifiers += "<groupId>7</groupId>";
    const ListResult<WGroup> created = groups(dataReply(groupIdentifiers));
    EXPECT_EQ(created.size(), 10'000u);
    EXPECT_EQ(created.count, 0u);
}

// --- Every piece of a reply

namespace {

template <class Parse> void expectEveryPieceRefused(const STRING& body, Parse&& parse)
{
    const std::size_t whole = body.rfind('>') + 1;
    for (std::size_t length = 0; length < whole; ++length)
        ASSERT_EQ(parse(body.substr(0, length)), -16) << "cut at " << length;
    EXPECT_EQ(parse(body), 0);
}

} // namespace

TEST_F(HostileReply, IsRefusedWhereverItIsCut)
{
    for (const Shape shape : SHAPES) {
        expectEveryPieceRefused(test::feedReply(2, shape), [this](const STRING& body) { return checked(contents(body)); });
        expectEveryPieceRefused(test::viewReply(1, 1, shape), [this](const STRING& body) { return checked(contents(body)); });
        expectEveryPieceRefused(test::groupsReply(2, shape), [this](const STRING& body) { return checked(groups(body)); });
        expectEveryPieceRefused(test::commentsReply(2, shape), [this](const STRING& body) { return checked(comments(body)); });
        expectEveryPieceRefused(test::galleryReply(1, shape), [this](const STRING& body) { return checked(galleries(body)); });
        log->clear();
    }
}

TEST_F(HostileReply, IsHarmlessWithAnyByteChanged)
{
    const STRING body = test::viewReply(1, 1, Shape::ATTRIBUTES);
    for (std::size_t position = 0; position < body.size(); ++position)
        for (const char byte : {'\0', '<', '&', '"', '\xFF', ' '}) {
            STRING changed = body;
            changed[position] = byte;
            const WSTATUS status = checked(contents(changed));
            ASSERT_TRUE(status == 0 || status == -16) << status << " at " << position;
        }
    log->clear();
}

// --- The process

TEST_F(HostileReply, PrintsNothingButReports)
{
    const test::RawServer server;
    std::vector<HostileBody> bodies = test::documentTypes("/etc/passwd", server.url());
    for (const std::vector<HostileBody>& more : {test::brokenTexts(), test::disguises("<!DOCTYPE a><rsp><data/></rsp>", true)})
        bodies.insert(bodies.end(), more.begin(), more.end());
    for (const Growth& growth : test::growths())
        bodies.push_back({growth.name, growth.make(5000), growth.refused});

    test::CaptureStderr errors;
    expectHarmless(bodies); // which looks at standard output
    EXPECT_EQ(errors.take(), "");
    EXPECT_EQ(log->strays(), "");
}

namespace {

int g_called = 0;
void countStructured(void*, xmlErrorPtr) { ++g_called; }
// NOLINTNEXTLINE(cert-dcl50-cpp): libxml2's type
void countGeneric(void*, const char*, ...) { ++g_called; }

} // namespace

TEST_F(HostileReply, LeavesTheHandlersOfOthersAsTheyAre)
{
    const auto parseAll = [this] {
        int mark = 0;
        g_called = 0;
        xmlSetStructuredErrorFunc(&mark, countStructured);
        xmlSetGenericErrorFunc(&mark, countGeneric);
        for (const HostileBody& broken : test::brokenTexts())
            contents(broken.body);
        contents("<rsp><data/></rsp>");
        EXPECT_EQ(xmlStructuredError, countStructured);
        EXPECT_EQ(xmlStructuredErrorContext, &mark);
        EXPECT_EQ(xmlGenericError, countGeneric);
        EXPECT_EQ(xmlGenericErrorContext, &mark);
        EXPECT_EQ(g_called, 0) << "what the plugin is sent is no business of others";
        xmlSetStructuredErrorFunc(nullptr, nullptr);
        xmlSetGenericErrorFunc(nullptr, nullptr);
    };
    parseAll();
    std::thread(parseAll).join();
    log->clear();
}

TEST_F(HostileReply, IsReadAlikeWhateverOthersSetForAllParsers)
{
    const STRING body =
        dataReply("<content contentId='1' contentDesc='a&amp;#38;b'>\n<contentType>  <!-- -->photo</contentType></content>");
    const STRING expected = dump(content(body));
    const int blanks = xmlKeepBlanksDefault(0);
    const int entities = xmlSubstituteEntitiesDefault(1);
    const int pedantic = xmlPedanticParserDefault(1);
    EXPECT_EQ(dump(content(body)), expected);
    EXPECT_EQ(xmlKeepBlanksDefaultValue, 0);
    EXPECT_EQ(xmlSubstituteEntitiesDefaultValue, 1);
    EXPECT_EQ(xmlPedanticParserDefaultValue, 1);
    xmlKeepBlanksDefault(blanks);
    xmlSubstituteEntitiesDefault(entities);
    xmlPedanticParserDefault(pedantic);
}

TEST_F(HostileReply, OpensNothing)
{
    contents("<rsp><data/></rsp>");
    const std::size_t before = openDescriptors();
    for (const HostileBody& hostile : test::documentTypes("/etc/passwd", "http://127.0.0.1:1/"))
        contents(hostile.body);
    for (const HostileBody& hostile : test::disguises("<!DOCTYPE a SYSTEM '/etc/passwd'><rsp><data/></rsp>", true))
        contents(hostile.body);
    EXPECT_EQ(openDescriptors(), before);
    log->clear();
}

TEST_F(HostileReply, IsParsedOnSeveralThreadsAtOnce)
{
    const STRING good = test::feedReply(50, Shape::ELEMENTS);
    const STRING expected = dump(contents(good).records);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                EXPECT_EQ(dump(contents(good).records), expected);
                EXPECT_EQ(contents("<!DOCTYPE a><rsp/>").status, -16);
                EXPECT_EQ(contents("<rsp><data>").status, -16);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(facadeLog(), std::vector<WSTATUS>(80, -16));
    log->clear();
}
