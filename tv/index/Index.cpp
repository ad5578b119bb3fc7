// SPDX-License-Identifier: MIT
#include "tv/index/Index.h"

#include "tv/core/Log.h"

#include <algorithm>
#include <sqlite3.h>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <unordered_set>
#include <utility>

namespace tv {

namespace {

bool isLackOfRoom(const SQLite::Exception& error)
{
    switch (error.getErrorCode()) {
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
        return true;
    default:
        return false;
    }
}

/// As far as the service tells of it.
bool isSame(const GroupEntry& a, const GroupEntry& b)
{
    const auto told = [](const GroupEntry& group) {
        return std::tie(group.name, group.description, group.master, group.masterName, group.total, group.photos, group.videos,
                        group.music, group.comments);
    };
    return told(a) == told(b);
}

} // namespace

Index::Index(std::string path, Hooks hooks) : m_path(std::move(path)), m_hooks(std::move(hooks)) { open(); }

Index::~Index() = default;

void Index::open()
{
    try {
        m_database = std::make_unique<Database>(m_path);
        load();
    } catch (const SQLite::Exception& error) {
        if (!isDamage(error) && openAlone())
            return;
        log(m_path + " cannot be used (" + error.what() + "); " +
            (isDamage(error) ? "it is begun anew" : "what it is for is kept in memory"));
        if (isDamage(error))
            startAnew();
        else
            beginInMemory();
    }
}

/// What is there can be read though the disk has no room for anything new. \return whether it can.
bool Index::openAlone()
{
    try {
        m_database.reset();
        m_database = std::make_unique<Database>(m_path, true);
        load();
        m_alone = true;
        return true;
    } catch (const SQLite::Exception&) {
        return false;
    }
}

void Index::startAnew()
{
    m_alone = false;
    m_database.reset();
    Database::removeFiles(m_path);
    try {
        m_database = std::make_unique<Database>(m_path);
        m_inMemory = false;
        load();
    } catch (const SQLite::Exception&) {
        beginInMemory();
    }
}

void Index::beginInMemory()
{
    m_database = std::make_unique<Database>(std::string());
    m_inMemory = true;
    load();
}

void Index::load()
{
    m_groups.clear();
    m_order.clear();
    m_going.reset();
    for (GroupEntry& entry : m_database->groups()) {
        GroupState& state = m_groups[entry.id];
        state.place = static_cast<int>(m_order.size());
        m_order.push_back(entry.id);
        m_database->eachKey(entry.id, [&](const Key& key) { state.places.append(key, m_finder.of(key.created)); });
        state.hidden = m_database->countHidden(entry.id);
        state.entry = std::move(entry);
    }
}

std::int64_t Index::countKnown() const
{
    std::int64_t count = 0;
    for (const auto& [id, state] : m_groups)
        count += state.places.count() + state.hidden;
    return count;
}

bool Index::goToMemory()
{
    if (m_inMemory || countKnown() > MOST_IN_MEMORY)
        return false;
    try {
        m_database = m_database->copyInMemory();
    } catch (const SQLite::Exception& error) {
        log(std::string("the index cannot be taken to memory: ") + error.what());
        return false;
    }
    m_inMemory = true;
    log("there is no room on the disk for the index; it goes on in memory until the next start");
    return true;
}

/// Runs something on the database. A damaged one is begun anew, and gives what an empty one gives.
template <class Work> auto Index::guarded(Work work) const
{
    using Result = decltype(work());
    // Damage is mended behind the const of those who read: to them an index that is gone is one that knows nothing.
    Index& self = const_cast<Index&>(*this);
    std::unique_lock<std::mutex> lock(m_mutex);
    try {
        return work();
    } catch (const SQLite::Exception& error) {
        m_database->forget();
        if (!isDamage(error))
            log(std::string("the index does not answer: ") + error.what());
        else {
            log(m_path + " is damaged (" + error.what() + "); it is begun anew");
            self.startAnew();
            lock.unlock();
            m_hooks.lost();
        }
    }
    if constexpr (!std::is_void_v<Result>)
        return Result{};
}

/// Runs something that writes. Where the disk is full, what is less needed there makes room, else it goes on in memory.
Changes Index::write(const std::function<void(Step& step)>& work)
{
    return guarded([&]() -> Changes {
        const auto makeRoom = [&] { return !m_inMemory && m_hooks.makeRoom && m_hooks.makeRoom(); };
        for (bool madeRoom = false, again = true;;) {
            Step step;
            try {
                Database::Transaction transaction(*m_database);
                work(step);
                transaction.commit();
            } catch (const SQLite::Exception& error) {
                m_database->forget();
                if (!isLackOfRoom(error))
                    throw;
                if (!std::exchange(madeRoom, true) && makeRoom())
                    continue;
                if (!again || !goToMemory())
                    throw NoRoom();
                again = false;
                continue;
            }
            settle(step);
            return std::move(step.changes);
        }
    });
}

void Index::settle(const Step& step)
{
    std::unordered_set<std::string> groups;
    for (const Step::Move& move : step.moves) {
        GroupState* const state = stateOf(move.group);
        if (state == nullptr)
            continue;
        if (move.hidden) {
            state->hidden += move.comes ? 1 : -1;
            continue;
        }
        groups.insert(move.group);
        const Month month = m_finder.of(move.key.created);
        if (move.comes)
            state->places.insert(move.key, month);
        else
            state->places.erase(move.key, month);
    }
    for (const std::string& group : groups)
        stateOf(group)->places.settle(
            [&](const Key& from, std::int64_t offset) { return m_database->keyAt(group, from, offset).value_or(from); });
}

Index::GroupState* Index::stateOf(const std::string& group) { return const_cast<GroupState*>(std::as_const(*this).stateOf(group)); }

const Index::GroupState* Index::stateOf(const std::string& group) const
{
    const auto found = m_groups.find(group);
    return found == m_groups.end() ? nullptr : &found->second;
}

std::string Index::owner()
{
    return guarded([&] { return m_database->owner(); });
}

void Index::beginFor(const std::string& owner)
{
    guarded([&] {
        // A new file, and not an emptied one: nothing of what another family had is left on the disk.
        startAnew();
        if (owner.empty())
            return;
        Database::Transaction transaction(*m_database);
        m_database->setOwner(owner);
        transaction.commit();
    });
}

void Index::setOwner(const std::string& owner)
{
    write([&](Step&) { m_database->setOwner(owner); });
}

void Index::examine()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_inMemory || m_alone)
            return;
    }
    if (Database::isSound(m_path))
        return;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        log(m_path + " is damaged; it is begun anew");
        startAnew();
    }
    m_hooks.lost();
}

