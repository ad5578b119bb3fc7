// SPDX-License-Identifier: MIT
/// \file Files on their way.
#ifndef KINLOOMD_MEDIA_TEMPORARYFILE_H
#define KINLOOMD_MEDIA_TEMPORARYFILE_H

#include "core/Files.h"

#include <string>
#include <string_view>

namespace kinloomd {

/// A new file in the folder for files on their way. It is removed at the end of its life, unless it was moved to its place.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& folder);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    const std::string& path() const { return m_path; }
    int fd() const { return m_fd.get(); }
    /// Appends bytes.
    void write(std::string_view bytes) { writeAll(m_fd.get(), bytes, m_path); }
    /// Gives the file its final name; its bytes are on the disk before, its name when this returns.
    void moveTo(const std::string& folder, const std::string& name);
    /// Gives it another name, whatever has that name already; it may be lost when the power fails.
    void renameTo(const std::string& path);

private:
    std::string m_path;
    UniqueFd m_fd;
    bool m_moved = false;
};

} // namespace kinloomd

#endif
