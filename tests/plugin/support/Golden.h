// SPDX-License-Identifier: MIT
/// \file Requests and replies on file, as they stand on the wire.
#ifndef PLUGIN_SUPPORT_GOLDEN_H
#define PLUGIN_SUPPORT_GOLDEN_H

#include "W/WTypes.h"

#include <gtest/gtest.h>

namespace kinloom_test {

/// One exchange: tests/golden/<family>/<name>.request.txt and .response.txt.
struct GoldenExchange {
    W::STRING family;
    W::STRING name;

    W::STRING requestPath() const;
    W::STRING responsePath() const;
    /// The reply, byte for byte; fails the test when there is none on file.
    W::STRING response() const;
};

/// Compares a request's bytes with the file. The boundary of a form, which is another each time, is masked.
///
/// With KINLOOM_UPDATE_GOLDEN=1 in the environment the file is written instead; look at the difference before you commit it.
testing::AssertionResult matchesGolden(const GoldenExchange& exchange, const W::STRING& request);

/// All lines; "-" is expected and did not come, "+" came and is not expected.
W::STRING differenceOf(const W::STRING& expected, const W::STRING& actual);

} // namespace kinloom_test

#endif
