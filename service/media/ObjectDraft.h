// SPDX-License-Identifier: MIT
/// \file An original on its way into an object store.
#ifndef KINLOOMD_MEDIA_OBJECTDRAFT_H
#define KINLOOMD_MEDIA_OBJECTDRAFT_H

#include "media/MediaStore.h"
#include "objects/ObjectStore.h"

#include <string>
#include <vector>

namespace kinloomd {

/// Small originals go to the store when they are kept, in one request. Larger ones go there in parts while they come, and the place
/// of a part that was sent is given back: a file on this computer never takes more room than SMALL. What stays there of a large one
/// is its beginning, where pictures say what they are, and what was not sent yet, its end.
class ObjectDraft : public MediaDraft {
public:
    static constexpr std::int64_t SMALL = std::int64_t{8} << 20; ///< bytes that are sent in one request
    static constexpr std::int64_t PART = std::int64_t{5} << 20;  ///< bytes; the least that stores take, but for the last part
    static constexpr std::int64_t HEAD = SMALL - PART;           ///< bytes at the beginning, which stay

    /// The store must outlive it. \param temporary the folder for files on their way
    ObjectDraft(objects::ObjectStore& store, std::string key, std::string mimeType, const std::string& temporary);
    ~ObjectDraft() override;

    void write(std::string_view bytes) override;
    int fd() const override { return m_file.fd(); }
    void keep() override;

private:
    template <class Call> void asking(Call call);
    /// How far the file may grow before a part is sent.
    std::int64_t limit() const { return m_sent == 0 ? SMALL : m_sent + PART; }
    void sendPart(std::int64_t size);
    void freeRoom();

    objects::ObjectStore& m_store;
    std::string m_key;
    std::string m_mimeType;
    TemporaryFile m_file;
    std::int64_t m_size = 0;
    std::int64_t m_sent = 0;
    std::string m_upload; ///< in parts, once it has begun; empty when it is ended
    std::vector<std::string> m_tags;
    bool m_lost = false; ///< the store does not answer
};

} // namespace kinloomd

#endif
