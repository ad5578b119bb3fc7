// SPDX-License-Identifier: MIT
#include "tv/media/Cache.h"

#include "common/Digest.h"
#include "common/Files.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <system_error>

namespace tv {

namespace {

namespace fs = std::filesystem;
using common::UniqueFd;

constexpr std::int64_t SECOND = 1'000'000'000;
constexpr std::int64_t DISK_BLOCK = 4096; ///< files take whole blocks of the disk

// Old pictures go before there is no room: how full the cache may be, and how full it is then, in percent.
constexpr std::uint64_t FULL_PERCENT = 97;
constexpr std::uint64_t LEAN_PERCENT = 90;

std::int64_t blocksOf(std::int64_t size) { return (size + DISK_BLOCK - 1) / DISK_BLOCK * DISK_BLOCK; }

std::int64_t stampOf(const struct stat& info) { return info.st_mtim.tv_sec * SECOND + info.st_mtim.tv_nsec; }

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

Folder openFolder(const std::string& path) { return {::opendir(path.c_str()), &::closedir}; }

template <typename Each> void eachEntry(const std::string& path, const Each& each)
{
    const Folder folder = openFolder(path);
    if (!folder)
        return;
    while (const dirent* const entry = ::readdir(folder.get())) {
        if (entry->d_name[0] != '.')
            each(::dirfd(folder.get()), entry->d_name);
    }
}

bool isNoRoom(const std::error_code& code) { return code.value() == ENOSPC || code.value() == EDQUOT; }

} // namespace

Cache::Cache(const std::string& folder, std::uint64_t limit)
    : m_folder(folder), m_session(common::toHex(common::randomBytes(4))), m_limit(limit)
{
    try {
        claim();
    } catch (const std::system_error& error) {
        throw std::runtime_error("the folder " + folder + " cannot be used as a cache: " + error.code().message());
    }
    m_keeper = std::thread(&Cache::keepHouse, this);
}

/// Makes the folder this program's own.
void Cache::claim()
{
    std::error_code none;
    fs::create_directories(fs::path(m_folder).parent_path(), none);
    common::makePrivateFolder(m_folder);
    struct stat info {};
    if (::stat(m_folder.c_str(), &info) != 0)
        common::throwSystemError("look at", m_folder);
    if (info.st_uid != ::geteuid())
        throw std::runtime_error("the folder " + m_folder + " belongs to another user");
    if (::chmod(m_folder.c_str(), 0700) != 0)
        common::throwSystemError("protect", m_folder);
    if (!common::FolderLock::tryExclusive(m_folder + "/lock", m_lock))
        throw std::runtime_error("the folder " + m_folder + " is in use by another program");
    common::makePrivateFolder(m_folder + "/pictures");
    common::makePrivateFolder(m_folder + "/tmp");
    // What a program that was killed has left; what it was removing is removed behind the start.
    eachEntry(m_folder + "/tmp", [](int at, const char* name) { ::unlinkat(at, name, 0); });
}

Cache::~Cache()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_keeper.join();
}

/// Looks after the folder: counts what is there, removes what is old before there is no room, and what was cleared.
void Cache::keepHouse()
{
    trim(m_limit);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_known = true;
    m_changed.notify_all();
    const auto filling = [this] { return static_cast<std::uint64_t>(m_bytes) > m_limit / 100 * FULL_PERCENT; };
    while (!m_ending) {
        const bool untidy = std::exchange(m_untidy, false);
        const bool full = filling();
        if (!untidy && !full) {
            m_changed.wait(lock);
            continue;
        }
        lock.unlock();
        if (untidy) {
            // Folders only: files here are being written.
            eachEntry(m_folder + "/tmp", [this](int, const char* name) {
                std::error_code none;
                const fs::path path = fs::path(m_folder) / "tmp" / name;
                if (fs::is_directory(fs::symlink_status(path, none)))
                    fs::remove_all(path, none);
            });
        }
        if (full)
            trim(m_limit / 100 * LEAN_PERCENT);
        lock.lock();
        // Files that cannot be removed would keep this going for ever.
        if (full && filling())
            m_changed.wait(lock);
    }
}

