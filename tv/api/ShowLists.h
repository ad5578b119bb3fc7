// SPDX-License-Identifier: MIT
/// \file What a show goes through.
#ifndef KINLOOM_TV_API_SHOWLISTS_H
#define KINLOOM_TV_API_SHOWLISTS_H

#include "tv/api/Scroll.h"
#include "tv/core/Calendar.h"
#include "tv/index/Index.h"

#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <vector>

namespace tv {

/// What a show is of.
struct ShowOrder {
    std::vector<std::string> groups;
    std::vector<TimeRange> times;    ///< stretches of time, the newest first; empty: all of it
    std::vector<std::string> chosen; ///< contents one by one, in place of groups and times
    bool shuffled = false;
    std::uint64_t seed = 0;
    std::string name; ///< tells shows apart: the same name, the same show
};

/// The lists that shows go through. A round's list is written down when the round begins, in a file that has no name, so that what
/// comes, goes or is hidden meanwhile shifts nothing: nothing is shown twice in a round, and nothing is missed. A list takes eight
/// bytes of disk for each content; a short one, and one that the disk has no room for, as much memory. All members may be called
/// from any thread.
class ShowLists {
public:
    static constexpr std::size_t KEPT = 8;
    static constexpr std::size_t MOST_MEMORY = std::size_t{16} << 20; ///< bytes that all lists but the latest may take
    static constexpr std::int64_t MOST_TRIED = 4000; ///< steps for one request; where so many are gone the page asks on

    /// \param folder for the files
    ShowLists(Index& index, std::string folder) : m_index(index), m_folder(std::move(folder)) {}

    struct Step {
        std::int64_t step; ///< of the show
        Entry entry;
    };
    struct Page {
        std::int64_t total = 0; ///< of the round
        std::int64_t round = 0;
        std::vector<Step> steps;
        std::int64_t next = 0; ///< what to ask for next
    };
    /// The steps of a show from one on, within one round; what is gone meanwhile is left out. Throws std::system_error when the
    /// list cannot be read.
    Page read(const ShowOrder& order, std::int64_t step, std::int64_t count);

private:
    class List {
    public:
        List(const std::string& folder, std::int64_t begin, std::int64_t round)
            : m_begin(begin), m_round(round), m_numbers(folder), m_texts(folder)
        {
        }
        void add(const std::string& content);
        void finish();
        std::string at(std::int64_t place) const;
        std::int64_t size() const { return m_size; }
        std::int64_t begin() const { return m_begin; }
        std::int64_t round() const { return m_round; }
        std::size_t inMemory() const { return m_numbers.inMemory() + m_texts.inMemory(); }

    private:
        std::int64_t m_begin; ///< the step that the round begins with
        std::int64_t m_round;
        std::int64_t m_size = 0;
        Scroll m_numbers; ///< identifiers; one that is no number is in the other scroll, and below zero here
        Scroll m_texts;
    };
    struct Show {
        std::string name;
        List list;
    };

    List write(const ShowOrder& order, std::int64_t begin, std::int64_t round) const;
    void addGroups(const ShowOrder& order, const TimeRange* time, List& list) const;
    List& listFor(const ShowOrder& order, std::int64_t step);
    void letGo();

    Index& m_index;
    const std::string m_folder;
    std::mutex m_mutex;
    std::list<Show> m_shows; ///< the one that was used last first; guarded by m_mutex
};

} // namespace tv

#endif
