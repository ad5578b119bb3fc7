// SPDX-License-Identifier: MIT
#include "httpd/StaticFiles.h"

#include "common/Digest.h"
#include "common/Files.h"
#include "httpd/Accept.h"
#include "httpd/EntityTag.h"

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <zlib.h>

namespace httpd {

namespace {

constexpr std::uintmax_t MOST_BYTES = 64 << 20; ///< of all files together
constexpr std::size_t TAG_DIGITS = 32;
constexpr std::string_view ASSETS = "/assets/";

struct Type {
    std::string_view extension;
    const char* name;
};

constexpr Type TYPES[] = {
    {".html", "text/html; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".ico", "image/x-icon"},
    {".json", "application/json; charset=utf-8"},
    {".webmanifest", "application/manifest+json"},
    {".txt", "text/plain; charset=utf-8"},
    {".woff2", "font/woff2"},
};

const char* typeOf(const std::string& path)
{
    for (const Type& type : TYPES) {
        if (path.size() > type.extension.size() &&
            path.compare(path.size() - type.extension.size(), type.extension.size(), type.extension) == 0)
            return type.name;
    }
    return nullptr;
}

std::string compress(const std::string& bytes)
{
    constexpr int GZIP_WINDOW = 15 + 16;
    constexpr int MEMORY = 9;
    z_stream stream{};
    if (::deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, GZIP_WINDOW, MEMORY, Z_DEFAULT_STRATEGY) != Z_OK)
        return {};
    std::string packed(::deflateBound(&stream, bytes.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const bool whole = ::deflate(&stream, Z_FINISH) == Z_STREAM_END;
    packed.resize(whole ? stream.total_out : 0);
    ::deflateEnd(&stream);
    return packed.size() < bytes.size() ? packed : std::string();
}

} // namespace

void StaticFiles::addFolder(const std::string& folder)
{
    namespace fs = std::filesystem;
    if (!fs::is_directory(folder))
        return;
    std::uintmax_t bytes = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file() || entry.is_symlink())
            continue;
        bytes += entry.file_size();
        if (bytes > MOST_BYTES)
            throw std::runtime_error("it is larger than a page can be");
        addFile("/" + entry.path().lexically_relative(folder).generic_string(), entry.path().string());
    }
}

void StaticFiles::addFile(const std::string& path, const std::string& file)
{
    const char* const type = typeOf(path);
    if (type == nullptr)
        return;
    File added;
    added.type = type;
    added.bytes = common::readFile(file);
    added.compressed = compress(added.bytes);
    added.tag = common::toHex(common::sha256(added.bytes)).substr(0, TAG_DIGITS);
    added.lasts = path.compare(0, ASSETS.size(), ASSETS) == 0;
    m_files.emplace(path, std::move(added));
}

std::string_view StaticFiles::bytesOf(std::string_view path) const
{
    const auto file = m_files.find(path);
    return file == m_files.end() ? std::string_view() : file->second.bytes;
}

std::string_view StaticFiles::tagOf(std::string_view path) const
{
    const auto file = m_files.find(path);
    return file == m_files.end() ? std::string_view() : file->second.tag;
}

std::optional<Reply> StaticFiles::answer(std::string_view path, const RequestHead& head) const
{
    const auto found = m_files.find(path);
    if (found == m_files.end() || (head.method != "GET" && head.method != "HEAD"))
        return std::nullopt;
    const File& file = found->second;
    const bool packed = !file.compressed.empty() && accepts(head, "Accept-Encoding", {"gzip", "x-gzip"});
    const std::string tag = "\"" + file.tag + (packed ? "-gzip" : "") + "\"";
    Reply reply;
    reply.contentType = file.type;
    reply.headers = {{"ETag", tag},
                     {"Vary", "Accept-Encoding"},
                     {"Cache-Control", file.lasts ? "public, max-age=31536000, immutable" : "no-cache"}};
    if (packed)
        reply.headers.emplace_back("Content-Encoding", "gzip");
    if (listsTag(head.header("If-None-Match").value_or(""), tag))
        reply.status = 304;
    else
        reply.body = packed ? file.compressed : file.bytes;
    return reply;
}

} // namespace httpd
