// SPDX-License-Identifier: MIT
// What the follower reads: the groups, what is new in them, and their feeds from end to end.
#include "tv/service/FeedEntries.h"
#include "tv/service/Follower.h"

#include <algorithm>
#include <unordered_set>

namespace tv {

namespace {

using namespace std::chrono_literals;

constexpr unsigned int GROUPS_PAGE = 100;
constexpr unsigned int FEED_PAGE = 1000;
/// How much of a group is read again when it has new comments: of more than that the newest alone, and what people look at.
constexpr std::int64_t COMMENTS_OF = 20'000;
constexpr unsigned int NEWEST_PAGES = 2;
constexpr auto TELLING = 500ms; ///< between two events on how far an index is

kinloom::ReadFeed feedOf(const std::string& group, W::KL_SEARCH_BASE base, unsigned int count)
{
    kinloom::ReadFeed query;
    query.group = group;
    query.base = base;
    query.count = count;
    query.include = W::KL_INCLUDE_CREATOR;
    return query;
}

/// What the service counts beyond the contents that are known.
std::int64_t differenceOf(const Index& index, const GroupEntry& group) { return group.total - index.countAll(group.id); }

bool isBadMarker(const CallTrouble& trouble) { return trouble.failure().reason == kinloom::FailureReason::BAD_MARKER; }

} // namespace

void Follower::pollGroups()
{
    std::vector<GroupEntry> groups;
    std::unordered_set<std::string> listed;
    const std::vector<GroupEntry> before = m_index.groups();
    bool manyPages = false;
    for (bool more = true; more;) {
        kinloom::ListGroups query;
        query.index = static_cast<unsigned int>(groups.size());
        query.count = GROUPS_PAGE;
        query.sort = W::KL_SORT_RECENT_USED;
        query.include = W::KL_INCLUDE_ALL;
        const auto reply = m_connection.call(Connection::Lane::BEHIND, query);
        more = reply.size() > GROUPS_PAGE;
        const std::size_t known = groups.size();
        for (const W::WGroup& group : reply)
            if (!group.getUID().empty() && groups.size() < known + GROUPS_PAGE && listed.insert(group.getUID()).second)
                groups.push_back(entryOf(group));
        more = more && groups.size() > known; // a service that repeats itself does not keep this going for ever
        manyPages = manyPages || more;
    }
    std::unordered_set<std::string> earlier;
    for (const GroupEntry& group : before) {
        earlier.insert(group.id);
        if (listed.count(group.id) != 0)
            continue;
        // A group that is used between two pages of the list moves to the front, and is in neither.
        if (manyPages && isStillThere(group.id)) {
            groups.push_back(group);
            continue;
        }
        m_news.groupGone(group.id);
        m_readings.erase(group.id);
    }
    m_index.putGroups(groups);
    const auto same = [](const GroupEntry& a, const GroupEntry& b) {
        return a.id == b.id && a.name == b.name && a.description == b.description && a.master == b.master && a.total == b.total &&
               a.photos == b.photos && a.comments == b.comments;
    };
    if (!std::equal(groups.begin(), groups.end(), before.begin(), before.end(), same))
        m_news.groupsChanged();
    for (const GroupEntry& entry : groups) {
        if (earlier.count(entry.id) == 0)
            tryGroup(entry.id, [this](const std::string& group) {
                startReading(group, 0);
                pollUploads(group);
            });
    }
}

/// Whether the service still gives what is in a group.
bool Follower::isStillThere(const std::string& group)
{
    kinloom::ReadFeed query = feedOf(group, W::KL_BASE_CREATED_TIME, 1);
    query.before = FEED_END;
    try {
        m_connection.call(Connection::Lane::BEHIND, query);
        return true;
    } catch (const CallTrouble& trouble) {
        if (trouble.trouble() == Trouble::ENDED || trouble.trouble() == Trouble::STRANGER)
            throw;
        return trouble.trouble() != Trouble::NOT_FOUND;
    }
}

/// Finds out where a group's feed begins and ends, from where it is followed.
void Follower::readBeginnings(const std::string& group, Progress& progress)
{
    kinloom::ReadFeed latest = feedOf(group, W::KL_BASE_UPLOAD_TIME, 1);
    latest.before = FEED_END;
    kinloom::ReadFeed oldest = feedOf(group, W::KL_BASE_CREATED_TIME, 1);
    oldest.after = FEED_END;
    const auto newest = m_connection.call(Connection::Lane::BEHIND, latest);
    if (newest.empty())
        return;
    const Entry last = entryOf(newest.front(), group);
    progress.latest = last.id;
    progress.latestTime = last.uploaded;
    const auto first = m_connection.call(Connection::Lane::BEHIND, oldest);
    if (!first.empty())
        progress.oldest = entryOf(first.front(), group).created;
}

void Follower::pollUploads(const std::string& group)
{
    auto known = m_index.group(group);
    if (!known)
        return;
    Progress progress = known->progress;
    if (progress.latest.empty() && !progress.complete) {
        readBeginnings(group, progress);
        if (!progress.latest.empty())
            m_index.putProgress(group, progress);
        return;
    }
    for (bool more = true; more;) {
        kinloom::ReadFeed query = feedOf(group, W::KL_BASE_UPLOAD_TIME, FEED_PAGE);
        query.after = progress.latest.empty() ? FEED_END : progress.latest;
        std::vector<W::WContent> reply;
        try {
            reply = m_connection.call(Connection::Lane::BEHIND, query);
        } catch (const CallTrouble& trouble) {
            if (trouble.trouble() == Trouble::NOT_FOUND) // the list of groups, which is read next, will tell
                return;
            if (!isBadMarker(trouble) || progress.latest.empty())
                throw;
            // What was uploaded last is deleted; from its time on it may come twice, which does no harm.
            query.after = markerTime(progress.latestTime - 1);
            reply = m_connection.call(Connection::Lane::BEHIND, query);
        }
        const std::vector<W::WContent> page = pageOf(std::move(reply), FEED_PAGE, more);
        if (page.empty())
            return;
        std::vector<Entry> entries = entriesOf(page, group);
        const std::string latest = entries.back().id;
        more = more && latest != progress.latest;
        progress.latest = latest;
        progress.latestTime = entries.back().uploaded;
        // What lies where the index has not come to yet would stand at a wrong place until then; it is found there.
        const auto reading = m_readings.find(group);
        if (!progress.complete)
            entries.erase(std::remove_if(entries.begin(), entries.end(),
                                         [&](const Entry& entry) {
                                             return reading == m_readings.end() || !reading->second.behind ||
                                                    keyOf(entry) < *reading->second.behind;
                                         }),
                          entries.end());
        m_news.passingBy(page);
        report(group, m_index.put(entries));
        m_index.putProgress(group, progress);
    }
}

/// Something has come to a group, or gone.
void Follower::disturb(const std::string& group)
{
    Reading& reading = m_readings[group];
    reading.undisturbed = false;
    reading.settled = false;
}

void Follower::checkTotal(const GroupEntry& group)
{
    Reading& reading = m_readings[group.id];
    const auto differs = [&] { return differenceOf(m_index, group) != group.progress.difference; };
    if (reading.underWay) {
        reading.underWay = !reading.searching || differs();
        return;
    }
    if (!group.progress.complete) {
        startReading(group.id, 0);
        return;
    }
    if (present() - group.progress.read > std::chrono::duration_cast<std::chrono::milliseconds>(m_times.again).count()) {
        startReading(group.id, 0);
        return;
    }
    if (!differs())
        return;
    pollUploads(group.id); // what came since the last look is no difference
    if (!differs())
        return;
    // All was read while nothing moved: the service counts otherwise than it lists, and that is how it is.
    auto known = reading.settled && reading.total == group.total ? m_index.group(group.id) : std::nullopt;
    if (!known) {
        startReading(group.id, 0, true);
        return;
    }
    known->progress.difference = differenceOf(m_index, group);
    m_index.putProgress(group.id, known->progress);
}

void Follower::checkComments(const GroupEntry& group)
{
    Reading& reading = m_readings[group.id];
    if (reading.comments == group.comments)
        return;
    const bool first = reading.comments < 0;
    reading.comments = group.comments;
    if (first || !group.progress.complete)
        return;
    checkWatched(group.id);
    if (!reading.underWay)
        startReading(group.id, m_index.countAll(group.id) > COMMENTS_OF ? NEWEST_PAGES : 0);
}

/// Looks at what people have looked at lately: there they see new comments first.
void Follower::checkWatched(const std::string& group)
{
    std::deque<std::string> watched;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        watched = m_watched;
    }
    Changes changes;
    for (const std::string& content : watched) {
        const auto known = m_index.find(content);
        if (!known || known->entry.group != group)
            continue;
        try {
            const auto now = m_connection.call(Connection::Lane::BEHIND, kinloom::ViewContent{content});
            if (now.getCommentCount() == known->entry.comments)
                continue;
            m_index.setComments(content, now.getCommentCount());
            changes.commented.push_back(content);
        } catch (const CallTrouble& trouble) {
            if (trouble.trouble() != Trouble::NOT_FOUND)
                throw;
            if (m_index.remove(content))
                changes.removed.push_back(content);
        }
    }
    report(group, changes);
}

