// SPDX-License-Identifier: MIT
/// \file Figures from rounds.
#ifndef SUPPORT_STATISTICS_H
#define SUPPORT_STATISTICS_H

#include <vector>

namespace bench {

/// The middle of some values and the quarters around it.
struct Summary {
    double low = 0; ///< a quarter of the values is lower
    double median = 0;
    double high = 0; ///< a quarter of the values is higher
};

/// \param values at least one, in any order.
Summary summarise(std::vector<double> values);

/// Each value of one list divided by the value of the other list that was taken in the same round.
std::vector<double> ratios(const std::vector<double>& values, const std::vector<double>& baselines);

} // namespace bench

#endif
