// SPDX-License-Identifier: MIT
/// \file Objects as they are read. Of the library alone.
#ifndef OBJECTS_READING_H
#define OBJECTS_READING_H

#include "objects/Exchange.h"

#include <memory>
#include <optional>
#include <string>

namespace objects {

/// A size in a header. Throws TransferFailed where there is none.
std::int64_t sizeNamed(const std::string& value);

/// None of an object's bytes.
class EmptyReader : public ObjectReader {
public:
    explicit EmptyReader(ObjectInfo info) : m_info(std::move(info)) {}
    const ObjectInfo& info() const override { return m_info; }
    std::size_t read(char*, std::size_t) override { return 0; }

private:
    ObjectInfo m_info;
};

/// Bytes from a store.
class StoreReader : public ObjectReader {
public:
    /// Begins: throws when there is no such object.
    StoreReader(Exchange& exchange, std::string path, std::optional<ObjectRange> range);

    const ObjectInfo& info() const override { return m_info; }
    std::size_t read(char* buffer, std::size_t size) override;

private:
    std::unique_ptr<Transfer> open(Clock::time_point deadline);
    std::size_t readOnce(char* buffer, std::size_t size, Clock::time_point deadline);

    Exchange& m_exchange;
    std::string m_path;
    bool m_ranged;           ///< a part is asked for
    bool m_begun = false;    ///< the object's size and tag are known
    std::int64_t m_next = 0; ///< where the next byte stands
    std::int64_t m_end = 0;  ///< where the last one is followed by nothing
    ObjectInfo m_info;
    std::unique_ptr<Transfer> m_transfer;
    Retries m_retries;
    /// Since the last failure so few bytes have come that the next one is of the same trouble: who trickles and cuts by turns must
    /// come to an end too.
    bool m_troubled = false;
    std::int64_t m_sinceFailure = 0;
};

} // namespace objects

#endif
