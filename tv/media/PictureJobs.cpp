// SPDX-License-Identifier: MIT
// How a picture comes: its turn, its address, the transfer, the decoder, the cache.
#include "tv/media/PicturesImpl.h"

#include "common/Files.h"
#include "tv/media/PictureCheck.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <sys/mman.h>
#include <utility>

namespace tv {

namespace {

using pictures::PictureOutcome;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// A thumbnail's limits. The service keeps whoever asks waiting while it makes one.
constexpr std::uint64_t THUMBNAIL_BYTES = std::uint64_t{16} << 20;
constexpr seconds THUMBNAIL_PATIENCE{15};
/// The same in an outage, in which others wait for how this ends.
constexpr seconds PROBE_PATIENCE{3};
/// An original that the disk has no room for.
constexpr std::uint64_t ORIGINAL_IN_MEMORY = std::uint64_t{64} << 20;
/// Originals that lie on the disk, or are decoded, at a time.
constexpr std::size_t MOST_ORIGINALS = 2;

/// The first failure may be a connection that the service has closed, or a service that is just starting.
constexpr milliseconds SECOND_TRY{200};
/// How long a broken picture is not asked for again, and one that could not be had is not asked for in advance.
constexpr seconds BROKEN_FOR{60};
constexpr seconds RETRY{2};
constexpr seconds RETRY_REFUSED{10};
constexpr long LONGEST_RETRY = 60;
constexpr unsigned NOT_FOUND = 404;
constexpr unsigned GONE = 410;

/// What is kept in memory while the disk is full: the next pictures of a show.
constexpr std::size_t MOST_HELD = 8;
constexpr std::int64_t MOST_HELD_BYTES = std::int64_t{12} << 20;

constexpr std::chrono::hours NOTHING_TO_DO{1};

/// A file without a name, in memory, with its position at the beginning.
common::UniqueFd memoryFile(const std::string& bytes)
{
    common::UniqueFd file(::memfd_create("picture", MFD_CLOEXEC));
    if (!file)
        common::throwSystemError("make", "a file in memory");
    common::writeAll(file.get(), bytes, "a file in memory");
    ::lseek(file.get(), 0, SEEK_SET);
    return file;
}

bool isRunning(const Job& job) { return job.phase != Job::Phase::WAITING; }

} // namespace

void Pictures::Impl::post(Step step)
{
    {
        const std::lock_guard<std::mutex> lock(m_inboxMutex);
        m_inbox.push_back(std::move(step));
    }
    m_bell.notify_all();
}

void Pictures::Impl::wake()
{
    {
        const std::lock_guard<std::mutex> lock(m_inboxMutex);
        m_rung = true;
    }
    m_bell.notify_all();
}

void Pictures::Impl::work()
{
    m_next = Clock::now();
    std::unique_lock<std::mutex> lock(m_inboxMutex);
    for (;;) {
        m_bell.wait_until(lock, m_next, [this] { return m_ending || m_rung || !m_inbox.empty(); });
        if (m_ending)
            return;
        m_rung = false;
        const std::vector<Step> steps = std::exchange(m_inbox, {});
        lock.unlock();
        for (const Step& step : steps)
            step();
        pump();
        lock.lock();
    }
}

/// Begins what can begin now.
void Pictures::Impl::pump()
{
    std::vector<JobPtr> away;
    std::vector<JobPtr> starting;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto now = Clock::now();
        m_next = now + NOTHING_TO_DO;
        if (m_outage.pauses(now)) {
            m_next = m_outage.until();
            for (const auto& [name, job] : m_jobs) {
                if (!isRunning(*job) && !job->waiters.empty())
                    away.push_back(job);
            }
        } else {
            makeSoonJobs(now);
            starting = choose(now);
        }
    }
    for (const JobPtr& job : away)
        end(job, PictureResult::AWAY);
    for (const JobPtr& job : starting)
        find(job);
}

