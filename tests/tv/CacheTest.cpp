// SPDX-License-Identifier: MIT
#include "tv/media/Cache.h"

#include "support/TempDir.h"
#include "support/Wait.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace tv;
using test::comesTrue;
namespace fs = std::filesystem;

constexpr std::uint64_t MEGABYTE = std::uint64_t{1} << 20;

bool always() { return true; }

std::string bytesOf(const CachedPicture& picture)
{
    std::string bytes(static_cast<std::size_t>(picture.length), '\0');
    EXPECT_EQ(::pread(picture.file.get(), bytes.data(), bytes.size(), picture.offset), static_cast<ssize_t>(bytes.size()));
    return bytes;
}

/// What the files of a folder take.
std::uint64_t bytesIn(const std::string& folder)
{
    std::uint64_t sum = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        struct stat info {};
        if (entry.is_regular_file() && ::lstat(entry.path().c_str(), &info) == 0)
            sum += static_cast<std::uint64_t>(info.st_blocks) * 512;
    }
    return sum;
}

class CacheTest : public ::testing::Test {
protected:
    void open(std::uint64_t limit = 100 * MEGABYTE)
    {
        m_cache.reset();
        m_cache = std::make_unique<Cache>(m_folder, limit);
    }
    static std::string name(int content, PictureSize size = PictureSize::GRID)
    {
        return cacheName(std::to_string(content), formOf(size, {}, {3840, 2160}));
    }
    bool keep(int content, const std::string& bytes)
    {
        return m_cache->keep(name(content), "image/jpeg", bytes, &always).has_value();
    }
    bool holds(int content) { return m_cache->find(name(content)).has_value(); }
    fs::path fileOf(int content) const { return fs::path(m_folder) / "pictures" / name(content); }

    test::TempDir m_dir;
    std::string m_folder = m_dir.file("cache");
    std::unique_ptr<Cache> m_cache;
};

TEST_F(CacheTest, GivesBackWhatItKeeps)
{
    open();
    EXPECT_FALSE(holds(1));
    const std::string bytes(100'000, 'x');
    const auto kept = m_cache->keep(name(1), "image/webp", bytes, &always);
    ASSERT_TRUE(kept);
    EXPECT_EQ(bytesOf(*kept), bytes);
    for (int i = 0; i < 2; ++i) {
        const auto found = m_cache->find(name(1));
        ASSERT_TRUE(found);
        EXPECT_EQ(bytesOf(*found), bytes);
        EXPECT_EQ(found->type, "image/webp");
        EXPECT_EQ(found->tag, kept->tag);
        EXPECT_FALSE(m_cache->find(name(1, PictureSize::SCREEN)));
        open(); // and after a start
    }
    ASSERT_TRUE(keep(1, "other bytes"));
    EXPECT_NE(m_cache->find(name(1))->tag, kept->tag);
    EXPECT_TRUE(comesTrue([&] { return m_cache->count() == 1; })) << "over the one before";
}

TEST_F(CacheTest, IsItsOwnersAlone)
{
    fs::create_directory(m_folder);
    fs::permissions(m_folder, fs::perms::all);
    open();
    ASSERT_TRUE(keep(1, "x"));
    EXPECT_EQ(fs::status(m_folder).permissions(), fs::perms::owner_all);
    for (const auto& entry : fs::recursive_directory_iterator(m_folder)) {
        const fs::perms others = fs::perms::group_all | fs::perms::others_all;
        EXPECT_EQ(entry.status().permissions() & others, fs::perms::none) << entry;
    }
}

TEST_F(CacheTest, RefusesASecondProgram)
{
    open();
    try {
        const Cache second(m_folder, MEGABYTE);
        ADD_FAILURE();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("in use by another program"), std::string::npos) << error.what();
    }
    m_cache.reset();
    EXPECT_NO_THROW(open());
}

TEST_F(CacheTest, RefusesAFolderThatCannotBeItsOwn)
{
    test::writeFile(m_dir.file("file"), "x");
    EXPECT_THROW(Cache(m_dir.file("file"), MEGABYTE), std::runtime_error);
    EXPECT_THROW(Cache("/proc/cache", MEGABYTE), std::runtime_error);
    if (::geteuid() != 0)
        GTEST_SKIP() << "only the administrator gives folders away";
    fs::create_directory(m_folder);
    ASSERT_EQ(::chown(m_folder.c_str(), 12345, 12345), 0);
    EXPECT_THROW(open(), std::runtime_error);
}

/// What can happen to a file.
struct Damage {
    const char* name;
    void (*cause)(const fs::path& file, const fs::path& other);
};

void change(const fs::path& file, std::size_t at, char to)
{
    std::string bytes = test::readFile(file);
    bytes.at(at) = static_cast<char>(bytes.at(at) == to ? to + 1 : to);
    test::writeFile(file, bytes);
}

class Damaged : public CacheTest, public ::testing::WithParamInterface<Damage> {};

