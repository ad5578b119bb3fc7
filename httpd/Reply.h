// SPDX-License-Identifier: MIT
/// \file What a request is answered with.
#ifndef HTTPD_REPLY_H
#define HTTPD_REPLY_H

#include "httpd/Connection.h"
#include "httpd/UniqueFd.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace httpd {

/// A body that lies in a file: so many bytes from the offset on. They must be there.
struct FileBody {
    UniqueFd file;
    std::int64_t offset = 0;
    std::int64_t length = 0;
};

/// Makes a body while it is sent. Called on the thread of the connection alone; destroyed there when the reply is through, or the
/// client has gone.
class BodySource {
public:
    static constexpr std::int64_t END = -1;    ///< nothing follows
    static constexpr std::int64_t BROKEN = -2; ///< the rest cannot be had: the connection is closed, so that the client knows

    BodySource() = default;
    BodySource(const BodySource&) = delete;
    BodySource& operator=(const BodySource&) = delete;
    virtual ~BodySource() = default;

    /// Writes the next bytes of the body into the buffer. It may wait for them with \c connection.wait, which ends with the client
    /// and with the server too; a source that waits otherwise can keep the server from ending. None of the client's time runs
    /// while it waits. The client must take each piece in the time that Limits allow for its size. An exception counts as BROKEN.
    ///
    /// \return how many bytes were written, at least one; or END or BROKEN.
    virtual std::int64_t read(char* buffer, std::size_t size, Connection& connection) = 0;
};

/// A body that is made while it is sent.
struct StreamBody {
    std::unique_ptr<BodySource> source;
    std::optional<std::int64_t> length; ///< announced to the client; without it the body goes on until its source ends it
};

using Body = std::variant<std::string, FileBody, StreamBody>;

/// The size of a body; nothing for a stream that does not announce one.
std::optional<std::int64_t> sizeOf(const Body& body);

struct Reply {
    unsigned status = 200;
    std::string contentType;                                  ///< of the Content-Type header; empty for none
    std::vector<std::pair<std::string, std::string>> headers; ///< beyond those that the server writes: Date, Content-Length, ...
    Body body;                                                ///< left out where HTTP has none: after HEAD, with 204 and 304
};

} // namespace httpd

#endif
