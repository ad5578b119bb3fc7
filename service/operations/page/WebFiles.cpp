// SPDX-License-Identifier: MIT
#include "operations/page/WebFiles.h"

#include "common/Program.h"
#include "core/Log.h"
#include "httpd/Accept.h"
#include "operations/page/Browser.h"
#include "operations/page/SafeHeaders.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <stdexcept>

namespace kinloomd {

namespace {

constexpr std::size_t VERSION_BYTES = 64;
constexpr const char* INDEX = "/index.html";
constexpr const char* VERSION = "/version.txt";
constexpr std::string_view ASSETS = "/assets/";

struct Address {
    std::string_view pattern; ///< "*" stands for one piece
    /// What the view asks for before it shows anything; "*" stands for what is behind "/group/".
    std::array<std::string_view, 4> first;
};

/// The addresses at which a browser gets the page. Those who are signed in fetch what the view begins with while the script is
/// still on its way; each has to be written as the script asks for it.
constexpr Address ADDRESSES[] = {
    {"/", {"/page/session", "/page/groups"}},
    {"/group/*", {"/page/groups/*/months", "/page/groups/*/contents?index=0&count=100", "/page/session", "/page/groups"}},
    {"/group/*/photo/*", {}},
    {"/pair", {}},
    {"/pair/*", {}},
    {"/devices", {}},
    {"/invite/*", {}},
};
constexpr std::string_view GROUP = "/group/";

/// Scripts and styles come from the service alone, and stand in files of their own.
constexpr const char* POLICY =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; media-src 'self'; connect-src 'self'; "
    "manifest-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

/// The first word of a text.
std::string_view firstWord(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    return text.substr(0, text.find_first_of(" \t\r\n"));
}

/// \return whether the path is one of the pattern's.
bool matches(std::string_view pattern, std::string_view path)
{
    while (!pattern.empty() && !path.empty()) {
        if (pattern[0] == '*') {
            const auto end = std::min(path.find('/'), path.size());
            if (end == 0)
                return false;
            path.remove_prefix(end);
        } else if (pattern[0] == path[0]) {
            path.remove_prefix(1);
        } else {
            return false;
        }
        pattern.remove_prefix(1);
    }
    return pattern.empty() && path.empty();
}

/// The address of the page that the request is for; null for none.
const Address* pageAddress(const httpd::RequestHead& head)
{
    const std::string_view path = head.path();
    const auto* const found = std::find_if(std::begin(ADDRESSES), std::end(ADDRESSES),
                                           [&](const Address& address) { return matches(address.pattern, path); });
    return found != std::end(ADDRESSES) && httpd::accepts(head, "Accept", {"text/html", "*/*"}) ? found : nullptr;
}

/// The header Link for what the view at the address begins with; empty where that is nothing, or nobody is signed in.
std::string firstRequests(const Address& address, const httpd::RequestHead& head)
{
    if (address.first[0].empty() || sessionKeyHash(head).empty())
        return {};
    const std::string_view path = head.path();
    const std::string_view group = path.substr(std::min(GROUP.size(), path.size()));
    // What is no number would have to be quoted, and is no group's.
    if (group.find_first_not_of("0123456789") != std::string_view::npos)
        return {};
    std::string links;
    for (const std::string_view first : address.first) {
        if (first.empty())
            break;
        const std::size_t star = std::min(first.find('*'), first.size());
        links.append(links.empty() ? "<" : ", <").append(first.substr(0, star));
        if (star < first.size())
            links.append(group).append(first.substr(star + 1));
        links.append(">; rel=preload; as=fetch; crossorigin");
    }
    return links;
}

bool reads(const httpd::RequestHead& head) { return head.method == "GET" || head.method == "HEAD"; }

/// What the addresses say where there is no page.
httpd::Reply noPage(const httpd::RequestHead& head)
{
    httpd::Reply reply;
    reply.status = 503;
    reply.contentType = "text/plain; charset=utf-8";
    reply.headers.emplace_back("Cache-Control", "no-store");
    reply.body = std::string("This service was started without the family's page.\n");
    addSafety(reply, head);
    return reply;
}

} // namespace

WebFiles::WebFiles(const std::string& folder)
{
    if (folder.empty())
        return;
    try {
        load(folder);
    } catch (const std::exception& error) {
        throw std::runtime_error("the page in " + folder + " cannot be read: " + error.what());
    }
    if (!m_files.has(INDEX))
        throw std::runtime_error("there is no page in " + folder + ": family/index.html is missing");
}

void WebFiles::load(const std::string& folder)
{
    namespace fs = std::filesystem;
    m_files.addFolder((fs::path(folder) / "family").string());
    if (const fs::path licences = fs::path(folder) / "licences.txt"; fs::is_regular_file(licences))
        m_files.addFile("/licences.txt", licences.string());
    if (m_files.has(VERSION))
        m_version = loggable(firstWord(m_files.bytesOf(VERSION)), VERSION_BYTES);
    else if (m_files.has(INDEX))
        m_version = m_files.tagOf(INDEX);
}

bool WebFiles::isOfPage(const httpd::RequestHead& head)
{
    return reads(head) && (pageAddress(head) != nullptr || head.path().substr(0, ASSETS.size()) == ASSETS);
}

std::optional<httpd::Reply> WebFiles::answer(const httpd::RequestHead& head) const
{
    if (!reads(head))
        return std::nullopt;
    const Address* const page = pageAddress(head);
    auto answer = m_files.answer(page != nullptr ? INDEX : head.path(), head);
    if (!answer)
        return page != nullptr ? std::optional(noPage(head)) : std::nullopt;
    answer->headers.emplace_back("Content-Security-Policy", POLICY);
    addSafety(*answer, head);
    if (page != nullptr) {
        if (std::string links = firstRequests(*page, head); !links.empty())
            answer->headers.emplace_back("Link", std::move(links));
    }
    return answer;
}

std::string webFolderBesideProgram()
{
    // Where it is installed, and where it is built.
    return common::folderBesideProgram({KINLOOM_WEB_FROM_PROGRAM, "../web/pages"}, "family/index.html");
}

} // namespace kinloomd
