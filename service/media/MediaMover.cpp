// SPDX-License-Identifier: MIT
#include "media/MediaMover.h"

#include "core/Digest.h"
#include "store/Contents.h"
#include "store/People.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <thread>

namespace kinloomd {

namespace {

constexpr std::size_t AT_A_TIME = 8;
constexpr std::size_t MOVER_BLOCK = 256 * 1024;
constexpr int CONTENTS_AT_ONCE = 1000;

/// Does some work for each item, several at a time. The first failure ends all of it, and is thrown.
template <class Items, class Work> void forEachAtOnce(const Items& items, const Work& work)
{
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    std::exception_ptr failure;
    const auto goOn = [&] {
        for (std::size_t i = next++; i < items.size(); i = next++) {
            try {
                work(items[i]);
            } catch (...) {
                const std::lock_guard<std::mutex> lock(mutex);
                if (!failure)
                    failure = std::current_exception();
                next = items.size();
            }
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(AT_A_TIME);
    for (std::size_t i = 0; i < std::min(AT_A_TIME, items.size()); ++i)
        threads.emplace_back(goOn);
    for (std::thread& thread : threads)
        thread.join();
    if (failure)
        std::rethrow_exception(failure);
}

/// Hands all bytes of a medium over. \return false when it is not there.
template <class Take> bool readWhole(StoredMedium* medium, const Take& take)
{
    const auto reader = medium == nullptr ? nullptr : medium->read(0, medium->size());
    if (!reader)
        return false;
    std::string block(MOVER_BLOCK, '\0');
    while (const std::size_t count = reader->read(block.data(), block.size()))
        take(std::string_view(block.data(), count));
    return true;
}

[[noreturn]] void throwSpoilt(const std::string& name)
{
    throw std::runtime_error("the target gives " + name + " back with other bytes than it was given");
}

} // namespace

MediaMover::MediaMover(Database& records, const MediaStore& source, const MediaStore& target, MoveStep step)
    : m_records(records), m_source(source), m_target(target), m_step(std::move(step))
{
}

void MediaMover::run()
{
    m_source.forEachOriginal([this](const KeptMedium& original) { m_here[{original.id, original.number}] = original.size; });
    m_target.forEachOriginal([this](const KeptMedium& original) { m_there[{original.id, original.number}] = original.size; });
    const auto behind = [this](Id content) {
        const auto connection = m_records.read();
        return keptOriginalsBehind(connection, content, CONTENTS_AT_ONCE);
    };
    for (auto part = behind(0); !part.empty(); part = behind(part.back().name.content))
        forEachAtOnce(part, [this](const KeptOriginal& original) { moveContent(original); });
    const std::vector<PersonImage> pictures = keptPersonImages(m_records.read());
    forEachAtOnce(pictures, [this](const PersonImage& picture) {
        const std::string name = "the picture of person " + std::to_string(picture.person);
        const bool there = moveSmall(
            name, [&](const MediaStore& media) { return media.openPersonImage(picture.person, picture.image); },
            [&](TemporaryFile& file) { m_target.keepPersonImage(file, picture.person, picture.image); });
        if (there)
            count(&MediaTotals::pictures);
        else
            find(name + " has no file");
    });
}

void MediaMover::moveContent(const KeptOriginal& original)
{
    moveOriginal(original);
    for (const ThumbnailSize& size : THUMBNAIL_SIZES) {
        // One that is missing is made when it is asked for.
        const bool there = moveSmall(
            "thumbnail " + std::string(size.name) + " of content " + std::to_string(original.name.content),
            [&](const MediaStore& media) { return media.openThumbnail(original.name.content, size); },
            [&](TemporaryFile& file) { m_target.keepThumbnail(file, original.name.content, size); });
        if (there)
            count(&MediaTotals::thumbnails);
    }
}

void MediaMover::moveOriginal(const KeptOriginal& original)
{
    const std::string name = "content " + std::to_string(original.name.content);
    const auto there = m_there.find(original.name);
    const bool mayBeThere = there != m_there.end() && there->second == original.size;
    const std::string arrived = mayBeThere ? originalDigest(m_target, original, original.size) : "";
    if (!arrived.empty() && arrived == original.digest) {
        count(&MediaTotals::originals);
        return;
    }
    const auto here = sizeHere(original.name);
    const std::string digest = here ? originalDigest(m_source, original, *here) : "";
    if (digest.empty()) {
        find(name + " has no file");
        return;
    }
    if (*here != original.size)
        find(name + " has a file of another size than it came with");
    else if (!original.digest.empty() && digest != original.digest)
        find(name + " has a file with other bytes than it came with");
    if (arrived != digest && copyOriginal(original, *here) != digest)
        throwSpoilt(name);
    count(&MediaTotals::originals);
}

/// A store's list may be behind its objects: what it lacks is asked for by its name.
std::optional<std::int64_t> MediaMover::sizeHere(const OriginalName& original) const
{
    const auto listed = m_here.find(original);
    return listed != m_here.end() ? std::optional(listed->second) : m_source.originalSize(original);
}

/// \return the digest of what the target gives back.
std::string MediaMover::copyOriginal(const KeptOriginal& original, std::int64_t size)
{
    const auto draft = m_target.newOriginal(original.name);
    draft->expect(size);
    readWhole(m_source.openOriginal(original.name, size).get(), [&](std::string_view bytes) {
        draft->write(bytes);
        m_step("media copied", 0);
    });
    draft->keep();
    copied(size);
    return originalDigest(m_target, original, size);
}

/// \return the SHA-256 in hexadecimal digits; empty when it is not there.
std::string MediaMover::originalDigest(const MediaStore& media, const KeptOriginal& original, std::int64_t size) const
{
    Sha256 digest;
    const bool there = readWhole(media.openOriginal(original.name, size).get(), [&](std::string_view bytes) {
        digest.add(bytes);
        m_step("media looked at", 0);
    });
    return there ? toHex(digest.finish()) : std::string();
}

/// Brings a medium that fits into the memory. \return false when the source has none.
bool MediaMover::moveSmall(const std::string& name, const Open& open, const Keep& keep)
{
    const auto bytesIn = [&](const MediaStore& media) {
        std::optional<std::string> bytes(std::in_place);
        if (!readWhole(open(media).get(), [&](std::string_view piece) { bytes->append(piece); }))
            bytes.reset();
        return bytes;
    };
    const auto bytes = bytesIn(m_source);
    if (!bytes)
        return false;
    if (bytesIn(m_target) == bytes)
        return true;
    TemporaryFile file(m_target.temporary());
    file.write(*bytes);
    keep(file);
    copied(static_cast<std::int64_t>(bytes->size()));
    if (bytesIn(m_target) != bytes)
        throwSpoilt(name);
    return true;
}

void MediaMover::copied(std::int64_t bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_totals.copied;
    m_totals.bytes += bytes;
}

void MediaMover::find(const std::string& what)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_findings.push_back(what);
}

void MediaMover::count(std::int64_t MediaTotals::*which)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++(m_totals.*which);
    }
    m_step("media there", 1);
}

} // namespace kinloomd
