// SPDX-License-Identifier: MIT
#include "wire/Multipart.h"

#include "core/Failure.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace kinloomd;

struct Part {
    PartHeaders headers;
    std::string data;
    bool ended = false;
};

class Collector : public PartListener {
public:
    std::vector<Part> parts;

    void partBegins(const PartHeaders& headers) override { parts.push_back({headers, {}, false}); }
    void partData(std::string_view bytes) override { parts.back().data += bytes; }
    void partEnds() override { parts.back().ended = true; }
};

/// Feeds the body in pieces of that size. \return whether it was complete.
bool parse(Collector& collector, const std::string& body, std::size_t piece, const std::string& boundary = "BB")
{
    MultipartParser parser(boundary, collector);
    for (std::size_t i = 0; i < body.size(); i += piece)
        parser.feed(std::string_view(body).substr(i, piece));
    return parser.isComplete();
}

std::string fileBody(const std::string& data)
{
    return "--BB\r\nContent-Disposition: form-data; name=\"filename\"; filename=\"a.jpg\"\r\nContent-Type: image/jpeg\r\n\r\n" +
           data + "\r\n--BB--\r\n";
}

const std::vector<std::string> DIFFICULT_DATA = {"",
                                                 "x",
                                                 "\r",
                                                 "\r\n",
                                                 "\r\n\r\n",
                                                 "\r\n--B",
                                                 "\r\n--",
                                                 "\r\n-\r\n--\r\n--B\r\n--BC",
                                                 "\n--BB--",
                                                 "a\r\n--Bb\r\nz",
                                                 std::string("\0\r\n\0", 4)};

TEST(Multipart, KeepsDataThatLooksLikeItsBoundaryInPiecesOfAnySize)
{
    for (const std::string& data : DIFFICULT_DATA) {
        const std::string body = fileBody(data);
        for (std::size_t piece = 1; piece <= body.size(); ++piece) {
            Collector collector;
            ASSERT_TRUE(parse(collector, body, piece)) << piece;
            ASSERT_EQ(collector.parts.size(), 1U);
            ASSERT_EQ(collector.parts[0].data, data) << piece;
            ASSERT_TRUE(collector.parts[0].ended);
        }
    }
}

TEST(Multipart, TakesAPartThatEndsWithItsHeadersForEmpty)
{
    const std::string body = "--BB\r\nContent-Disposition: form-data; name=x\r\n\r\n--BB--";
    for (std::size_t piece = 1; piece <= body.size(); ++piece) {
        Collector collector;
        ASSERT_TRUE(parse(collector, body, piece)) << piece;
        ASSERT_EQ(collector.parts.size(), 1U);
        EXPECT_EQ(collector.parts[0].data, "");
        EXPECT_TRUE(collector.parts[0].ended);
    }
}

TEST(Multipart, ReadsTheHeadersOfAPart)
{
    Collector collector;
    ASSERT_TRUE(parse(collector, fileBody("x"), 7));
    EXPECT_EQ(collector.parts[0].headers.name, "filename");
    EXPECT_EQ(collector.parts[0].headers.fileName, "a.jpg");
    EXPECT_EQ(collector.parts[0].headers.contentType, "image/jpeg");
}

TEST(Multipart, ReadsSeveralPartsAPreambleAndAnEpilogue)
{
    const std::string body =
        "to be skipped\r\n--BB \t\r\n\r\nfirst\r\n--BB\r\nContent-Disposition: form-data; name=x\r\n\r\n\r\n--BB--\r\nrest --BB";
    for (std::size_t piece = 1; piece <= body.size(); ++piece) {
        Collector collector;
        ASSERT_TRUE(parse(collector, body, piece)) << piece;
        ASSERT_EQ(collector.parts.size(), 2U);
        EXPECT_EQ(collector.parts[0].data, "first");
        EXPECT_FALSE(collector.parts[0].headers.fileName);
        EXPECT_EQ(collector.parts[1].headers.name, "x");
        EXPECT_EQ(collector.parts[1].data, "");
    }
}

