// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "commands/Lookup.h"
#include "core/Text.h"
#include "media/Formats.h"
#include "media/MediaStore.h"
#include "media/Pictures.h"
#include "store/Contents.h"
#include "store/Groups.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace kinloomd {

namespace {

constexpr std::size_t COPY_BLOCK = 256 * 1024;

void copyInto(TemporaryFile& target, const std::string& path)
{
    const UniqueFd source = openForReading(path);
    if (!source)
        throw std::runtime_error(path + " is not a file that can be read");
    std::string block(COPY_BLOCK, '\0');
    for (;;) {
        const ssize_t count = ::read(source.get(), block.data(), block.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throwSystemError("read", path);
        if (count == 0)
            return;
        target.write(std::string_view(block).substr(0, static_cast<std::size_t>(count)));
    }
}

/// Files of contents that hold the same picture: links to one another, as far as the file system has links to give.
class Copies {
public:
    Copies(const MediaStore& media, std::string file) : m_media(media), m_file(std::move(file)) {}

    void place(Id content)
    {
        if (m_last != 0 && m_media.linkOriginal(m_last, content))
            return;
        TemporaryFile file(m_media.folder().temporary());
        copyInto(file, m_file);
        const Format format = sniffFile(file.path());
        if (format == Format::NONE)
            throw std::runtime_error(m_file + " is not a JPEG, PNG, WebP or GIF file");
        m_info = readPicture(m_file, [&] { return makeThumbnails(file.path(), format, {Limits().pixels, {}}, m_media, content); });
        m_size = sizeOf(file.fd(), file.path());
        m_media.keepOriginal(file, content);
        m_last = content;
    }

    UploadedFile uploaded() const
    {
        const auto slash = m_file.rfind('/');
        const std::string name = safeFileName(slash == std::string::npos ? m_file : m_file.substr(slash + 1));
        return {nameWithExtension(name, m_info.format), m_info.format, m_size, m_info.width, m_info.height, m_info.taken};
    }

private:
    const MediaStore& m_media;
    std::string m_file;
    Id m_last = 0;
    std::int64_t m_size = 0;
    PictureInfo m_info;
};

constexpr unsigned CONTENTS_AT_ONCE = 500;

/// Adds some contents the way an upload does: places first, then files, then records. No lock is held while the files are made.
Id addSome(Database& database, const Group& group, const Person& person, const std::string& description, unsigned count,
           Copies& copies)
{
    std::vector<Slot> slots(count);
    {
        const auto connection = database.write();
        Transaction transaction(connection);
        if (roleInGroup(connection, group.id, person.id) == Role::STRANGER)
            throw std::runtime_error(person.name + " is not a member of " + group.name);
        for (Slot& slot : slots) {
            slot.group = group.id;
            slot.id = addSlot(connection, group.id, person.id, ContentType::PHOTO, std::nullopt, description);
        }
        transaction.commit();
    }
    for (const Slot& slot : slots)
        copies.place(slot.id);
    const auto connection = database.write();
    Transaction transaction(connection);
    for (const Slot& slot : slots) {
        if (!commitUpload(connection, slot, copies.uploaded()))
            throw std::runtime_error("the group was deleted meanwhile");
    }
    transaction.commit();
    return slots.back().id;
}

} // namespace

void addContent(const std::string& data, const ContentArguments& arguments)
{
    const DataFolder folder = DataFolder::existing(data);
    Database database(folder.database());
    const Group group = requireGroup(database, arguments.group);
    const Person person = requirePerson(database, arguments.person);
    startPictures();
    // Held until the records are there: a service that starts meanwhile would take the new files for leftovers.
    const FolderLock lock(folder.mediaLock(), FolderLock::SHARED);
    const MediaStore media(folder);
    Copies copies(media, arguments.file);
    const std::string description = cleanText(arguments.description);
    Id last = 0;
    for (unsigned left = arguments.copies; left > 0;) {
        const unsigned count = std::min(left, CONTENTS_AT_ONCE);
        last = addSome(database, group, person, description, count, copies);
        left -= count;
    }
    std::printf("%lld\n", static_cast<long long>(last));
}

} // namespace kinloomd
