// SPDX-License-Identifier: MIT
// The plugin's records beside those of another reader, on documents that nobody thought of.
#include "WKLOAI/replies/Document.h"
#include "plugin/replies/ReplyTest.h"
#include "replies/NaiveReader.h"
#include "replies/Samples.h"
#include "support/CaptureStdout.h"

#include <algorithm>
#include <array>
#include <random>

using namespace kinloom_test;
using namespace W;

namespace {

/// Writes documents by chance: names that mean something, in places where they may or may not.
class RandomDocument {
public:
    explicit RandomDocument(std::uint32_t seed) : m_random(seed) {}

    STRING write()
    {
        STRING out = oneIn(2) ? "<?xml version=\"1.0\"?>" : "";
        element(out, "rsp", 0);
        return out;
    }

private:
    bool oneIn(unsigned int n) { return m_random() % n == 0; }
    template <std::size_t N> STRING any(const std::array<const char*, N>& choices) { return choices[m_random() % N]; }

    /// A name that may well mean something inside an element of that name.
    STRING nameIn(const STRING& parent)
    {
        static const std::array ENVELOPE = {"data", "data", "data", "result", "comment", "group", "comment", "stat"};
        static const std::array LISTS = {"content", "content", "group",         "user",          "contentId",
                                         "groupId", "gallery", "contentDetail", "contentCreator"};
        static const std::array CONTENTS = {"contentDetail", "thumbnail", "contentCreator", "contentRegisterMember",
                                            "comment",       "eventLink", "contentId",      "contentDesc",
                                            "commentCount",  "id",        "contentUrl",     "uploadUrl"};
        static const std::array ALL = {"contentId",
                                       "id",
                                       "galleryID",
                                       "messageBoardID",
                                       "calendarID",
                                       "size",
                                       "contentCreateDate",
                                       "contentExt",
                                       "format",
                                       "contentResolutionX",
                                       "contentResolutionY",
                                       "width",
                                       "height",
                                       "contentDurationTime",
                                       "contentUrl",
                                       "thumbnail",
                                       "contentThumbnail_1920X1080",
                                       "contentThumbnail_540X405",
                                       "contentThumbnail_116X87",
                                       "contentDesc",
                                       "contentRegisterDate",
                                       "contentRegisterMember",
                                       "comment",
                                       "commentCount",
                                       "eventLink",
                                       "contentLink",
                                       "ID",
                                       "contentType",
                                       "type",
                                       "contentRegisterTime",
                                       "contentDetail",
                                       "createTime",
                                       "contentCreator",
                                       "uploadUrl",
                                       "eventTitle",
                                       "eventType",
                                       "eventStartDate",
                                       "eventEndDate",
                                       "eventDescription",
                                       "eventRegisterDate",
                                       "eventRegisterMember",
                                       "messageText",
                                       "messageRegisterDate",
                                       "messageRegisterMember",
                                       "groupId",
                                       "groupName",
                                       "groupDesc",
                                       "groupImage",
                                       "groupImageUrl",
                                       "groupImageThumbnail_274X204",
                                       "groupMaster",
                                       "totalContentCount",
                                       "photoCount",
                                       "audioCount",
                                       "videoCount",
                                       "galleryDate",
                                       "galleryDescription",
                                       "galleryRegisterDate",
                                       "content",
                                       "userId",
                                       "userName",
                                       "userImage",
                                       "userImageThumbnail_72X72",
                                       "phoneNumber",
                                       "userStatus",
                                       "code",
                                       "contentDelFlag",
                                       "commentDelFlag",
                                       "userRegisterDate",
                                       "commentId",
                                       "commentSize",
                                       "commentText",
                                       "commentRegisterDate",
                                       "commentCreator",
                                       "group",
                                       "user",
                                       "gallery",
                                       "data",
                                       "result",
                                       "stat",
                                       "unknown",
                                       "text"};
        if (parent == "rsp" && !oneIn(8))
            return any(ENVELOPE);
        if ((parent == "data" || parent == "group" || parent == "user" || parent == "gallery") && !oneIn(3))
            return any(LISTS);
        if (parent == "content" && !oneIn(3))
            return any(CONTENTS);
        if (parent == "thumbnail" && !oneIn(3))
            return oneIn(2) ? "contentThumbnail_540X405" : "userImageThumbnail_72X72";
        return any(ALL);
    }

