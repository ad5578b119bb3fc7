// SPDX-License-Identifier: MIT
/// \file What is in a group already.
#ifndef KINLOOM_COMMANDS_GROUPCONTENTS_H
#define KINLOOM_COMMANDS_GROUPCONTENTS_H

#include "commands/Context.h"
#include "files/ContentNotes.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace kinloom {

/// A group's contents, to be compared with files of this computer. A content can only be what a file is when it has exactly its
/// size; then it is fetched once, and its hash is remembered from run to run.
class GroupContents {
public:
    GroupContents(Context& context, std::string group);

    /// Reads the feed, and fetches the contents of these sizes whose hash is not known, so many at a time.
    /// \throw Failure; Interrupted.
    void look(const std::set<std::uint64_t>& sizes, std::size_t jobs);

    /// The content that has these bytes; empty when there is none. \throw Failure when a content that could be it was not to be
    /// had.
    std::string find(const std::string& hash, std::uint64_t size) const;
    /// A file of this computer has become a content.
    void add(const std::string& content, const std::string& hash, std::uint64_t size);

private:
    struct Candidate {
        std::string content;
        std::string url;
        std::uint64_t size;
    };
    void fetch(const std::vector<Candidate>& candidates, std::size_t jobs);
    void note(const Candidate& candidate, const std::string& file);

    Context& m_context;
    const std::string m_group;
    ContentNotes m_notes;
    std::multimap<std::uint64_t, std::string> m_contents; ///< by size
    std::map<std::string, Failure> m_missing;             ///< contents that were not to be had
};

} // namespace kinloom

#endif
