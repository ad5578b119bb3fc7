// SPDX-License-Identifier: MIT
// Bodies of several parts: in any pieces, beside a reader of the whole, and as a form client writes them.
#include "wire/Multipart.h"

#include "Targets.h"
#include "core/Failure.h"

#include <vector>

namespace fuzz {

namespace {

using namespace kinloomd;

struct Part {
    PartHeaders headers;
    std::string data;

    bool operator==(const Part& other) const
    {
        return headers.name == other.headers.name && headers.fileName == other.headers.fileName &&
               headers.contentType == other.headers.contentType && data == other.data;
    }
};

/// What a body comes to.
struct Outcome {
    std::vector<Part> parts; ///< the last may lack its end
    bool complete = false;
    bool refused = false;

    bool operator==(const Outcome& other) const
    {
        return parts == other.parts && complete == other.complete && refused == other.refused;
    }
};

class Collector : public PartListener {
public:
    explicit Collector(std::vector<Part>& parts) : m_parts(parts) {}

    void partBegins(const PartHeaders& headers) override
    {
        require(!m_open, "a part begins when the one before it has ended");
        m_open = true;
        m_parts.push_back({headers, {}});
    }
    void partData(std::string_view bytes) override
    {
        require(m_open && !bytes.empty(), "data belongs to a part");
        m_parts.back().data += bytes;
    }
    void partEnds() override
    {
        require(m_open, "a part ends once");
        m_open = false;
    }
    bool isOpen() const { return m_open; }

private:
    std::vector<Part>& m_parts;
    bool m_open = false;
};

/// Feeds a body in pieces of the sizes that the bytes of a text give, again and again; all at once when the text is empty.
Outcome read(const std::string& boundary, std::string_view body, std::string_view sizes)
{
    Outcome outcome;
    Collector collector(outcome.parts);
    MultipartParser parser(boundary, collector);
    try {
        for (std::size_t i = 0; !body.empty(); ++i) {
            const std::size_t size = sizes.empty() ? body.size() : static_cast<unsigned char>(sizes[i % sizes.size()]) + 1U;
            parser.feed(body.substr(0, size));
            body.remove_prefix(std::min(size, body.size()));
        }
    } catch (const ServiceError& error) {
        require(error.failure() == Failure::MALFORMED_REQUEST, "a body is read or malformed");
        outcome.refused = true;
    }
    outcome.complete = parser.isComplete();
    require(!outcome.complete || !collector.isOpen(), "a body that is complete has no open part");
    // How much of an open part's data is certain depends on the pieces.
    if (collector.isOpen())
        outcome.parts.back().data.clear();
    return outcome;
}

/// The data of all parts, for a body that is well-formed as a whole; found with the whole body at hand.
std::vector<std::string> dataOf(const std::string& boundary, std::string_view body)
{
    const std::string text = "\r\n" + std::string(body);
    const std::string delimiter = "\r\n--" + boundary;
    std::vector<std::string> parts;
    for (std::size_t at = text.find(delimiter);;) {
        at = text.find_first_not_of(" \t", at + delimiter.size());
        if (text.compare(at, 2, "--") == 0)
            return parts;
        const std::size_t headersEnd = text.find("\r\n\r\n", at);
        const std::size_t next = text.find(delimiter, headersEnd + 2);
        parts.push_back(next < headersEnd + 4 ? std::string() : text.substr(headersEnd + 4, next - headersEnd - 4));
        at = next;
    }
}

std::string escapeName(std::string_view name)
{
    std::string escaped;
    for (const char c : name)
        escaped += c == '"' ? "%22" : c == '\r' ? "%0D" : c == '\n' ? "%0A" : std::string(1, c);
    return escaped;
}

/// Sends bytes as the file of a form, and its name, as form clients do.
void requireFormComesBack(const std::string& name, const std::string& data, std::string_view sizes)
{
    std::string boundary = "KinloomBoundary";
    while (data.find(boundary) != std::string::npos)
        boundary += 'x';
    const std::string body = "--" + boundary + "\r\nContent-Disposition: form-data; name=\"filename\"; filename=\"" +
                             escapeName(name) + "\"\r\nContent-Type: image/jpeg\r\n\r\n" + data + "\r\n--" + boundary + "--\r\n";
    const std::optional<std::string> found = MultipartParser::boundaryOf("multipart/form-data; boundary=" + boundary);
    if (!found)
        return; // too long
    require(*found == boundary, "the boundary is the one of the header");
    const Outcome outcome = read(boundary, body, sizes);
    const PartHeaders headers = {"filename", name, "image/jpeg"};
    require(outcome == Outcome{{{headers, data}}, true, false}, "a file arrives as it was sent");
}

/// A name in which nothing could be taken for an escape.
bool isUnambiguous(std::string_view name) { return name.size() < 300 && name.find_first_of("%\\") == std::string_view::npos; }

} // namespace

void multipart(std::string_view input)
{
    const std::size_t typeEnd = input.find('\n');
    const std::string_view type = input.substr(0, typeEnd);
    input.remove_prefix(typeEnd == std::string_view::npos ? input.size() : typeEnd + 1);
    const std::size_t sizesEnd = input.find('\n');
    const std::string_view sizes = input.substr(0, sizesEnd);
    const std::string_view body = input.substr(sizesEnd == std::string_view::npos ? input.size() : sizesEnd + 1);

    const std::optional<std::string> named = MultipartParser::boundaryOf(type);
    require(!named || (!named->empty() && named->size() <= 200 && named->find_first_of("\r\n") == std::string::npos),
            "a boundary is one that a body can have");
    const std::string boundary = named.value_or("BB");
    const Outcome whole = read(boundary, body, "");
    require(read(boundary, body, std::string(1, '\0')) == whole, "the parts are the same byte by byte");
    require(read(boundary, body, sizes) == whole, "the parts are the same in any pieces");
    if (whole.complete) {
        std::vector<std::string> data;
        for (const Part& part : whole.parts)
            data.push_back(part.data);
        require(data == dataOf(boundary, body), "the parts are those of another reader");
        require(read(boundary, std::string(body) + "\r\n--" + boundary + "\r\n\r\nmore", sizes) == whole,
                "what follows the last boundary means nothing");
    }
    if (isUnambiguous(type))
        requireFormComesBack(std::string(type), std::string(body), sizes);
}

} // namespace fuzz
