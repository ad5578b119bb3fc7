// SPDX-License-Identifier: MIT
/// \file Requests and replies on file, as they stand on the wire.
#ifndef PLUGIN_SUPPORT_GOLDEN_H
#define PLUGIN_SUPPORT_GOLDEN_H

#include "W/WTypes.h"

#include <gtest/gtest.h>

namespace kinloom_test {

/// One exchange: tests/golden/<family>/<name>.txt, which holds the request, a line of SEPARATOR and the reply, each byte for byte.
/// The line breaks around the separator belong to it, since a request may end without one.
struct GoldenExchange {
    static constexpr const char* SEPARATOR = "\n======== reply ========\n";

    W::STRING family;
    W::STRING name;

    W::STRING path() const;
    /// The request; nothing when there is none on file.
    W::STRING request() const;
    /// The reply; fails the test when there is none on file.
    W::STRING response() const;
};

/// Compares a request's bytes with the file. The boundary of a form, which is another each time, is masked.
///
/// With KINLOOM_UPDATE_GOLDEN=1 in the environment the file gets this request instead, and keeps its reply; look at the difference
/// before you commit it. A new file needs only the separator and the reply, then.
testing::AssertionResult matchesGolden(const GoldenExchange& exchange, const W::STRING& request);

/// All lines; "-" is expected and did not come, "+" came and is not expected.
W::STRING differenceOf(const W::STRING& expected, const W::STRING& actual);

} // namespace kinloom_test

#endif
