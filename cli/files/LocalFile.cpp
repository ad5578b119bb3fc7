// SPDX-License-Identifier: MIT
#include "files/LocalFile.h"

#include "core/Errors.h"
#include "files/Mime.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kinloom {

namespace {

constexpr const char* STAGING_PREFIX = ".kinloom-part-";

/// Reads until the buffer is full or the file ends. \return bytes read, or -1.
ssize_t readFully(int fd, char* buffer, std::size_t size)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = read(fd, buffer + done, size - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return -1;
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(done);
}

/// Removes a staging folder with all files in it; it holds no folders.
void removeFolder(int parent, const std::string& name)
{
    const int fd = openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd >= 0) {
        const std::unique_ptr<DIR, int (*)(DIR*)> folder(fdopendir(fd), closedir);
        while (const dirent* entry = folder ? readdir(folder.get()) : nullptr)
            unlinkat(fd, entry->d_name, 0);
    }
    unlinkat(parent, name.c_str(), AT_REMOVEDIR);
}

/// Moves a file to a free name. \return 0 or an errno; EEXIST when the name is taken.
int moveToFreeName(int fromFolder, const char* from, int toFolder, const char* to)
{
    if (renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // Not every file system knows the flag. A second link never replaces anything either.
    if (linkat(fromFolder, from, toFolder, to, 0) != 0)
        return errno;
    unlinkat(fromFolder, from, 0);
    return 0;
}

FileStamp stampOf(const struct stat& info) { return {info.st_dev, info.st_ino, info.st_size, info.st_mtim}; }

} // namespace

bool FileStamp::operator==(const FileStamp& other) const
{
    return device == other.device && inode == other.inode && size == other.size && changed.tv_sec == other.changed.tv_sec &&
           changed.tv_nsec == other.changed.tv_nsec;
}

bool isUnchanged(const SourceFile& source)
{
    struct stat info {};
    return stat(source.path.c_str(), &info) == 0 && stampOf(info) == source.stamp;
}

SourceFile inspectSource(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0)
        throw fileFailure(path, "cannot be read", errno);
    if (S_ISDIR(info.st_mode))
        throw fileFailure(path, "is a folder, not a file");
    if (!S_ISREG(info.st_mode))
        throw fileFailure(path, "is not a regular file");
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file)
        throw fileFailure(path, "cannot be read", errno);
    // Checked again on the open file: another file may have taken the name since stat.
    if (fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode))
        throw fileFailure(path, "is not a regular file");
    if (info.st_size == 0)
        throw fileFailure(path, "is empty");

    SourceFile source;
    // libcurl takes "-" for standard input.
    source.path = path == "-" ? "./-" : path;
    source.name = path.substr(path.rfind('/') + 1);
    source.size = static_cast<std::uint64_t>(info.st_size);
    source.stamp = stampOf(info);
    char first[MIME_BYTES];
    const ssize_t count = readFully(file.get(), first, sizeof first);
    if (count < 0)
        throw fileFailure(path, "cannot be read", errno);
    source.firstBytes.assign(first, static_cast<std::size_t>(count));
    return source;
}

TargetFolder::TargetFolder(const std::string& path) : m_path(path), m_folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
    if (!m_folder)
        throw fileFailure(path, errno == ENOTDIR ? "is not a folder" : "cannot be used as a folder", errno == ENOTDIR ? 0 : errno);
    if (faccessat(m_folder.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        throw fileFailure(path, "cannot be written to", errno);
}

TargetFolder TargetFolder::made(const std::string& path)
{
    if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST)
        throw fileFailure(path, "cannot be made", errno);
    return TargetFolder(path);
}

std::optional<std::uint64_t> TargetFolder::sizeOf(const std::string& name) const
{
    struct stat info {};
    if (fstatat(m_folder.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode))
        return std::nullopt;
    return static_cast<std::uint64_t>(info.st_size);
}

bool TargetFolder::has(const std::string& name) const
{
    struct stat info {};
    return fstatat(m_folder.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

Staging::Staging(const TargetFolder& target) : m_target(target)
{
    m_folder = target.path() + "/" + STAGING_PREFIX + "XXXXXX";
    if (mkdtemp(m_folder.data()) == nullptr)
        throw fileFailure(target.path(), "cannot be written to", errno);
    m_name = m_folder.substr(m_folder.rfind('/') + 1);
}

Staging::~Staging() { removeFolder(m_target.descriptor(), m_name); }

bool Staging::publish(const std::string& name, bool replace)
{
    const Descriptor folder(openat(m_target.descriptor(), m_name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder)
        throw fileFailure(m_folder, "is gone", errno);
    const int to = m_target.descriptor();
    int error = 0;
    if (!replace)
        error = moveToFreeName(folder.get(), FILE_NAME, to, name.c_str());
    else if (renameat(folder.get(), FILE_NAME, to, name.c_str()) != 0)
        error = errno;
    if (error == EEXIST && !replace)
        return false;
    if (error != 0)
        throw fileFailure(m_target.path() + "/" + name, "cannot be written", error);
    return true;
}

void Staging::setTime(std::time_t seconds) const
{
    // A file system that keeps no such time is no reason to do without the file.
    const timespec times[] = {{seconds, 0}, {seconds, 0}};
    utimensat(AT_FDCWD, file().c_str(), times, AT_SYMLINK_NOFOLLOW);
}

void Staging::sweep(const TargetFolder& target)
{
    const int fd = openat(target.descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(fdopendir(fd), closedir);
    std::vector<std::string> left;
    while (const dirent* entry = folder ? readdir(folder.get()) : nullptr) {
        if (std::strncmp(entry->d_name, STAGING_PREFIX, std::strlen(STAGING_PREFIX)) == 0)
            left.emplace_back(entry->d_name);
    }
    for (const std::string& name : left)
        removeFolder(target.descriptor(), name);
}

bool isBeginningOf(const std::string& shorter, const std::string& longer)
{
    const Descriptor a(open(shorter.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    const Descriptor b(open(longer.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!a || !b)
        return false;
    constexpr std::size_t BLOCK = 128 << 10;
    std::vector<char> first(BLOCK);
    std::vector<char> second(BLOCK);
    while (true) {
        const ssize_t count = readFully(a.get(), first.data(), BLOCK);
        if (count <= 0)
            return count == 0;
        const auto size = static_cast<std::size_t>(count);
        if (readFully(b.get(), second.data(), size) != count || std::memcmp(first.data(), second.data(), size) != 0)
            return false;
    }
}

} // namespace kinloom