void Cache::eachFile(const Visit& visit) const
{
    eachEntry(m_folder + "/pictures", [&](int, const char* folder) {
        eachEntry(m_folder + "/pictures/" + folder, [&](int at, const char* name) {
            struct stat info {};
            if (::fstatat(at, name, &info, AT_SYMLINK_NOFOLLOW) == 0)
                visit(at, name, {stampOf(info), static_cast<std::uint64_t>(blocksOf(info.st_size))});
        });
    });
}

/// Counts all pictures, and removes the oldest ones until no more than so many bytes are there.
void Cache::trim(std::uint64_t goal)
{
    const std::lock_guard<std::mutex> alone(m_trimming);
    std::int64_t bytesBefore = 0;
    std::int64_t countBefore = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        bytesBefore = m_bytes;
        countBefore = m_count;
    }
    std::vector<Seen> all;
    std::uint64_t sum = 0;
    eachFile([&](int, const char*, const Seen& seen) {
        all.push_back(seen);
        sum += seen.bytes;
    });
    std::sort(all.begin(), all.end(), [](const Seen& a, const Seen& b) { return a.stamp < b.stamp; });
    std::int64_t oldest = 0; // of those that stay
    for (const Seen& seen : all) {
        if (sum <= goal)
            break;
        sum -= seen.bytes;
        oldest = seen.stamp + 1;
    }
    {
        // What came while this looked may be counted twice; it is counted anew the next time.
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::uint64_t whole = 0;
        for (const Seen& seen : all)
            whole += seen.bytes;
        m_bytes += static_cast<std::int64_t>(whole) - bytesBefore;
        m_count += static_cast<std::int64_t>(all.size()) - countBefore;
        if (!all.empty())
            m_lastStamp = std::max(m_lastStamp, all.back().stamp);
    }
    if (oldest == 0)
        return;
    all = {};
    eachFile([&](int at, const char* name, const Seen& seen) {
        if (seen.stamp < oldest && ::unlinkat(at, name, 0) == 0)
            account(-static_cast<std::int64_t>(seen.bytes), -1);
    });
}

void Cache::account(std::int64_t bytes, int pictures)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    accountLocked(bytes, pictures);
}

void Cache::accountLocked(std::int64_t bytes, int pictures)
{
    m_bytes = std::max<std::int64_t>(m_bytes + bytes, 0);
    m_count = std::max<std::int64_t>(m_count + pictures, 0);
}

/// Later than all before, also where the clock was set back.
std::int64_t Cache::nextStamp()
{
    timespec present{};
    ::clock_gettime(CLOCK_REALTIME, &present);
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastStamp = std::max(m_lastStamp + 1, present.tv_sec * SECOND + present.tv_nsec);
}

void Cache::touch(int file)
{
    const std::int64_t stamp = nextStamp();
    const timespec times[] = {{0, UTIME_OMIT}, {stamp / SECOND, stamp % SECOND}};
    ::futimens(file, times); // where it cannot be done, the picture only seems older than it is
}

std::optional<CachedPicture> Cache::find(const std::string& name)
{
    try {
        const std::string path = pathOf(name);
        UniqueFd file = common::openForReading(path);
        if (!file)
            return std::nullopt;
        const int fd = file.get();
        if (auto picture = readCacheFile(std::move(file), name)) {
            touch(fd);
            return picture;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        struct stat info {};
        if (::lstat(path.c_str(), &info) == 0 && ::unlink(path.c_str()) == 0)
            accountLocked(-blocksOf(info.st_size), -1);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): what cannot be read is not there
    }
    return std::nullopt;
}

bool Cache::has(const std::string& name)
{
    try {
        const UniqueFd file = common::openForReading(pathOf(name));
        if (file)
            touch(file.get());
        return static_cast<bool>(file);
    } catch (const std::exception&) {
        return false;
    }
}

CachedPicture Cache::writeNew(const std::string& path, const std::string& name, const std::string& type, std::string_view bytes)
{
    try {
        return writeCacheFile(common::createPrivateFile(path), name, type, bytes);
    } catch (...) {
        common::removeFile(path);
        throw;
    }
}

