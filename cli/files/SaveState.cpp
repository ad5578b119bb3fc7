// SPDX-License-Identifier: MIT
#include "files/SaveState.h"

#include "core/Errors.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kinloom {

namespace {

using nlohmann::json;

std::string readAll(int fd, const std::string& path)
{
    std::string text;
    char block[64 << 10];
    for (off_t at = 0;;) {
        const ssize_t count = pread(fd, block, sizeof block, at);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw fileFailure(path, "cannot be read", errno);
        if (count == 0)
            return text;
        text.append(block, static_cast<std::size_t>(count));
        at += count;
    }
}

std::string lineOf(const json& document) { return document.dump(-1, ' ', false, json::error_handler_t::replace) + "\n"; }

/// A text member of a line; empty when it has none.
std::string textOf(const json& line, const char* key)
{
    const auto found = line.find(key);
    return found != line.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// Whether a name from the note names a file in the folder itself. Others may have written the note, so a name in it must not lead
/// out of the folder.
bool isName(const std::string& name) { return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos; }

} // namespace

SaveState::SaveState(const TargetFolder& folder, const std::string& group) : m_path(folder.path() + "/" + FILE_NAME)
{
    m_file =
        Descriptor(openat(folder.descriptor(), FILE_NAME, O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
    struct stat info {};
    if (!m_file || fstat(m_file.get(), &info) != 0)
        throw fileFailure(m_path, "cannot be used", errno);
    if (!S_ISREG(info.st_mode))
        throw fileFailure(m_path, "is not a regular file");
    if (flock(m_file.get(), LOCK_EX | LOCK_NB) != 0)
        throw fileFailure(folder.path(), "another 'kinloom save' is at work there");
    read(group);
}

void SaveState::read(const std::string& group)
{
    const std::string text = readAll(m_file.get(), m_path);
    std::string mirrored;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const json line = json::parse(text.begin() + static_cast<std::ptrdiff_t>(begin),
                                      text.begin() + static_cast<std::ptrdiff_t>(end), nullptr, false);
        begin = end + 1;
        if (!line.is_object())
            continue;
        if (line.contains("group")) {
            mirrored = textOf(line, "group");
            continue;
        }
        const std::string id = textOf(line, "id");
        const auto size = line.find("size");
        const std::string name = textOf(line, "name");
        if (id.empty() || !isName(name) || size == line.end() || !size->is_number_unsigned())
            continue;
        enter(id, {name, size->get<std::uint64_t>()});
    }
    if (!text.empty() && text.back() != '\n')
        append("\n"); // the last line was cut off; the next one must not become part of it
    if (mirrored.empty())
        append(lineOf({{"group", group}}));
    else if (mirrored != group)
        throw fileFailure(m_path.substr(0, m_path.rfind('/')), "mirrors another group already; choose another folder");
}

const SaveState::Entry* SaveState::find(const std::string& content) const
{
    const auto found = m_entries.find(content);
    return found == m_entries.end() ? nullptr : &found->second;
}

std::string SaveState::ownerOf(const std::string& name) const
{
    const auto found = m_owners.find(name);
    return found == m_owners.end() ? std::string() : found->second;
}

void SaveState::note(const std::string& content, const Entry& entry)
{
    append(lineOf({{"id", content}, {"name", entry.name}, {"size", entry.size}}));
    enter(content, entry);
}

void SaveState::enter(const std::string& content, const Entry& entry)
{
    if (const Entry* const before = find(content))
        m_owners.erase(before->name);
    m_entries[content] = entry;
    m_owners[entry.name] = content;
    m_sizes.emplace(entry.size, entry.name);
}

std::vector<std::string> SaveState::namesOfSize(std::uint64_t size) const
{
    std::vector<std::string> names;
    const auto [first, last] = m_sizes.equal_range(size);
    for (auto entry = first; entry != last; ++entry)
        names.push_back(entry->second);
    return names;
}

void SaveState::append(const std::string& line)
{
    if (write(m_file.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw fileFailure(m_path, "cannot be written", errno);
}

} // namespace kinloom