void Follower::startReading(const std::string& group, unsigned int pages, bool searching)
{
    const auto known = m_index.group(group);
    Reading& reading = m_readings[group];
    reading.underWay = true;
    reading.searching = searching;
    reading.total = known ? known->total : 0;
    reading.undisturbed = true;
    reading.settled = false;
    reading.pages = pages;
    reading.marker.clear();
    reading.behind.reset();
    (known && known->progress.complete ? m_again : m_unread).push_back(group);
    if (known && !known->progress.complete && !known->progress.marker.empty()) {
        // A program that was ended has come so far already.
        reading.marker = known->progress.marker;
        reading.behind = Key{known->progress.markerTime, known->progress.marker};
    }
}

/// Whether a group's pages are not to be read now.
bool Follower::isPaused(const std::string& group)
{
    const Reading& reading = m_readings[group];
    const auto now = Clock::now();
    return now < reading.quietUntil || now < reading.pagesFrom;
}

/// The group whose turn it is: what somebody looks at, else in the order of the list, and those first that were never read.
std::string Follower::nextToRead()
{
    std::string preferred;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        preferred = m_preferred;
    }
    const auto isUnderWay = [this](const std::string& group) {
        const auto reading = m_readings.find(group);
        return reading != m_readings.end() && reading->second.underWay;
    };
    if (isUnderWay(preferred) && !isPaused(preferred))
        return preferred;
    for (std::deque<std::string>* const groups : {&m_unread, &m_again}) {
        while (!groups->empty() && !isUnderWay(groups->front()))
            groups->pop_front();
        const auto next = std::find_if(groups->begin(), groups->end(),
                                       [&](const std::string& group) { return isUnderWay(group) && !isPaused(group); });
        if (next != groups->end())
            return *next;
    }
    return {};
}

