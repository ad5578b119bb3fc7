// SPDX-License-Identifier: MIT
#include "tv/service/Follower.h"

#include "tv/core/Log.h"

#include <algorithm>
#include <iterator>
#include <random>

namespace tv {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds SHORTEST_PAUSE = 1s; ///< after a first failure; it doubles from one to the next
constexpr std::chrono::milliseconds NO_ROOM_PAUSE = 60s;
constexpr std::size_t MOST_WATCHED = 30;
constexpr unsigned int REFUSALS_OF_STRANGERS = 2; ///< how often something that is no service of ours must refuse to be believed

constexpr std::chrono::milliseconds LONGEST_QUIET = 60s; ///< of a group with which something does not work
constexpr std::size_t MOST_POLLED = 200;                 ///< groups at a time

/// Whether a failure has nothing to do with the one thing that was asked for.
bool isOfAll(const kinloom::CallFailure& failure)
{
    using kinloom::FailureReason;
    if (failure.kind == kinloom::FailureKind::INVALID)
        return false; // nobody was asked
    return failure.httpCode == 0 || failure.reason == FailureReason::NO_CONNECTION || failure.reason == FailureReason::TOO_MANY ||
           failure.reason == FailureReason::UNAVAILABLE;
}

bool chanceOfHalf()
{
    thread_local std::mt19937 engine{std::random_device()()};
    return std::bernoulli_distribution()(engine);
}

} // namespace

Follower::Follower(Index& index, Connection& connection, FollowerNews& news, const Times& times)
    : m_index(index), m_connection(connection), m_news(news), m_times(times)
{
}

Follower::~Follower()
{
    stop();
    m_connection.end();
    join();
}

void Follower::join()
{
    if (m_thread.joinable())
        m_thread.join();
}

void Follower::start()
{
    m_thread = std::thread([this] { run(); });
}

void Follower::stop()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ending = true;
    m_woken.notify_all();
}

void Follower::signInAnew()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_signedIn = false;
    m_hurried = true;
    m_woken.notify_all();
}

void Follower::doubt()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_doubted = true;
    m_woken.notify_all();
}

void Follower::hurry()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hurried = true;
    m_woken.notify_all();
}

void Follower::prefer(const std::string& group)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_preferred = group;
}

void Follower::watch(const std::string& content)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_watched.erase(std::remove(m_watched.begin(), m_watched.end(), content), m_watched.end());
    m_watched.push_front(content);
    if (m_watched.size() > MOST_WATCHED)
        m_watched.pop_back();
}

void Follower::run()
{
    while (true) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_woken.wait(lock, [this] { return m_ending || m_connection.hasBegun(); });
            if (m_ending)
                return;
            if (m_hurried)
                m_nextPoll = Clock::now();
            m_hurried = false;
        }
        try {
            step();
            m_failures = 0;
        } catch (const CallTrouble& trouble) {
            m_ahead.reset();
            if (trouble.trouble() == Trouble::REFUSED || trouble.trouble() == Trouble::NOT_FOUND)
                log(trouble.what());
            if (trouble.trouble() != Trouble::ENDED && trouble.trouble() != Trouble::STRANGER)
                pauseAfterFailure();
        } catch (const NoRoom& lack) {
            m_ahead.reset();
            if (!m_lackTold)
                log(lack.what());
            m_lackTold = true;
            pause(NO_ROOM_PAUSE);
        } catch (const std::exception& error) {
            m_ahead.reset();
            log(error.what());
            pauseAfterFailure();
        }
    }
}

void Follower::step()
{
    bool mustSignIn = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        mustSignIn = m_doubted || !m_signedIn;
    }
    if (mustSignIn) {
        identify();
        return;
    }
    if (Clock::now() >= m_nextPoll) {
        poll();
        m_nextPoll = Clock::now() + m_times.poll;
        for (const auto& [group, reading] : m_readings)
            if (reading.quietUntil > Clock::now())
                m_nextPoll = std::min(m_nextPoll, reading.quietUntil); // this one was left out
        return;
    }
    if (const std::string next = nextToRead(); !next.empty())
        tryGroup(next, [this](const std::string& group) { readPage(group); });
    else
        pause(std::chrono::duration_cast<std::chrono::milliseconds>(m_nextPoll - Clock::now()) + 1ms);
}

/// Waits, unless something wakes it.
void Follower::pause(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_woken.wait_for(lock, time, [this] { return m_ending || m_hurried || (m_doubted && m_signedIn); });
}