/// Under the lock: makes jobs of what tabs want in advance and is not there.
void Pictures::Impl::makeSoonJobs(Clock::time_point now)
{
    std::size_t jobs = m_jobs.size();
    for (Tab& tab : m_tabs) {
        for (Wanted& wanted : tab.list) {
            if (jobs >= std::size_t{2} * m_settings.transfers)
                return; // the rest when these are done
            if (wanted.settled || m_jobs.count(wanted.name) != 0)
                continue;
            if (const Memory* const memory = remembered(wanted.name, now)) {
                m_next = std::min(m_next, memory->until);
                continue;
            }
            if (heldAs(wanted.name) != m_held.end() || (!std::exchange(wanted.looked, true) && m_cache.has(wanted.name))) {
                wanted.settled = true;
                continue;
            }
            const auto job = std::make_shared<Job>(wanted.content, wanted.form, wanted.name);
            job->soon = true;
            m_jobs.emplace(wanted.name, job);
            ++jobs;
        }
    }
}

/// Under the lock: the jobs whose turn it is, those that somebody waits for first, in the order in which they came. They count as
/// running from here on.
std::vector<Pictures::Impl::JobPtr> Pictures::Impl::choose(Clock::time_point now)
{
    std::vector<JobPtr> waited;
    std::map<std::string, JobPtr> soon;
    std::size_t running = 0;
    std::size_t inAdvance = 0;
    std::size_t originals = 0;
    for (const auto& [name, job] : m_jobs) {
        if (isRunning(*job)) {
            ++running;
            inAdvance += job->waiters.empty() ? 1 : 0;
            originals += job->form.size == PictureSize::FULL ? 1 : 0;
        } else if (job->notBefore > now) {
            m_next = std::min(m_next, job->notBefore);
        } else if (!job->waiters.empty()) {
            waited.push_back(job);
        } else {
            soon.emplace(name, job);
        }
    }
    std::sort(waited.begin(), waited.end(),
              [](const JobPtr& a, const JobPtr& b) { return a->waiters.begin()->first < b->waiters.begin()->first; });
    // A service that was away is asked for one picture first.
    const std::size_t most = m_outage.lasts() ? 1 : m_settings.transfers;
    std::vector<JobPtr> chosen;
    const auto take = [&](const JobPtr& job) {
        const bool original = job->form.size == PictureSize::FULL;
        if (running >= most || (original && originals >= MOST_ORIGINALS))
            return;
        ++running;
        originals += original ? 1 : 0;
        job->phase = Job::Phase::FINDING;
        chosen.push_back(job);
    };
    for (const JobPtr& job : waited)
        take(job);
    for (const Tab& tab : m_tabs) {
        for (const Wanted& wanted : tab.list) {
            const auto found = soon.find(wanted.name);
            // Somebody who comes now should find a place.
            if (found == soon.end() || inAdvance >= std::max<std::size_t>(most / 2, 1))
                continue;
            const std::size_t before = chosen.size();
            take(found->second);
            inAdvance += chosen.size() - before;
            soon.erase(found);
        }
    }
    return chosen;
}

void Pictures::Impl::find(const JobPtr& job)
{
    // Somebody else's job may have brought it while this one was made.
    if (auto cached = m_cache.find(job->name)) {
        endReady(job, std::move(*cached));
        return;
    }
    const std::weak_ptr<Impl> weak = weak_from_this();
    m_source.find(job->content, job->anew, [weak, job](PictureSource::Answer answer, const PictureAddresses& addresses) {
        if (const auto self = weak.lock())
            self->post([impl = self.get(), job, answer, addresses] { impl->found(job, answer, addresses); });
    });
}

void Pictures::Impl::found(const JobPtr& job, PictureSource::Answer answer, const PictureAddresses& addresses)
{
    if (job->cancelled)
        return;
    if (answer == PictureSource::Answer::AWAY) {
        end(job, PictureResult::AWAY, RETRY);
        return;
    }
    if (answer == PictureSource::Answer::GONE) {
        m_cache.drop(job->content);
        end(job, PictureResult::GONE);
        return;
    }
    const std::string* url = &addresses.original;
    if (job->form.size != PictureSize::FULL)
        url = job->form.size == PictureSize::GRID ? &addresses.grid : &addresses.screen;
    // Where the service has no thumbnail, one is made here.
    job->original = url->empty() || job->form.size == PictureSize::FULL;
    if (job->original)
        url = &addresses.original;
    if (url->empty())
        end(job, PictureResult::BROKEN);
    else
        fetch(job, *url);
}

