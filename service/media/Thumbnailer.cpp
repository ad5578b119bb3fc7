// SPDX-License-Identifier: MIT
#include "media/Thumbnailer.h"

#include "core/Log.h"
#include "media/ThumbnailFiles.h"
#include "store/Contents.h"

#include <algorithm>
#include <numeric>
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

void complain(Id content, const char* what)
{
    writeLog(Priority::FAILURE, "thumbnails of content " + std::to_string(content) + ": " + what);
}

} // namespace

Thumbnailer::Thumbnailer(Database& database, const MediaStore& media, std::int64_t pixels)
    : m_database(database), m_media(media), m_pixels(pixels)
{
}

Thumbnailer::~Thumbnailer()
{
    stop();
    for (std::thread& thread : m_threads)
        thread.join();
    noteMade();
}

void Thumbnailer::start()
{
    std::vector<PendingContent> pending;
    {
        const auto connection = m_database.read();
        pending = listPendingContents(connection);
    }
    for (const PendingContent& content : pending)
        add(content.original, content.creator);
    for (unsigned i = 0; i < PROCESSES; ++i)
        m_threads.emplace_back([this, patient = i == 0] { work(patient); });
}

void Thumbnailer::stop()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stopping = true;
    m_wake.notify_all();
    for (const auto& [content, bell] : m_bells)
        ::eventfd_write(bell, 1);
}

void Thumbnailer::add(const OriginalName& original, Id creator)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_known.insert(original.content).second)
        enqueue({original, creator, 0, false}, false);
}

std::size_t Thumbnailer::waiting()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::accumulate(m_jobs.begin(), m_jobs.end(), m_slow.size(),
                           [](std::size_t sum, const auto& jobs) { return sum + jobs.second.size(); });
}

void Thumbnailer::enqueue(const Job& job, bool first)
{
    std::deque<Job>& jobs = job.patient ? m_slow : m_jobs[job.creator];
    jobs.insert(first ? jobs.begin() : jobs.end(), job);
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
        try {
            put(job, make(job, process));
        } catch (const std::exception& error) {
            // A disk that is full, a database that stays locked: the content waits until it is asked for, or for the next start.
            complain(job.original.content, error.what());
            end(job.original.content);
        }
    }
}

pictures::PictureOutcome Thumbnailer::make(const Job& job, pictures::PictureProcess& process)
{
    if (m_media.hasThumbnails(job.original.content))
        return pictures::PictureOutcome::DONE;
    const UniqueFd original = m_media.originalFile(job.original);
    // Deleted meanwhile: there is nothing to be said about it.
    if (!original)
        return pictures::PictureOutcome::FAILED;
    ThumbnailFiles files(m_media);
    const auto stopping = [this] {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_stopping;
    };
    const pictures::PictureOutcome outcome =
        process.run(thumbnailTask(), {original.get(), job.creator}, files.descriptors(),
                    {m_pixels, job.patient ? pictures::PictureProcess::PATIENCE : MOMENT, stopping});
    if (outcome == pictures::PictureOutcome::DONE)
        files.keep(job.original.content);
    else if (outcome == pictures::PictureOutcome::FAILED)
        complain(job.original.content, sentenceOf(outcome));
    return outcome;
}

/// What becomes of a job.
void Thumbnailer::put(Job job, pictures::PictureOutcome outcome)
{
    switch (outcome) {
    case pictures::PictureOutcome::DONE:
        done(job.original.content);
        return;
    case pictures::PictureOutcome::GIVEN_UP:
    case pictures::PictureOutcome::FAILED:
        end(job.original.content);
        return;
    case pictures::PictureOutcome::DIED:
        if (++job.deaths < MOST_DEATHS) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            enqueue(job, false);
            return;
        }
        break;
    case pictures::PictureOutcome::OVERTIME:
        if (!job.patient) {
            job.patient = true;
            const std::lock_guard<std::mutex> lock(m_mutex);
            enqueue(job, false);
            return;
        }
        break;
    case pictures::PictureOutcome::UNDECODABLE:
        break;
    }
    note(job.original.content, Thumbnails::NONE);
    end(job.original.content);
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
    m_database.change([&](DatabaseConnection& connection) { setThumbnails(connection, content, thumbnails); });
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
} catch (const std::exception& error) {
    // Only the notes are lost: the next start finds what was made.
    writeLog(Priority::WARNING, std::string("thumbnails are not noted: ") + error.what());
}

/// Nothing more is to be expected of a content.
void Thumbnailer::end(Id content)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_known.erase(content);
    const auto [begin, last] = m_bells.equal_range(content);
    std::for_each(begin, last, [](const auto& entry) { ::eventfd_write(entry.second, 1); });
}

Thumbnailer::Watch::Watch(Thumbnailer& thumbnailer, const OriginalName& original, Id creator)
    : m_thumbnailer(thumbnailer), m_content(original.content), m_bell(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_bell)
        throwSystemError("wait for", "a thumbnail");
    const std::lock_guard<std::mutex> lock(thumbnailer.m_mutex);
    thumbnailer.m_bells.emplace(m_content, m_bell.get());
    if (thumbnailer.m_stopping) {
        ::eventfd_write(m_bell.get(), 1);
    } else if (thumbnailer.m_known.insert(m_content).second) {
        thumbnailer.enqueue({original, creator, 0, false}, true);
    } else {
        auto& jobs = thumbnailer.m_jobs;
        if (const auto mine = jobs.find(creator); mine != jobs.end()) {
            const auto job =
                std::find_if(mine->second.begin(), mine->second.end(), [&](const Job& j) { return j.original == original; });
            if (job != mine->second.end())
                std::rotate(mine->second.begin(), job, job + 1);
        }
    }
}

Thumbnailer::Watch::~Watch()
{
    const std::lock_guard<std::mutex> lock(m_thumbnailer.m_mutex);
    const auto [begin, end] = m_thumbnailer.m_bells.equal_range(m_content);
    const auto mine = std::find_if(begin, end, [this](const auto& entry) { return entry.second == m_bell.get(); });
    if (mine != end)
        m_thumbnailer.m_bells.erase(mine);
}

} // namespace kinloomd
