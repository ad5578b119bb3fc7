// SPDX-License-Identifier: MIT
#include "framework/PrivateFile.h"

#include "whost/ConfigFile.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace W {

namespace {

/// More than any configuration needs, and little enough to read in one go. What is written is no larger, so that it can be read
/// again.
constexpr off_t MAX_SIZE = 1 << 20;

[[noreturn]] void fail(const std::string& path, const std::string& action, int error)
{
    throw ConfigError(path + ": " + action + ": " + std::strerror(error));
}

void refuseTooLarge(const std::string& path, off_t size)
{
    if (size > MAX_SIZE)
        throw ConfigError(path + ": too large for a configuration");
}

class Descriptor {
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_number; }
    bool close()
    {
        const int number = std::exchange(m_number, -1);
        return number < 0 || ::close(number) == 0;
    }

private:
    int m_number;
};

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return path.substr(0, slash == 0 ? 1 : slash);
}

void makeFolders(const std::string& folder)
{
    for (std::size_t end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
        const std::string part = folder.substr(0, end);
        if (mkdir(part.c_str(), S_IRWXU) != 0 && errno != EEXIST)
            fail(part, "cannot make the folder", errno);
        if (end == std::string::npos)
            return;
    }
}

/// The file that a path leads to once all links are followed; the path itself when there is no such file yet.
std::string realPath(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr), std::free);
    return resolved ? std::string(resolved.get()) : path;
}

bool writeAll(int file, const std::string& content)
{
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t written = write(file, content.data() + done, content.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        done += static_cast<std::size_t>(written);
    }
    return true;
}

/// Has the new name survive a power failure. Not every file system can do it, and the file is whole either way.
void syncFolder(const std::string& folder)
{
    const Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.get() >= 0)
        fsync(descriptor.get());
}

} // namespace

std::optional<std::string> readPrivateFile(const std::string& path, bool& exposed)
{
    exposed = false;
    // Without O_NONBLOCK a FIFO in the file's place would wait for a writer.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.get() < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return std::nullopt;
        fail(path, "cannot open", errno);
    }
    struct stat info {};
    if (fstat(file.get(), &info) != 0)
        fail(path, "cannot read", errno);
    if (!S_ISREG(info.st_mode))
        throw ConfigError(path + ": not a regular file");
    refuseTooLarge(path, info.st_size);
    std::string content(static_cast<std::size_t>(info.st_size), '\0');
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t got = read(file.get(), &content[done], content.size() - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            fail(path, "cannot read", errno);
        if (got == 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    content.resize(done);
    exposed = (info.st_mode & (S_IRWXG | S_IRWXO)) != 0;
    return content;
}

void writePrivateFile(const std::string& path, const std::string& content)
{
    if (path.empty())
        throw ConfigError("there is no folder for the configuration: neither XDG_CONFIG_HOME nor HOME is set");
    refuseTooLarge(path, static_cast<off_t>(content.size()));
    const std::string target = realPath(path);
    const std::string folder = folderOf(target);
    makeFolders(folder);

    std::string temporary = folder + "/.host-XXXXXX";
    // The file is made for the owner alone.
    Descriptor file(mkostemp(temporary.data(), O_CLOEXEC));
    if (file.get() < 0)
        fail(path, "cannot write", errno);
    if (!writeAll(file.get(), content) || fsync(file.get()) != 0 || !file.close() ||
        rename(temporary.c_str(), target.c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        fail(path, "cannot write", error);
    }
    syncFolder(folder);
}

} // namespace W
