// SPDX-License-Identifier: MIT
/// \file What the television knows of contents and groups by itself.
#ifndef KINLOOM_TV_INDEX_ENTRY_H
#define KINLOOM_TV_INDEX_ENTRY_H

#include "tv/core/Calendar.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tv {

/// A content, as far as it is kept here.
struct Entry {
    std::string id;
    std::string group;
    Millis created = 0;  ///< when it was made; decides its place in the group
    Millis uploaded = 0; ///< when it came to the service
    int width = 0;       ///< in pixels; 0 while unknown
    int height = 0;
    std::int64_t size = 0; ///< in bytes; 0 while unknown
    std::string type;      ///< "photo"
    std::string format;    ///< "jpeg"
    std::string description;
    std::string creator; ///< a person's identifier, and
    std::string creatorName;
    std::int64_t comments = 0;
};

/// A content's place in the order of its group: by time, and where times are equal, by identifier.
struct Key {
    Millis created = 0;
    std::string id;
};

/// Services that number their contents have higher numbers for later ones, and order them so; the order of other identifiers is
/// that of their bytes, behind all numbers.
bool operator<(const Key& a, const Key& b);
inline bool operator==(const Key& a, const Key& b) { return a.created == b.created && a.id == b.id; }

inline Key keyOf(const Entry& entry) { return {entry.created, entry.id}; }

/// The identifier that stands before all others of its time.
inline constexpr const char* LEAST_ID = "0";

/// The number that an identifier is; nothing for one that is written otherwise than a number is, or is none.
std::optional<std::int64_t> numberOf(const std::string& id);

/// How far the reading of a group's feed has come.
struct Progress {
    bool complete = false;       ///< it was read to its end once
    std::string marker;          ///< the content that the next page lies behind; empty at the beginning
    Millis markerTime = 0;       ///< when that was made
    Millis oldest = 0;           ///< when the group's oldest content was made; 0 while unknown
    std::string latest;          ///< the content that was uploaded last
    Millis latestTime = 0;       ///< when that was
    std::int64_t difference = 0; ///< what the service's total had beyond the contents that were found, when last read to the end
    Millis read = 0;             ///< when it was read to its end last
};

/// A group, as the service has told of it last.
struct GroupEntry {
    std::string id;
    std::string name;
    std::string description;
    std::string master; ///< a person's identifier, and
    std::string masterName;
    std::int64_t total = 0; ///< contents, as the service counts them
    std::int64_t photos = 0;
    std::int64_t videos = 0;
    std::int64_t music = 0;
    std::int64_t comments = 0;
    Progress progress;
};

/// A month of a group.
struct MonthEntry {
    Month month;
    std::optional<std::int64_t> count; ///< nothing while it is not known
    std::optional<std::int64_t> index; ///< of its newest content
};

/// What reading a page of a feed has changed.
struct Changes {
    std::vector<std::string> added; ///< contents, the newest first
    std::vector<std::string> removed;
    std::vector<std::string> commented; ///< whose comments have become more or fewer
    std::size_t touched = 0;            ///< whatever else has changed

    bool empty() const { return added.empty() && removed.empty() && commented.empty() && touched == 0; }
};

} // namespace tv

#endif
