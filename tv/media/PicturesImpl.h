// SPDX-License-Identifier: MIT
/// \file The inside of Pictures: what is wanted, what is under way, and the thread that goes on with it.
#ifndef KINLOOM_TV_MEDIA_PICTURESIMPL_H
#define KINLOOM_TV_MEDIA_PICTURESIMPL_H

#include "tv/media/Cache.h"
#include "tv/media/Decoder.h"
#include "tv/media/Job.h"
#include "tv/media/Outage.h"
#include "tv/media/Pictures.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tv {

/// Jobs go on in steps, each on the thread of this object: whoever has something for a job (the source, a transfer, the decoder)
/// puts the step into the inbox. No lock is held while the source, a waiter or the cache's disk is busy; what nobody wants any more
/// is taken out of the list, and its steps find it cancelled.
class Pictures::Impl : public std::enable_shared_from_this<Pictures::Impl> {
public:
    Impl(PictureSettings settings, PictureSource& source);

    void start();
    void stop();

    Ticket get(const std::string& content, const PictureForm& form, Waiter waiter);
    void cancel(Ticket ticket);
    void wantSoon(const std::string& tab, const std::vector<WantedPicture>& pictures);
    void drop(const std::string& content);
    void drop(const ContentSet& contents);
    bool makeRoom();
    void clear();
    PictureStatus status() const;
    const PictureSettings& settings() const { return m_settings; }

private:
    using Clock = std::chrono::steady_clock;
    using JobPtr = std::shared_ptr<Job>;
    using Step = std::function<void()>;

    /// Something that a tab wants in advance.
    struct Wanted {
        std::string content;
        PictureForm form;
        std::string name;
        bool looked = false;  ///< it was not in the cache
        bool settled = false; ///< nothing more is to be done for it
    };
    struct Tab {
        std::string name;
        std::vector<Wanted> list;
    };
    /// What became of a picture a moment ago.
    struct Memory {
        PictureResult result;
        Clock::time_point until;
    };
    /// A picture that the disk had no room for, until it is asked for.
    struct Held {
        std::string name;
        CachedPicture picture;
    };
    /// What an ended job leaves to be done without the lock.
    struct Ended {
        std::vector<Waiter> waiters;
        Transfer call;
    };

    // The thread.
    void work();
    void post(Step step);
    void wake();
    void pump();
    std::vector<JobPtr> choose(Clock::time_point now);
    void makeSoonJobs(Clock::time_point now);

    // The steps of a job.
    void find(const JobPtr& job);
    void found(const JobPtr& job, PictureSource::Answer answer, const PictureAddresses& addresses);
    void fetch(const JobPtr& job, const std::string& url);
    void fetched(const JobPtr& job);
    void failed(const JobPtr& job, const kinloom::CallFailure& failure);
    void tryAgain(const JobPtr& job, std::chrono::milliseconds pause);
    void arrived(const JobPtr& job, const std::string& body);
    void decode(const JobPtr& job, common::UniqueFd file);
    void made(const JobPtr& job, pictures::PictureOutcome outcome, const std::string& bytes);
    void keep(const JobPtr& job, const char* type, const std::string& bytes);
    void end(const JobPtr& job, PictureResult result, std::chrono::seconds retryAfter = std::chrono::seconds(0));
    void endReady(const JobPtr& job, CachedPicture picture);

    // Under the lock.
    Ended takeOut(const JobPtr& job);
    void settle(const std::string& name);
    void remember(const std::string& name, PictureResult result, Clock::time_point until);
    const Memory* remembered(const std::string& name, Clock::time_point now) const;
    bool isWantedSoon(const std::string& name) const;
    std::deque<Held>::iterator heldAs(const std::string& name);
    void letGoOfHeld();
    std::chrono::seconds untilAskedAgain(Clock::time_point now) const;
    using IsMeant = std::function<bool(const std::string& content)>;
    std::vector<Ended> takeOutAll(const IsMeant& isMeant);
    std::vector<Ended> forget(const IsMeant& isMeant);
    void tellGone(std::vector<Ended> ended);

    const PictureSettings m_settings;
    PictureSource& m_source;
    Cache m_cache;
    std::optional<Decoder> m_decoder;
    std::optional<kinloom::Media> m_media;

    mutable std::mutex m_mutex; // guards all up to the inbox; never held together with the inbox's
    std::map<std::string, JobPtr> m_jobs;
    std::deque<Tab> m_tabs; ///< the one that was heard of last at the end
    std::map<std::string, Memory> m_memory;
    std::deque<Held> m_held;
    Outage m_outage;
    Ticket m_lastTicket = 0;
    bool m_stopped = false;

    std::mutex m_inboxMutex;
    std::condition_variable m_bell;
    std::vector<Step> m_inbox;
    bool m_rung = false;
    bool m_ending = false;
    Clock::time_point m_next; ///< of the thread: when something is to be tried again
    std::thread m_thread;
};

/// A picture for one of those who wait for it: with a descriptor of its own.
Picture pictureFor(const CachedPicture& cached);
Picture noPicture(PictureResult result, std::chrono::seconds retryAfter = std::chrono::seconds(0));

} // namespace tv

#endif
