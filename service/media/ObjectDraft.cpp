// SPDX-License-Identifier: MIT
#include "media/ObjectDraft.h"

#include "core/Log.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>

namespace kinloomd {

ObjectDraft::ObjectDraft(objects::ObjectStore& store, std::string key, std::string mimeType, const std::string& temporary)
    : m_store(store), m_key(std::move(key)), m_mimeType(std::move(mimeType)), m_file(temporary)
{
}

template <class Call> void ObjectDraft::asking(Call call)
{
    try {
        call();
    } catch (const objects::StoreUnavailable&) {
        m_lost = true;
        throw;
    }
}

ObjectDraft::~ObjectDraft()
{
    try {
        awaitPart();
    } catch (const std::exception& error) {
        writeLog(Priority::WARNING, std::string("a part of an upload that was given up was not sent: ") + error.what());
    }
    // A store that has just kept everybody waiting is not waited for once more: the collector finds what is left.
    if (m_upload.empty() || m_lost)
        return;
    try {
        m_store.abortUpload(m_key, m_upload);
    } catch (const std::exception& error) {
        writeLog(Priority::WARNING, std::string("an upload that was given up is left to the collector: ") + error.what());
    }
}

void ObjectDraft::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        // More follows, so what is there is not the last part.
        if (m_size == limit())
            handOver(m_part);
        const std::string_view piece = bytes.substr(0, static_cast<std::size_t>(limit() - m_size));
        m_file.write(piece);
        m_digester.add(piece);
        m_size += static_cast<std::int64_t>(piece.size());
        bytes.remove_prefix(piece.size());
    }
}

/// Digests are found while the bytes come: a part that were read for them once it is whole would reach the store so much later.
/// Only where more had come than a part, since nobody knew that there would be parts, they are found anew.
objects::PayloadDigests ObjectDraft::digestsOfPart(const objects::Payload& part)
{
    objects::PayloadDigests digests = m_digester.finish();
    const std::int64_t end = m_handedOver + part.size();
    if (m_size == end)
        return digests;
    const objects::Payload rest(m_file.fd(), end, m_size - end);
    std::string bytes(static_cast<std::size_t>(rest.size()), '\0');
    for (std::size_t done = 0; done < bytes.size();)
        done += rest.read(bytes.data() + done, bytes.size() - done, static_cast<std::int64_t>(done));
    m_digester.add(bytes);
    return objects::digestsOf(part);
}

/// Has a part sent, when the one before is through.
void ObjectDraft::handOver(std::int64_t size)
{
    awaitPart();
    asking([&] {
        if (m_upload.empty())
            m_upload = m_store.beginUpload(m_key, m_mimeType);
    });
    const auto number = static_cast<unsigned>(m_tags.size() + 1);
    const objects::Payload part(m_file.fd(), m_handedOver, size);
    m_sending = std::async(std::launch::async, [this, number, part, digests = digestsOfPart(part)] {
        return m_store.putPart(m_key, m_upload, number, part, digests);
    });
    m_handedOver += size;
    m_inParts = true;
}

void ObjectDraft::awaitPart()
{
    if (!m_sending.valid())
        return;
    asking([&] { m_tags.push_back(m_sending.get()); });
    freeRoom();
}

/// What was sent needs no room on the disk any more, but for the beginning. A file system without holes keeps all of it: that costs
/// room and nothing else.
void ObjectDraft::freeRoom()
{
    if (m_handedOver > HEAD &&
        ::fallocate(m_file.fd(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, HEAD, m_handedOver - HEAD) != 0 && errno != EOPNOTSUPP)
        throwSystemError("give back room of", m_file.path());
}

void ObjectDraft::keep()
{
    if (m_handedOver == 0) {
        m_store.put(m_key, objects::Payload(m_file.fd(), 0, m_size), m_digester.finish(), m_mimeType);
        return;
    }
    handOver(m_size - m_handedOver);
    awaitPart();
    asking([&] { m_store.completeUpload(m_key, m_upload, m_tags, m_size); });
    m_upload.clear();
}

} // namespace kinloomd
