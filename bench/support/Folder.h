// SPDX-License-Identifier: MIT
/// \file A folder for one benchmark.
#ifndef SUPPORT_FOLDER_H
#define SUPPORT_FOLDER_H

#include <cstdint>
#include <string>

namespace bench {

/// A fresh folder that is removed with all it holds when the object ends.
class Folder {
public:
    /// \param where the folder that it is made in. \throw std::runtime_error
    explicit Folder(const std::string& where);
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// Where files go that should stay in memory: KINLOOM_BENCH_MEMORY, else the first folder in memory with room for them.
/// \throw std::runtime_error when there is none.
std::string memoryFolder(std::uint64_t bytes);
/// Where files go that should reach a disk: KINLOOM_BENCH_DISK, else /var/tmp. \throw std::runtime_error when it has no room.
std::string diskFolder(std::uint64_t bytes);
/// The folder in memory if it has room, else the one on disk.
std::string anyFolder(std::uint64_t bytes);

/// Makes a file of so many bytes, which do not compress. \throw std::runtime_error
void makeFile(const std::string& path, std::uint64_t size);
/// Makes a file of so many zero bytes that takes no room. \throw std::runtime_error
void makeEmptyFile(const std::string& path, std::uint64_t size);

} // namespace bench

#endif