/// The next page of a reading, and the request for the one behind it.
std::vector<W::WContent> Follower::fetchPage(const std::string& group, Reading& reading)
{
    const auto ask = [&](const std::string& marker) {
        kinloom::ReadFeed query = feedOf(group, W::KL_BASE_CREATED_TIME, FEED_PAGE);
        query.before = marker.empty() ? FEED_END : marker;
        return m_connection.submit(Connection::Lane::BEHIND, query);
    };
    const bool isAhead = m_ahead && m_ahead->group == group && m_ahead->marker == reading.marker;
    const auto call = isAhead ? m_ahead->call : ask(reading.marker);
    m_ahead.reset();
    std::vector<W::WContent> reply;
    try {
        reply = m_connection.valueOf(call);
    } catch (const CallTrouble& trouble) {
        if (!isBadMarker(trouble) || !reading.behind)
            throw;
        // The content that the page was to follow is deleted: from its time on.
        reading.behind = Key{reading.behind->created + 1, LEAST_ID};
        reply = m_connection.valueOf(ask(markerTime(reading.behind->created)));
    }
    if (reply.size() > FEED_PAGE && reading.pages != 1) {
        const std::string marker = reply[FEED_PAGE - 1].getUID();
        if (!marker.empty() && marker != reading.marker)
            m_ahead = Ahead{group, marker, ask(marker)};
    }
    return reply;
}

void Follower::readPage(const std::string& group)
{
    Reading& reading = m_readings[group];
    std::vector<W::WContent> reply;
    try {
        reply = fetchPage(group, reading);
    } catch (const CallTrouble& trouble) {
        if (trouble.trouble() == Trouble::NOT_FOUND) {
            reading.underWay = false; // the list of groups will tell
            m_nextPoll = Clock::now();
        }
        throw;
    }
    bool more = false;
    const std::vector<W::WContent> page = pageOf(std::move(reply), FEED_PAGE, more);
    if (!reading.behind)
        m_news.passingBy(page);
    const std::vector<Entry> entries = entriesOf(page, group);
    more = more && !entries.empty() && entries.back().id != reading.marker;
    const Changes changes = m_index.mergePage(group, entries, reading.behind, !more);
    if (!changes.added.empty() || !changes.removed.empty())
        disturb(group);
    auto known = m_index.group(group);
    if (!known)
        return;
    if (more) {
        reading.marker = entries.back().id;
        reading.behind = keyOf(entries.back());
    }
    if (known->progress.complete) {
        report(group, changes);
        if (reading.searching && !changes.removed.empty() && differenceOf(m_index, *known) == known->progress.difference)
            m_nextPoll = Clock::now(); // nothing seems to be missing any more: the next totals tell
    } else {
        known->progress.marker = reading.marker;
        known->progress.markerTime = reading.behind ? reading.behind->created : 0;
        m_index.putProgress(group, known->progress);
        if (Clock::now() - reading.announced > TELLING) {
            reading.announced = Clock::now();
            m_news.indexChanged(group);
        }
    }
    const bool enough = reading.pages != 0 && --reading.pages == 0;
    if (enough)
        reading.underWay = false;
    else if (!more)
        endReading(group, reading);
}

void Follower::endReading(const std::string& group, Reading& reading)
{
    reading.underWay = false;
    reading.settled = reading.undisturbed;
    const auto known = m_index.group(group);
    if (!known)
        return;
    Progress progress = known->progress;
    const bool first = !progress.complete;
    progress.complete = true;
    progress.marker.clear();
    progress.read = present();
    m_index.putProgress(group, progress);
    // What still differs may be what went while this was read, or how the service counts: the next totals tell.
    if (differenceOf(m_index, *known) != progress.difference)
        m_nextPoll = Clock::now();
    if (first)
        m_news.indexChanged(group);
}

} // namespace tv
