// SPDX-License-Identifier: MIT
#include "files/FolderWalk.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <memory>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kinloom {

namespace {

bool matches(const std::string& pattern, const std::string& name, const std::string& inside)
{
    const bool isPath = pattern.find('/') != std::string::npos;
    return fnmatch(pattern.c_str(), isPath ? inside.c_str() : name.c_str(), isPath ? FNM_PATHNAME : 0) == 0;
}

/// The walk through one folder that was named.
class Walk {
public:
    Walk(FolderWalk& result, const std::vector<std::string>& excludes) : m_result(result), m_excludes(excludes) {}

    /// Holds no descriptor while it is in the folders below, however deep they lie.
    /// \param path of the folder. \param inside its path in the one that was named.
    void into(const std::string& path, const std::string& inside)
    {
        Identity identity;
        std::vector<Entry> entries;
        if (!look(path, inside, identity, entries))
            return;
        for (const Entry& entry : entries) {
            if (entry.isFolder)
                into(entry.path, entry.inside);
            else
                m_result.files.push_back({entry.path, entry.size});
        }
        m_above.erase(identity);
    }

private:
    using Identity = std::pair<dev_t, ino_t>;
    using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

    /// A file or folder that is taken along.
    struct Entry {
        std::string path;
        std::string inside;
        bool isFolder = false;
        std::uint64_t size = 0;
    };

    /// Takes the descriptor over, or closes it.
    static DIR* folderOf(int fd)
    {
        DIR* const folder = fdopendir(fd);
        if (folder == nullptr)
            close(fd);
        return folder;
    }

    void fail(const std::string& path) { m_result.failures.push_back(fileFailure(path, "cannot be read", errno)); }

    /// Reads a folder. \return false when it is not to be walked through.
    bool look(const std::string& path, const std::string& inside, Identity& identity, std::vector<Entry>& entries)
    {
        const int follow = inside.empty() ? 0 : O_NOFOLLOW;
        const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | follow);
        const Folder folder(fd < 0 ? nullptr : folderOf(fd), closedir);
        struct stat info {};
        if (!folder || fstat(fd, &info) != 0) {
            fail(path);
            return false;
        }
        // A folder that is mounted below itself would have no end.
        identity = {info.st_dev, info.st_ino};
        if (!m_above.insert(identity).second) {
            ++m_result.leftOut.links;
            return false;
        }
        const std::string outer = path.back() == '/' ? path : path + "/";
        const std::string inner = inside.empty() ? "" : inside + "/";
        for (const std::string& name : namesIn(*folder, path))
            take(fd, name, {outer + name, inner + name}, entries);
        return true;
    }

    std::vector<std::string> namesIn(DIR& folder, const std::string& path)
    {
        std::vector<std::string> names;
        errno = 0;
        while (const dirent* entry = readdir(&folder))
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                names.emplace_back(entry->d_name);
        if (errno != 0)
            fail(path);
        std::sort(names.begin(), names.end());
        return names;
    }

    void take(int fd, const std::string& name, Entry entry, std::vector<Entry>& entries)
    {
        const auto excluded = [&](const std::string& pattern) { return matches(pattern, name, entry.inside); };
        struct stat info {};
        if (name.front() == '.')
            ++m_result.leftOut.hidden;
        else if (std::any_of(m_excludes.begin(), m_excludes.end(), excluded))
            ++m_result.leftOut.excluded;
        else if (fstatat(fd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
            fail(entry.path);
        else if (S_ISLNK(info.st_mode))
            ++m_result.leftOut.links;
        else if (!S_ISDIR(info.st_mode) && !S_ISREG(info.st_mode))
            ++m_result.leftOut.special;
        else {
            entry.isFolder = S_ISDIR(info.st_mode);
            entry.size = static_cast<std::uint64_t>(info.st_size);
            entries.push_back(std::move(entry));
        }
    }

    FolderWalk& m_result;
    const std::vector<std::string>& m_excludes;
    std::set<Identity> m_above; ///< the folders that lead to the present one
};

} // namespace

void FolderWalk::add(const std::string& folder, const std::vector<std::string>& excludes)
{
    Walk(*this, excludes).into(folder, "");
}

} // namespace kinloom
