// SPDX-License-Identifier: MIT
// The parser that is kept from one reply to the next: when it is, and that no reply shows in the one after it.
#include "WKLOAI/replies/Parser.h"
#include "KLService/Xml.h"
#include "WKLOAI/WKLOAI.h"
#include "WKLOAI/replies/Document.h"
#include "WKLOAI/replies/Guard.h"
#include "support/CaptureStdout.h"

#include <atomic>
#include <gtest/gtest.h>
#include <libxml/xmlmemory.h>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace W;
using namespace W::replies;

namespace {

class ReplyParser : public testing::Test {
protected:
    void SetUp() override { freeKeptParser(); }
    void TearDown() override { freeKeptParser(); }

    /// True when the reply was well-formed.
    bool parse(const STRING& body)
    {
        Budget budget(body.size());
        try {
            const Document document(body, budget);
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

    /// How many names the parser knows that the next reply will get.
    int knownNames()
    {
        const ParserPointer parser = takeParser();
        return xmlDictSize(parser->dict);
    }

    /// A reply with so many elements of different names.
    STRING namesFrom(std::size_t begin, std::size_t end, const STRING& name = "n")
    {
        STRING body = "<rsp>";
        for (std::size_t i = begin; i < end; ++i)
            body += "<" + name + std::to_string(i) + "/>";
        return body + "</rsp>";
    }
};

} // namespace

TEST_F(ReplyParser, IsKeptWithItsNamesAfterAReply)
{
    const int fresh = knownNames();
    freeKeptParser();
    ASSERT_TRUE(parse("<rsp><data><groupId>1</groupId></data></rsp>"));
    const int after = knownNames();
    EXPECT_GE(after, fresh + 3);
    ASSERT_TRUE(parse("<rsp><data><groupId>2</groupId></data></rsp>"));
    EXPECT_EQ(knownNames(), after);
}

TEST_F(ReplyParser, IsFreshAgainOnceTheKeptOneIsFreed)
{
    const int fresh = knownNames();
    ASSERT_TRUE(parse("<rsp><data/></rsp>"));
    freeKeptParser();
    freeKeptParser();
    EXPECT_EQ(knownNames(), fresh);
}

TEST_F(ReplyParser, IsNotKeptAfterAReplyThatFailed)
{
    const int fresh = knownNames();
    for (const char* const broken : {"<rsp><known/><data></rsp>", "<known/", "<known>&x;</known>", "<known/><known/>", "",
                                     "<a:known/>", "<known xmlns=''/>trailing"}) {
        freeKeptParser();
        parse(broken);
        EXPECT_EQ(knownNames(), fresh) << broken;
    }
}

TEST_F(ReplyParser, IsNotKeptAfterAReaderHasGivenUp)
{
    struct Refusing : ElementSink {
        bool ended(const xmlNode*, std::size_t) override { throw std::runtime_error("enough"); }
    } sink;
    const int fresh = knownNames();
    Budget budget(100);
    EXPECT_THROW(Document("<rsp><known/></rsp>", budget, &sink), std::runtime_error);
    EXPECT_EQ(knownNames(), fresh);
}

TEST_F(ReplyParser, IsNotKeptOnceItKnowsTooManyNames)
{
    const int fresh = knownNames();
    ASSERT_TRUE(parse(namesFrom(0, 400)));
    EXPECT_GE(knownNames(), 400);
    ASSERT_TRUE(parse(namesFrom(400, 800)));
    EXPECT_EQ(knownNames(), fresh);
}

TEST_F(ReplyParser, IsNotKeptOnceItsNamesAreTooLong)
{
    const int fresh = knownNames();
    ASSERT_TRUE(parse(namesFrom(0, 4, STRING(40'000, 'n'))));
    EXPECT_EQ(knownNames(), fresh);
}

TEST_F(ReplyParser, CountsOnlyTheNamesThatAReplyAdds)
{
    ASSERT_TRUE(parse(namesFrom(0, 500)));
    ASSERT_GE(knownNames(), 500);
    EXPECT_TRUE(parse(namesFrom(1'000, 1'000 + MAX_NAMES - 1)));
    ASSERT_TRUE(parse(namesFrom(0, 500)));
    EXPECT_FALSE(parse(namesFrom(1'000, 1'000 + MAX_NAMES + 1)));
}

TEST_F(ReplyParser, TakesNothingFromOneReplyToTheNext)
{
    struct Before {
        const char* reply;
        bool isKept;
    };
    // What each leaves in a parser: a namespace, a declaration, an encoding, attributes with meanings, an instruction, an error.
    const std::vector<Before> before = {
        {"<rsp xmlns='urn:a' xmlns:p='urn:p'><p:data p:k=''/></rsp>", true},
        {"<?xml version='1.0' standalone='yes'?><rsp/>", true},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><rsp>\xe4</rsp>", true},
        {"<rsp xml:space='preserve' xml:lang='de'> <data/> </rsp>", true},
        {"<?instruction with='data'?><!-- comment --><rsp/>", true},
        {"<?oasis-xml-catalog catalog='file:///nowhere'?><rsp/>", true},
        {"<?xml version='1.1'?><rsp/>", false},
        {"<rsp><data><open>", false},
        {"<rsp>&undefined;</rsp>", false},
    };
    const int fresh = knownNames();
    for (const Before& first : before) {
        freeKeptParser();
        parse(first.reply);
        EXPECT_EQ(knownNames() > fresh, first.isKept) << first.reply;
        EXPECT_FALSE(parse("<p:rsp/>")) << "a prefix that is not declared, after " << first.reply;
        parse(first.reply);
        EXPECT_FALSE(parse("<rsp>&undefined;</rsp>")) << first.reply;
        parse(first.reply);
        Budget budget(100);
        const Document document("<rsp>a&amp;b <data k=' v '/></rsp>", budget);
        EXPECT_STREQ(xml::firstText(document.root()), "a&b ") << first.reply;
        EXPECT_STREQ(xml::entry(document.root()->last, "k").text(), " v ") << first.reply;
    }
}

TEST_F(ReplyParser, ServesRepliesWithinReplies)
{
    // A callback may call parseString while the reply that it comes from is still there.
    Budget budget(100);
    const Document outer("<rsp><outer/></rsp>", budget);
    {
        const Document inner("<rsp><inner/></rsp>", budget);
        EXPECT_STREQ(xml::name(inner.root()->children), "inner");
    }
    EXPECT_TRUE(parse("<rsp><third/></rsp>"));
    EXPECT_STREQ(xml::name(outer.root()->children), "outer");
}

TEST_F(ReplyParser, ServesManyThreads)
{
    std::vector<std::thread> threads;
    threads.reserve(8);
    std::atomic<int> failures{0};
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&, thread] {
            const STRING name = "n" + std::to_string(thread);
            for (int round = 0; round < 200; ++round) {
                Budget budget(100);
                const Document document("<rsp><" + name + "/></rsp>", budget);
                failures += xml::name(document.root()->children) == name ? 0 : 1;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
}

// --- No parser at all

namespace {

/// Lets libxml2 have no memory: no parser can be made.
class NoMemoryForParsers {
public:
    NoMemoryForParsers()
    {
        xmlMemGet(&m_free, &m_malloc, &m_realloc, &m_strdup);
        freeKeptParser();
        xmlMemSetup(
            m_free, [](std::size_t) -> void* { return nullptr; }, [](void*, std::size_t) -> void* { return nullptr; },
            [](const char*) -> char* { return nullptr; });
    }
    ~NoMemoryForParsers() { xmlMemSetup(m_free, m_malloc, m_realloc, m_strdup); }
    NoMemoryForParsers(const NoMemoryForParsers&) = delete;
    NoMemoryForParsers& operator=(const NoMemoryForParsers&) = delete;

private:
    xmlFreeFunc m_free = nullptr;
    xmlMallocFunc m_malloc = nullptr;
    xmlReallocFunc m_realloc = nullptr;
    xmlStrdupFunc m_strdup = nullptr;
};

} // namespace

// A reply that nobody could look at is no failed one.
TEST_F(ReplyParser, GivesZeroAndTouchesNothingWhenNoneCanBeMade)
{
    WKLOAI oai;
    test::CaptureStdout reports;
    unsigned int count = 4711;
    WContainer<WContent> contents;
    contents.data().resize(2);
    WContent content;
    content.setUID("before");
    WContainer<WGroup> groups;
    WContainer<WComment> comments;
    WContainer<WKLGallery> galleries;
    std::vector<WSTATUS> statuses;
    const STRING good = "<rsp><result><stat>fail</stat></result><data><content contentId='1'/><groupId>1</groupId></data></rsp>";
    for (const STRING& body : {good, STRING("no document"), STRING()}) {
        const NoMemoryForParsers none;
        statuses = {oai.parseString(body, contents, count),  oai.parseString(body, content),
                    oai.parseString(body, groups, count),    oai.parseString(body, comments, count),
                    oai.parseString(body, galleries, count), oai.parseString(body),
                    oai.parseAuthStatus(body, nullptr),      oai.parseLoginStatus(body, nullptr),
                    oai.parseRegisterStatus(body, nullptr)};
        EXPECT_EQ(statuses, std::vector<WSTATUS>(9, 0)) << body;
    }
    EXPECT_EQ(count, 4711u);
    EXPECT_EQ(contents.getData().size(), 2u);
    EXPECT_EQ(contents.getCount(), -1);
    EXPECT_EQ(content.getUID(), "before");
    EXPECT_FALSE(oai.service()->isLoggedIn());
    EXPECT_EQ(oai.service()->getUserID(), "");
    EXPECT_EQ(reports.text(), "");

    // With memory again it reads, and fails, as ever.
    EXPECT_EQ(oai.parseString(good, contents, count), -16);
    EXPECT_EQ(oai.parseAuthStatus(good, nullptr), -208);
}
