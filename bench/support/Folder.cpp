// SPDX-License-Identifier: MIT
#include "support/Folder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <linux/magic.h>
#include <random>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <vector>

namespace bench {

namespace {

std::string setting(const char* name)
{
    const char* const value = std::getenv(name);
    return value ? value : "";
}

bool isInMemory(const char* folder)
{
    struct statfs info {};
    return statfs(folder, &info) == 0 && info.f_type == TMPFS_MAGIC;
}

/// Files in memory take it from everything else, so some of it stays free.
bool hasRoom(const std::string& folder, std::uint64_t bytes)
{
    std::error_code error;
    const std::filesystem::space_info space = std::filesystem::space(folder, error);
    return !error && space.available / 4 * 3 > bytes;
}

} // namespace

Folder::Folder(const std::string& where) : m_path(where + "/kinloom-bench-XXXXXX")
{
    if (!mkdtemp(m_path.data()))
        throw std::runtime_error("no folder can be made in " + where);
    // The server for transfers may work under another user's name.
    chmod(m_path.c_str(), 0755);
}

Folder::~Folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string memoryFolder(std::uint64_t bytes)
{
    if (const std::string chosen = setting("KINLOOM_BENCH_MEMORY"); !chosen.empty())
        return chosen;
    for (const char* folder : {"/dev/shm", "/run/shm", "/tmp"})
        if (isInMemory(folder) && hasRoom(folder, bytes))
            return folder;
    throw std::runtime_error("no folder in memory has room for " + std::to_string(bytes >> 20) +
                             " MB; KINLOOM_BENCH_MEMORY names another one");
}

std::string diskFolder(std::uint64_t bytes)
{
    const std::string chosen = setting("KINLOOM_BENCH_DISK");
    const std::string folder = chosen.empty() ? "/var/tmp" : chosen;
    if (!hasRoom(folder, bytes))
        throw std::runtime_error(folder + " has no room for " + std::to_string(bytes >> 20) +
                                 " MB; KINLOOM_BENCH_DISK names another folder");
    return folder;
}

std::string anyFolder(std::uint64_t bytes)
{
    try {
        return memoryFolder(bytes);
    } catch (const std::runtime_error&) {
        return diskFolder(bytes);
    }
}

void makeFile(const std::string& path, std::uint64_t size)
{
    std::vector<std::uint64_t> block(1u << 17);
    std::mt19937_64 random(size);
    for (std::uint64_t& word : block)
        word = random();
    const std::uint64_t blockSize = block.size() * sizeof block.front();
    std::ofstream file(path, std::ios::binary);
    for (std::uint64_t left = size; left > 0 && file;) {
        const std::uint64_t piece = std::min(left, blockSize);
        file.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(piece));
        left -= piece;
    }
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path);
}

void makeEmptyFile(const std::string& path, std::uint64_t size)
{
    std::ofstream file(path, std::ios::binary);
    file.close();
    std::error_code error;
    std::filesystem::resize_file(path, size, error);
    if (!file || error)
        throw std::runtime_error("cannot write " + path);
}

} // namespace bench
