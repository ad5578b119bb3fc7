// SPDX-License-Identifier: MIT
/// \file The making of thumbnails, behind the uploads.
#ifndef KINLOOMD_MEDIA_THUMBNAILER_H
#define KINLOOMD_MEDIA_THUMBNAILER_H

#include "media/MediaStore.h"
#include "pictures/PictureProcess.h"
#include "store/Contents.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace kinloomd {

/// Makes thumbnails in two picture processes, with a thread for each. The contents that wait for theirs are those whose records say
/// so: a service that ends goes on with them at its next start.
///
/// Of several services each makes those of the uploads that it has taken itself, and of contents that another one took up and did
/// not end in time (ThumbnailQueue.h): a third thread looks for these. What the only service takes, it has for good.
///
/// People take turns, of a second or as long as one picture takes, so that one who sends many pictures, or slow ones, does not keep
/// the others waiting. A picture that takes more than a moment is put aside for one of the two processes, which then has more
/// patience. One whose process dies is tried once more. Safe for several threads.
class Thumbnailer {
public:
    /// \param shared other services may make thumbnails of the same contents
    Thumbnailer(Database& database, const MediaStore& media, std::int64_t pixels, bool shared);
    Thumbnailer(const Thumbnailer&) = delete;
    Thumbnailer& operator=(const Thumbnailer&) = delete;
    /// Stops, and waits for the threads.
    ~Thumbnailer();

    /// Begins with the contents that wait for thumbnails.
    void start();
    /// Ends soon: a picture that is being read is given up, and stays one that waits.
    void stop();

    /// What the record of an upload says of its pending thumbnails when this service is to make them.
    ThumbnailTaker taker() const;
    /// The record of a content is there, and says that this service is to make its thumbnails.
    /// \param until as it says
    void add(const PendingContent& content, Millis until);

    /// How many contents wait for their thumbnails, those included that are being worked on.
    std::size_t waiting();
    /// Of how many contents thumbnails were made so far.
    std::uint64_t made() const { return m_count; }

    /// Somebody who waits for the thumbnails of a content.
    class Watch {
    public:
        /// Has them made, if no service is about to, before others of the same person.
        Watch(Thumbnailer& thumbnailer, Id content);
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;
        ~Watch();

        /// Readable as soon as nothing more is to be expected.
        int fd() const { return m_bell.get(); }

    private:
        Thumbnailer& m_thumbnailer;
        Id m_content;
        UniqueFd m_bell;
    };

private:
    using Clock = std::chrono::steady_clock;
    static constexpr unsigned PROCESSES = 2;

    struct Job {
        PendingContent content;
        Millis until = 0; ///< when others may take it
        unsigned deaths = 0;
        bool patient = false;
    };

    struct Bell {
        int fd = -1;
        bool rung = false;
    };

    void work(bool patient);
    bool take(Job& job, bool patient);
    std::optional<Job> next(bool patient);
    bool isOurs(Job& job);
    void enqueue(const Job& job);
    void bringForward(Id content);
    void lookAround();
    void take(std::size_t room, Millis free, const std::vector<Id>& awaited);
    std::optional<PendingContent> takeOne(const ThumbnailTaker& taker, Id content);
    void takeAwaited(Id content);
    std::vector<Id> awaitedFromOthers() const;
    void giveBack() noexcept;
    void put(Job job, pictures::PictureOutcome outcome);
    pictures::PictureOutcome make(const Job& job, pictures::PictureProcess& process);
    void leave(Id content);
    void putOff(const Job& job) noexcept;
    void done(Id content);
    void note(Id content, Thumbnails thumbnails);
    void noteMade() noexcept;
    void end(Id content);
    void ring(Id content);

    Database& m_database;
    const MediaStore& m_media;
    std::int64_t m_pixels;
    bool m_shared;
    std::int64_t m_number; ///< of this service among those that make thumbnails
    std::atomic<std::uint64_t> m_count{0};

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_wakeLooker;
    bool m_stopping = false;              // this and what follows: guarded by m_mutex
    std::map<Id, std::deque<Job>> m_jobs; // by person
    Id m_last = 0;                        // whose turn it is
    Clock::time_point m_turnEnds;
    std::deque<Job> m_slow;          // put aside for the patient one
    std::set<Id> m_known;            // contents that are in the queues, or being worked on
    std::multimap<Id, Bell> m_bells; // of those who wait
    std::vector<Id> m_made;          // not noted in their records yet
    bool m_lookNow = false;          // there may be something to be taken
    bool m_moreToTake = true;        // as far as was seen
    std::vector<std::thread> m_threads;
};

} // namespace kinloomd

#endif
