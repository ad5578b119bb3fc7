// SPDX-License-Identifier: MIT
/// \file The pictures of the television: out of a cache on disk, or fetched from the service.
#ifndef KINLOOM_TV_MEDIA_PICTURES_H
#define KINLOOM_TV_MEDIA_PICTURES_H

#include "httpd/UniqueFd.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tv {

class ContentSet;

/// The forms in which the page gets a picture.
enum class PictureSize : std::uint8_t {
    GRID,   ///< the service's own, within 540 by 405
    SCREEN, ///< the service's own, within 1920 by 1080
    FULL,   ///< made here of the original, a JPEG file within the box that is asked for
};

/// Pixels; 0 for as many as there may be at most.
struct PictureBox {
    int width = 0;
    int height = 0;
};

/// A picture that somebody asks for.
struct WantedPicture {
    std::string content;
    PictureSize size = PictureSize::GRID;
    PictureBox box; ///< for FULL
};

/// Where the service has the files of a content. An address that is empty is one that the service does not have.
struct PictureAddresses {
    std::string grid;
    std::string screen;
    std::string original;
};

/// Where pictures are, asked of whoever reads the service's records.
class PictureSource {
public:
    enum class Answer : std::uint8_t {
        KNOWN, ///< with the addresses
        GONE,  ///< there is no such content (any more), or none that this television may see
        AWAY,  ///< the service does not answer; ask again later
    };
    using Done = std::function<void(Answer answer, const PictureAddresses& addresses)>;

    PictureSource() = default;
    PictureSource(const PictureSource&) = delete;
    PictureSource& operator=(const PictureSource&) = delete;
    virtual ~PictureSource() = default;

    /// Finds the addresses of a content.
    /// \param anew an address that was told before has been refused: the service is to be asked, whatever is known already.
    /// \param done called once, at once or later, on any thread.
    virtual void find(const std::string& content, bool anew, Done done) = 0;
};

/// What became of a picture.
enum class PictureResult : std::uint8_t {
    READY,
    GONE,   ///< there is no such content (any more)
    BROKEN, ///< the file is no picture that can be shown; asking again makes no difference for a while
    AWAY,   ///< the service does not give it now, and it is not in the cache
};

struct Picture {
    PictureResult result = PictureResult::AWAY;
    httpd::UniqueFd file;               ///< READY: open for reading; stays good when the cache lets the picture go
    std::int64_t offset = 0;            ///< where the picture begins in it
    std::int64_t length = 0;            ///< its bytes
    std::string type;                   ///< "image/jpeg"
    std::string tag;                    ///< quoted, for ETag: other bytes, another tag
    std::chrono::seconds retryAfter{0}; ///< AWAY: when asking again makes sense
};

struct PictureSettings {
    std::string folder;                                   ///< the cache's own; made when it is missing
    std::uint64_t limit = std::uint64_t{2} << 30;         ///< bytes of disk that the cache may take
    PictureBox most{3840, 2160};                          ///< no picture is made larger than the largest panel
    std::uint64_t largestFile = std::uint64_t{512} << 20; ///< bytes of a file of the service
    std::int64_t pixels = 200'000'000;                    ///< width times height of an original that is decoded
    unsigned transfers = 8;                               ///< at a time
    std::string program; ///< that decodes originals, in processes of its own; empty: the one beside this program
};

/// What the cache is like, for those who look after it.
struct PictureStatus {
    std::uint64_t bytes = 0;
    std::uint64_t limit = 0;
    std::size_t pictures = 0;
    std::size_t transfers = 0; ///< under way
    std::size_t inMemory = 0;  ///< that are wanted soon, and that the disk had no room for
    bool diskFull = false;     ///< the last picture that was to be kept found no room
};

/// Pictures by the identifiers of their contents. All askers for one picture share one transfer; what nobody waits for any more is
/// cancelled. Pictures are fetched with the host's HTTP client (its options are those of the process), many at a time, those that
/// are waited for before those that are wanted soon. An outage is waited out with growing pauses; a refused address is asked for
/// anew, once. Nothing that is not the header of a picture gets out. A disk without room makes it go on without keeping.
///
/// The cache is a folder of mode 0700 with a lock: of programs that are started with the same folder, the second is refused. All
/// members may be called from any thread.
class Pictures {
public:
    using Waiter = std::function<void(Picture picture)>;
    using Ticket = std::uint64_t;

    /// The source must outlive it. Throws std::runtime_error with a sentence where the folder cannot be used, or is in use.
    Pictures(PictureSettings settings, PictureSource& source);
    Pictures(const Pictures&) = delete;
    Pictures& operator=(const Pictures&) = delete;
    /// Ends what is under way; whoever waits is told AWAY before it returns.
    ~Pictures();

    /// Gives a picture: out of the cache at once, on this thread, else when it is there, on another one.
    /// \param waiter called once, unless it is cancelled before; must return soon and not throw.
    /// \return a ticket for \c cancel; 0 when the waiter was called already.
    Ticket get(const std::string& content, PictureSize size, PictureBox box, Waiter waiter);
    /// The waiter is not called any more, unless its turn has come already on another thread.
    void cancel(Ticket ticket);

    /// What should be in the cache when it is asked for, the next one first: replaces the list before of that tab. An empty list
    /// ends the tab.
    void wantSoon(const std::string& tab, const std::vector<WantedPicture>& pictures);

    /// A content is gone: out of the cache; whoever waits for it is told so.
    void drop(const std::string& content);
    void drop(const ContentSet& contents);
    /// Gives up the oldest pictures where the disk has no room for something that is needed more. \return whether it has more now.
    bool makeRoom();
    /// Everything out of the cache, what is under way too: another person's pictures. Whoever waits is told GONE.
    void clear();

    PictureStatus status() const;

private:
    class Impl;
    std::shared_ptr<Impl> m_impl; ///< a source that answers late may look at it for a moment longer
};

} // namespace tv

#endif
