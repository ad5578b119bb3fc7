// SPDX-License-Identifier: MIT
// What is wanted of the pictures. What becomes of it is in PictureJobs.cpp.
#include "pictures/PictureProgram.h"
#include "tv/media/PicturesImpl.h"

#include <algorithm>
#include <fcntl.h>
#include <stdexcept>
#include <utility>

namespace tv {

namespace {

// What a page could make this program remember.
constexpr std::size_t MOST_TABS = 16;
constexpr std::size_t MOST_WANTED = 256;
constexpr std::size_t MOST_MEMORIES = 1024;

PictureSettings completed(PictureSettings settings)
{
    if (settings.program.empty())
        settings.program = pictures::programBesideThis();
    if (settings.program.empty())
        throw std::runtime_error(pictures::NO_PROGRAM_BESIDE_THIS);
    settings.transfers = std::max(settings.transfers, 1U);
    return settings;
}

} // namespace

Picture pictureFor(const CachedPicture& cached)
{
    Picture picture;
    picture.file.reset(::fcntl(cached.file.get(), F_DUPFD_CLOEXEC, 0));
    if (!picture.file)
        return noPicture(PictureResult::AWAY, std::chrono::seconds(1));
    picture.result = PictureResult::READY;
    picture.offset = cached.offset;
    picture.length = cached.length;
    picture.type = cached.type;
    picture.tag = cached.tag;
    return picture;
}

Picture noPicture(PictureResult result, std::chrono::seconds retryAfter)
{
    Picture picture;
    picture.result = result;
    picture.retryAfter = retryAfter;
    return picture;
}

Pictures::Pictures(PictureSettings settings, PictureSource& source)
    : m_impl(std::make_shared<Impl>(completed(std::move(settings)), source))
{
    m_impl->start();
}

Pictures::~Pictures() { m_impl->stop(); }

Pictures::Ticket Pictures::get(const std::string& content, PictureSize size, PictureBox box, Waiter waiter)
{
    return m_impl->get(content, formOf(size, box, m_impl->settings().most), std::move(waiter));
}

void Pictures::cancel(Ticket ticket) { m_impl->cancel(ticket); }

void Pictures::wantSoon(const std::string& tab, const std::vector<WantedPicture>& pictures) { m_impl->wantSoon(tab, pictures); }

void Pictures::drop(const std::string& content) { m_impl->drop(content); }

void Pictures::drop(const ContentSet& contents) { m_impl->drop(contents); }

bool Pictures::makeRoom() { return m_impl->makeRoom(); }

void Pictures::clear() { m_impl->clear(); }

PictureStatus Pictures::status() const { return m_impl->status(); }

Pictures::Impl::Impl(PictureSettings settings, PictureSource& source)
    : m_settings(std::move(settings)), m_source(source), m_cache(m_settings.folder, m_settings.limit)
{
}

void Pictures::Impl::start()
{
    m_decoder.emplace(m_settings.program, m_settings.pixels);
    m_media.emplace();
    m_thread = std::thread([this] { work(); });
}

void Pictures::Impl::stop()
{
    std::vector<Ended> ended;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
        m_tabs.clear();
        ended = takeOutAll(nullptr);
    }
    for (const Ended& one : ended) {
        for (const Waiter& waiter : one.waiters)
            waiter(noPicture(PictureResult::AWAY));
    }
    {
        const std::lock_guard<std::mutex> lock(m_inboxMutex);
        m_ending = true;
    }
    m_bell.notify_all();
    m_thread.join();
    m_media.reset();
    m_decoder.reset();
    // Steps that nobody takes hold jobs and this object.
    const std::lock_guard<std::mutex> lock(m_inboxMutex);
    m_inbox.clear();
}

