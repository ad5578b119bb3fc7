// SPDX-License-Identifier: MIT
// The bytes of a connection: a head, and a body in chunks behind it.
#include "Targets.h"
#include "core/Log.h"
#include "httpd/ChunkReader.h"
#include "httpd/Forwarding.h"
#include "httpd/Framing.h"
#include "httpd/HeadParser.h"
#include "httpd/Text.h"
#include "operations/AccessLog.h"

#include <algorithm>

namespace fuzz {

namespace {

using httpd::ChunkReader;
using httpd::HeadScanner;

bool holdsControl(std::string_view text)
{
    return std::any_of(text.begin(), text.end(), [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; });
}

/// What scanning says must not depend on how the bytes were cut on their way.
void checkScanning(std::string_view input)
{
    HeadScanner whole;
    const HeadScanner::State state = whole.scan(input);
    HeadScanner slow;
    HeadScanner::State last = HeadScanner::State::INCOMPLETE;
    for (std::size_t size = 1; size <= input.size() && last == HeadScanner::State::INCOMPLETE; ++size)
        last = slow.scan(input.substr(0, size));
    require(last == state, "a head ends where it ends, however it was cut");
    require(state == HeadScanner::State::BROKEN || whole.size() == slow.size() || state == HeadScanner::State::INCOMPLETE,
            "a head is as long as it is, however it was cut");
}

/// \param piece how many bytes come at a time. \return how the body ended and what it was.
std::pair<ChunkReader::State, std::string> readChunks(std::string_view input, std::size_t piece)
{
    ChunkReader reader;
    std::string body;
    while (!input.empty() && reader.state() == ChunkReader::State::MORE) {
        const std::size_t there = std::min(piece, input.size());
        std::string_view rest = input.substr(0, there);
        while (!rest.empty() && reader.state() == ChunkReader::State::MORE)
            body += reader.take(rest);
        input.remove_prefix(there - rest.size());
    }
    return {reader.state(), body};
}

void checkHead(std::string_view bytes)
{
    httpd::RequestHead head;
    httpd::HeadTraits traits;
    const auto refusal = httpd::parseHead(bytes, head, traits);
    require(head.path().size() + head.query().size() <= head.target.size() + 1, "path and query are parts of the target");
    require(!holdsControl(kinloomd::withoutKeys(head.target)) || holdsControl(head.target) ||
                head.target.find('%') != std::string::npos,
            "the log makes no controls of its own");
    require(!holdsControl(kinloomd::loggable(kinloomd::withoutKeys(head.target), 1000)), "a line of the log is one line");
    if (refusal)
        return;
    require(httpd::isToken(head.method) && !holdsControl(head.target) && head.target.find(' ') == std::string::npos,
            "a request line has three words");
    for (const httpd::Header& header : head.headers)
        require(httpd::isToken(header.name) && httpd::trim(header.value) == header.value,
                "a header has a name and a trimmed value");
    if (httpd::readFraming(head.headers).error != nullptr)
        return;
    static const std::vector<httpd::AddressRange> TRUSTED = {*httpd::AddressRange::parse("10.0.0.0/8")};
    head.address = "10.0.0.1";
    head.connection = "10.0.0.1:1#1";
    if (httpd::applyForwarding(head, TRUSTED) != nullptr)
        return;
    require(!head.forwarded || head.connection.empty() == (head.port == 0), "a forwarded connection is named by its port");
    require(!head.isLocal(), "nothing that a proxy says comes from this computer");
    require(httpd::AddressRange::parse(head.address).has_value(), "a client's address is one");
    require(head.scheme == "http" || head.scheme == "https", "a scheme is one of two");
}

} // namespace

void http(std::string_view input)
{
    checkScanning(input);
    HeadScanner scanner;
    const HeadScanner::State state = scanner.scan(input);
    const std::string_view head = input.substr(0, scanner.size());
    checkHead(head);
    const std::string_view rest = state == HeadScanner::State::WHOLE ? input.substr(head.size()) : input;
    const auto atOnce = readChunks(rest, rest.size());
    require(atOnce == readChunks(rest, 1), "a body is what it is, however it was cut");
    require(atOnce.second.size() <= rest.size(), "a body is not longer than its chunks");
}

} // namespace fuzz