void Pictures::Impl::fetch(const JobPtr& job, const std::string& url)
{
    kinloom::MediaOrder order;
    kinloom::CallOptions options;
    order.url = url;
    order.name = "a picture";
    if (job->original && !job->inMemory) {
        order.file = job->file = m_cache.temporaryPath();
        order.fileLimit = m_settings.largestFile;
    } else if (job->original) {
        order.limit = ORIGINAL_IN_MEMORY;
    } else {
        order.limit = THUMBNAIL_BYTES;
        const std::lock_guard<std::mutex> lock(m_mutex);
        options.patience = m_outage.lasts() ? PROBE_PATIENCE : THUMBNAIL_PATIENCE;
    }
    const auto call = std::make_shared<kinloom::Call<kinloom::MediaReply>>(m_media->fetch(std::move(order), options));
    bool unwanted = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        job->phase = Job::Phase::FETCHING;
        job->call = call;
        unwanted = job->cancelled;
    }
    if (unwanted)
        call->cancel();
    const std::weak_ptr<Impl> weak = weak_from_this();
    call->onEnd([weak, job] {
        if (const auto self = weak.lock())
            self->post([impl = self.get(), job] { impl->fetched(job); });
    });
}

void Pictures::Impl::fetched(const JobPtr& job)
{
    Transfer call;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        call = std::exchange(job->call, nullptr);
        job->phase = Job::Phase::MAKING;
    }
    const auto outcome = call->outcome();
    common::UniqueFd file;
    if (!job->file.empty()) {
        try {
            file = common::openForReading(job->file);
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): it is not there
        }
        common::removeFile(std::exchange(job->file, {}));
    }
    if (job->cancelled)
        return;
    if (!outcome) {
        failed(job, outcome.failure());
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_outage.succeeded();
    }
    if (file)
        decode(job, std::move(file));
    else
        arrived(job, outcome.value().body);
}

void Pictures::Impl::failed(const JobPtr& job, const kinloom::CallFailure& failure)
{
    const FetchFailure meaning = meaningOf(failure);
    const auto now = Clock::now();
    seconds retry = RETRY;
    if (meaning == FetchFailure::REFUSED || meaning == FetchFailure::USELESS) {
        // An answer, whatever it says of this picture.
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_outage.succeeded();
    }
    switch (meaning) {
    case FetchFailure::UNREACHED:
    case FetchFailure::BUSY:
    case FetchFailure::ENDED: {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_outage.lasts() && job->unreached++ == 0 && failure.retryAfter <= 0) {
                job->notBefore = now + SECOND_TRY;
                job->phase = Job::Phase::WAITING;
                return;
            }
            if (meaning == FetchFailure::BUSY)
                m_outage.busy(now, failure.retryAfter);
            else
                m_outage.unreached(now);
        }
        if (failure.retryAfter > 0)
            retry = seconds(std::min(failure.retryAfter, LONGEST_RETRY));
        break;
    }
    case FetchFailure::REFUSED:
        if (!std::exchange(job->anew, true)) {
            {
                const std::lock_guard<std::mutex> lock(m_mutex);
                job->phase = Job::Phase::FINDING;
            }
            find(job);
            return;
        }
        // The content is there, and what the service has for it is not: it could not be decoded there either.
        if (failure.httpCode == NOT_FOUND || failure.httpCode == GONE) {
            end(job, PictureResult::BROKEN);
            return;
        }
        retry = RETRY_REFUSED;
        break;
    case FetchFailure::USELESS:
        end(job, PictureResult::BROKEN);
        return;
    case FetchFailure::DISK:
        m_cache.noteFull();
        if (!std::exchange(job->inMemory, true)) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            job->phase = Job::Phase::WAITING;
            return;
        }
        break;
    }
    end(job, PictureResult::AWAY, retry);
}

