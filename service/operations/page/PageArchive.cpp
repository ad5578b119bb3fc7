// SPDX-License-Identifier: MIT
// A month's originals in one file.
#include "core/Failure.h"
#include "core/Log.h"
#include "core/Text.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "operations/page/Calendar.h"
#include "operations/page/FileNames.h"
#include "operations/page/PageHandlers.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/Sessions.h"
#include "wire/ZipWriter.h"

#include <memory>
#include <zlib.h>

namespace kinloomd {

namespace {

constexpr std::size_t BLOCK = 256 * 1024;

struct ArchivedFile {
    OriginalName original;
    ZipEntry entry;
};

/// The archive, while it is sent. A file is read twice, first for its checksum, which stands before it. Who may no longer have the
/// group's contents gets no further file: the archive breaks off.
class ArchiveSource : public httpd::BodySource {
public:
    ArchiveSource(Service& service, const Caller& caller, Id group, std::vector<ArchivedFile> files)
        : m_service(service), m_caller(caller), m_group(group), m_files(std::move(files))
    {
    }

    std::int64_t read(char* buffer, std::size_t size, httpd::Connection&) override
    {
        try {
            return readOn(buffer, size);
        } catch (const ServiceError&) {
            return BROKEN;
        } catch (const std::exception& error) {
            writeLog(Priority::FAILURE, std::string("an archive was broken off: ") + error.what());
            return BROKEN;
        }
    }

private:
    std::int64_t readOn(char* buffer, std::size_t size)
    {
        while (m_sent == m_text.size()) {
            if (m_reader && m_done < m_size)
                return readFile(buffer, size);
            if (m_ended)
                return END;
            advance();
        }
        const std::size_t count = m_text.copy(buffer, size, m_sent);
        m_sent += count;
        return static_cast<std::int64_t>(count);
    }

    std::int64_t readFile(char* buffer, std::size_t size)
    {
        const std::size_t count = m_reader->read(buffer, size);
        m_done += count;
        return count == 0 ? BROKEN : static_cast<std::int64_t>(count);
    }

    /// Goes on to the next file, or to what follows the last.
    void advance()
    {
        m_sent = 0;
        m_reader.reset();
        if (m_next == m_files.size()) {
            m_ended = true;
            m_text = m_writer.end();
            return;
        }
        requireStill();
        ArchivedFile& file = m_files[m_next++];
        m_size = file.entry.size;
        m_done = 0;
        m_medium = m_service.media().openOriginal(file.original, static_cast<std::int64_t>(m_size));
        if (!m_medium || static_cast<std::uint64_t>(m_medium->size()) != m_size)
            throw ServiceError(Failure::NOT_FOUND);
        file.entry.checksum = checksum();
        m_reader = readAll();
        m_text = m_writer.begin(file.entry);
    }

    void requireStill()
    {
        const auto connection = m_service.database().read();
        if (!isLiveSession(connection, m_caller.session))
            throw ServiceError(Failure::SIGNED_OUT);
        requirePermission(Action::READ_FEED, roleInGroup(connection, m_group, m_caller.person.id));
    }

    std::unique_ptr<MediumReader> readAll()
    {
        auto reader = m_medium->read(0, static_cast<std::int64_t>(m_size));
        if (!reader)
            throw ServiceError(Failure::NOT_FOUND);
        return reader;
    }

    std::uint32_t checksum()
    {
        const auto reader = readAll();
        std::string block(BLOCK, '\0');
        uLong sum = ::crc32(0, nullptr, 0);
        while (const std::size_t count = reader->read(block.data(), block.size()))
            sum = ::crc32(sum, reinterpret_cast<const Bytef*>(block.data()), static_cast<uInt>(count));
        return static_cast<std::uint32_t>(sum);
    }

    Service& m_service;
    Caller m_caller;
    Id m_group;
    std::vector<ArchivedFile> m_files;
    std::size_t m_next = 0;
    ZipWriter m_writer;
    std::string m_text; ///< that stands before a file or behind all
    std::size_t m_sent = 0;
    std::unique_ptr<StoredMedium> m_medium;
    std::unique_ptr<MediumReader> m_reader; ///< of the medium
    std::uint64_t m_size = 0;
    std::uint64_t m_done = 0;
    bool m_ended = false;
};

std::vector<ArchivedFile> archivedFiles(std::vector<NamedFile> files, const TimeZone& zone)
{
    std::vector<ArchivedFile> archived;
    NamesOfFolder names;
    for (NamedFile& file : files) {
        ZipEntry entry;
        entry.name = names.unique(portableName(safeFileName(file.name)));
        entry.size = static_cast<std::uint64_t>(file.size);
        entry.dosTime = dosTime(file.created + zone.offsetAt(file.created));
        archived.push_back({file.original, std::move(entry)});
    }
    return archived;
}

} // namespace

Reply handlePageArchive(Service& service, Request& request)
{
    const Id group = requireId(request.pieces[0]);
    const std::string month(request.query.get("month"));
    const MonthRange range = requireMonth(month, service.timeZone());
    std::vector<ArchivedFile> files;
    std::string groupName;
    {
        const auto connection = service.database().readInTurn();
        const Snapshot snapshot(connection);
        requirePermission(Action::READ_FEED, roleInGroup(connection, group, request.caller.person.id));
        files = archivedFiles(filesBetween(connection, group, range.from, range.before), service.timeZone());
        groupName = findGroup(connection, group).value_or(Group()).name;
    }
    if (files.empty())
        throw ServiceError(Failure::NOT_FOUND, "There is nothing in this month.");
    std::vector<ZipEntry> entries;
    entries.reserve(files.size());
    for (const ArchivedFile& file : files)
        entries.push_back(file.entry);
    Reply reply;
    reply.contentType = "application/zip";
    reply.headers = {{"Content-Disposition", attachmentNamed(safeFileName(portableName(groupName + " " + month + ".zip")))},
                     {"Cache-Control", "no-store"}};
    const auto size = static_cast<std::int64_t>(ZipWriter::sizeOf(entries));
    reply.body = httpd::StreamBody{std::make_unique<ArchiveSource>(service, request.caller, group, std::move(files)), size};
    return reply;
}

} // namespace kinloomd