bool Index::isInMemory() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_inMemory;
}

std::vector<GroupEntry> Index::groups() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<GroupEntry> groups;
    for (const std::string& id : m_order)
        if (const GroupState* const state = stateOf(id))
            groups.push_back(state->entry);
    return groups;
}

std::optional<GroupEntry> Index::group(const std::string& id) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const GroupState* const state = stateOf(id);
    return state == nullptr ? std::nullopt : std::optional(state->entry);
}

std::vector<std::string> Index::groupIds() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_order;
}

bool Index::isComplete(const std::string& group) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const GroupState* const state = stateOf(group);
    return state != nullptr && state->entry.progress.complete;
}

std::vector<std::string> Index::putGroups(const std::vector<GroupEntry>& groups)
{
    std::vector<std::string> gone;
    std::vector<std::pair<const GroupEntry*, int>> changed;
    {
        std::unordered_set<std::string_view> listed;
        for (const GroupEntry& group : groups)
            listed.insert(group.id);
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& [id, state] : m_groups)
            if (listed.count(id) == 0)
                gone.push_back(id);
        for (std::size_t place = 0; place < groups.size(); ++place) {
            const GroupState* const state = stateOf(groups[place].id);
            if (state == nullptr || state->place != static_cast<int>(place) || !isSame(state->entry, groups[place]))
                changed.emplace_back(&groups[place], static_cast<int>(place));
        }
    }
    for (const std::string& id : gone)
        removeGroup(id);
    const auto unfinished = guarded([&] {
        if (!m_going) {
            const auto going = m_database->going();
            m_going.emplace(going.begin(), going.end());
        }
        return *m_going;
    });
    for (const std::string& id : unfinished)
        removeContents(id);
    const auto isGoing = [this](const std::string& id) { return m_going && m_going->count(id) != 0; };
    bool kept = true;
    try {
        if (!changed.empty())
            write([&](Step&) {
                for (const auto& [group, place] : changed)
                    if (!isGoing(group->id))
                        m_database->putGroup(*group, place);
            });
    } catch (const NoRoom&) {
        kept = false;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_order.clear();
    for (std::size_t place = 0; place < groups.size(); ++place) {
        const GroupEntry& group = groups[place];
        if (stateOf(group.id) == nullptr && (!kept || isGoing(group.id)))
            continue;
        m_order.push_back(group.id);
        GroupState& state = m_groups[group.id];
        Progress progress = std::move(state.entry.progress);
        state.entry = group;
        state.entry.progress = std::move(progress);
        if (kept)
            state.place = static_cast<int>(place);
    }
    return gone;
}

