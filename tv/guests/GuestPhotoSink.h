// SPDX-License-Identifier: MIT
/// \file A photo on its way from a telephone to the service.
#ifndef KINLOOM_TV_GUESTS_GUESTPHOTOSINK_H
#define KINLOOM_TV_GUESTS_GUESTPHOTOSINK_H

#include "common/UniqueFd.h"
#include "httpd/Connection.h"
#include "httpd/Handler.h"
#include "tv/guests/GuestBook.h"
#include "tv/guests/Guests.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tv {

/// The reply for a word such as "too_many", with its status.
httpd::Reply guestFailure(const char* word);

/// A file of a guest, gone at the end of its life.
class GuestFile {
public:
    /// Throws std::system_error.
    explicit GuestFile(std::string path);
    GuestFile(const GuestFile&) = delete;
    GuestFile& operator=(const GuestFile&) = delete;
    ~GuestFile();

    int fd() const { return m_fd.get(); }
    const std::string& path() const { return m_path; }

private:
    const std::string m_path;
    common::UniqueFd m_fd;
};

/// What a sink needs of its Guests, which live longer than it.
struct GuestRoom {
    std::shared_ptr<GuestBook> book;
    GuestUploads& uploads;
    std::string temporary;
};

/// Takes a photo into a file, looks at it, and has it sent. The telephone gets its reply when the service has the photo; one that
/// goes away meanwhile does not keep it from getting there.
class GuestPhotoSink : public httpd::BodySink {
public:
    /// Throws std::system_error when the file cannot be made: the photo has ended then.
    GuestPhotoSink(const GuestRoom& room, GuestAdmission admission, httpd::Connection& connection);
    /// Without \c finish the telephone has gone.
    ~GuestPhotoSink() override;

    std::optional<httpd::Reply> feed(std::string_view bytes) override;
    httpd::Reply finish() override;

private:
    httpd::Reply end(GuestTransfer::State state, const char* word);
    const char* mimeType() const;

    const GuestRoom m_room;
    const GuestAdmission m_admission;
    httpd::Connection& m_connection;
    std::shared_ptr<GuestFile> m_file;
    std::string m_beginning; ///< as much as tells the format
    std::uint64_t m_size = 0;
    bool m_ended = false;
};

} // namespace tv

#endif
