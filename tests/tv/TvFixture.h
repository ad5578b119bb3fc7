// SPDX-License-Identifier: MIT
/// \file A family's service, and their television.
#ifndef TESTS_TV_TVFIXTURE_H
#define TESTS_TV_TVFIXTURE_H

#include "CliFixture.h"
#include "TvProcess.h"

#include <memory>

namespace test {

/// Ada's service, with her television beside it, which looks for what is new every tenth of a second.
class TvTest : public CliTest {
protected:
    /// What a television has for itself: its configuration, its cache, its settings.
    struct Place {
        TempDir home;
        std::string config() const { return home.file("tv.toml"); }
        std::string cache() const { return home.file("cache"); }
    };

    /// Writes what a television signs in with. \return the device's identifier.
    std::string signInAs(const std::string& person, const Place& place) const;
    TvProcess::Settings settings(const Place& place, const std::vector<std::string>& more = {}) const;
    /// Starts Ada's television.
    void start(const std::vector<std::string>& more = {});
    /// Starts it, and waits until it knows all of the groups.
    void startAndRead(const std::vector<std::string>& more = {});
    void waitUntilRead() const;

    /// Puts a photo into a group, and makes copies of it.
    void addPhotos(const std::string& group, int copies, const Arguments& photo = {});
    Json contentsOf(const std::string& group, const std::string& query = "index=0&count=1000") const;

    Place place;
    std::string through; ///< what stands between televisions and the service; empty: nothing
    std::unique_ptr<TvProcess> tv;
    int photos = 0;
};

/// The identifiers of contents, in their order.
std::vector<std::string> idsOf(const Json& contents);

} // namespace test

#endif
