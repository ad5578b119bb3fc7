// SPDX-License-Identifier: MIT
/// \file Files of this computer: those that are sent, and those that downloads become.
#ifndef KINLOOM_FILES_LOCALFILE_H
#define KINLOOM_FILES_LOCALFILE_H

#include "core/Descriptor.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>

namespace kinloom {

/// By what a file that was changed is recognised.
struct FileStamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec changed{}; ///< its contents

    bool operator==(const FileStamp& other) const;
};

/// What must be known of a file before it is sent.
struct SourceFile {
    std::string path; ///< as the plugin is to be given it
    std::string name; ///< for people
    std::uint64_t size = 0;
    std::string firstBytes;
    FileStamp stamp;
};

/// Whether the file is still the one that was looked at, and as it was then.
bool isUnchanged(const SourceFile& source);

/// Looks at a file that is to be sent, without ever waiting for one that is a pipe.
/// \throw Failure (local file) when it is missing, not a regular file, unreadable or empty.
SourceFile inspectSource(const std::string& path);

/// A folder that downloads go to.
class TargetFolder {
public:
    /// \throw Failure (local file) when it is no folder or cannot be written to.
    explicit TargetFolder(const std::string& path);
    /// The same, but makes the folder when it is missing; its parent must be there.
    static TargetFolder made(const std::string& path);

    const std::string& path() const { return m_path; }
    int descriptor() const { return m_folder.get(); }

    /// Size of the regular file of that name; nothing when there is none, or something else has the name.
    std::optional<std::uint64_t> sizeOf(const std::string& name) const;
    /// True when anything has that name, a dangling link too.
    bool has(const std::string& name) const;

private:
    std::string m_path;
    Descriptor m_folder;
};

/// A private folder inside a target folder, in which a download takes place: what is cancelled there can hurt no other file, and
/// what is complete takes its name in one step. Its end removes whatever is left in it.
class Staging {
public:
    /// \throw Failure (local file).
    explicit Staging(const TargetFolder& target);
    ~Staging();
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    /// Where a download is to put its file.
    const std::string& folder() const { return m_folder; }
    static constexpr const char* FILE_NAME = "download";
    std::string file() const { return m_folder + "/" + FILE_NAME; }

    /// Gives the downloaded file its name in the target folder.
    /// \param replace false: never in place of another file.
    /// \return false when the name is taken and may not be replaced; the file is then still here.
    /// \throw Failure (local file) when it cannot be done.
    bool publish(const std::string& name, bool replace);

    /// Sets the times of the downloaded file. \param seconds since 1970.
    void setTime(std::time_t seconds) const;

    /// Removes what earlier runs, ended by force, have left behind in a folder that no other run is using.
    static void sweep(const TargetFolder& target);

private:
    const TargetFolder& m_target;
    std::string m_name;
    std::string m_folder;
};

/// True when the first file's bytes are the beginning of the second's, or all of them.
bool isBeginningOf(const std::string& shorter, const std::string& longer);

} // namespace kinloom

#endif