Pictures::Ticket Pictures::Impl::get(const std::string& content, const PictureForm& form, Waiter waiter)
{
    const std::string name = cacheName(content, form);
    if (const auto cached = m_cache.find(name)) {
        waiter(pictureFor(*cached));
        return 0;
    }
    std::optional<Picture> answer;
    Ticket ticket = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto now = Clock::now();
        const auto job = m_jobs.find(name);
        const auto held = heldAs(name);
        const Memory* const memory = remembered(name, now);
        if (held != m_held.end()) {
            answer = pictureFor(held->picture);
        } else if (memory != nullptr && memory->result == PictureResult::BROKEN) {
            answer = noPicture(PictureResult::BROKEN);
        } else if (m_stopped || (job == m_jobs.end() && m_outage.pauses(now))) {
            answer = noPicture(PictureResult::AWAY, untilAskedAgain(now));
        } else {
            const JobPtr wanted = job != m_jobs.end() ? job->second : std::make_shared<Job>(content, form, name);
            if (job == m_jobs.end())
                m_jobs.emplace(name, wanted);
            ticket = ++m_lastTicket;
            wanted->waiters.emplace(ticket, waiter);
            wanted->urgent = true;
        }
    }
    if (answer)
        waiter(std::move(*answer));
    else
        wake();
    return ticket;
}

void Pictures::Impl::cancel(Ticket ticket)
{
    Ended ended;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found =
            std::find_if(m_jobs.begin(), m_jobs.end(), [&](const auto& entry) { return entry.second->waiters.count(ticket) != 0; });
        if (found == m_jobs.end())
            return;
        const JobPtr job = found->second;
        job->waiters.erase(ticket);
        job->urgent = !job->waiters.empty();
        if (job->waiters.empty() && !isWantedSoon(job->name))
            ended = takeOut(job);
    }
    if (ended.call)
        ended.call->cancel();
    wake();
}

void Pictures::Impl::wantSoon(const std::string& tab, const std::vector<WantedPicture>& pictures)
{
    std::vector<Ended> ended;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_tabs.erase(std::remove_if(m_tabs.begin(), m_tabs.end(), [&](const Tab& one) { return one.name == tab; }), m_tabs.end());
        if (!pictures.empty() && !m_stopped) {
            Tab added;
            added.name = tab;
            for (std::size_t i = 0; i < std::min(pictures.size(), MOST_WANTED); ++i) {
                const PictureForm form = formOf(pictures[i].size, pictures[i].box, m_settings.most);
                added.list.push_back({pictures[i].content, form, cacheName(pictures[i].content, form)});
            }
            if (m_tabs.size() >= MOST_TABS)
                m_tabs.pop_front();
            m_tabs.push_back(std::move(added));
        }
        std::vector<JobPtr> unwanted;
        for (const auto& [name, job] : m_jobs) {
            job->soon = isWantedSoon(name);
            if (!job->soon && job->waiters.empty())
                unwanted.push_back(job);
        }
        for (const JobPtr& job : unwanted)
            ended.push_back(takeOut(job));
        letGoOfHeld();
    }
    for (Ended& one : ended) {
        if (one.call)
            one.call->cancel();
    }
    wake();
}

/// What is under way for contents, or wanted of them.
std::vector<Pictures::Impl::Ended> Pictures::Impl::forget(const IsMeant& isMeant)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Ended> ended = takeOutAll(isMeant);
    const auto isOfThem = [&](const Wanted& one) { return isMeant(one.content); };
    for (Tab& tab : m_tabs)
        tab.list.erase(std::remove_if(tab.list.begin(), tab.list.end(), isOfThem), tab.list.end());
    letGoOfHeld();
    return ended;
}

void Pictures::Impl::tellGone(std::vector<Ended> ended)
{
    for (Ended& one : ended) {
        if (one.call)
            one.call->cancel();
        for (const Waiter& waiter : one.waiters)
            waiter(noPicture(PictureResult::GONE));
    }
    wake();
}

void Pictures::Impl::drop(const std::string& content)
{
    std::vector<Ended> ended = forget([&](const std::string& one) { return one == content; });
    // Those that were being kept find themselves cancelled now, or are in the cache.
    m_cache.drop(content);
    tellGone(std::move(ended));
}

void Pictures::Impl::drop(const ContentSet& contents)
{
    std::vector<Ended> ended = forget([&](const std::string& one) { return contents.has(one); });
    m_cache.drop(contents);
    tellGone(std::move(ended));
}

