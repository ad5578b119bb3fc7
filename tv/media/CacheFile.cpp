// SPDX-License-Identifier: MIT
#include "tv/media/CacheFile.h"

#include "common/Digest.h"
#include "common/Files.h"
#include "httpd/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/stat.h>

namespace tv {

namespace {

constexpr std::string_view MARK = "kinloom-picture-1";
constexpr std::size_t TAG_DIGITS = 32;
constexpr std::size_t BLOCK = 64 * 1024;

common::Sha256 digestFor(const std::string& name, std::string_view type)
{
    common::Sha256 digest;
    digest.add(name + "\n");
    digest.add(type);
    digest.add("\n");
    return digest;
}

std::string tagOf(std::string_view digest) { return "\"" + std::string(digest.substr(0, TAG_DIGITS)) + "\""; }

/// The line without its end, of a fixed length so that nothing has to be looked for.
std::string headLine(std::string_view type, std::size_t length, const std::string& digest)
{
    std::string line(MARK);
    line.append(" ").append(type).append(" ").append(std::to_string(length)).append(" ").append(digest);
    line.resize(static_cast<std::size_t>(CACHE_HEAD) - 1, ' ');
    return line + "\n";
}

/// The word at the beginning of a text, which it leaves.
std::string_view takeWord(std::string_view& text)
{
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    return word;
}

/// Reads as much as there is. \return how much; less than the size only at the end of the file or when it cannot be read.
std::size_t readAll(int fd, char* buffer, std::size_t size, std::int64_t offset)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::pread(fd, buffer + done, size - done, offset + static_cast<off_t>(done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

} // namespace

CachedPicture writeCacheFile(common::UniqueFd file, const std::string& name, const std::string& type, std::string_view bytes)
{
    common::Sha256 digest = digestFor(name, type);
    digest.add(bytes);
    const std::string hex = common::toHex(digest.finish());
    common::writeAll(file.get(), headLine(type, bytes.size(), hex), "the cache");
    common::writeAll(file.get(), bytes, "the cache");
    return {std::move(file), CACHE_HEAD, static_cast<std::int64_t>(bytes.size()), type, tagOf(hex)};
}

std::optional<CachedPicture> readCacheFile(common::UniqueFd file, const std::string& name)
{
    std::array<char, static_cast<std::size_t>(CACHE_HEAD)> head{};
    struct stat info {};
    if (::fstat(file.get(), &info) != 0 || readAll(file.get(), head.data(), head.size(), 0) != head.size() || head.back() != '\n')
        return std::nullopt;
    std::string_view rest(head.data(), head.size() - 1);
    const std::string_view mark = takeWord(rest);
    const std::string type(takeWord(rest));
    const auto length = httpd::parseDecimal<std::int64_t>(takeWord(rest));
    const std::string expected(takeWord(rest));
    if (mark != MARK || !length || *length <= 0 || info.st_size - CACHE_HEAD != *length)
        return std::nullopt;
    common::Sha256 digest = digestFor(name, type);
    std::array<char, BLOCK> block{};
    for (std::int64_t done = 0; done < *length;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(*length - done, BLOCK));
        if (readAll(file.get(), block.data(), wanted, CACHE_HEAD + done) != wanted)
            return std::nullopt;
        digest.add({block.data(), wanted});
        done += static_cast<std::int64_t>(wanted);
    }
    if (common::toHex(digest.finish()) != expected)
        return std::nullopt;
    return CachedPicture{std::move(file), CACHE_HEAD, *length, type, tagOf(expected)};
}

} // namespace tv
