// SPDX-License-Identifier: MIT
/// \file Keeps the index like the service.
#ifndef KINLOOM_TV_SERVICE_FOLLOWER_H
#define KINLOOM_TV_SERVICE_FOLLOWER_H

#include "tv/index/Index.h"
#include "tv/service/Connection.h"
#include "tv/service/FeedEntries.h" // IWYU pragma: export

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tv {

/// Whose television this is.
struct Owner {
    std::string service; ///< its address
    std::string person;  ///< identifier
    std::string name;

    bool isSame(const Owner& other) const { return service == other.service && person == other.person; }
};

/// What the follower tells; on its thread, with nothing locked.
class FollowerNews {
public:
    FollowerNews() = default;
    FollowerNews(const FollowerNews&) = delete;
    FollowerNews& operator=(const FollowerNews&) = delete;
    virtual ~FollowerNews() = default;

    /// The service has signed this television in.
    virtual void signedIn(const Owner& owner) = 0;
    /// It does not do so any more.
    virtual void turnedAway() = 0;
    virtual void groupsChanged() = 0;
    /// It is not this television's to see any more. Called while the index still knows it.
    virtual void groupGone(const std::string& group) = 0;
    virtual void contentsChanged(const std::string& group, const Changes& changes) = 0;
    /// The index of a group has grown, or is whole.
    virtual void indexChanged(const std::string& group) = 0;
    /// Records of contents, as they come by.
    virtual void passingBy(const std::vector<W::WContent>& contents) = 0;
};

/// Reads the groups and their feeds, page by page and on a thread of its own, and follows them: new contents by their time of
/// upload, others by the groups' totals. What cannot be had is tried again, less and less often, for as long as it takes.
class Follower {
public:
    struct Times {
        std::chrono::milliseconds poll{20'000};    ///< between two looks at what is new
        std::chrono::milliseconds longest{20'000}; ///< between two tries while the service is away
        std::chrono::milliseconds refused{60'000}; ///< between two tries while it refuses this television
        std::chrono::hours again{24};              ///< after which a group is read anew in any case
    };

    Follower(Index& index, Connection& connection, FollowerNews& news, const Times& times);
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;
    /// Ends, once the connection has ended what is under way.
    ~Follower();

    /// The thread begins.
    void start();
    /// To be called before the connection is ended for good.
    void stop();
    /// Waits for the thread's end, after both.
    void join();
    /// The credentials are others, or none: whoever it is signs in first.
    void signInAnew();
    /// The service may not accept this device any more: that is looked into now.
    void doubt();
    /// Everything is to be looked at now.
    void hurry();
    /// Somebody looks at a group: it is read before others.
    void prefer(const std::string& group);
    /// Somebody looks at a content: it is looked after when comments are new.
    void watch(const std::string& content);

private:
    using Clock = std::chrono::steady_clock;

    /// A group that is read to its end, or a part of it again.
    struct Reading {
        bool underWay = false;
        bool searching = false;   ///< for what is missing: it ends when nothing is
        std::int64_t total = 0;   ///< contents, as the service has counted them when it began
        bool undisturbed = false; ///< nothing has come or gone since then
        bool settled = false;     ///< that was so to its end, and is so still
        /// What does not work with this group must not keep the others waiting: it is left alone for a while.
        unsigned int failures = 0;
        Clock::time_point quietUntil{};
        Clock::time_point pagesFrom{}; ///< when there may be room for what is read
        std::string marker;            ///< the content that the next page lies behind; empty at the beginning
        std::optional<Key> behind;
        unsigned int pages = 0;        ///< how many more; 0: all
        std::int64_t comments = -1;    ///< what the service has counted when the contents' own counts were looked at last
        Clock::time_point announced{}; ///< when the page was told last how far it is
    };
    struct Ahead {
        std::string group;
        std::string marker;
        kinloom::Call<std::vector<W::WContent>> call;
    };

    using Work = std::function<void(const std::string& group)>;

    void run();
    void step();
    void tryGroup(const std::string& group, const Work& work);
    std::vector<std::string> groupsToPoll();
    bool isStillThere(const std::string& group);
    void disturb(const std::string& group);
    bool isPaused(const std::string& group);
    void pause(std::chrono::milliseconds time);
    std::chrono::milliseconds pauseFor(unsigned int failures) const;
    void pauseAfterFailure();
    void identify();
    void poll();
    void pollGroups();
    void pollUploads(const std::string& group);
    void readBeginnings(const std::string& group, Progress& progress);
    void checkTotal(const GroupEntry& group);
    void checkComments(const GroupEntry& group);
    void checkWatched(const std::string& group);
    void startReading(const std::string& group, unsigned int pages, bool searching = false);
    std::string nextToRead();
    void readPage(const std::string& group);
    std::vector<W::WContent> fetchPage(const std::string& group, Reading& reading);
    void endReading(const std::string& group, Reading& reading);
    void report(const std::string& group, const Changes& changes);
    std::vector<Entry> entriesOf(const std::vector<W::WContent>& contents, const std::string& group) const;

    Index& m_index;
    Connection& m_connection;
    FollowerNews& m_news;
    const Times m_times;

    // Of the thread alone.
    std::map<std::string, Reading> m_readings;
    std::deque<std::string> m_unread; ///< groups to be read for the first time, and
    std::deque<std::string> m_again;  ///< to be read again, in their order
    std::string m_polledLast;         ///< of more groups than are polled at a time
    std::optional<Ahead> m_ahead;     ///< the page that follows, already on its way
    Clock::time_point m_nextPoll{};
    unsigned int m_failures = 0;
    unsigned int m_refusals = 0; ///< of the sign-in, one after the other
    bool m_lackTold = false;

    std::mutex m_mutex;
    std::condition_variable m_woken;
    bool m_ending = false; // guarded by m_mutex, like all below
    bool m_signedIn = false;
    bool m_doubted = false;
    bool m_hurried = false;
    std::string m_preferred;
    std::deque<std::string> m_watched;
    std::thread m_thread;
};

} // namespace tv

#endif
