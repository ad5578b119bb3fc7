// SPDX-License-Identifier: MIT
#include "files/ContentNotes.h"

#include "files/FileHash.h"
#include "whost/ConfigFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>

namespace kinloom {

namespace {

constexpr std::size_t HASH_LENGTH = 64;

/// Holds the file's lock, so that the line of another run does not get into this one's.
class Locked {
public:
    explicit Locked(int fd) : m_fd(fd) { flock(m_fd, LOCK_EX); }
    ~Locked() { flock(m_fd, LOCK_UN); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    const int m_fd;
};

bool isHash(std::string_view text)
{
    return text.size() == HASH_LENGTH && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// True when nothing of an earlier line stands at the file's end.
bool endsWithALine(int fd)
{
    struct stat info {};
    char last = '\n';
    return fstat(fd, &info) != 0 || info.st_size == 0 || pread(fd, &last, 1, info.st_size - 1) != 1 || last == '\n';
}

} // namespace

ContentNotes::ContentNotes(const std::string& folder, const std::string& key)
{
    if (folder.empty()) {
        m_trouble = "there is no home folder";
        return;
    }
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    const std::string path = folder + "/contents-" + kinloom::hashOf(key).substr(0, 32);
    m_file = Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    struct stat info {};
    if (!m_file)
        m_trouble = path + ": " + std::strerror(errno); // NOLINT(concurrency-mt-unsafe): glibc's is safe for known errors
    else if (fstat(m_file.get(), &info) != 0 || !S_ISREG(info.st_mode))
        m_trouble = path + " is not a regular file";
    if (m_trouble.empty())
        read();
    else
        m_file = Descriptor();
}

/// A line is an identifier, a blank, and a hash.
void ContentNotes::read()
{
    std::string text;
    char block[64 << 10];
    ssize_t count = 0;
    while ((count = pread(m_file.get(), block, sizeof block, static_cast<off_t>(text.size()))) > 0)
        text.append(block, static_cast<std::size_t>(count));
    std::string_view rest = text;
    for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end + 1);
        const std::size_t blank = line.find(' ');
        if (blank != std::string_view::npos && blank > 0 && isHash(line.substr(blank + 1)))
            m_hashes[std::string(line.substr(0, blank))] = line.substr(blank + 1);
    }
}

std::string ContentNotes::hashOf(const std::string& content) const
{
    const auto found = m_hashes.find(content);
    return found == m_hashes.end() ? std::string() : found->second;
}

void ContentNotes::note(const std::string& content, const std::string& hash)
{
    m_hashes[content] = hash;
    if (!m_file || content.find_first_of(" \n") != std::string::npos)
        return;
    const Locked locked(m_file.get());
    const std::string line = (endsWithALine(m_file.get()) ? "" : "\n") + content + " " + hash + "\n";
    if (write(m_file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        m_trouble = std::strerror(errno); // NOLINT(concurrency-mt-unsafe)
        m_file = Descriptor();
    }
}

std::string ContentNotes::folderOfThisUser()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment
    if (const char* const state = std::getenv("XDG_STATE_HOME"); state != nullptr && state[0] == '/')
        return std::string(state) + "/kinloom";
    const std::string home = W::homeFolder();
    return home.empty() ? home : home + "/.local/state/kinloom";
}

} // namespace kinloom