TEST_P(Damaged, FilesAreNone)
{
    open();
    ASSERT_TRUE(keep(1, std::string(50'000, 'x')));
    ASSERT_TRUE(keep(2, std::string(50'000, 'y')));
    GetParam().cause(fileOf(1), fileOf(2));
    EXPECT_FALSE(holds(1));
    EXPECT_FALSE(holds(1));
    EXPECT_TRUE(keep(1, "new")) << "and do not stand in the way of a new one";
    EXPECT_TRUE(holds(1));
    open();
    EXPECT_TRUE(holds(1));
}

INSTANTIATE_TEST_SUITE_P(
    All, Damaged,
    ::testing::
        Values(Damage{"emptied", [](const fs::path& file, const fs::path&) { fs::resize_file(file, 0); }},
               Damage{"cut", [](const fs::path& file, const fs::path&) { fs::resize_file(file, 30'000); }},
               Damage{"cut to its head", [](const fs::path& file, const fs::path&) { fs::resize_file(file, CACHE_HEAD); }},
               Damage{"longer", [](const fs::path& file, const fs::path&) { fs::resize_file(file, 60'000); }},
               Damage{"a bit changed", [](const fs::path& file, const fs::path&) { change(file, 40'000, 'z'); }},
               Damage{"another type", [](const fs::path& file, const fs::path&) { change(file, 20, 'z'); }},
               Damage{"another digest", [](const fs::path& file, const fs::path&) { change(file, 60, '0'); }},
               Damage{"another length", [](const fs::path& file, const fs::path&) { change(file, 30, '9'); }},
               Damage{
                   "another's", [](const fs::path& file,
                                   const fs::path& other) { fs::copy_file(other, file, fs::copy_options::overwrite_existing); }},
               Damage{
                   "a link",
                   [](const fs::path& file, const fs::path& other) {
                       fs::remove(file);
                       fs::create_symlink(other, file);
                   }},
               Damage{"zeros", [](const fs::path& file, const fs::path&) { test::writeFile(file, std::string(50'160, '\0')); }},
               Damage{"gone", [](const fs::path& file, const fs::path&) { fs::remove(file); }}),
    [](const auto& parameter) { return "N" + std::to_string(parameter.index); });

TEST_F(CacheTest, LetsGoOfWhatWasNotUsedForLongest)
{
    open(MEGABYTE);
    const std::string bytes(60'000, 'x');
    for (int i = 0; i < 14; ++i)
        ASSERT_TRUE(keep(i, bytes));
    for (int i = 100; i < 112; ++i) {
        ASSERT_TRUE(holds(3)) << i;
        ASSERT_TRUE(m_cache->has(name(5))) << i;
        ASSERT_TRUE(keep(i, bytes));
        EXPECT_LE(bytesIn(m_folder), MEGABYTE);
    }
    EXPECT_TRUE(holds(3));
    EXPECT_TRUE(holds(5));
    EXPECT_TRUE(holds(111));
    for (const int old : {0, 1, 2, 4, 6})
        EXPECT_FALSE(holds(old)) << old;
    EXPECT_EQ(m_cache->bytes(), bytesIn(m_folder + "/pictures"));
}

TEST_F(CacheTest, KnowsWhatWasUsedLastAfterAStart)
{
    open(MEGABYTE);
    const std::string bytes(60'000, 'x');
    for (int i = 0; i < 12; ++i)
        ASSERT_TRUE(keep(i, bytes));
    ASSERT_TRUE(holds(0));
    open(MEGABYTE / 4); // and with less room
    ASSERT_TRUE(comesTrue([&] { return m_cache->count() == 4; }));
    EXPECT_TRUE(holds(0));
    EXPECT_TRUE(holds(11));
    EXPECT_FALSE(holds(1));
    EXPECT_LE(bytesIn(m_folder), MEGABYTE / 4);
}

TEST_F(CacheTest, KeepsNothingLargerThanItIs)
{
    open(MEGABYTE);
    ASSERT_TRUE(keep(1, "x"));
    EXPECT_FALSE(keep(2, std::string(2 * MEGABYTE, 'x')));
    EXPECT_TRUE(holds(1)) << "and lets nothing go for it";
}

TEST_F(CacheTest, KeepsNothingThatIsNotWantedAnyMore)
{
    open();
    EXPECT_FALSE(m_cache->keep(name(1), "image/jpeg", "x", [] { return false; }));
    EXPECT_FALSE(holds(1));
    EXPECT_TRUE(fs::is_empty(m_folder + "/tmp"));
    EXPECT_FALSE(m_cache->isFull());
}

TEST_F(CacheTest, DropsManyContentsAtOnce)
{
    open();
    ContentSet gone;
    for (int content = 1; content <= 100; ++content) {
        ASSERT_TRUE(keep(content, std::string(5000, 'x')));
        if (content % 3 == 0)
            gone.add(std::to_string(content));
    }
    gone.finish();
    m_cache->drop(gone);
    for (int content = 1; content <= 100; ++content)
        EXPECT_EQ(holds(content), content % 3 != 0) << content;
    EXPECT_EQ(m_cache->count(), 67U);
    EXPECT_EQ(m_cache->bytes(), bytesIn(m_folder + "/pictures"));
    EXPECT_TRUE(gone.has("3"));
    EXPECT_FALSE(gone.has("4"));
}

TEST_F(CacheTest, MakesRoomForOthersOnlyWhereThereIsNone)
{
    open();
    EXPECT_FALSE(m_cache->makeRoom(UINT64_MAX)) << "it has nothing to give";
    for (int content = 1; content <= 10; ++content)
        ASSERT_TRUE(keep(content, std::string(5000, 'x')));
    EXPECT_FALSE(m_cache->makeRoom(1)) << "the disk has room";
    EXPECT_EQ(m_cache->count(), 10U);
    EXPECT_TRUE(m_cache->makeRoom(UINT64_MAX));
    EXPECT_EQ(m_cache->count(), 0U);
}

TEST_F(CacheTest, DropsAllFormsOfAContentAndNoOthers)
{
    open();
    std::vector<std::string> names;
    for (const auto size : {PictureSize::GRID, PictureSize::SCREEN, PictureSize::FULL})
        names.push_back(name(1, size));
    names.push_back(cacheName("1", formOf(PictureSize::FULL, {100, 100}, {3840, 2160})));
    for (const std::string& one : names)
        ASSERT_TRUE(m_cache->keep(one, "image/jpeg", "x", &always));
    ASSERT_TRUE(keep(2, "y"));
    m_cache->drop("1");
    for (const std::string& one : names)
        EXPECT_FALSE(m_cache->find(one));
    EXPECT_TRUE(holds(2));
    EXPECT_EQ(m_cache->count(), 1U);
}

TEST_F(CacheTest, IsEmptyOnceItIsCleared)
{
    open();
    for (int i = 0; i < 50; ++i)
        ASSERT_TRUE(keep(i, "x"));
    m_cache->clear();
    EXPECT_EQ(m_cache->count(), 0U);
    for (int i = 0; i < 50; ++i)
        EXPECT_FALSE(holds(i));
    EXPECT_TRUE(keep(7, "x"));
    EXPECT_TRUE(comesTrue([&] { return fs::is_empty(m_folder + "/tmp"); })) << "what is cleared is removed";
    EXPECT_TRUE(holds(7));
}

TEST_F(CacheTest, RemovesWhatAnotherStartHasLeft)
{
    open();
    m_cache.reset();
    test::writeFile(m_folder + "/tmp/half", "x");
    fs::create_directories(m_folder + "/tmp/old/3f");
    test::writeFile(m_folder + "/tmp/old/3f/picture", "x");
    open();
    EXPECT_TRUE(comesTrue([&] { return fs::is_empty(m_folder + "/tmp"); }));
}

TEST_F(CacheTest, NamesFilesByDigestsAlone)
{
    open();
    const std::string hostile = "../../../etc/passwd\n/x";
    ASSERT_TRUE(m_cache->keep(cacheName(hostile, {}), "image/jpeg", "x", &always));
    for (const auto& entry : fs::recursive_directory_iterator(m_folder + "/pictures")) {
        const std::string file = entry.path().filename();
        EXPECT_EQ(file.find_first_not_of("0123456789abcdefgrid-"), std::string::npos) << file;
    }
    EXPECT_EQ(fs::canonical(m_folder + "/pictures/" + cacheName(hostile, {})).string().find(fs::canonical(m_folder).string()), 0U);
}

/// A disk of 2 MB.
class SmallDisk : public CacheTest {
protected:
    void SetUp() override
    {
        fs::create_directory(m_folder);
        if (::mount("tmpfs", m_folder.c_str(), "tmpfs", 0, "size=2m,mode=0700") != 0)
            GTEST_SKIP() << "only the administrator makes disks";
    }
    void TearDown() override
    {
        m_cache.reset();
        ::umount(m_folder.c_str());
    }
};

TEST_F(SmallDisk, ThatIsFullIsASmallerCache)
{
    open(); // which thinks of 100 MB
    const std::string bytes(100'000, 'x');
    for (int i = 0; i < 60; ++i)
        ASSERT_TRUE(keep(i, bytes)) << i;
    EXPECT_TRUE(holds(59));
    EXPECT_TRUE(holds(55));
    EXPECT_FALSE(holds(0));
    EXPECT_FALSE(m_cache->isFull());
}

TEST_F(SmallDisk, ThatOthersHaveFilledKeepsNothingAndComesBack)
{
    open();
    const std::string others = m_folder + "/others";
    std::FILE* const file = std::fopen(others.c_str(), "w");
    const std::string block(64 * 1024, 'o');
    while (std::fwrite(block.data(), 1, block.size(), file) == block.size() && std::fflush(file) == 0) {
    }
    std::fclose(file);
    EXPECT_FALSE(keep(1, std::string(100'000, 'x')));
    EXPECT_TRUE(m_cache->isFull());
    EXPECT_TRUE(fs::is_empty(m_folder + "/tmp"));
    fs::remove(others);
    EXPECT_TRUE(keep(1, std::string(100'000, 'x')));
    EXPECT_FALSE(m_cache->isFull());
    EXPECT_TRUE(holds(1));
}

} // namespace
