// SPDX-License-Identifier: MIT
#include "operations/MediaCollector.h"

#include "store/Contents.h"
#include "store/Moving.h"
#include "store/People.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace kinloomd {

void collectMedia(Database& database, const MediaStore& media, Millis before)
{
    // Read first, and kept in memory: going through a store takes long. A record that comes meanwhile is one of a medium that is
    // new, and so stays.
    std::vector<OriginalName> originals;
    std::vector<std::pair<Id, std::int64_t>> images;
    {
        const auto connection = database.read();
        requireChangeable(connection); // what is arriving has no record in every moment
        originals = keptOriginals(connection);
        const std::vector<PersonImage> pictures = keptPersonImages(connection);
        images.reserve(pictures.size());
        for (const PersonImage& picture : pictures)
            images.emplace_back(picture.person, picture.image);
    }
    media.collect(
        {[&](const OriginalName& original) { return std::binary_search(originals.begin(), originals.end(), original); },
         [&](Id content) { return haveContent(originals, content); },
         [&](Id person, std::int64_t image) { return std::binary_search(images.begin(), images.end(), std::pair(person, image)); }},
        before);
}

} // namespace kinloomd
