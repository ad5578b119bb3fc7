// SPDX-License-Identifier: MIT
// What browsers say of themselves, and codes that people type.
#include "Targets.h"
#include "core/Failure.h"
#include "operations/page/Browser.h"
#include "operations/page/FileNames.h"
#include "operations/page/WebFiles.h"
#include "store/Pairings.h"

#include <algorithm>

namespace fuzz {

namespace {

using namespace kinloomd;

bool passes(void (*check)(const Options&, const httpd::RequestHead&), const httpd::RequestHead& head)
{
    try {
        check(Options(), head);
        return true;
    } catch (const ServiceError& error) {
        require(error.failure() == Failure::FORBIDDEN, "a page is this service's or forbidden");
        return false;
    }
}

std::string_view takeLine(std::string_view& rest)
{
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    return line;
}

} // namespace

void browser(std::string_view input)
{
    httpd::RequestHead head;
    head.method = "GET";
    for (const char* const name : {"Cookie", "Origin", "Host", "Accept"})
        head.headers.push_back({name, std::string(takeLine(input))});
    head.headers.push_back({"Accept-Encoding", head.headers.back().value});
    head.target = takeLine(input);
    const std::string hash = sessionKeyHash(head);
    require(hash.empty() || hash.size() == 64, "a cookie holds a key or none");
    require(passes(requireOwnPage, head), "what changes nothing needs no page");
    head.method = "POST";
    const bool own = passes(requireOwnPage, head);
    require(own == passes(refuseOtherPages, head), "an origin is the service's own or not");
    require(!own || head.headers[1].value.size() >= std::string_view("http://h").size(), "an origin names a scheme and a host");
    head.method = "GET";
    static const WebFiles NONE{std::string()};
    const auto reply = NONE.answer(head);
    require(!reply || reply->status == 503, "there is no page");
    const std::string name = browserName(input);
    require(!name.empty() && name.size() < 40, "a browser has a short name");
    const std::string code = readUserCode(input);
    require(code.empty() || readUserCode(shownUserCode(code)) == code, "a code reads back as it is shown");
    for (const char c : attachmentNamed(std::string(input)))
        require(static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7F, "a name stands in one header");
}

} // namespace fuzz
