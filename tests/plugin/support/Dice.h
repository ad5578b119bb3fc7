// SPDX-License-Identifier: MIT
/// \file Random decisions that can be made again.
#ifndef PLUGIN_SUPPORT_DICE_H
#define PLUGIN_SUPPORT_DICE_H

#include <cstdio>
#include <cstdlib>
#include <random>

namespace kinloom_test {

/// A number from the environment, or another one.
inline unsigned long fromEnvironment(const char* name, unsigned long otherwise)
{
    const char* const text = std::getenv(name);
    return text && *text ? std::strtoul(text, nullptr, 10) : otherwise;
}

/// The seed of a stress: KINLOOM_STRESS_SEED, or one of its own. Printed, so that a run can be repeated; the schedule of its
/// threads remains the system's.
inline unsigned long stressSeed()
{
    static const unsigned long SEED = [] {
        const unsigned long seed = fromEnvironment("KINLOOM_STRESS_SEED", std::random_device()());
        std::fprintf(stderr, "KINLOOM_STRESS_SEED=%lu\n", seed);
        return seed;
    }();
    return SEED;
}

/// Rounds of a stress: KINLOOM_STRESS_ROUNDS, or one.
inline unsigned long stressRounds() { return fromEnvironment("KINLOOM_STRESS_ROUNDS", 1); }

/// Decisions that follow from a seed and a number alone, whichever thread makes them.
class Dice {
public:
    Dice(unsigned long seed, unsigned long number) : m_engine(seed * 0x9E3779B97F4A7C15ull + number) {}
    unsigned int below(unsigned int sides) { return std::uniform_int_distribution<unsigned int>(0, sides - 1)(m_engine); }
    bool oneIn(unsigned int sides) { return below(sides) == 0; }

private:
    std::mt19937_64 m_engine;
};

} // namespace kinloom_test

#endif
