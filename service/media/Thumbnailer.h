// SPDX-License-Identifier: MIT
/// \file The making of thumbnails, behind the uploads.
#ifndef KINLOOMD_MEDIA_THUMBNAILER_H
#define KINLOOMD_MEDIA_THUMBNAILER_H

#include "media/MediaStore.h"
#include "pictures/PictureProcess.h"
#include "store/Database.h"

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
/// People take turns, of a second or as long as one picture takes, so that one who sends many pictures, or slow ones, does not keep
/// the others waiting. A picture that takes more than a moment is put aside for one of the two processes, which then has more
/// patience. One whose process dies is tried once more. Safe for several threads.
class Thumbnailer {
public:
    Thumbnailer(Database& database, const MediaStore& media, std::int64_t pixels);
    Thumbnailer(const Thumbnailer&) = delete;
    Thumbnailer& operator=(const Thumbnailer&) = delete;
    /// Stops, and waits for the threads.
    ~Thumbnailer();

    /// Begins with the contents that wait for thumbnails.
    void start();
    /// Ends soon: a picture that is being read is given up, and stays one that waits.
    void stop();

    /// The record of a content is there and says that thumbnails are still to be made, or they are lost.
    /// \param creator whose turn it takes
    void add(const OriginalName& original, Id creator);

    /// How many contents wait for their turn.
    std::size_t waiting();

    /// Somebody who waits for the thumbnails of a content.
    class Watch {
    public:
        /// Has them made, if they are not waiting for that already, before others of the same person.
        Watch(Thumbnailer& thumbnailer, const OriginalName& original, Id creator);
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
        OriginalName original;
        Id creator = 0;
        unsigned deaths = 0;
        bool patient = false;
    };

    void work(bool patient);
    bool take(Job& job, bool patient);
    std::optional<Job> next(bool patient);
    void enqueue(const Job& job, bool first);
    void put(Job job, pictures::PictureOutcome outcome);
    pictures::PictureOutcome make(const Job& job, pictures::PictureProcess& process);
    void done(Id content);
    void note(Id content, Thumbnails thumbnails);
    void noteMade() noexcept;
    void end(Id content);

    Database& m_database;
    const MediaStore& m_media;
    std::int64_t m_pixels;

    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopping = false;              // this and what follows: guarded by m_mutex
    std::map<Id, std::deque<Job>> m_jobs; // by person
    Id m_last = 0;                        // whose turn it is
    Clock::time_point m_turnEnds;
    std::deque<Job> m_slow;         // put aside for the patient one
    std::set<Id> m_known;           // contents that are in the queues, or being worked on
    std::multimap<Id, int> m_bells; // of those who wait
    std::vector<Id> m_made;         // not noted in their records yet
    std::vector<std::thread> m_threads;
};

} // namespace kinloomd

#endif
