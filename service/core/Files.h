// SPDX-License-Identifier: MIT
/// \file Files and folders of the data folder. Every failure throws std::system_error with the path in its text.
#ifndef KINLOOMD_CORE_FILES_H
#define KINLOOMD_CORE_FILES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace kinloomd {

/// An open file descriptor, closed at the end of its life.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : m_fd(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1)
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};

/// Makes the folder, readable by its owner alone, when it is not there. \return whether it was made.
bool makePrivateFolder(const std::string& path);

/// Creates a file that must not exist yet, readable by its owner alone, for reading and writing.
UniqueFd createPrivateFile(const std::string& path);

/// Opens a regular file for reading; an empty descriptor when it does not exist or is no regular file.
UniqueFd openForReading(const std::string& path);

/// Writes all of the bytes.
void writeAll(int fd, std::string_view bytes, const std::string& path);

/// All bytes of a file.
std::string readFile(const std::string& path);

/// Brings a file's bytes to the disk.
void syncFile(int fd, const std::string& path);

/// Brings a folder's entries to the disk.
void syncFolder(const std::string& path);

/// Gives a file another name on the same file system, over whatever has that name.
void renameFile(const std::string& from, const std::string& to);

/// Removes a file; it is no error when it is not there.
void removeFile(const std::string& path) noexcept;

/// The size of an open file.
std::int64_t sizeOf(int fd, const std::string& path);

/// Throws std::system_error of the current errno.
[[noreturn]] void throwSystemError(const std::string& action, const std::string& path);

} // namespace kinloomd

#endif
