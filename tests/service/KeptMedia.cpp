// SPDX-License-Identifier: MIT
#include "KeptMedia.h"

#include "TestDatabase.h"
#include "media/DataFolder.h"
#include "media/MediaPlace.h"
#include "operations/MediaCollector.h"
#include "support/TestStore.h"

#include <cstdlib>
#include <memory>

namespace kinloomd_test {

namespace {

kinloomd::DataPlace placeOf(const std::string& dataFolder)
{
    kinloomd::DataPlace place(dataFolder);
    if (onPostgresql())
        place.database = databaseOf(dataFolder);
    return place;
}

/// The media as commands see them.
class Kept {
public:
    explicit Kept(const std::string& dataFolder)
        : m_folder(kinloomd::DataFolder::existing(placeOf(dataFolder))),
          m_database(m_folder.database()),
          m_media(kinloomd::openMedia(m_folder, m_database))
    {
        // Whoever opens them takes the keys out of the environment, where the next command looks for them.
        if (std::getenv("KINLOOM_TEST_STORE") != nullptr)
            test::TestStore::ofEnvironment().lendKeys();
    }

    kinloomd::Database& database() { return m_database; }
    const kinloomd::MediaStore& media() const { return *m_media; }

private:
    kinloomd::DataFolder m_folder;
    kinloomd::Database m_database;
    std::unique_ptr<kinloomd::MediaStore> m_media;
};

} // namespace

std::size_t countOriginals(const std::string& dataFolder)
{
    std::size_t count = 0;
    Kept(dataFolder).media().forEachOriginal([&](const kinloomd::KeptMedium&) { ++count; });
    return count;
}

bool hasOriginal(const std::string& dataFolder, const std::string& content)
{
    bool has = false;
    Kept(dataFolder).media().forEachOriginal([&](const kinloomd::KeptMedium& medium) {
        has = has || std::to_string(medium.id) == content;
    });
    return has;
}

void collectAllUnknown(const std::string& dataFolder)
{
    constexpr kinloomd::Millis HOUR = 3'600'000;
    Kept kept(dataFolder);
    kinloomd::collectMedia(kept.database(), kept.media(), kinloomd::now() + HOUR);
}

} // namespace kinloomd_test
