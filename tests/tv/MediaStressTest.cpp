// SPDX-License-Identifier: MIT
// Many threads at once, and a service that does what it likes.
#include "MediaFixture.h"

#include <random>
#include <thread>

namespace {

using namespace kinloomd_test;
using namespace tv_test;
using test::RawReply;

TEST_F(MediaTest, StressEveryoneIsAnsweredOnce)
{
    m_server.onRequest([count = std::make_shared<std::atomic<unsigned>>(0)](const test::RawRequest&) {
        switch (++*count % 9) {
        case 0:
            return RawReply().reset();
        case 1:
            return RawReply::status(503);
        case 2:
            return RawReply::status(403);
        case 3:
            return RawReply::ok("no picture");
        default:
            return RawReply::ok(smallPicture().bytes);
        }
    });
    constexpr unsigned THREADS = 6;
    constexpr unsigned ROUNDS = 60;
    std::atomic<unsigned> asked{0};
    std::atomic<unsigned> cancelled{0};
    std::atomic<unsigned> answered{0};
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < THREADS; ++seed) {
        threads.emplace_back([&, seed] {
            std::mt19937 random(seed);
            for (unsigned i = 0; i < ROUNDS; ++i) {
                const std::string content = std::to_string(random() % 30);
                switch (random() % 8) {
                case 0:
                    pictures().wantSoon(std::to_string(seed), grids({content, "1", "2"}));
                    break;
                case 1:
                    pictures().drop(content);
                    break;
                case 2:
                    if (i % 16 == 0)
                        pictures().clear();
                    break;
                case 3: {
                    const auto ticket = pictures().get(content, PictureSize::GRID, {}, [&](const Picture&) { ++cancelled; });
                    pictures().cancel(ticket);
                    break;
                }
                default: {
                    ++asked;
                    Asker asker(pictures(), content);
                    if (asker.result())
                        ++answered;
                    EXPECT_LE(asker.answers(), 1U);
                }
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(answered, asked);
    EXPECT_LE(cancelled, THREADS * ROUNDS);
}

} // namespace
