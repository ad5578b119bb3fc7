// SPDX-License-Identifier: MIT
#include "http/FileSink.h"

#include "W/WStatus.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// Bodies come in pieces of 16 kB. Written in large ones they cost the kernel two thirds of the time.
constexpr std::size_t BUFFER_SIZE = 256u << 10;
/// A file that is to replace another is sent to the disk in steps of this size.
constexpr std::uint64_t FLUSH_SIZE = 8u << 20;
static_assert(FLUSH_SIZE % BUFFER_SIZE == 0, "a step ends with a full buffer");

struct SplitPath {
    std::string folder;
    std::string name;
};

SplitPath split(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return {".", path};
    return {path.substr(0, slash == 0 ? 1 : slash), path.substr(slash + 1)};
}

bool isFileName(const std::string& name) { return !name.empty() && name != "." && name != ".."; }

/// True when rename(2) may put a file there: nothing, a regular file, or a link, which is replaced itself.
bool isReplaceable(int folder, const std::string& name)
{
    struct stat info {};
    if (fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    return S_ISREG(info.st_mode) || S_ISLNK(info.st_mode);
}

bool exists(int folder, const std::string& name) { return faccessat(folder, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0; }

int openFolder(const std::string& folder) { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

/// A name that nobody can guess and that is short enough for every file system, whatever the target is called.
std::string temporaryName()
{
    unsigned long long number = 0;
    if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number))
        return {};
    char name[40];
    std::snprintf(name, sizeof name, ".whost-%016llx.part", number);
    return name;
}

} // namespace

WSTATUS FileSink::check(const std::string& path)
{
    if (path.find('\0') != std::string::npos)
        return WSTATUS_INVALID_ARGUMENT;
    const SplitPath parts = split(path);
    if (!isFileName(parts.name))
        return WSTATUS_FILE_ERROR;
    const int folder = openFolder(parts.folder);
    if (folder < 0)
        return WSTATUS_FILE_ERROR;
    const bool usable = faccessat(folder, ".", W_OK | X_OK, AT_EACCESS) == 0 && isReplaceable(folder, parts.name);
    ::close(folder);
    return usable ? WSTATUS_OK : WSTATUS_FILE_ERROR;
}

bool FileSink::open(const std::string& path)
{
    discard();
    SplitPath parts = split(path);
    if (!isFileName(parts.name))
        return false;
    m_folder = openFolder(parts.folder);
    if (m_folder < 0)
        return false;
    m_name = std::move(parts.name);
    // Made with the mode that the umask leaves, to learn it without touching the umask, which belongs to the whole process.
    constexpr int ATTEMPTS = 8;
    for (int attempt = 0; m_file < 0 && attempt < ATTEMPTS; ++attempt) {
        std::string name = temporaryName();
        if (name.empty())
            break;
        m_file = openat(m_folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (m_file >= 0)
            m_temporary = std::move(name);
        else if (errno != EEXIST)
            break;
    }
    struct stat info {};
    if (m_file < 0 || fstat(m_file, &info) != 0 || fchmod(m_file, S_IRUSR | S_IWUSR) != 0) {
        discard();
        return false;
    }
    m_mode = info.st_mode & 07777;
    m_replaces = exists(m_folder, m_name);
    m_buffer.reset(new char[BUFFER_SIZE]);
    return true;
}

bool FileSink::write(const char* data, std::size_t size)
{
    while (size > 0) {
        const std::size_t piece = std::min(size, BUFFER_SIZE - m_buffered);
        std::memcpy(m_buffer.get() + m_buffered, data, piece);
        m_buffered += piece;
        data += piece;
        size -= piece;
        if (m_buffered == BUFFER_SIZE && !writeOut())
            return false;
    }
    return true;
}

/// Writes what is in the buffer.
bool FileSink::writeOut()
{
    if (m_buffered == 0)
        return true;
    for (std::size_t begin = 0; begin < m_buffered;) {
        const ssize_t written = ::write(m_file, m_buffer.get() + begin, m_buffered - begin);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        begin += static_cast<std::size_t>(written);
    }
    m_written += m_buffered;
    m_buffered = 0;
    // When a file takes the place of another, some file systems begin to write it out in rename(2), which takes long for a large
    // one; so most of it should have been sent to the disk by then. A step waits where the disk does not keep up, as a write would.
    // A file without a predecessor may stay in memory for a while.
    if (m_replaces && m_written % FLUSH_SIZE == 0)
        sync_file_range(m_file, static_cast<off64_t>(m_written - FLUSH_SIZE), FLUSH_SIZE, SYNC_FILE_RANGE_WRITE);
    return true;
}

bool FileSink::publish()
{
    if (m_file < 0)
        return false;
    const bool complete = writeOut() && fchmod(m_file, m_mode) == 0;
    // Some file systems report that a write failed only here.
    const bool closed = ::close(m_file) == 0;
    m_file = -1;
    if (complete && closed && isReplaceable(m_folder, m_name) &&
        renameat(m_folder, m_temporary.c_str(), m_folder, m_name.c_str()) == 0) {
        m_temporary.clear();
        closeFolder();
        return true;
    }
    discard();
    return false;
}

void FileSink::discard()
{
    if (m_file >= 0)
        ::close(m_file);
    m_file = -1;
    if (!m_temporary.empty())
        unlinkat(m_folder, m_temporary.c_str(), 0);
    m_temporary.clear();
    closeFolder();
}

void FileSink::closeFolder()
{
    if (m_folder >= 0)
        ::close(m_folder);
    m_folder = -1;
    m_buffer.reset();
    m_buffered = 0;
    m_written = 0;
}

} // namespace http
} // namespace W
