// SPDX-License-Identifier: MIT
/// \file Words of the command line that several commands take.
#ifndef KINLOOM_COMMANDS_WORDS_H
#define KINLOOM_COMMANDS_WORDS_H

#include "commands/Command.h"

namespace kinloom {

// The first word of each table is the default.

inline constexpr Word<W::KL_OPTION_SORT> SORT_WORDS[] = {
    {"alphabetical", W::KL_SORT_ALPHABETICAL},
    {"created", W::KL_SORT_CREATED_TIME},
    {"recent", W::KL_SORT_RECENT_USED},
};

inline constexpr Word<W::KL_OPTION_INCLUDE> GROUP_INCLUDE_WORDS[] = {
    {"all", W::KL_INCLUDE_ALL},       {"none", W::KL_INCLUDE_NONE},       {"usage", W::KL_INCLUDE_USAGE},
    {"member", W::KL_INCLUDE_MEMBER}, {"creator", W::KL_INCLUDE_CREATOR}, {"new", W::KL_INCLUDE_NEW},
};

/// Feeds refuse "new".
inline constexpr Word<W::KL_OPTION_INCLUDE> FEED_INCLUDE_WORDS[] = {
    {"all", W::KL_INCLUDE_ALL},       {"none", W::KL_INCLUDE_NONE},       {"usage", W::KL_INCLUDE_USAGE},
    {"member", W::KL_INCLUDE_MEMBER}, {"creator", W::KL_INCLUDE_CREATOR},
};

inline constexpr Word<W::KL_SEARCH_BASE> BASE_WORDS[] = {
    {"created", W::KL_BASE_CREATED_TIME},
    {"uploaded", W::KL_BASE_UPLOAD_TIME},
    {"id", W::KL_BASE_CONTENT_ID},
};

inline constexpr Word<W::KL_OPTION_ITEM> ITEM_WORDS[] = {
    {"all", W::KL_ITEM_ALL},
    {"photo", W::KL_ITEM_PHOTO},
    {"video", W::KL_ITEM_VIDEO},
    {"music", W::KL_ITEM_MUSIC},
};

/// Adds --count, a number from 1 to 10000.
inline commandline::Option addCountOption(commandline::Command command, unsigned int& count, const std::string& description)
{
    return command.option("--count", count, description).within(1, 10'000).showDefault();
}

} // namespace kinloom

#endif