/// A file of the service is in memory.
void Pictures::Impl::arrived(const JobPtr& job, const std::string& body)
{
    try {
        if (job->original) {
            decode(job, memoryFile(body));
            return;
        }
        const CheckedPicture checked = checkThumbnail(body, job->form.size);
        if (checked.fitness == CheckedPicture::FIT)
            keep(job, checked.type, body);
        else if (checked.fitness == CheckedPicture::UNFIT)
            decode(job, memoryFile(body));
        else
            end(job, PictureResult::BROKEN);
    } catch (const std::exception&) { // no memory for it
        end(job, PictureResult::AWAY, RETRY);
    }
}

void Pictures::Impl::decode(const JobPtr& job, common::UniqueFd file)
{
    DecoderOrder order;
    order.file = std::move(file);
    order.box = job->form.box;
    order.wanted = [job] { return !job->cancelled; };
    order.urgent = [job] { return job->urgent.load(); };
    order.done = [weak = weak_from_this(), job](PictureOutcome outcome, std::string bytes) {
        if (const auto self = weak.lock())
            self->post([impl = self.get(), job, outcome, bytes = std::move(bytes)] { impl->made(job, outcome, bytes); });
    };
    m_decoder->decode(std::move(order));
}

void Pictures::Impl::made(const JobPtr& job, PictureOutcome outcome, const std::string& bytes)
{
    if (job->cancelled)
        return;
    // What made it has read a stranger's file: it is not believed either.
    const CheckedPicture checked = outcome == PictureOutcome::DONE ? checkThumbnail(bytes, PictureSize::FULL) : CheckedPicture();
    if (outcome == PictureOutcome::FAILED || outcome == PictureOutcome::GIVEN_UP)
        end(job, PictureResult::AWAY, RETRY);
    else if (checked.fitness == CheckedPicture::FIT)
        keep(job, checked.type, bytes);
    else
        end(job, PictureResult::BROKEN);
}

void Pictures::Impl::keep(const JobPtr& job, const char* type, const std::string& bytes)
{
    auto kept = m_cache.keep(job->name, type, bytes, [&] { return !job->cancelled; });
    if (job->cancelled)
        return;
    if (kept) {
        endReady(job, std::move(*kept));
        return;
    }
    try {
        CachedPicture picture = writeCacheFile(memoryFile({}), job->name, type, bytes);
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            // What was to be there in advance is, as far as memory goes.
            if (job->waiters.empty() && picture.length <= MOST_HELD_BYTES) {
                Held held;
                held.name = job->name;
                held.picture = std::move(picture);
                m_held.push_back(std::move(held));
                const auto bytesHeld = [this] {
                    std::int64_t sum = 0;
                    for (const Held& one : m_held)
                        sum += one.picture.length;
                    return sum;
                };
                while (m_held.size() > MOST_HELD || bytesHeld() > MOST_HELD_BYTES)
                    m_held.pop_front();
                settle(job->name);
                takeOut(job);
                return;
            }
        }
        endReady(job, std::move(picture));
    } catch (const std::exception&) { // no memory for it either
        end(job, PictureResult::AWAY, RETRY);
    }
}

void Pictures::Impl::endReady(const JobPtr& job, CachedPicture picture)
{
    Ended ended;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (job->cancelled)
            return;
        settle(job->name);
        ended = takeOut(job);
    }
    for (const Waiter& waiter : ended.waiters)
        waiter(pictureFor(picture));
}

void Pictures::Impl::end(const JobPtr& job, PictureResult result, seconds retryAfter)
{
    Ended ended;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (job->cancelled)
            return;
        const auto now = Clock::now();
        if (result == PictureResult::AWAY) {
            retryAfter = std::max(retryAfter, m_outage.pauses(now) ? untilAskedAgain(now) : seconds(1));
            remember(job->name, result, now + retryAfter);
        } else {
            settle(job->name);
            if (result == PictureResult::BROKEN)
                remember(job->name, result, now + BROKEN_FOR);
        }
        ended = takeOut(job);
    }
    for (const Waiter& waiter : ended.waiters)
        waiter(noPicture(result, retryAfter));
}

} // namespace tv
