// SPDX-License-Identifier: MIT
// How the index changes.
#include "tv/index/Index.h"

#include <unordered_map>

namespace tv {

namespace {

bool sameButComments(const Entry& a, const Entry& b)
{
    return a.created == b.created && a.uploaded == b.uploaded && a.width == b.width && a.height == b.height && a.size == b.size &&
           a.type == b.type && a.format == b.format && a.description == b.description && a.creator == b.creator &&
           a.creatorName == b.creatorName && a.group == b.group;
}

bool isOrdered(const std::vector<Entry>& page, std::optional<Key> before)
{
    for (const Entry& entry : page) {
        Key key = keyOf(entry);
        if (before && !(key < *before))
            return false;
        before = std::move(key);
    }
    return true;
}

} // namespace

/// Brings what was found of a stretch to what is wanted there. Contents that are wanted may stand elsewhere.
void Index::change(Step& step, const std::vector<Entry>& found, const std::vector<Entry>& wanted)
{
    if (m_inMemory && !wanted.empty() && countKnown() > MOST_IN_MEMORY)
        throw NoRoom();
    std::unordered_map<std::string, const Entry*> known;
    for (const Entry& entry : found)
        known.emplace(entry.id, &entry);
    const auto erase = [&](const Entry& entry, bool hidden) {
        m_database->erase(entry.id);
        step.moves.push_back({entry.group, keyOf(entry), hidden, false});
    };
    for (const Entry& entry : wanted) {
        const bool hidden = m_hooks.isHidden(entry.id);
        std::optional<Database::Found> elsewhere;
        const Entry* before = nullptr;
        if (const auto here = known.find(entry.id); here != known.end()) {
            before = here->second;
            known.erase(here);
        } else if ((elsewhere = m_database->find(entry.id))) {
            before = &elsewhere->entry;
        }
        if (before != nullptr && before->comments != entry.comments)
            step.changes.commented.push_back(entry.id);
        if (before != nullptr && sameButComments(*before, entry)) {
            if (before->comments != entry.comments)
                m_database->put(entry, hidden);
            continue;
        }
        if (before != nullptr)
            erase(*before, hidden);
        m_database->put(entry, hidden);
        step.moves.push_back({entry.group, keyOf(entry), hidden, true});
        if (before == nullptr)
            step.changes.added.push_back(entry.id);
        else
            ++step.changes.touched;
    }
    for (const auto& [id, entry] : known) {
        erase(*entry, m_hooks.isHidden(id));
        step.changes.removed.push_back(id);
    }
}

Changes Index::mergePage(const std::string& group, const std::vector<Entry>& page, const std::optional<Key>& behind, bool end)
{
    return write([&](Step& step) {
        if (stateOf(group) == nullptr)
            return;
        if (page.empty() && !end)
            return;
        // Where a service orders contents of one time otherwise than the index does, nothing is known of those at the page's ends.
        const bool ordered = isOrdered(page, behind);
        const auto first = behind && !ordered ? Key{behind->created, LEAST_ID} : behind;
        std::optional<Key> last;
        if (!end)
            last = ordered ? keyOf(page.back()) : Key{page.back().created + 1, LEAST_ID};
        change(step, m_database->between(group, first, last), page);
    });
}

Changes Index::put(const std::vector<Entry>& entries)
{
    return write([&](Step& step) { change(step, {}, entries); });
}

bool Index::remove(const std::string& content)
{
    const Changes changes = write([&](Step& step) {
        const auto found = m_database->find(content);
        if (!found)
            return;
        m_database->erase(content);
        step.moves.push_back({found->entry.group, keyOf(found->entry), found->hidden, false});
        step.changes.removed.push_back(content);
    });
    return !changes.removed.empty();
}

void Index::setHidden(const std::string& content, bool hidden)
{
    write([&](Step& step) {
        const auto found = m_database->find(content);
        if (!found || found->hidden == hidden)
            return;
        m_database->setHidden(content, hidden);
        step.moves.push_back({found->entry.group, keyOf(found->entry), !hidden, false});
        step.moves.push_back({found->entry.group, keyOf(found->entry), hidden, true});
    });
}

void Index::setComments(const std::string& content, std::int64_t comments)
{
    write([&](Step&) {
        auto found = m_database->find(content);
        if (!found || found->entry.comments == comments)
            return;
        found->entry.comments = comments;
        m_database->put(found->entry, found->hidden);
    });
}

} // namespace tv
