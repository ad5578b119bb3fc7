// SPDX-License-Identifier: MIT
/// \file What stands around the files of a ZIP archive that are stored as they are.
#ifndef KINLOOMD_WIRE_ZIPWRITER_H
#define KINLOOMD_WIRE_ZIPWRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace kinloomd {

/// A file of an archive.
struct ZipEntry {
    std::string name; ///< in UTF-8
    std::uint64_t size = 0;
    std::uint32_t dosTime = 0;  ///< date in the upper half, time of day in the lower
    std::uint32_t checksum = 0; ///< CRC-32 of its bytes
};

/// Writes the heads of the files, and what follows the last one. Files and archives of 4 GiB and more, and archives of more than
/// 65,535 files, are written as ZIP64 has them.
class ZipWriter {
public:
    /// What stands before the bytes of the next file.
    std::string begin(const ZipEntry& entry);
    /// What stands behind the last file.
    std::string end() const;

    /// The size of the archive of these files; their checksums do not matter.
    static std::uint64_t sizeOf(const std::vector<ZipEntry>& entries);

private:
    struct Placed {
        ZipEntry entry;
        std::uint64_t offset;
    };

    std::vector<Placed> m_entries;
    std::uint64_t m_offset = 0;
};

} // namespace kinloomd

#endif
