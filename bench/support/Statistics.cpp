// SPDX-License-Identifier: MIT
#include "support/Statistics.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace bench {

namespace {

/// A value at a part of a sorted list, between two neighbours if need be.
double quantile(const std::vector<double>& sorted, double part)
{
    const double place = part * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<std::size_t>(std::floor(place));
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    return sorted[below] + (sorted[above] - sorted[below]) * (place - std::floor(place));
}

} // namespace

Summary summarise(std::vector<double> values)
{
    if (values.empty())
        throw std::invalid_argument("no values");
    std::sort(values.begin(), values.end());
    return {quantile(values, 0.25), quantile(values, 0.5), quantile(values, 0.75)};
}

std::vector<double> ratios(const std::vector<double>& values, const std::vector<double>& baselines)
{
    std::vector<double> all;
    for (std::size_t i = 0; i < std::min(values.size(), baselines.size()); ++i)
        all.push_back(values[i] / baselines[i]);
    return all;
}

} // namespace bench
