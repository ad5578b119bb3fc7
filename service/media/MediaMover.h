// SPDX-License-Identifier: MIT
/// \file Media that are brought from one place to another.
#ifndef KINLOOMD_MEDIA_MEDIAMOVER_H
#define KINLOOMD_MEDIA_MEDIAMOVER_H

#include "media/MediaStore.h"
#include "store/Contents.h"
#include "store/RecordCopy.h"

#include <atomic>
#include <map>
#include <mutex>
#include <optional>

namespace kinloomd {

/// How many media are at their new place, each of them read back there.
struct MediaTotals {
    std::int64_t originals = 0;
    std::int64_t thumbnails = 0;
    std::int64_t pictures = 0; ///< of people
    std::int64_t copied = 0;   ///< of all of them, those that were not there before
    std::int64_t bytes = 0;    ///< of those
};

/// Brings the media of records to another place, several at a time. What is there with the same bytes is passed over, so that it
/// may be begun anew at any time. Nobody may change the records meanwhile (store/Moving.h).
class MediaMover {
public:
    /// All of them must outlive it. \param step is called on several threads at a time
    MediaMover(Database& records, const MediaStore& source, const MediaStore& target, MoveStep step);

    /// Returns when every medium that the source has is at the target. Throws when either fails, and std::runtime_error for a
    /// medium that comes back from the target with other bytes.
    void run();

    const MediaTotals& totals() const { return m_totals; }
    /// What is not as its record says, a sentence each: it was so before.
    const std::vector<std::string>& findings() const { return m_findings; }

private:
    using Sizes = std::map<OriginalName, std::int64_t>;
    using Open = std::function<std::unique_ptr<StoredMedium>(const MediaStore&)>;
    using Keep = std::function<void(TemporaryFile&)>;

    void moveContent(const KeptOriginal& original);
    void moveOriginal(const KeptOriginal& original);
    std::optional<std::int64_t> sizeHere(const OriginalName& original) const;
    std::string copyOriginal(const KeptOriginal& original, std::int64_t size);
    bool moveSmall(const std::string& name, const Open& open, const Keep& keep);
    std::string originalDigest(const MediaStore& media, const KeptOriginal& original, std::int64_t size) const;
    void copied(std::int64_t bytes);
    void find(const std::string& what);
    void count(std::int64_t MediaTotals::*which);

    Database& m_records;
    const MediaStore& m_source;
    const MediaStore& m_target;
    MoveStep m_step;
    Sizes m_here;  ///< of the originals that the source lists
    Sizes m_there; ///< and of those that the target listed in the beginning
    std::mutex m_mutex;
    MediaTotals m_totals;                // guarded by m_mutex while it runs
    std::vector<std::string> m_findings; // the same
};

} // namespace kinloomd

#endif
