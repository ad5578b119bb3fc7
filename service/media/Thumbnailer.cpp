// SPDX-License-Identifier: MIT
#include "media/Thumbnailer.h"

#include "core/Log.h"
#include "media/MediumNames.h"
#include "media/ThumbnailFiles.h"
#include "store/ThumbnailQueue.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <sys/eventfd.h>

namespace kinloomd {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds TURN{1'000};   ///< of one person, where others wait: each begins with a process that must be started
constexpr milliseconds MOMENT{3'000}; ///< for a picture at first
constexpr unsigned MOST_DEATHS = 2;   ///< of the process, until a picture is given up
constexpr milliseconds QUIET{200};    ///< until what was made is noted, so that many are noted together
constexpr std::size_t NOTED_TOGETHER = 64;

// Of several services. A content is taken for as long as a picture needs in a moment, and for longer by who has patience with it.
constexpr Millis TAKEN{20'000};
constexpr Millis TAKEN_WITH_PATIENCE{120'000};
constexpr Millis NEEDED{10'000};          ///< what must be left of that when a picture is begun
constexpr std::size_t MOST_TAKEN = 32;    ///< from others; those who have nothing to do find the rest
constexpr std::size_t FEW = 8;            ///< left, so that more are taken
constexpr milliseconds LOOK{1'000};       ///< for what others have left, or about so often
constexpr milliseconds LOOK_AWAITED{250}; ///< while somebody waits for what another one makes

/// About that long, so that services which began together do not look together.
milliseconds about(milliseconds time)
{
    static thread_local std::minstd_rand random{std::random_device()()};
    return milliseconds(std::uniform_int_distribution<milliseconds::rep>(time.count() * 3 / 4, time.count() * 5 / 4)(random));
}

void complain(Id content, const char* what)
{
    writeLog(Priority::FAILURE, "thumbnails of content " + std::to_string(content) + ": " + what);
}

} // namespace

Thumbnailer::Thumbnailer(Database& database, const MediaStore& media, std::int64_t pixels, bool shared)
    : m_database(database), m_media(media), m_pixels(pixels), m_shared(shared), m_number(randomNumber())
{
}

Thumbnailer::~Thumbnailer()
{
    stop();
    for (std::thread& thread : m_threads)
        thread.join();
    noteMade();
    if (m_shared && !m_threads.empty())
        giveBack();
}

void Thumbnailer::start()
{
    for (unsigned i = 0; i < PROCESSES; ++i)
        m_threads.emplace_back([this, patient = i == 0] { work(patient); });
    m_threads.emplace_back([this] { lookAround(); });
}

void Thumbnailer::stop()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stopping = true;
    m_wake.notify_all();
    m_wakeLooker.notify_all();
    for (const auto& [content, bell] : m_bells)
        ::eventfd_write(bell.fd, 1);
}

ThumbnailTaker Thumbnailer::taker() const { return {m_number, now() + TAKEN}; }

void Thumbnailer::add(const PendingContent& content, Millis until)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_known.insert(content.original.content).second)
        enqueue({content, until, 0, false});
}

std::size_t Thumbnailer::waiting()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_known.size();
}

void Thumbnailer::enqueue(const Job& job)
{
    (job.patient ? m_slow : m_jobs[job.content.creator]).push_back(job);
    m_wake.notify_all();
}

/// The next job of the patient process, or of the other one; people take turns.
std::optional<Thumbnailer::Job> Thumbnailer::next(bool patient)
{
    if (patient && !m_slow.empty()) {
        const Job job = m_slow.front();
        m_slow.pop_front();
        return job;
    }
    if (m_jobs.empty())
        return std::nullopt;
    const auto present = Clock::now();
    auto turn = m_jobs.find(m_last);
    if (turn == m_jobs.end() || present >= m_turnEnds) {
        turn = m_jobs.upper_bound(m_last);
        if (turn == m_jobs.end())
            turn = m_jobs.begin();
        m_turnEnds = present + TURN;
    }
    const Job job = turn->second.front();
    m_last = turn->first;
    turn->second.pop_front();
    if (turn->second.empty())
        m_jobs.erase(turn);
    return job;
}

/// Waits for a job. \return false at the end.
bool Thumbnailer::take(Job& job, bool patient)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        if (m_stopping)
            return false;
        if (const auto found = next(patient)) {
            job = *found;
            return true;
        }
        if (m_made.empty()) {
            m_wake.wait(lock);
        } else if (m_wake.wait_for(lock, QUIET) == std::cv_status::timeout) {
            lock.unlock();
            noteMade();
            lock.lock();
        }
    }
}

void Thumbnailer::work(bool patient)
{
    pictures::PictureProcess process;
    for (Job job; take(job, patient);) {
        const Id content = job.content.original.content;
        try {
            if (isOurs(job))
                put(job, make(job, process));
            else
                leave(content);
        } catch (const std::exception& error) {
            // A disk that is full, a store that is away, a database that stays locked.
            complain(content, error.what());
            putOff(job);
            end(content);
        }
    }
}

