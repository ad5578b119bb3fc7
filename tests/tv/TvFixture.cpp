// SPDX-License-Identifier: MIT
#include "TvFixture.h"

#include <cstdlib>

namespace test {

std::string TvTest::signInAs(const std::string& person, const Place& at) const
{
    const kinloomd_test::DeviceCredentials device = kinloomd_test::addDevice(data.path(), person);
    writeFile(at.config(), device.section);
    return device.duid;
}

TvProcess::Settings TvTest::settings(const Place& at, const std::vector<std::string>& more) const
{
    TvProcess::Settings settings;
    settings.arguments = {"--config", at.config(), "--cache",   at.cache(),
                          "--poll",   "0.1",       "--service", through.empty() ? service.url() : through};
    settings.arguments.insert(settings.arguments.end(), more.begin(), more.end());
    settings.environment = {{"HOME", at.home.path()}, {"TZ", "UTC"}, {"KINLOOM_PLUGIN", KINLOOM_PLUGIN}, {"PATH", "/usr/bin:/bin"}};
    for (const char* const name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LD_LIBRARY_PATH"})
        if (const char* const value = std::getenv(name))
            settings.environment[name] = value;
    return settings;
}

void TvTest::start(const std::vector<std::string>& more)
{
    if (!exists(place.config()))
        signInAs("Ada", place);
    tv = std::make_unique<TvProcess>(settings(place, more));
}

void TvTest::waitUntilRead() const
{
    const Json groups = tv->until("/api/groups", [](const Json& answer) {
        for (const Json& group : answer["groups"])
            if (group["complete"] != true || group["total"] != group["contents"])
                return false;
        return !answer["groups"].empty();
    });
    ASSERT_FALSE(groups["groups"].empty()) << tv->log();
}

void TvTest::startAndRead(const std::vector<std::string>& more)
{
    start(more);
    waitUntilRead();
}

void TvTest::addPhotos(const std::string& group, int copies, const Arguments& photo)
{
    const std::string file = makePhoto(files.file("photo" + std::to_string(++photos) + ".jpg"), photo);
    const auto result = kinloomd_test::runKinloomd(
        {"content", "add", "--data", data.path(), "--group", group, "--person", "Ada", "--copies", std::to_string(copies), file});
    ASSERT_EQ(result.exitCode, 0) << result.err;
}

Json TvTest::contentsOf(const std::string& group, const std::string& query) const
{
    return tv->json("/api/groups/" + group + "/contents?" + query);
}

std::vector<std::string> idsOf(const Json& contents)
{
    std::vector<std::string> ids;
    for (const Json& content : contents)
        ids.push_back(content["id"]);
    return ids;
}

} // namespace test