TEST(Multipart, ReadsQuotedNamesWithTheEscapesOfFormClients)
{
    const std::vector<std::pair<std::string, std::string>> names = {{"a\\\"b.jpg", "a\"b.jpg"},
                                                                    {"a%22b%0d%0A.jpg", "a\"b\r\n.jpg"},
                                                                    {"C:\\photos\\a.jpg", "C:\\photos\\a.jpg"},
                                                                    {"semi;colon=.jpg", "semi;colon=.jpg"},
                                                                    {"100%.jpg", "100%.jpg"},
                                                                    {"\xC3\xB6.jpg", "\xC3\xB6.jpg"}};
    for (const auto& [written, meant] : names) {
        Collector collector;
        ASSERT_TRUE(parse(
            collector, "--BB\r\ncontent-disposition:form-data ; FILENAME=\"" + written + "\" ; name=\"f\"\r\n\r\nx\r\n--BB--", 64));
        EXPECT_EQ(collector.parts[0].headers.fileName, meant);
        EXPECT_EQ(collector.parts[0].headers.name, "f");
    }
}

TEST(Multipart, IsNotCompleteBeforeItsLastBoundary)
{
    const std::string body = fileBody("data");
    const std::size_t end = body.size() - 2; // the line end after the last boundary may be left out
    for (std::size_t length = 0; length < end; ++length) {
        Collector collector;
        EXPECT_FALSE(parse(collector, body.substr(0, length), 16)) << length;
    }
}

TEST(Multipart, RefusesWhatIsNoSuchBody)
{
    const std::string longLine(MultipartParser::HEADER_LIMIT + 100, 'x');
    const std::vector<std::string> bodies = {
        longLine,
        "--BBx\r\n",
        "--BB\r\nno colon\r\n\r\n",
        "--BB\r\nContent-Disposition: attachment; name=\"a\"\r\n\r\n",
        "--BB\r\nA: " + longLine,
        "--BB" + std::string(MultipartParser::HEADER_LIMIT + 100, ' '),
    };
    for (const std::string& body : bodies) {
        Collector collector;
        EXPECT_THROW(parse(collector, body, 1000), ServiceError) << body.substr(0, 40);
    }
}

TEST(Multipart, HasTheSameLimitsInPiecesOfAnySize)
{
    constexpr std::size_t LIMIT = MultipartParser::HEADER_LIMIT;
    const auto isTaken = [](const std::string& body, std::size_t piece) {
        Collector collector;
        try {
            return parse(collector, body, piece);
        } catch (const ServiceError&) {
            return false;
        }
    };
    // A preamble, blanks behind a boundary, and headers, each with the line end before them where there is one.
    const std::string end = "\r\n\r\n\r\n--BB--";
    for (const std::size_t size : {LIMIT, LIMIT + 1})
        for (const std::string& body : {std::string(size - 2, 'p') + "\r\n--BB" + end, "--BB" + std::string(size, ' ') + end,
                                        "--BB\r\nA: " + std::string(size - 5, 'h') + end})
            for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, LIMIT, body.size()})
                EXPECT_EQ(isTaken(body, piece), size == LIMIT) << body.substr(0, 10) << size << " bytes in pieces of " << piece;
}

TEST(Multipart, FindsTheBoundaryInTheContentType)
{
    EXPECT_EQ(MultipartParser::boundaryOf("multipart/form-data; boundary=abc"), "abc");
    EXPECT_EQ(MultipartParser::boundaryOf("Multipart/Form-Data;charset=x; Boundary=\"a b\""), "a b");
    for (const char* type : {"", "multipart/form-data", "multipart/form-data; boundary=", "multipart/mixed; boundary=abc",
                             "text/plain; boundary=abc", "multipart/form-data; boundary=\"abc"})
        EXPECT_FALSE(MultipartParser::boundaryOf(type)) << type;
    EXPECT_FALSE(MultipartParser::boundaryOf("multipart/form-data; boundary=" + std::string(201, 'x')));
}

TEST(Multipart, KeepsLittleOfALargeBody)
{
    class Counter : public PartListener {
    public:
        std::size_t bytes = 0;
        std::size_t largest = 0;
        void partBegins(const PartHeaders&) override {}
        void partData(std::string_view data) override
        {
            bytes += data.size();
            largest = std::max(largest, data.size());
        }
        void partEnds() override {}
    } counter;
    MultipartParser parser("BB", counter);
    parser.feed("--BB\r\n\r\n");
    const std::string piece(1 << 16, '\r');
    for (int i = 0; i < 1000; ++i)
        parser.feed(piece);
    parser.feed("\r\n--BB--");
    EXPECT_TRUE(parser.isComplete());
    EXPECT_EQ(counter.bytes, piece.size() * 1000);
    EXPECT_LE(counter.largest, piece.size() + 16);
}

} // namespace