/// \return whether no other service takes the content before its thumbnails are made; it is taken once more for that when it must.
bool Thumbnailer::isOurs(Job& job)
{
    if (!m_shared || (!job.patient && now() + NEEDED <= job.until))
        return true;
    const ThumbnailTaker taker{m_number, now() + (job.patient ? TAKEN_WITH_PATIENCE : TAKEN)};
    job.until = taker.until;
    return takeOne(taker, job.content.original.content).has_value();
}

/// \return nothing also while the records are moved.
std::optional<PendingContent> Thumbnailer::takeOne(const ThumbnailTaker& taker, Id content)
{
    std::optional<PendingContent> taken;
    m_database.note([&](DatabaseConnection& connection) { taken = takeOneForThumbnails(connection, taker, now(), content); });
    return taken;
}

/// Another service makes the thumbnails of a content, or it was deleted: who waits for them hears of it as of any other.
void Thumbnailer::leave(Id content)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_known.erase(content);
    if (m_bells.count(content) != 0) {
        m_lookNow = true;
        m_wakeLooker.notify_one();
    }
}

void Thumbnailer::putOff(const Job& job) noexcept
try {
    m_database.note([&](DatabaseConnection& connection) { putOffThumbnails(connection, m_number, job.content.original.content); });
} catch (const std::exception& error) {
    // Others find it when its time has passed; the only service does so at its next start.
    complain(job.content.original.content, error.what());
}

/// Takes what others have left, and what somebody waits for, again and again.
void Thumbnailer::lookAround()
{
    // Whoever took something before the only service began is gone.
    bool takesAll = !m_shared;
    bool failed = false;
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stopping) {
        m_lookNow = false;
        const std::vector<Id> awaited = awaitedFromOthers();
        const std::size_t most = m_shared ? MOST_TAKEN : std::numeric_limits<std::int32_t>::max();
        const std::size_t room = most - std::min(most, m_known.size());
        lock.unlock();
        try {
            take(room, takesAll ? TAKEN_BY_NOBODY : now(), awaited);
            takesAll = false;
            failed = false;
        } catch (const std::exception& error) {
            if (!failed)
                writeLog(Priority::WARNING, std::string("contents without thumbnails are not looked for: ") + error.what());
            failed = true;
        }
        lock.lock();
        const auto wanted = [this] { return m_stopping || m_lookNow; };
        if (!awaitedFromOthers().empty())
            m_wakeLooker.wait_for(lock, about(LOOK_AWAITED), wanted);
        else if (m_shared || failed)
            m_wakeLooker.wait_for(lock, about(LOOK), wanted);
        else
            m_wakeLooker.wait(lock, wanted);
    }
}

/// What somebody waits for that this service is not about to make. With the lock.
std::vector<Id> Thumbnailer::awaitedFromOthers() const
{
    std::set<Id> contents;
    for (const auto& [content, bell] : m_bells) {
        if (!bell.rung && m_known.count(content) == 0)
            contents.insert(content);
    }
    return {contents.begin(), contents.end()};
}

void Thumbnailer::take(std::size_t room, Millis free, const std::vector<Id>& awaited)
{
    for (const Id content : awaited)
        takeAwaited(content);
    if (room == 0)
        return;
    const ThumbnailTaker mine = taker();
    const std::vector<PendingContent> taken = m_database.change(
        [&](DatabaseConnection& connection) { return takeForThumbnails(connection, mine, free, static_cast<std::int64_t>(room)); });
    for (const PendingContent& content : taken)
        add(content, mine.until);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_moreToTake = taken.size() == room;
}

void Thumbnailer::takeAwaited(Id content)
{
    const ThumbnailTaker mine = taker();
    if (const auto taken = takeOne(mine, content)) {
        add(*taken, mine.until);
        const std::lock_guard<std::mutex> lock(m_mutex);
        bringForward(content);
    } else if (!areThumbnailsPending(m_database.read(), content)) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ring(content);
    }
}

/// Of those that wait, that content comes first among those of its person. With the lock.
void Thumbnailer::bringForward(Id content)
{
    for (auto& [creator, jobs] : m_jobs) {
        const auto job =
            std::find_if(jobs.begin(), jobs.end(), [content](const Job& each) { return each.content.original.content == content; });
        if (job == jobs.end())
            continue;
        std::rotate(jobs.begin(), job, job + 1);
        return;
    }
}

void Thumbnailer::giveBack() noexcept
try {
    m_database.note([this](DatabaseConnection& connection) { giveBackThumbnails(connection, m_number); });
} catch (const std::exception& error) {
    writeLog(Priority::WARNING, std::string("contents without thumbnails are left to others only after a while: ") + error.what());
}

