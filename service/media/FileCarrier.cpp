// SPDX-License-Identifier: MIT
#include "media/FileCarrier.h"

#include "core/Files.h"

#include <cerrno>
#include <sys/stat.h>
#include <system_error>

namespace kinloomd {

namespace {

constexpr const char* NEW = ".new"; ///< behind the name of a file that is being written

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

} // namespace

void FileCarrier::copy(const std::string& from, const std::string& to)
{
    const UniqueFd source = openForReading(from);
    if (!source) {
        errno = ENOENT;
        throwSystemError("read", from);
    }
    removeFile(to);
    const UniqueFd target = createPrivateFile(to);
    copyRest(source.get(), target.get(), to);
    syncFile(target.get(), to);
}

void FileCarrier::place(int source, const std::string& from, const std::string& to)
{
    struct stat info {};
    if (::fstat(source, &info) != 0)
        throwSystemError("look at", from);
    const std::pair file(info.st_dev, info.st_ino);
    const auto twin = info.st_nlink > 1 ? m_places.find(file) : m_places.end();
    if (::link(from.c_str(), to.c_str()) == 0 || (twin != m_places.end() && ::link(twin->second.c_str(), to.c_str()) == 0)) {
        ++m_linked;
        return;
    }
    copy(from, to + NEW);
    renameFile(to + NEW, to);
    if (info.st_nlink > 1)
        m_places.insert_or_assign(file, to);
    ++m_copied;
}

bool FileCarrier::bring(const std::string& from, const std::string& to)
{
    const UniqueFd source = openForReading(from);
    {
        const UniqueFd there = openForReading(to);
        if (there && (!source || sizeOf(there.get(), to) == sizeOf(source.get(), from)))
            return true;
    }
    if (!source)
        return false;
    removeFile(to);
    try {
        place(source.get(), from, to);
    } catch (const std::system_error& error) {
        // Deleted just now.
        if (error.code().value() == ENOENT && !openForReading(from))
            return false;
        throw;
    }
    m_folders.insert(folderOf(to));
    return true;
}

void FileCarrier::sync()
{
    std::set<std::string> all = m_folders;
    for (const std::string& folder : m_folders)
        all.insert(folderOf(folder));
    for (const std::string& folder : all)
        syncFolder(folder);
    m_folders.clear();
}

MissingFiles bringFiles(const FileList& files, const FolderMedia& from, const FolderMedia& to, FileCarrier& carrier)
{
    MissingFiles missing;
    for (const OriginalName& original : files.originals) {
        const std::string target = to.originalPath(original);
        makePrivateFolder(folderOf(target));
        if (!carrier.bring(from.originalPath(original), target))
            missing.push_back("content " + std::to_string(original.content));
    }
    for (const auto& [person, image] : files.pictures) {
        if (!carrier.bring(from.personImagePath(person, image), to.personImagePath(person, image)))
            missing.push_back("the picture of person " + std::to_string(person));
    }
    return missing;
}

void makeFileFolders(const DataFolder& folder)
{
    for (const std::string& path : {folder.media(), folder.people()})
        makePrivateFolder(path);
}

} // namespace kinloomd