std::chrono::milliseconds Follower::pauseFor(unsigned int failures) const
{
    return std::min(m_times.longest, SHORTEST_PAUSE * (1U << std::min(failures, 8U)));
}

void Follower::pauseAfterFailure()
{
    const auto longest = pauseFor(m_failures++);
    // Half of the televisions come a little earlier: those that lost the service at one moment need not come back at one.
    pause(chanceOfHalf() ? longest : longest * 3 / 4);
}

void Follower::identify()
{
    W::WPerson person;
    try {
        person = m_connection.call(Connection::Lane::BEHIND, kinloom::AskPerson());
    } catch (const CallTrouble& trouble) {
        const bool refused = trouble.failure().httpCode == 401 || trouble.failure().httpCode == 403;
        if (trouble.trouble() != Trouble::STRANGER && !refused)
            throw;
        // Whatever stands between may say so as well, for a moment; the service itself is believed at once.
        if (trouble.trouble() != Trouble::STRANGER && ++m_refusals < REFUSALS_OF_STRANGERS)
            throw;
        m_readings.clear();
        m_unread.clear();
        m_again.clear();
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_doubted = false;
            m_signedIn = false;
        }
        m_news.turnedAway();
        pause(m_times.refused);
        return;
    }
    m_refusals = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_doubted = false;
        m_signedIn = true;
    }
    const std::string service = m_connection.lanes(Connection::Lane::BEHIND)->address();
    m_news.signedIn({service, person.getUID(), person.getName()});
}

/// Does something for a group. Where that fails for this group alone the others go on, and it waits a while; what fails for all of
/// them is thrown.
void Follower::tryGroup(const std::string& group, const Work& work)
{
    Reading& reading = m_readings[group];
    if (Clock::now() < reading.quietUntil)
        return;
    try {
        work(group);
        reading.failures = 0;
    } catch (const NoRoom& lack) {
        // What has gone is still looked for, so that it leaves the show.
        if (m_ahead && m_ahead->group == group)
            m_ahead.reset();
        if (!m_lackTold)
            log(lack.what());
        m_lackTold = true;
        reading.pagesFrom = Clock::now() + NO_ROOM_PAUSE;
    } catch (const CallTrouble& trouble) {
        if (m_ahead && m_ahead->group == group)
            m_ahead.reset();
        if (trouble.trouble() == Trouble::ENDED || trouble.trouble() == Trouble::STRANGER)
            throw;
        const bool ofAll = isOfAll(trouble.failure());
        // What fails for all may be this one alone all the same, most of all where no answer came in time: others come first then.
        auto quiet = ofAll ? pauseFor(m_failures) + SHORTEST_PAUSE : SHORTEST_PAUSE;
        if (!ofAll || trouble.failure().kind == kinloom::FailureKind::TIMED_OUT)
            quiet = std::max(quiet, std::min(LONGEST_QUIET, SHORTEST_PAUSE * (1U << std::min(reading.failures++, 8U))));
        reading.quietUntil = Clock::now() + quiet;
        if (ofAll)
            throw;
        if (reading.failures == 1)
            log(trouble.what());
    }
}

/// All of them; where there are many, what somebody looks at and some others. The list of groups tells which of the rest have more.
std::vector<std::string> Follower::groupsToPoll()
{
    std::vector<std::string> all = m_index.groupIds();
    if (all.size() <= MOST_POLLED)
        return all;
    auto first = std::find(all.begin(), all.end(), m_polledLast);
    first = first == all.end() ? all.begin() : std::next(first);
    std::rotate(all.begin(), first, all.end());
    all.resize(MOST_POLLED);
    m_polledLast = all.back();
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_preferred.empty())
        all.push_back(m_preferred);
    return all;
}

void Follower::poll()
{
    for (const std::string& id : groupsToPoll())
        tryGroup(id, [this](const std::string& group) { pollUploads(group); });
    pollGroups();
    for (const std::string& id : m_index.groupIds())
        tryGroup(id, [this](const std::string& group) {
            if (const auto known = m_index.group(group)) {
                checkTotal(*known);
                checkComments(*known);
            }
        });
}

void Follower::report(const std::string& group, const Changes& changes)
{
    if (!changes.added.empty() || !changes.removed.empty())
        disturb(group);
    if (!changes.empty())
        m_news.contentsChanged(group, changes);
}

std::vector<Entry> Follower::entriesOf(const std::vector<W::WContent>& contents, const std::string& group) const
{
    std::vector<Entry> entries;
    entries.reserve(contents.size());
    for (const W::WContent& content : contents)
        entries.push_back(entryOf(content, group));
    return entries;
}

} // namespace tv