pictures::PictureOutcome Thumbnailer::make(const Job& job, pictures::PictureProcess& process)
{
    const OriginalName& name = job.content.original;
    if (m_media.hasThumbnails(name.content))
        return pictures::PictureOutcome::DONE;
    const UniqueFd original = m_media.originalFile(name);
    // Deleted meanwhile: there is nothing to be said about it.
    if (!original)
        return pictures::PictureOutcome::FAILED;
    ThumbnailFiles files(m_media);
    const auto stopping = [this] {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_stopping;
    };
    const pictures::PictureOutcome outcome =
        process.run(thumbnailTask(), {original.get(), job.content.creator}, files.descriptors(),
                    {m_pixels, job.patient ? pictures::PictureProcess::PATIENCE : MOMENT, stopping});
    if (outcome == pictures::PictureOutcome::DONE) {
        files.keep(name.content);
        ++m_count;
    } else if (outcome == pictures::PictureOutcome::FAILED) {
        complain(name.content, sentenceOf(outcome));
    }
    return outcome;
}

/// What becomes of a job.
void Thumbnailer::put(Job job, pictures::PictureOutcome outcome)
{
    const Id content = job.content.original.content;
    switch (outcome) {
    case pictures::PictureOutcome::DONE:
        done(content);
        return;
    case pictures::PictureOutcome::GIVEN_UP:
        end(content);
        return;
    case pictures::PictureOutcome::FAILED:
        putOff(job);
        end(content);
        return;
    case pictures::PictureOutcome::DIED:
        if (++job.deaths < MOST_DEATHS) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            enqueue(job);
            return;
        }
        break;
    case pictures::PictureOutcome::OVERTIME:
        if (!job.patient) {
            job.patient = true;
            const std::lock_guard<std::mutex> lock(m_mutex);
            enqueue(job);
            return;
        }
        break;
    case pictures::PictureOutcome::UNDECODABLE:
        break;
    }
    note(content, Thumbnails::NONE);
    end(content);
}

void Thumbnailer::done(Id content)
{
    bool many = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_made.push_back(content);
        many = m_made.size() >= NOTED_TOGETHER;
    }
    end(content);
    if (many)
        noteMade();
}

void Thumbnailer::note(Id content, Thumbnails thumbnails)
{
    m_database.note([&](DatabaseConnection& connection) { setThumbnails(connection, content, thumbnails); });
}

/// Notes in the records what was made. A content that has none any more was deleted meanwhile, and takes its thumbnails with it.
void Thumbnailer::noteMade() noexcept
try {
    std::vector<Id> made;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        made.swap(m_made);
    }
    if (made.empty())
        return;
    const auto gone = m_database.change([&made](DatabaseConnection& connection) {
        std::vector<Id> missing;
        std::copy_if(made.begin(), made.end(), std::back_inserter(missing),
                     [&](Id content) { return !setThumbnails(connection, content, Thumbnails::MADE); });
        return missing;
    });
    for (const Id content : gone)
        m_media.removeThumbnails(content);
} catch (const DatabaseReadOnly&) {
    return; // the records are moved without the notes
} catch (const std::exception& error) {
    // Only the notes are lost: the next start, or another service, finds what was made.
    writeLog(Priority::WARNING, std::string("thumbnails are not noted: ") + error.what());
}

/// Nothing more is to be expected of a content.
void Thumbnailer::end(Id content)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_known.erase(content);
    ring(content);
    if (m_moreToTake && m_known.size() == FEW) {
        m_lookNow = true;
        m_wakeLooker.notify_one();
    }
}

/// Wakes those who wait for a content. With the lock.
void Thumbnailer::ring(Id content)
{
    const auto [begin, last] = m_bells.equal_range(content);
    std::for_each(begin, last, [](auto& entry) {
        ::eventfd_write(entry.second.fd, 1);
        entry.second.rung = true;
    });
}

Thumbnailer::Watch::Watch(Thumbnailer& thumbnailer, Id content)
    : m_thumbnailer(thumbnailer), m_content(content), m_bell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_bell)
        throwSystemError("wait for", "a thumbnail");
    const std::lock_guard<std::mutex> lock(thumbnailer.m_mutex);
    thumbnailer.m_bells.emplace(content, Bell{m_bell.get()});
    if (thumbnailer.m_stopping) {
        ::eventfd_write(m_bell.get(), 1);
    } else if (thumbnailer.m_known.count(content) != 0) {
        thumbnailer.bringForward(content);
    } else {
        thumbnailer.m_lookNow = true;
        thumbnailer.m_wakeLooker.notify_one();
    }
}

Thumbnailer::Watch::~Watch()
{
    const std::lock_guard<std::mutex> lock(m_thumbnailer.m_mutex);
    const auto [begin, end] = m_thumbnailer.m_bells.equal_range(m_content);
    const auto mine = std::find_if(begin, end, [this](const auto& entry) { return entry.second.fd == m_bell.get(); });
    if (mine != end)
        m_thumbnailer.m_bells.erase(mine);
}

} // namespace kinloomd
