// SPDX-License-Identifier: MIT
// Addresses: of what the host's client fetches, and of the service.
#include "Targets.h"
#include "http/Url.h"
#include "kinloom/Failure.h"
#include "kinloom/Route.h"
#include "whost/ConfigFile.h"

#include <algorithm>

namespace fuzz {

namespace {

/// What goes out on the wire: one of two schemes, nothing that ends the request's line, and nothing more to mend.
void requireFit(const std::string& url)
{
    const std::string scheme = url.substr(0, url.find("://"));
    require(scheme.size() == 4 || scheme.size() == 5, "a URL has one of two schemes");
    for (const char c : url)
        require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "a URL has no controls");
    const std::size_t rest = url.find_first_of("/?", url.find("//") + 2);
    for (const char c : url.substr(std::min(rest, url.size())))
        require(c > 0x20 && c != '#', "a URL's path has only what may stand there");
    std::string again;
    require(W::http::mendUrl(url, again) && (again.empty() || again == url), "a mended URL needs no mending");
}

} // namespace

void url(std::string_view input)
{
    const std::size_t end = input.find('\n');
    std::string asked(input.substr(0, end));
    std::string mended;
    if (!W::http::mendUrl(asked, mended))
        asked = "http://media.kinloom.example/a/b.jpg?key=1";
    else if (!mended.empty())
        asked = mended;
    requireFit(asked);
    std::string target = "before";
    if (end == std::string_view::npos || !W::http::resolveRedirect(asked, std::string(input.substr(end + 1)), target))
        return;
    requireFit(target);
    require(W::http::sameOrigin(asked, target) == W::http::sameOrigin(target, asked), "an origin is the same both ways");
    require(W::http::sameOrigin(target, target), "a URL has its own origin");
}

void serviceUrl(std::string_view input)
{
    const std::string text(input);
    W::HttpOptions options;
    options.connectTo = {text};
    options.leadTo = {text};
    kinloom::addressOf(options);
    try {
        const kinloom::ServiceUrl read = kinloom::ServiceUrl::parse(text);
        require(kinloom::ServiceUrl::parse(read.text()).text() == read.text(), "an address reads back as it is written");
        W::HttpOptions led;
        kinloom::leadTo(led, text);
        W::ConfigFile file("kinloom/host.toml");
        for (const W::ClientOption& option : W::clientOptions())
            file.setClientOption(option.key, option.text(led));
        require(kinloom::addressOf(file.httpOptions()) == read.text(), "the way leads to the address");
    } catch (const kinloom::CallError& error) {
        require(error.failure().kind == kinloom::FailureKind::INVALID, "an address is read or refused");
        for (const char* c = error.what(); *c != '\0'; ++c)
            require(static_cast<unsigned char>(*c) >= 0x20 && *c != 0x7F, "a refusal is one line without controls");
    }
}

} // namespace fuzz
