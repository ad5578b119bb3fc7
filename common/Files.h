// SPDX-License-Identifier: MIT
/// \file Private files and folders. Every failure throws std::system_error with the path in its text.
#ifndef KINLOOM_COMMON_FILES_H
#define KINLOOM_COMMON_FILES_H

#include "common/UniqueFd.h" // IWYU pragma: export

#include <cstdint>
#include <string>
#include <string_view>

namespace common {

/// Makes the folder, readable by its owner alone, when it is not there. \return whether it was made.
bool makePrivateFolder(const std::string& path);

/// Creates a file that must not exist yet, readable by its owner alone, for reading and writing.
UniqueFd createPrivateFile(const std::string& path);

/// Opens a regular file for reading; an empty descriptor when it does not exist or is no regular file.
UniqueFd openForReading(const std::string& path);

/// Writes all of the bytes.
void writeAll(int fd, std::string_view bytes, const std::string& path);

/// Reads from a file at a place, whatever its position is. \return how many bytes, at least one; throws where there are none.
std::size_t readAt(int fd, char* buffer, std::size_t size, std::int64_t offset, const std::string& path);

/// Copies what stands behind a file's position to that of another one. Where the file system can, both share their blocks.
/// \param path of either, for what is thrown
void copyRest(int from, int to, const std::string& path);

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

} // namespace common

#endif