void Index::hideGroup(const std::string& group)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_groups.erase(group) == 0)
        return;
    m_order.erase(std::remove(m_order.begin(), m_order.end(), group), m_order.end());
    if (m_going)
        m_going->insert(group);
}

void Index::removeGroup(const std::string& group)
{
    hideGroup(group);
    removeContents(group);
}

/// Some at a time, so that others get their turn.
void Index::removeContents(const std::string& group)
{
    try {
        write([&](Step&) { m_database->beginRemoving(group); });
        for (bool more = true; more;)
            write([&](Step&) {
                more = false;
                more = m_database->removeSome(group);
            });
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_going)
            m_going->erase(group);
    } catch (const NoRoom& lack) {
        log(lack.what()); // it is not shown, and what is left of it is removed when there is room
    }
}

void Index::eachContent(const std::string& group, const std::function<void(const std::string& content)>& told)
{
    guarded([&] { m_database->eachContent(group, told); });
}

void Index::putProgress(const std::string& group, const Progress& progress)
{
    write([&](Step&) {
        m_database->putProgress(group, progress);
        if (GroupState* const state = stateOf(group))
            state->entry.progress = progress;
    });
}

std::int64_t Index::count(const std::string& group) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const GroupState* const state = stateOf(group);
    return state == nullptr ? 0 : state->places.count();
}

std::int64_t Index::countAll(const std::string& group) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const GroupState* const state = stateOf(group);
    return state == nullptr ? 0 : state->places.count() + state->hidden;
}

std::vector<Entry> Index::read(const std::string& group, std::int64_t index, std::int64_t count)
{
    return guarded([&]() -> std::vector<Entry> {
        const GroupState* const state = stateOf(group);
        if (state == nullptr || index < 0 || index >= state->places.count() || count <= 0)
            return {};
        const Places::Spot spot = state->places.spotOf(index);
        return m_database->read(group, spot.from, spot.offset, count);
    });
}

std::vector<Key> Index::readKeys(const std::string& group, std::int64_t index, std::int64_t count)
{
    return guarded([&]() -> std::vector<Key> {
        const GroupState* const state = stateOf(group);
        if (state == nullptr || index < 0 || index >= state->places.count() || count <= 0)
            return {};
        const Places::Spot spot = state->places.spotOf(index);
        return m_database->readKeys(group, spot.from, spot.offset, count);
    });
}

std::optional<Index::Found> Index::find(const std::string& content)
{
    return guarded([&]() -> std::optional<Found> {
        auto found = m_database->find(content);
        if (!found || stateOf(found->entry.group) == nullptr)
            return std::nullopt;
        return Found{std::move(found->entry), found->hidden};
    });
}

std::optional<std::int64_t> Index::indexOf(const std::string& content)
{
    return guarded([&]() -> std::optional<std::int64_t> {
        const auto found = m_database->find(content);
        if (!found || found->hidden)
            return std::nullopt;
        const GroupState* const state = stateOf(found->entry.group);
        if (state == nullptr)
            return std::nullopt;
        const Key key = keyOf(found->entry);
        const Places::Spot block = state->places.blockOf(key);
        return block.offset + m_database->countBetween(found->entry.group, block.from, key);
    });
}

std::int64_t Index::countSince(const std::string& group, Millis time)
{
    return guarded([&]() -> std::int64_t {
        const GroupState* const state = stateOf(group);
        if (state == nullptr || state->places.count() == 0)
            return 0;
        // The block that would hold the oldest content of that time, whose identifier is less than all others.
        const Places::Spot block = state->places.blockOf({time, LEAST_ID});
        return block.offset + m_database->countSince(group, block.from, time);
    });
}

std::vector<MonthEntry> Index::months(const std::string& group) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const GroupState* const state = stateOf(group);
    return state == nullptr ? std::vector<MonthEntry>() : state->places.months();
}

} // namespace tv
