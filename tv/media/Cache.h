// SPDX-License-Identifier: MIT
/// \file Pictures on disk.
#ifndef KINLOOM_TV_MEDIA_CACHE_H
#define KINLOOM_TV_MEDIA_CACHE_H

#include "common/FolderLock.h"
#include "tv/media/CacheFile.h"
#include "tv/media/ContentSet.h"  // IWYU pragma: export
#include "tv/media/PictureName.h" // IWYU pragma: export

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace tv {

/// A folder of pictures that takes no more than so much of the disk: those that were not used for longest go first.
///
///     lock            held by the program that uses the folder
///     pictures/3f/    pictures, by the digests of their contents' names
///     tmp/            what is being written, and what is being removed
///
/// Nothing is kept in memory but sums: a picture is found by its name, and its file's time tells when it was used last. A file gets
/// its name when it is whole, so that a program that is killed leaves none that is not; what the machine itself loses is found by
/// the digest in each file. All members may be called from any thread.
class Cache {
public:
    /// Throws std::runtime_error with a sentence where the folder cannot be used, is another user's, or is in use.
    Cache(const std::string& folder, std::uint64_t limit);
    Cache(const Cache&) = delete;
    Cache& operator=(const Cache&) = delete;
    ~Cache();

    /// The picture, which counts as used now. One that is not whole is removed, and is none.
    std::optional<CachedPicture> find(const std::string& name);
    /// Whether there seems to be such a picture, which counts as used now. Does not read it.
    bool has(const std::string& name);
    /// Keeps a picture. Where there is no room on the disk, older ones make room.
    /// \param wanted asked at the last moment, where neither drop nor clear can come in between: false keeps nothing.
    /// \return the picture; nothing when it could not be kept.
    std::optional<CachedPicture> keep(const std::string& name, const std::string& type, std::string_view bytes,
                                      const std::function<bool()>& wanted);
    /// Removes all forms of a content.
    void drop(const std::string& content);
    void drop(const ContentSet& contents);
    /// Removes everything. What is in the cache when this returns was kept later.
    void clear();

    /// The name of a file that is not there, for what is to be kept for a moment. The cache removes what was forgotten at its
    /// start.
    std::string temporaryPath();
    /// The disk had no room for something else.
    void noteFull();
    /// Gives up the oldest pictures where the disk has no room for so many bytes of something else. \return whether it has more
    /// now.
    bool makeRoom(std::uint64_t bytes);

    std::uint64_t bytes() const;
    std::size_t count() const;
    bool isFull() const;

private:
    struct Seen {
        std::int64_t stamp;
        std::uint64_t bytes;
    };
    using Visit = std::function<void(int folder, const char* name, const Seen& seen)>;

    void claim();
    void keepHouse();
    void trim(std::uint64_t goal);
    void eachFile(const Visit& visit) const;
    void account(std::int64_t bytes, int pictures);
    void accountLocked(std::int64_t bytes, int pictures);
    void touch(int file);
    std::int64_t nextStamp();
    CachedPicture writeNew(const std::string& path, const std::string& name, const std::string& type, std::string_view bytes);
    bool giveName(const std::string& from, const std::string& name);
    std::string pathOf(const std::string& name) const { return m_folder + "/pictures/" + name; }

    std::string m_folder;
    std::string m_session; ///< in names of temporary files: what another start has left is not in the way
    std::uint64_t m_limit;
    common::FolderLock m_lock;
    std::mutex m_trimming; ///< held by the one that removes old pictures; before m_mutex

    mutable std::mutex m_mutex; // guards all below, and what has which name in the folder
    std::condition_variable m_changed;
    bool m_ending = false;
    bool m_known = false; ///< the sums are those of the whole folder
    bool m_untidy = true; ///< there is something to be removed in tmp/
    bool m_full = false;
    std::int64_t m_bytes = 0;
    std::int64_t m_count = 0;
    std::int64_t m_lastStamp = 0;
    std::uint64_t m_lastTemporary = 0;
    std::thread m_keeper;
};

} // namespace tv

#endif