bool Pictures::Impl::makeRoom()
{
    constexpr std::uint64_t ROOM = std::uint64_t{16} << 20;
    return m_cache.makeRoom(ROOM);
}

void Pictures::Impl::clear()
{
    std::vector<Ended> ended;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_tabs.clear();
        m_memory.clear();
        m_held.clear();
        ended = takeOutAll(nullptr);
    }
    m_cache.clear();
    tellGone(std::move(ended));
}

PictureStatus Pictures::Impl::status() const
{
    PictureStatus status;
    status.bytes = m_cache.bytes();
    status.limit = m_settings.limit;
    status.pictures = m_cache.count();
    status.diskFull = m_cache.isFull();
    const std::lock_guard<std::mutex> lock(m_mutex);
    status.inMemory = m_held.size();
    status.transfers = static_cast<std::size_t>(
        std::count_if(m_jobs.begin(), m_jobs.end(), [](const auto& entry) { return entry.second->phase == Job::Phase::FETCHING; }));
    return status;
}

Pictures::Impl::Ended Pictures::Impl::takeOut(const JobPtr& job)
{
    Ended ended;
    job->cancelled = true;
    for (auto& [ticket, waiter] : job->waiters)
        ended.waiters.push_back(std::move(waiter));
    job->waiters.clear();
    ended.call = job->call;
    m_jobs.erase(job->name);
    return ended;
}

/// \param isMeant whose jobs; empty for all
std::vector<Pictures::Impl::Ended> Pictures::Impl::takeOutAll(const IsMeant& isMeant)
{
    std::vector<JobPtr> jobs;
    for (const auto& [name, job] : m_jobs) {
        if (!isMeant || isMeant(job->content))
            jobs.push_back(job);
    }
    std::vector<Ended> ended;
    ended.reserve(jobs.size());
    for (const JobPtr& job : jobs)
        ended.push_back(takeOut(job));
    return ended;
}

void Pictures::Impl::settle(const std::string& name)
{
    for (Tab& tab : m_tabs) {
        for (Wanted& wanted : tab.list)
            wanted.settled = wanted.settled || wanted.name == name;
    }
}

void Pictures::Impl::remember(const std::string& name, PictureResult result, Clock::time_point until)
{
    if (m_memory.size() >= MOST_MEMORIES) {
        const auto now = Clock::now();
        for (auto one = m_memory.begin(); one != m_memory.end();)
            one = one->second.until <= now ? m_memory.erase(one) : std::next(one);
        if (m_memory.size() >= MOST_MEMORIES)
            m_memory.clear();
    }
    m_memory[name] = {result, until};
}

const Pictures::Impl::Memory* Pictures::Impl::remembered(const std::string& name, Clock::time_point now) const
{
    const auto found = m_memory.find(name);
    return found != m_memory.end() && found->second.until > now ? &found->second : nullptr;
}

bool Pictures::Impl::isWantedSoon(const std::string& name) const
{
    return std::any_of(m_tabs.begin(), m_tabs.end(), [&](const Tab& tab) {
        return std::any_of(tab.list.begin(), tab.list.end(), [&](const Wanted& one) { return !one.settled && one.name == name; });
    });
}

std::deque<Pictures::Impl::Held>::iterator Pictures::Impl::heldAs(const std::string& name)
{
    return std::find_if(m_held.begin(), m_held.end(), [&](const Held& one) { return one.name == name; });
}

/// What no tab has in its list any more is not held for it.
void Pictures::Impl::letGoOfHeld()
{
    const auto isListed = [this](const Held& held) {
        return std::any_of(m_tabs.begin(), m_tabs.end(), [&](const Tab& tab) {
            return std::any_of(tab.list.begin(), tab.list.end(), [&](const Wanted& one) { return one.name == held.name; });
        });
    };
    m_held.erase(std::remove_if(m_held.begin(), m_held.end(), [&](const Held& one) { return !isListed(one); }), m_held.end());
}

std::chrono::seconds Pictures::Impl::untilAskedAgain(Clock::time_point now) const
{
    return std::max(std::chrono::ceil<std::chrono::seconds>(m_outage.until() - now), std::chrono::seconds(1));
}

} // namespace tv
