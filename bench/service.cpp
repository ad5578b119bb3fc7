// SPDX-License-Identifier: MIT
// The stand-alone service under its own demonstration: pages of groups of many sizes, from the call to the callback.
#include "support/Plugin.h"
#include "support/Report.h"
#include "support/Servers.h"
#include "support/Usage.h"

#include <stdexcept>

namespace bench {

namespace {

constexpr unsigned int SIZES[] = {1'000, 3'000, 10'000, 30'000, 100'000};
constexpr unsigned int QUICK_SIZES = 3;
constexpr unsigned int PAGE = 1'000;

/// A group and how long a page of it takes.
class Listing {
public:
    explicit Listing(const Plugin& plugin) : m_plugin(plugin) {}

    /// Makes the group. \return its number.
    const std::string& create(const std::string& name)
    {
        W::WGroup group;
        group.setName(name);
        if (m_plugin->createGroup(group, W::WPerson(), created, this) < 0 || m_done.wait() < 0)
            throw std::runtime_error("the group cannot be made");
        return m_group.getUID();
    }

    /// Seconds from the call for the newest contents to the callback with them.
    double page(W::KL_SEARCH_BASE order)
    {
        const double begin = now();
        if (m_plugin->retrieveGroupFeeds(m_group, "latest", "", PAGE, order, W::KL_ITEM_ALL, W::KL_INCLUDE_CREATOR, listed, this) <
                0 ||
            m_done.wait() < 0)
            throw std::runtime_error("the feed cannot be read");
        return now() - begin;
    }

private:
    static void created(W::WSTATUS status, const W::WContentProvider&, const W::WGroup& group, void* self)
    {
        static_cast<Listing*>(self)->m_group = group;
        static_cast<Listing*>(self)->m_done.set(status);
    }
    static void listed(W::WSTATUS status, const W::WContentProvider&, const W::WContainer<W::WContent>& contents, void* self)
    {
        static_cast<Listing*>(self)->m_done.set(contents.getData().size() >= PAGE ? status : -1);
    }

    const Plugin& m_plugin;
    W::WGroup m_group;
    Event m_done;
};

void run(const Arguments& arguments)
{
    Report report(arguments);
    const Service service;
    const Plugin plugin(service.port(), service.configuration());
    Listing listing(plugin);

    std::vector<std::pair<double, double>> growth;
    Summary last;
    for (unsigned int i = 0; i < arguments.choose<std::size_t>(std::size(SIZES), QUICK_SIZES); ++i) {
        service.fill(listing.create("group " + std::to_string(i)), SIZES[i]);
        std::vector<double> pages;
        for (std::size_t round = 0; round < arguments.choose<std::size_t>(31, 5); ++round)
            for (const W::KL_SEARCH_BASE order : {W::KL_BASE_CREATED_TIME, W::KL_BASE_UPLOAD_TIME, W::KL_BASE_CONTENT_ID})
                pages.push_back(listing.page(order) * 1e3);
        last = summarise(pages);
        growth.emplace_back(SIZES[i], last.median);
    }
    report.figure("service_page_1000", last, "ms", 30, Better::LOWER);
    report.series("service_page", "A page of 1,000 from kinloomd", "contents in the group", "ms", growth);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) { return bench::runProgram(argc, argv, bench::run); }