std::optional<CachedPicture> Cache::keep(const std::string& name, const std::string& type, std::string_view bytes,
                                         const std::function<bool()>& wanted)
{
    const std::int64_t size = blocksOf(CACHE_HEAD + static_cast<std::int64_t>(bytes.size()));
    std::int64_t taken = 0;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_known || m_ending; });
        taken = m_bytes;
    }
    if (static_cast<std::uint64_t>(size) > m_limit)
        return std::nullopt;
    if (static_cast<std::uint64_t>(taken + size) > m_limit)
        trim(std::min(m_limit - static_cast<std::uint64_t>(size), m_limit / 100 * LEAN_PERCENT));
    const std::string path = temporaryPath();
    std::optional<CachedPicture> kept;
    // A disk that others fill is a smaller cache: it goes on with the room that it has.
    for (bool again = true; !kept; again = false) {
        try {
            kept = writeNew(path, name, type, bytes);
        } catch (const std::system_error& error) {
            const std::uint64_t has = this->bytes();
            if (!again || !isNoRoom(error.code()) || has == 0) {
                noteFull();
                return std::nullopt;
            }
            trim(has - std::min<std::uint64_t>(has, static_cast<std::uint64_t>(size)));
        }
    }
    touch(kept->file.get());
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_full = false;
    if (!wanted() || !giveName(path, name)) {
        common::removeFile(path);
        return std::nullopt;
    }
    accountLocked(size, 1);
    m_changed.notify_all();
    return kept;
}

/// Under the lock: moves a file to its place, over what is there. \return whether it is there.
bool Cache::giveName(const std::string& from, const std::string& name)
{
    const std::string path = pathOf(name);
    struct stat before {};
    const bool replaced = ::lstat(path.c_str(), &before) == 0;
    if (::rename(from.c_str(), path.c_str()) != 0) {
        if (errno != ENOENT || ::mkdir(fs::path(path).parent_path().c_str(), 0700) != 0 ||
            ::rename(from.c_str(), path.c_str()) != 0)
            return false;
    }
    if (replaced)
        accountLocked(-blocksOf(before.st_size), -1);
    return true;
}

void Cache::drop(const std::string& content)
{
    const ContentPlace place = placeOf(content);
    const std::lock_guard<std::mutex> lock(m_mutex);
    eachEntry(m_folder + "/pictures/" + place.folder, [&](int at, const char* name) {
        struct stat info {};
        if (std::string_view(name).substr(0, place.prefix.size()) == place.prefix &&
            ::fstatat(at, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && ::unlinkat(at, name, 0) == 0)
            accountLocked(-blocksOf(info.st_size), -1);
    });
}

void Cache::drop(const ContentSet& contents)
{
    std::vector<std::string> folders;
    eachEntry(m_folder + "/pictures", [&](int, const char* folder) { folders.emplace_back(folder); });
    for (const std::string& folder : folders) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        eachEntry(m_folder + "/pictures/" + folder, [&](int at, const char* name) {
            struct stat info {};
            if (contents.hasFile(folder, name) && ::fstatat(at, name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                ::unlinkat(at, name, 0) == 0)
                accountLocked(-blocksOf(info.st_size), -1);
        });
    }
}

bool Cache::makeRoom(std::uint64_t bytes)
{
    struct statvfs disk {};
    const std::uint64_t has = this->bytes();
    if (has == 0 || ::statvfs(m_folder.c_str(), &disk) != 0 || std::uint64_t{disk.f_bavail} * disk.f_frsize >= bytes)
        return false;
    trim(has - std::min(has, bytes));
    return true;
}

void Cache::clear()
{
    const std::string old = temporaryPath();
    const std::lock_guard<std::mutex> alone(m_trimming);
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string pictures = m_folder + "/pictures";
    // At once, and so that a program that is killed now does not come back with half of it.
    if (::rename(pictures.c_str(), old.c_str()) != 0) {
        std::error_code none;
        fs::remove_all(pictures, none);
    }
    ::mkdir(pictures.c_str(), 0700);
    m_bytes = 0;
    m_count = 0;
    m_untidy = true;
    m_changed.notify_all();
}

std::string Cache::temporaryPath()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_folder + "/tmp/" + m_session + "-" + std::to_string(++m_lastTemporary);
}

void Cache::noteFull()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_full = true;
}

std::uint64_t Cache::bytes() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<std::uint64_t>(m_bytes);
}

std::size_t Cache::count() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<std::size_t>(m_count);
}

bool Cache::isFull() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_full;
}

} // namespace tv
