// SPDX-License-Identifier: MIT
#include "common/Files.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>

namespace common {

namespace {

constexpr mode_t OWNER_FILE = 0600;
constexpr mode_t OWNER_FOLDER = 0700;
constexpr std::size_t COPY_BLOCK = std::size_t{1} << 20;

} // namespace

void throwSystemError(const std::string& action, const std::string& path)
{
    throw std::system_error(errno, std::generic_category(), "cannot " + action + " " + path);
}

bool makePrivateFolder(const std::string& path)
{
    if (::mkdir(path.c_str(), OWNER_FOLDER) == 0)
        return true;
    struct stat info {};
    if (errno == EEXIST && ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        return false;
    throwSystemError("make the folder", path);
}

UniqueFd createPrivateFile(const std::string& path)
{
    UniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, OWNER_FILE));
    if (!fd)
        throwSystemError("create", path);
    return fd;
}

UniqueFd openForReading(const std::string& path)
{
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd) {
        if (errno == ENOENT || errno == ELOOP || errno == ENOTDIR)
            return {};
        throwSystemError("open", path);
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0)
        throwSystemError("look at", path);
    return S_ISREG(info.st_mode) ? std::move(fd) : UniqueFd();
}

void writeAll(int fd, std::string_view bytes, const std::string& path)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            throwSystemError("write", path);
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void copyRest(int from, int to, const std::string& path)
{
    if (::lseek(from, 0, SEEK_CUR) == 0 && ::lseek(to, 0, SEEK_CUR) == 0 && ::ioctl(to, FICLONE, from) == 0)
        return;
    ssize_t count = 0;
    do {
        count = ::copy_file_range(from, nullptr, to, nullptr, COPY_BLOCK, 0);
    } while (count > 0 || (count < 0 && errno == EINTR));
    if (count == 0)
        return;
    // Whatever was copied, both positions stand behind it.
    std::string block(COPY_BLOCK, '\0');
    for (;;) {
        count = ::read(from, block.data(), block.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throwSystemError("read for", path);
        if (count == 0)
            return;
        writeAll(to, std::string_view(block).substr(0, static_cast<std::size_t>(count)), path);
    }
}

std::size_t readAt(int fd, char* buffer, std::size_t size, std::int64_t offset, const std::string& path)
{
    for (;;) {
        const ssize_t count = ::pread(fd, buffer, size, offset);
        if (count > 0)
            return static_cast<std::size_t>(count);
        if (count < 0 && errno == EINTR)
            continue;
        if (count == 0)
            errno = EIO;
        throwSystemError("read", path);
    }
}

std::string readFile(const std::string& path)
{
    const UniqueFd fd = openForReading(path);
    if (!fd) {
        errno = ENOENT;
        throwSystemError("open", path);
    }
    std::string bytes(static_cast<std::size_t>(sizeOf(fd.get(), path)), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::read(fd.get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throwSystemError("read", path);
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

void syncFile(int fd, const std::string& path)
{
    if (::fsync(fd) != 0)
        throwSystemError("bring to the disk", path);
}

void syncFolder(const std::string& path)
{
    const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd)
        throwSystemError("open", path);
    syncFile(fd.get(), path);
}

void renameFile(const std::string& from, const std::string& to)
{
    if (::rename(from.c_str(), to.c_str()) != 0)
        throwSystemError("move to", to);
}

void removeFile(const std::string& path) noexcept { ::unlink(path.c_str()); }

std::int64_t sizeOf(int fd, const std::string& path)
{
    struct stat info {};
    if (::fstat(fd, &info) != 0)
        throwSystemError("look at", path);
    return info.st_size;
}

} // namespace common
