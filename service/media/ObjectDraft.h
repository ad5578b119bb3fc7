// SPDX-License-Identifier: MIT
/// \file An original on its way into an object store.
#ifndef KINLOOMD_MEDIA_OBJECTDRAFT_H
#define KINLOOMD_MEDIA_OBJECTDRAFT_H

#include "media/MediaStore.h"
#include "objects/ObjectStore.h"

#include <algorithm>
#include <future>
#include <string>
#include <vector>

namespace kinloomd {

/// Small originals go to the store when they are kept, in one request. Larger ones go there in parts: one is on its way while the
/// next one comes, and the place of a part that was sent is given back, so that a file on this computer never takes more than
/// \c room. What stays there of a large one is its beginning, where pictures say what they are, and what was not sent yet, its end.
///
/// All parts but the last are of one size, as some stores want it. A part costs a store as much as a small object, each time that
/// the whole is read too: those of an original that is expected to be very large are larger.
class ObjectDraft : public MediaDraft {
public:
    static constexpr std::int64_t SMALL = std::int64_t{8} << 20; ///< bytes that are sent in one request
    static constexpr std::int64_t PART = std::int64_t{5} << 20;  ///< bytes; the least that stores take, but for the last part
    static constexpr std::int64_t LARGEST_PART = std::int64_t{32} << 20; ///< bytes
    static constexpr std::int64_t PARTS = 32;                            ///< as many as that they are, where their size allows it
    static constexpr std::int64_t HEAD = SMALL - PART;                   ///< bytes at the beginning, which stay

    /// The most that an original of an expected size takes on this computer's disk, in bytes.
    static std::int64_t room(std::int64_t expected) { return std::max(SMALL, HEAD + 2 * partOf(expected)); }

    /// The store must outlive it. \param temporary the folder for files on their way
    ObjectDraft(objects::ObjectStore& store, std::string key, std::string mimeType, const std::string& temporary);
    ~ObjectDraft() override;

    void expect(std::int64_t size) override
    {
        m_part = partOf(size);
        m_inParts = size > SMALL;
    }
    void write(std::string_view bytes) override;
    int fd() const override { return m_file.fd(); }
    void keep() override;

private:
    static std::int64_t partOf(std::int64_t expected) { return std::clamp(expected / PARTS, PART, LARGEST_PART); }

    template <class Call> void asking(Call call);
    /// How far the file may grow before another part is handed over.
    std::int64_t limit() const { return m_inParts ? m_handedOver + m_part : std::max(SMALL, m_part); }
    void handOver(std::int64_t size);
    objects::PayloadDigests digestsOfPart(const objects::Payload& part);
    void awaitPart();
    void freeRoom();

    objects::ObjectStore& m_store;
    std::string m_key;
    std::string m_mimeType;
    TemporaryFile m_file;
    std::int64_t m_part = PART;
    bool m_inParts = false; ///< it is known to be too large for one request
    std::int64_t m_size = 0;
    std::int64_t m_handedOver = 0;       ///< bytes in parts that were sent, or are on their way
    objects::PayloadDigester m_digester; ///< of what was not handed over
    std::string m_upload;                ///< in parts, once it has begun; empty when it is ended
    std::vector<std::string> m_tags;
    bool m_lost = false;                ///< the store does not answer
    std::future<std::string> m_sending; ///< the tag of the part on its way; reads the file on a thread of its own
};

} // namespace kinloomd

#endif
