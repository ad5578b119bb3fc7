// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "media/MediaPlace.h"
#include "operations/MediaCollector.h"

#include <cstdio>
#include <limits>

namespace kinloomd {

void collect(const DataPlace& data, std::chrono::seconds age)
{
    const DataFolder folder = DataFolder::existing(data);
    Database database(folder.database());
    const auto media = openMedia(folder, database);
    // A store's clock may be ahead: whatever its age is whatever its time.
    const Millis before =
        age == std::chrono::seconds::zero() ? std::numeric_limits<Millis>::max() : now() - std::chrono::milliseconds(age).count();
    collectMedia(database, *media, before);
    std::printf("media without a record are removed\n");
}

} // namespace kinloomd
