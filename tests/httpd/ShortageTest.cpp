// SPDX-License-Identifier: MIT
// A server whose computer has no memory left for a moment.
#include "ServerFixture.h"

#include "support/Wait.h"

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <new>

namespace {

std::atomic<long> g_untilFailure{-1}; ///< allocations that still succeed, on threads of the server
thread_local bool t_ofTheTest = false;

} // namespace

// The linker's --wrap leads the program's calls of operator new here, and keeps the real one, a sanitizer's perhaps, within reach.
extern "C" {
void* realNew(std::size_t size) __asm__("__real__Znwm");
void* wrappedNew(std::size_t size) __asm__("__wrap__Znwm");

void* wrappedNew(std::size_t size)
{
    if (!t_ofTheTest && g_untilFailure >= 0 && g_untilFailure.fetch_sub(1) == 0)
        throw std::bad_alloc();
    return realNew(size);
}
}

namespace {

using namespace httpd_test;

std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

class Shortage : public ServerFixture, public ::testing::WithParamInterface<long> {
protected:
    Shortage() { t_ofTheTest = true; }
    ~Shortage() override { t_ofTheTest = false; }
};

TEST_P(Shortage, CostsAConnectionAndNotTheServer)
{
    startWithText("well");
    const std::ptrdiff_t before = openDescriptors();
    {
        HttpConnection unlucky(address());
        g_untilFailure = GetParam();
        unlucky.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
        EXPECT_EQ(unlucky.receive().status, 0);
    }
    EXPECT_LT(g_untilFailure, 0) << "nothing has failed";
    EXPECT_EQ(get("/").body, "well");
    EXPECT_TRUE(test::comesTrue([&] { return openDescriptors() == before; })) << "a socket stays open";
}

// What is noted of the connection, its thread, and what the thread begins with.
INSTANTIATE_TEST_SUITE_P(Allocations, Shortage, ::testing::Values(0, 1, 2));

} // namespace
