// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "commands/Lookup.h"
#include "core/Digest.h"
#include "core/Text.h"
#include "media/MediaPlace.h"
#include "media/PhotoTime.h"
#include "media/ThumbnailFiles.h"
#include "pictures/Formats.h"
#include "pictures/PictureHeader.h"
#include "pictures/PictureProcess.h"
#include "store/Contents.h"
#include "store/Groups.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace kinloomd {

namespace {

constexpr std::size_t BLOCK = 256 * 1024;

/// Files of contents that hold the same picture: links to one another, as far as the file system has links to give.
class Copies {
public:
    Copies(const MediaStore& media, std::string file, Id whose, const TimeZone& zone)
        : m_media(media), m_file(std::move(file)), m_whose(whose), m_zone(zone)
    {
    }

    /// \return what the file of the content is called.
    OriginalName place(Id content)
    {
        const OriginalName name = m_media.newName(content);
        if (m_last.content != 0 && m_media.linkOriginal(m_last, name))
            return name;
        TemporaryFile file(m_media.temporary());
        const UniqueFd source = openForReading(m_file);
        if (!source)
            throw std::runtime_error(m_file + " is not a file that can be read");
        copyRest(source.get(), file.fd(), m_file);
        readHeader(file);
        makeThumbnails(file, content);
        m_media.keepOriginal(file, name);
        m_last = name;
        return name;
    }

    const UploadedFile& uploaded() const { return m_uploaded; }

private:
    void readHeader(const TemporaryFile& file)
    {
        pictures::BytesOfFile bytes(file.fd());
        m_uploaded.format = pictures::sniffFormat(bytes.read(0, pictures::SNIFF_BYTES));
        if (m_uploaded.format == Format::NONE)
            throw std::runtime_error(m_file + " is no photo. " + pictures::FORMATS_SENTENCE);
        const auto header = pictures::readPictureHeader(bytes, m_uploaded.format);
        if (!header)
            throw std::runtime_error(m_file + ": " + sentenceOf(pictures::PictureOutcome::UNDECODABLE));
        if (!fitsInto(Limits().pixels, *header))
            throw std::runtime_error(m_file + ": The picture has too many pixels.");
        const auto slash = m_file.rfind('/');
        const std::string name = safeFileName(slash == std::string::npos ? m_file : m_file.substr(slash + 1));
        m_uploaded.fileName = nameWithExtension(name, m_uploaded.format);
        m_uploaded.size = sizeOf(file.fd(), file.path());
        m_uploaded.width = header->width;
        m_uploaded.height = header->height;
        m_uploaded.taken = timeTaken(header->exif, m_zone);
        // By it a picture is known again that people add on the page.
        Sha256 digest;
        std::string block(BLOCK, '\0');
        for (std::int64_t done = 0; done < m_uploaded.size;) {
            const std::size_t count = readAt(file.fd(), block.data(), block.size(), done, file.path());
            digest.add(std::string_view(block.data(), count));
            done += static_cast<std::int64_t>(count);
        }
        m_uploaded.digest = toHex(digest.finish());
    }

    /// A picture without thumbnails is kept all the same, as it is when it is uploaded.
    void makeThumbnails(const TemporaryFile& file, Id content)
    {
        ThumbnailFiles thumbnails(m_media);
        const pictures::PictureOutcome outcome = m_process.runTwice(thumbnailTask(), {file.fd(), m_whose}, thumbnails.descriptors(),
                                                                    {Limits().pixels, pictures::PictureProcess::PATIENCE});
        if (outcome == pictures::PictureOutcome::DONE)
            thumbnails.keep(content);
        m_uploaded.thumbnails = outcome == pictures::PictureOutcome::DONE     ? Thumbnails::MADE
                                : outcome == pictures::PictureOutcome::FAILED ? Thumbnails::PENDING
                                                                              : Thumbnails::NONE;
        if (outcome != pictures::PictureOutcome::DONE)
            std::fprintf(stderr, "kinloomd: %s: %s It has no thumbnails.\n", m_file.c_str(), sentenceOf(outcome));
    }

    const MediaStore& m_media;
    std::string m_file;
    Id m_whose;
    const TimeZone& m_zone;
    pictures::PictureProcess m_process;
    OriginalName m_last;
    UploadedFile m_uploaded;
};

constexpr unsigned CONTENTS_AT_ONCE = 500;

/// Adds some contents the way an upload does: places first, then files, then records. No lock is held while the files are made.
Id addSome(Database& database, const Group& group, const Person& person, const std::string& description, unsigned count,
           Copies& copies)
{
    std::vector<Slot> slots(count);
    database.change([&](DatabaseConnection& connection) {
        if (roleInGroup(connection, group.id, person.id) == Role::STRANGER)
            throw std::runtime_error(visibleText(person.name) + " is not a member of " + visibleText(group.name));
        for (Slot& slot : slots) {
            slot.group = group.id;
            slot.id = addSlot(connection, group.id, person.id, ContentType::PHOTO, std::nullopt, description);
        }
    });
    std::vector<OriginalName> names;
    names.reserve(slots.size());
    for (const Slot& slot : slots)
        names.push_back(copies.place(slot.id));
    database.change([&](DatabaseConnection& connection) {
        UploadedFile file = copies.uploaded();
        for (std::size_t i = 0; i < slots.size(); ++i) {
            file.attempt = names[i].attempt;
            if (!commitUpload(connection, slots[i], file))
                throw std::runtime_error("the group was deleted meanwhile");
        }
    });
    return slots.back().id;
}

} // namespace

void addContent(const DataPlace& data, const ContentArguments& arguments)
{
    const DataFolder folder = DataFolder::existing(data);
    Database database(folder.database());
    const Group group = requireGroup(database, arguments.group);
    const Person person = requirePerson(database, arguments.person);
    const TimeZone zone(arguments.timeZone);
    // Held until the records are there: a service that starts meanwhile would take the new files for leftovers.
    const FolderLock lock(folder.mediaLock(), FolderLock::SHARED);
    const auto media = openMedia(folder, database);
    Copies copies(*media, arguments.file, person.id, zone);
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
