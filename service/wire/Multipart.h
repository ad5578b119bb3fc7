// SPDX-License-Identifier: MIT
/// \file Bodies of several parts (multipart/form-data), read as they arrive.
#ifndef KINLOOMD_WIRE_MULTIPART_H
#define KINLOOMD_WIRE_MULTIPART_H

#include <optional>
#include <string>
#include <string_view>

namespace kinloomd {

/// What the headers of a part say.
struct PartHeaders {
    std::string name;
    std::optional<std::string> fileName;
    std::string contentType;
};

/// Takes the parts. What it throws passes through the parser.
class PartListener {
public:
    virtual ~PartListener() = default;
    virtual void partBegins(const PartHeaders& headers) = 0;
    virtual void partData(std::string_view bytes) = 0;
    virtual void partEnds() = 0;
};

/// Splits a body into its parts, the same ones in whatever pieces it is fed. It keeps no more than the piece that is fed and one
/// boundary, or the headers of one part.
class MultipartParser {
public:
    /// The longest block of headers that a part may have.
    static constexpr std::size_t HEADER_LIMIT = 8 * 1024;

    /// The boundary that a Content-Type header names; nothing for other types and malformed boundaries.
    static std::optional<std::string> boundaryOf(std::string_view contentType);

    /// The listener must outlive the parser.
    MultipartParser(const std::string& boundary, PartListener& listener);

    /// Throws ServiceError MALFORMED_REQUEST for what is no such body.
    void feed(std::string_view bytes);

    /// \return whether the last boundary has been seen. What follows it means nothing.
    bool isComplete() const { return m_state == State::EPILOGUE; }

private:
    enum class State { PREAMBLE, AFTER_BOUNDARY, HEADERS, DATA, EPILOGUE };

    bool isBeyondLimit(std::size_t found, std::size_t markSize) const;
    bool step();
    bool skipPreamble();
    bool readAfterBoundary();
    bool readHeaders();
    bool readData();

    PartListener& m_listener;
    std::string m_delimiter; ///< CR LF, two dashes, boundary
    State m_state = State::PREAMBLE;
    std::string m_buffer;   ///< what was fed and not dealt with yet
    std::size_t m_skip = 0; ///< bytes at the front of the buffer that are no data: the line end after a part's headers
};

} // namespace kinloomd

#endif