    STRING value()
    {
        static const std::array VALUES = {"",
                                          "7",
                                          "12x",
                                          "-3",
                                          " 5",
                                          "ok",
                                          "2010-05-05T07:04:09Z",
                                          "2010-05-05",
                                          "a &amp; b",
                                          "&lt;&#233;&#38;#38;",
                                          " ",
                                          "\n",
                                          "g1",
                                          "0",
                                          "x",
                                          "1",
                                          "http://media.kinloom.example/a/very/long/one"};
        return any(VALUES);
    }

    void miscellany(STRING& out)
    {
        static const std::array PIECES = {"<!-- c -->", "<?content x?>", "<![CDATA[<content/>]]>", "\n  ",
                                          "text",       "&amp;",         "<!--comment-->",         "<![CDATA[]]>"};
        while (oneIn(5))
            out += any(PIECES);
    }

    void attributes(STRING& out, const STRING& element, unsigned int count)
    {
        // What makes a record of an element, more often than chance would have it.
        static const std::array IDENTIFIERS = {"contentId", "id", "galleryID", "messageBoardID", "calendarID", "commentId", "ID"};
        std::vector<STRING> names;
        for (const char* const identifier : IDENTIFIERS)
            if (isRecord(element) && oneIn(3))
                names.emplace_back(identifier);
        for (; count > 0; --count)
            names.push_back(nameIn(element));
        std::sort(names.begin(), names.end());
        names.erase(std::unique(names.begin(), names.end()), names.end());
        for (const STRING& name : names)
            out += " " + name + "=\"" + value() + "\"";
    }
    static bool isRecord(const STRING& element)
    {
        return element == "content" || element == "comment" || element == "gallery" || element == "contentLink";
    }

    void element(STRING& out, const STRING& name, int depth)
    {
        out += "<" + name;
        attributes(out, name, m_random() % (depth ? 5 : 2));
        if (oneIn(6)) {
            out += "/>";
            return;
        }
        out += ">";
        miscellany(out);
        if (name == "stat")
            out += oneIn(30) ? "fail" : "ok";
        else if (oneIn(2))
            out += value();
        for (unsigned int i = depth < 5 ? (depth < 2 ? 4 : 0) + m_random() % (depth < 3 ? 7 : 4) : 0; i > 0; --i) {
            element(out, nameIn(name), depth + 1);
            miscellany(out);
        }
        out += "</" + name + ">";
    }

    std::mt19937 m_random;
};

class ReplyComparison : public ReplyTest {
protected:
    /// Reads a body with both, and expects the same of both.
    template <class Record> std::size_t compare(const STRING& body)
    {
        const test::NaiveReader naive({provider(), fnContentDownloader, oai});
        ListResult<Record> theirs;
        theirs.status = naive.read(body, theirs.records, theirs.count);
        const ListResult<Record> ours = parseList<Record>(*oai, body);
        EXPECT_EQ(ours.status, theirs.status) << body;
        EXPECT_EQ(ours.count, theirs.count) << body;
        EXPECT_EQ(dump(ours.records), dump(theirs.records)) << body;
        compareTree(body, theirs);
        return theirs.size();
    }

    /// The public routines on a tree of the caller's, which give what the entry points give.
    template <class Record> void compareTree(const STRING& body, const ListResult<Record>& expected)
    {
        if (expected.status != 0 || expected.count == ListResult<Record>::UNTOUCHED)
            return;
        ParsedDocument document(body);
        xmlpp::Node* node = document.root();
        if constexpr (std::is_same_v<Record, WContent> || std::is_same_v<Record, WGroup>)
            for (xmlpp::Node* const child : document.root()->get_children("data"))
                if (dynamic_cast<xmlpp::Element*>(child)) {
                    node = child;
                    break;
                }
        WContainer<Record> list;
        unsigned int count = 0;
        EXPECT_EQ(readTree(node, list, count), 0);
        EXPECT_EQ(count, expected.count);
        EXPECT_EQ(dump(list), dump(expected.records)) << body;
    }
    WSTATUS readTree(xmlpp::Node* node, WContainer<WContent>& list, unsigned int& count)
    {
        return oai->parseContents(node, list, count);
    }
    WSTATUS readTree(xmlpp::Node* node, WContainer<WGroup>& list, unsigned int& count)
    {
        return oai->parseGroups(node, list, count);
    }
    WSTATUS readTree(xmlpp::Node* node, WContainer<WComment>& list, unsigned int& count)
    {
        return oai->parseComments(node, list, count);
    }
    WSTATUS readTree(xmlpp::Node* node, WContainer<WKLGallery>& list, unsigned int& count)
    {
        return oai->parseGalleries(node, list, count);
    }
};

} // namespace

