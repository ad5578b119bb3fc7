// SPDX-License-Identifier: MIT
#include "tv/guests/GuestPhotoSink.h"

#include "common/Files.h"
#include "pictures/ByteSource.h"
#include "pictures/Formats.h"
#include "pictures/PictureHeader.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <iterator>
#include <sys/eventfd.h>
#include <system_error>
#include <utility>

namespace tv {

namespace {

using pictures::Format;

/// As many pixels as the service takes.
constexpr std::int64_t MOST_PIXELS = 200'000'000;

/// A telephone that comes again should not do so at once.
constexpr const char* RETRY_SECONDS = "5";

struct Failure {
    std::string_view word;
    unsigned status;
    bool passes; ///< trying again makes sense
};
constexpr Failure FAILURES[] = {
    {"bad_request", 400, false}, {"closed", 410, false}, {"too_large", 413, false}, {"bad_file", 415, false},
    {"too_many", 429, false},    {"busy", 429, true},    {"away", 503, true},       {"disk_full", 503, true},
};

/// What one thread waits for and another one tells.
struct Bell {
    common::UniqueFd fd{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::atomic<GuestResult> result{GuestResult::AWAY};
};

struct Ending {
    GuestResult result;
    GuestTransfer::State state;
    const char* word; ///< null for a photo that is there
};
constexpr Ending ENDINGS[] = {
    {GuestResult::DONE, GuestTransfer::State::DONE, nullptr},
    {GuestResult::REFUSED, GuestTransfer::State::REFUSED, "bad_file"},
    {GuestResult::AWAY, GuestTransfer::State::FAILED, "away"},
};

const Ending& endingOf(GuestResult result)
{
    return *std::find_if(std::begin(ENDINGS), std::end(ENDINGS), [&](const Ending& ending) { return ending.result == result; });
}

} // namespace

httpd::Reply guestFailure(const char* word)
{
    const Failure* const failure =
        std::find_if(std::begin(FAILURES), std::end(FAILURES), [&](const Failure& one) { return one.word == word; });
    assert(failure != std::end(FAILURES));
    httpd::Reply reply;
    reply.status = failure->status;
    reply.contentType = "application/json";
    reply.headers.emplace_back("Cache-Control", "no-store");
    if (failure->passes)
        reply.headers.emplace_back("Retry-After", RETRY_SECONDS);
    reply.body = std::string(R"({"error":")") + word + "\"}";
    return reply;
}

GuestFile::GuestFile(std::string path) : m_path(std::move(path)), m_fd(common::createPrivateFile(m_path)) {}

GuestFile::~GuestFile() { common::removeFile(m_path); }

GuestPhotoSink::GuestPhotoSink(const GuestRoom& room, GuestAdmission admission, httpd::Connection& connection)
    : m_room(room), m_admission(std::move(admission)), m_connection(connection)
{
    try {
        m_file = std::make_shared<GuestFile>(m_room.temporary + "/" + m_admission.id);
    } catch (...) {
        m_room.book->finish(m_admission.id, GuestTransfer::State::FAILED);
        throw;
    }
}

GuestPhotoSink::~GuestPhotoSink()
{
    if (!m_ended)
        m_room.book->finish(m_admission.id, GuestTransfer::State::FAILED);
}

httpd::Reply GuestPhotoSink::end(GuestTransfer::State state, const char* word)
{
    m_ended = true;
    m_room.book->finish(m_admission.id, state);
    return guestFailure(word);
}

std::optional<httpd::Reply> GuestPhotoSink::feed(std::string_view bytes)
{
    m_size += bytes.size();
    if (m_size > m_admission.most)
        return end(GuestTransfer::State::REFUSED, "too_large");
    if (m_beginning.size() < pictures::SNIFF_BYTES) {
        m_beginning += bytes.substr(0, pictures::SNIFF_BYTES - m_beginning.size());
        // Nobody sends fifty megabytes to hear that they are no photo.
        if (m_beginning.size() >= pictures::SNIFF_BYTES && pictures::sniffFormat(m_beginning) == Format::NONE)
            return end(GuestTransfer::State::REFUSED, "bad_file");
    }
    try {
        common::writeAll(m_file->fd(), bytes, m_file->path());
    } catch (const std::system_error&) {
        return end(GuestTransfer::State::FAILED, "disk_full");
    }
    m_room.book->progress(m_admission.id, m_size, 0);
    return std::nullopt;
}

/// What the file's bytes say that it is; null for what is no photo.
const char* GuestPhotoSink::mimeType() const
{
    const Format format = pictures::sniffFormat(m_beginning);
    if (format == Format::NONE)
        return nullptr;
    pictures::BytesOfFile bytes(m_file->fd());
    const auto header = pictures::readPictureHeader(bytes, format);
    return header && pictures::fitsInto(MOST_PIXELS, *header) ? pictures::formatEntry(format).mimeType : nullptr;
}

httpd::Reply GuestPhotoSink::finish()
{
    const char* const type = mimeType();
    if (type == nullptr)
        return end(GuestTransfer::State::REFUSED, "bad_file");
    if (!m_room.book->beginSending(m_admission.id, m_size))
        return end(GuestTransfer::State::FAILED, "closed");
    m_ended = true; // by whoever sends it
    const auto bell = std::make_shared<Bell>();
    const GuestPhoto photo = {m_admission.id, m_admission.group, m_file->path(), type};
    // None of this refers to the sink, nor to the Guests: both may be gone by then.
    m_room.uploads.send(
        photo,
        [book = m_room.book, id = photo.id](double done, double total) {
            book->progress(id, static_cast<std::uint64_t>(std::max(done, 0.0)), static_cast<std::uint64_t>(std::max(total, 0.0)));
        },
        [book = m_room.book, id = photo.id, bell, file = m_file](GuestResult result) {
            book->finish(id, endingOf(result).state);
            bell->result = result;
            ::eventfd_write(bell->fd.get(), 1);
        });
    m_connection.hold();
    if (m_connection.wait(bell->fd.get()) != httpd::Connection::Event::READABLE)
        return guestFailure("away");
    const Ending& ending = endingOf(bell->result);
    if (ending.word != nullptr)
        return guestFailure(ending.word);
    httpd::Reply reply;
    reply.status = 201;
    reply.contentType = "application/json";
    reply.headers.emplace_back("Cache-Control", "no-store");
    reply.body = R"({"id":")" + photo.id + "\"}";
    return reply;
}

} // namespace tv
