// SPDX-License-Identifier: MIT
#include "tv/api/Page.h"

#include "common/Program.h"

#include <filesystem>
#include <stdexcept>

namespace tv {

namespace {

constexpr const char* INDEX = "/index.html";
constexpr const char* VERSION = "/version.txt";
constexpr std::size_t VERSION_BYTES = 64;

/// Headers that each file comes with. Scripts and styles come from this program alone, and stand in files of their own.
constexpr std::pair<const char*, const char*> HEADERS[] = {
    {"Content-Security-Policy", "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; connect-src "
                                "'self'; manifest-src 'self'; "
                                "form-action 'none'; base-uri 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Permissions-Policy", "camera=(), microphone=(), geolocation=(), payment=(), usb=(), browsing-topics=()"},
};

/// The first word of a text, as far as it can stand in a document.
std::string firstWord(std::string_view text)
{
    std::string word;
    for (const char c : text) {
        if (c <= ' ' || c > '~' || word.size() == VERSION_BYTES)
            break;
        word += c;
    }
    return word;
}

httpd::Reply noPage()
{
    httpd::Reply reply;
    reply.status = 503;
    reply.contentType = "text/plain; charset=utf-8";
    reply.headers.emplace_back("Cache-Control", "no-store");
    reply.body = std::string("This program was started without its page.\n");
    return reply;
}

} // namespace

Page::Page(const std::string& web)
{
    if (web.empty())
        return;
    try {
        m_files.addFolder(web + "/tv");
        if (std::filesystem::is_regular_file(web + "/licences.txt"))
            m_files.addFile("/licences.txt", web + "/licences.txt");
    } catch (const std::exception& error) {
        throw std::runtime_error("the page in " + web + " cannot be read: " + error.what());
    }
    if (!m_files.has(INDEX))
        throw std::runtime_error("there is no page in " + web + ": tv/index.html is missing");
    m_version = firstWord(m_files.bytesOf(VERSION));
    if (m_version.empty())
        m_version = m_files.tagOf(INDEX);
}

std::optional<httpd::Reply> Page::answer(const httpd::RequestHead& head) const
{
    const bool first = head.path() == "/";
    auto reply = m_files.answer(first ? INDEX : head.path(), head);
    if (!reply && first)
        reply = noPage();
    if (reply)
        for (const auto& [name, value] : HEADERS)
            reply->headers.emplace_back(name, value);
    return reply;
}

std::string webFolderBesideProgram()
{
    // Where it is installed, and where it is built.
    return common::folderBesideProgram({KINLOOM_WEB_FROM_PROGRAM, "../web/pages"}, "tv/index.html");
}

} // namespace tv