TEST_F(ReplyComparison, AgreesOnTheServicesReplies)
{
    for (const Shape shape : SHAPES)
        for (const test::Layout layout : {test::Layout::COMPACT, test::Layout::INDENTED}) {
            EXPECT_EQ(compare<WContent>(test::feedReply(20, shape, layout)), 20u);
            EXPECT_EQ(compare<WContent>(test::viewReply(9, 3, shape, layout)), 9u);
            EXPECT_EQ(compare<WGroup>(test::groupsReply(20, shape, layout)), 20u);
            EXPECT_EQ(compare<WComment>(test::commentsReply(20, shape, layout)), 20u);
            EXPECT_EQ(compare<WKLGallery>(test::galleryReply(20, shape, layout)), 1u);
        }
}

TEST_F(ReplyComparison, AgreesOnDocumentsMadeByChance)
{
    test::CaptureStderr quiet; // libxml++ may complain
    std::size_t records = 0;
    for (std::uint32_t seed = 1; seed <= 600 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const STRING body = RandomDocument(seed).write();
        records += compare<WContent>(body) + compare<WGroup>(body) + compare<WComment>(body) + compare<WKLGallery>(body);
    }
    log->clear();
    EXPECT_GT(records, 600u) << "documents without records compare nothing";
}

namespace {

/// What libxml++ says of a body.
bool isWellFormed(const STRING& body)
{
    xmlpp::DomParser parser;
    try {
        parser.parse_memory_raw(reinterpret_cast<const unsigned char*>(body.data()), body.size());
    } catch (const std::exception&) {
        return false;
    }
    return parser.get_document() && parser.get_document()->get_root_node();
}

bool isParsed(const STRING& body)
{
    replies::Budget budget(body.size());
    try {
        return replies::Document(body, budget).root() != nullptr;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

TEST_F(ReplyComparison, AgreesOnWhatIsWellFormed)
{
    test::CaptureStderr quiet;
    std::mt19937 random(7);
    std::size_t wellFormed = 0;
    std::size_t malformed = 0;
    for (std::uint32_t seed = 1; seed <= 250; ++seed) {
        STRING body = RandomDocument(seed).write();
        for (int change = 0; change < 4; ++change) {
            EXPECT_EQ(isParsed(body), isWellFormed(body)) << body;
            (isWellFormed(body) ? wellFormed : malformed) += 1;
            static const std::array PIECES = {"<",
                                              ">",
                                              "&",
                                              "\"",
                                              "'",
                                              "/",
                                              "]]>",
                                              "<!--",
                                              "-->",
                                              "<?",
                                              "?>",
                                              "<a>",
                                              "</a>",
                                              "&amp",
                                              "&x;",
                                              "&#x110000;",
                                              "\xFF",
                                              "\xC3",
                                              "\xED\xA0\x80",
                                              "\xC0\x80",
                                              "\x01",
                                              "=",
                                              ":",
                                              "xmlns:a='b'",
                                              "<![CDATA[",
                                              "<a:b/>",
                                              " xmlns='relative'",
                                              "--",
                                              "\xEF\xBF\xBE",
                                              "\xF4\x90\x80\x80"};
            const std::size_t position = random() % body.size();
            switch (random() % 3) {
            case 0:
                body.insert(position, PIECES[random() % PIECES.size()]);
                break;
            case 1:
                body.erase(position, 1 + random() % 3);
                break;
            default:
                body[position] = static_cast<char>(random());
                break;
            }
            if (body.empty() || body.find('\0') != STRING::npos)
                break;
        }
    }
    EXPECT_GT(wellFormed, 150u);
    EXPECT_GT(malformed, 150u);
}
