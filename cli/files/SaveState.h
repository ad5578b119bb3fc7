// SPDX-License-Identifier: MIT
/// \file What a folder that mirrors a group already holds.
#ifndef KINLOOM_FILES_SAVESTATE_H
#define KINLOOM_FILES_SAVESTATE_H

#include "files/LocalFile.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kinloom {

/// The note that `kinloom save` keeps in its folder: a file to which one line of JSON is added for each content, with the name and
/// the size of its file. A line is written before the file takes its name, so that a run that is ended in between leaves no file
/// that the next one does not know; a line that was cut off is passed over. The note is locked while it is open.
class SaveState {
public:
    static constexpr const char* FILE_NAME = ".kinloom-save";

    struct Entry {
        std::string name;
        std::uint64_t size = 0;
    };

    /// Opens the note of a folder, or begins one.
    /// \throw Failure (local file) when another run has it open, when the folder mirrors another group, or when it cannot be used.
    SaveState(const TargetFolder& folder, const std::string& group);

    const Entry* find(const std::string& content) const;
    /// The content that a name in the folder is noted for; empty when none.
    std::string ownerOf(const std::string& name) const;
    /// The names that are noted for files of a size.
    std::vector<std::string> namesOfSize(std::uint64_t size) const;
    /// Records the name and size that the file of a content is about to get. \throw Failure (local file).
    void note(const std::string& content, const Entry& entry);

private:
    void read(const std::string& group);
    void append(const std::string& line);
    void enter(const std::string& content, const Entry& entry);

    std::string m_path;
    Descriptor m_file;
    std::map<std::string, Entry> m_entries;
    std::map<std::string, std::string> m_owners;
    std::multimap<std::uint64_t, std::string> m_sizes; ///< also of names that have others now
};

} // namespace kinloom

#endif
