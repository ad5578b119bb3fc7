// SPDX-License-Identifier: MIT
#include "commands/Lookup.h"

#include "commands/Feed.h"
#include "core/Paging.h"
#include "kinloom/Operations.h"

#include <map>

namespace kinloom {

namespace {

constexpr unsigned int LOOKUP_PAGE = 100;

/// People by number, so that each stands there once.
class People {
public:
    void add(const W::WPerson& person)
    {
        if (!person.getUID().empty() && !person.getName().empty())
            m_names[person.getUID()] = person.getName();
    }
    std::vector<Named> all() const
    {
        std::vector<Named> people;
        for (const auto& [uid, name] : m_names)
            people.push_back({uid, name});
        return people;
    }

private:
    std::map<std::string, std::string> m_names;
};

} // namespace

std::vector<W::WGroup> allGroups(Context& context, W::KL_OPTION_INCLUDE include)
{
    return allByIndex<W::WGroup>(0, LOOKUP_PAGE, [&](unsigned int index, unsigned int count) {
        ListGroups query;
        query.index = index;
        query.count = count;
        query.include = include;
        return context.call(query);
    });
}

std::vector<Named> namesOf(const std::vector<W::WGroup>& groups)
{
    std::vector<Named> names;
    names.reserve(groups.size());
    for (const W::WGroup& group : groups)
        names.push_back({group.getUID(), group.getName()});
    return names;
}

std::string groupNumber(Context& context, const std::string& word)
{
    requireText(word, "the name of a group");
    if (isNumberWord(word))
        return word;
    return numberByName(word, namesOf(allGroups(context, W::KL_INCLUDE_NONE)), "group",
                        "'kinloom groups --all' shows what there is.");
}

std::string personNumber(Context& context, const std::string& word)
{
    constexpr const char* MYSELF = "me";
    requireText(word, "the name of a person");
    if (isNumberWord(word) || word == MYSELF)
        return word;
    People people;
    for (const W::WGroup& group : allGroups(context, W::KL_INCLUDE_CREATOR)) {
        people.add(group.getMaster());
        ReadFeed query;
        query.group = group.getUID();
        query.before = FEED_END;
        query.count = LOOKUP_PAGE;
        query.include = W::KL_INCLUDE_CREATOR;
        for (const W::WContent& content : context.call(query))
            people.add(content.getUser());
    }
    return numberByName(word, people.all(), "person",
                        "'kinloom groups --all' shows who leads your groups, 'kinloom feed GROUP' who shares in one.");
}

} // namespace kinloom
