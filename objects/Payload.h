// SPDX-License-Identifier: MIT
/// \file Bytes on their way to a store.
#ifndef OBJECTS_PAYLOAD_H
#define OBJECTS_PAYLOAD_H

#include "common/Digest.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace objects {

/// Bytes in memory or in a part of a file, which are read each time that they are sent. Borrows them: they must stay, unchanged,
/// until what takes the payload has returned.
class Payload {
public:
    /// No bytes.
    Payload() = default;
    explicit Payload(std::string_view bytes) : m_bytes(bytes), m_size(static_cast<std::int64_t>(bytes.size())) {}
    /// \param file a descriptor whose position is neither used nor moved
    Payload(int file, std::int64_t offset, std::int64_t size) : m_file(file), m_offset(offset), m_size(size) {}

    std::int64_t size() const { return m_size; }
    /// Copies what stands from a place on. \return how many bytes; 0 at the end. Throws std::system_error when a file cannot be
    /// read or has become shorter.
    std::size_t read(char* buffer, std::size_t size, std::int64_t place) const;

private:
    std::string_view m_bytes;
    int m_file = -1;
    std::int64_t m_offset = 0;
    std::int64_t m_size = 0;
};

/// What a payload is known by.
struct PayloadDigests {
    std::string sha256;    ///< in hexadecimal digits
    std::string md5;       ///< in hexadecimal digits, as a store names what it has kept
    std::string md5Base64; ///< as a header has it
};

/// Finds the digests of bytes that come piece by piece. Throws std::runtime_error when there is no digest to be had.
class PayloadDigester {
public:
    PayloadDigester();
    void add(std::string_view bytes);
    /// Of all that came since the last time. Begins anew.
    PayloadDigests finish();

private:
    void begin();

    std::optional<common::Sha256> m_sha256;
    std::shared_ptr<void> m_md5;
};

/// Reads the payload. Throws what \c Payload::read throws, and std::runtime_error when there is no digest to be had.
PayloadDigests digestsOf(const Payload& payload);

} // namespace objects

#endif
