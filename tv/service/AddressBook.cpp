// SPDX-License-Identifier: MIT
#include "tv/service/AddressBook.h"

#include "tv/core/Log.h"
#include "tv/service/FeedEntries.h"

#include <algorithm>

namespace tv {

namespace {

using namespace std::chrono_literals;

constexpr auto PATIENCE = 10s;           ///< for one question: a picture that comes later comes too late for whoever waits
constexpr std::int64_t NEIGHBOURS = 150; ///< contents that may lie between two that are asked for in one question

} // namespace

AddressBook::AddressBook(Index& index, Connection& connection, std::function<void(const std::string&)> gone)
    : m_index(index), m_connection(connection), m_gone(std::move(gone)), m_thread([this] { run(); })
{
}

AddressBook::~AddressBook()
{
    stop();
    join();
}

void AddressBook::join()
{
    if (m_thread.joinable())
        m_thread.join();
}

void AddressBook::stop()
{
    Waiting waiting;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
        waiting.swap(m_waiting);
    }
    m_woken.notify_all();
    for (const auto& [content, askers] : waiting)
        for (const Done& done : askers)
            done(Answer::AWAY, {});
}

void AddressBook::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_known.clear();
    m_order.clear();
}

void AddressBook::find(const std::string& content, bool anew, Done done)
{
    PictureAddresses addresses;
    Answer answer = Answer::AWAY;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto known = m_known.find(content);
        if (anew && known != m_known.end()) {
            m_order.erase(known->second.place);
            m_known.erase(known);
        } else if (known != m_known.end()) {
            m_order.splice(m_order.begin(), m_order, known->second.place);
            addresses = known->second.addresses;
            answer = Answer::KNOWN;
        }
        if (answer != Answer::KNOWN && !m_ending) {
            m_waiting[content].push_back(std::move(done));
            m_woken.notify_all();
            return;
        }
    }
    done(answer, addresses);
}

/// With the lock held.
void AddressBook::keep(const std::string& content, PictureAddresses addresses)
{
    if (const auto known = m_known.find(content); known != m_known.end()) {
        known->second.addresses = std::move(addresses);
        m_order.splice(m_order.begin(), m_order, known->second.place);
        return;
    }
    m_order.push_front(content);
    m_known[content] = {std::move(addresses), m_order.begin()};
    if (m_known.size() > KEPT) {
        m_known.erase(m_order.back());
        m_order.pop_back();
    }
}

void AddressBook::note(const std::vector<W::WContent>& contents)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // The first ones are those that people see first: they stay longest.
    for (auto content = contents.rbegin(); content != contents.rend(); ++content)
        keep(content->getUID(), addressesOf(*content));
}

void AddressBook::answer(const std::string& content, Answer answer, const PictureAddresses& addresses)
{
    std::vector<Done> askers;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto waiting = m_waiting.find(content);
        if (waiting == m_waiting.end())
            return;
        askers.swap(waiting->second);
        m_waiting.erase(waiting);
    }
    for (const Done& done : askers)
        done(answer, addresses);
}

/// \return whether the content's addresses are known.
bool AddressBook::answerKnown(const std::string& content)
{
    PictureAddresses addresses;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto known = m_known.find(content);
        if (known == m_known.end())
            return false;
        addresses = known->second.addresses;
    }
    answer(content, Answer::KNOWN, addresses);
    return true;
}

void AddressBook::run()
{
    while (true) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_woken.wait(lock, [this] { return m_ending || !m_waiting.empty(); });
            if (m_ending)
                return;
        }
        const Question question = nextQuestion();
        try {
            if (!question.group.empty())
                ask(question);
            for (const std::string& content : question.contents)
                if (!answerKnown(content))
                    askOne(content);
        } catch (const CallTrouble&) {
            for (const std::string& content : question.contents)
                answer(content, Answer::AWAY, {});
        } catch (const std::exception& error) {
            log(error.what());
            for (const std::string& content : question.contents)
                answer(content, Answer::AWAY, {});
        }
    }
}

/// What to ask the service next: a stretch of a feed with all in it that is waited for, or a content that stands in none.
AddressBook::Question AddressBook::nextQuestion()
{
    std::vector<std::string> waiting;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& [content, askers] : m_waiting)
            waiting.push_back(content);
    }
    struct Place {
        std::string group;
        std::int64_t index;
        std::string content;
    };
    std::vector<Place> places;
    for (const std::string& content : waiting) {
        const auto found = m_index.find(content);
        const auto index = found && !found->hidden ? m_index.indexOf(content) : std::nullopt;
        if (index)
            places.push_back({found->entry.group, *index, content});
    }
    if (waiting.empty())
        return {}; // whoever waited was told that this ends
    if (places.empty())
        return {{}, {}, 0, {waiting.front()}};
    std::sort(places.begin(), places.end(),
              [](const Place& a, const Place& b) { return a.group != b.group ? a.group < b.group : a.index < b.index; });
    Question question;
    question.group = places.front().group;
    const std::int64_t first = places.front().index;
    std::int64_t last = first;
    for (const Place& place : places) {
        if (place.group != question.group || place.index - first > NEIGHBOURS)
            break;
        last = place.index;
        question.contents.push_back(place.content);
    }
    question.count = static_cast<unsigned int>(last - first + 1);
    const auto newer = first == 0 ? std::vector<Entry>() : m_index.read(question.group, first - 1, 1);
    question.before = newer.empty() ? FEED_END : newer.front().id;
    return question;
}

void AddressBook::ask(const Question& question)
{
    kinloom::ReadFeed query;
    query.group = question.group;
    query.before = question.before;
    query.count = question.count;
    try {
        note(m_connection.call(Connection::Lane::PERSON, query, PATIENCE));
    } catch (const CallTrouble& trouble) {
        // The neighbour may be gone, or the group: each is asked for by itself then.
        if (trouble.trouble() != Trouble::REFUSED && trouble.trouble() != Trouble::NOT_FOUND)
            throw;
    }
}

void AddressBook::askOne(const std::string& content)
{
    try {
        note({m_connection.call(Connection::Lane::PERSON, kinloom::ViewContent{content}, PATIENCE)});
        if (!answerKnown(content))
            answer(content, Answer::GONE, {});
    } catch (const CallTrouble& trouble) {
        if (trouble.trouble() != Trouble::NOT_FOUND && trouble.trouble() != Trouble::REFUSED)
            throw;
        if (trouble.trouble() == Trouble::NOT_FOUND)
            m_gone(content);
        answer(content, Answer::GONE, {});
    }
}

} // namespace tv
