// SPDX-License-Identifier: MIT
#include "plugin/support/Golden.h"

#include "support/TempDir.h"

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <vector>

namespace kinloom_test {

namespace {

using W::STRING;

STRING masked(const STRING& request)
{
    static const std::regex BOUNDARY("-{24}[0-9a-f]{16}");
    return std::regex_replace(request, BOUNDARY, "------------------------@BOUNDARY@");
}

/// The lines of a text; what cannot be seen is written out.
std::vector<STRING> linesOf(const STRING& text)
{
    std::vector<STRING> lines(1);
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n')
            lines.emplace_back();
        else if (c == '\r')
            lines.back() += "\\r";
        else if (byte < 0x20 || byte == 0x7F)
            lines.back() += "\\x" + std::to_string(byte);
        else
            lines.back() += c;
    }
    return lines;
}

} // namespace

STRING GoldenExchange::requestPath() const { return STRING(GOLDEN_DIR) + "/" + family + "/" + name + ".request.txt"; }
STRING GoldenExchange::responsePath() const { return STRING(GOLDEN_DIR) + "/" + family + "/" + name + ".response.txt"; }

STRING GoldenExchange::response() const
{
    EXPECT_TRUE(test::exists(responsePath())) << responsePath();
    return test::readFile(responsePath());
}

testing::AssertionResult matchesGolden(const GoldenExchange& exchange, const STRING& request)
{
    const STRING actual = masked(request);
    const char* const update = std::getenv("KINLOOM_UPDATE_GOLDEN");
    if (update && *update && STRING(update) != "0") {
        test::writeFile(exchange.requestPath(), actual);
        return testing::AssertionSuccess();
    }
    if (!test::exists(exchange.requestPath()))
        return testing::AssertionFailure() << "there is no " << exchange.requestPath() << "; what came:\n"
                                           << differenceOf("", actual);
    const STRING expected = test::readFile(exchange.requestPath());
    if (expected == actual)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "not as in " << exchange.requestPath() << ":\n" << differenceOf(expected, actual);
}

STRING differenceOf(const STRING& expected, const STRING& actual)
{
    const std::vector<STRING> a = linesOf(expected);
    const std::vector<STRING> b = linesOf(actual);
    // The length of the longest common rest, for each pair of positions.
    std::vector<std::vector<std::size_t>> common(a.size() + 1, std::vector<std::size_t>(b.size() + 1, 0));
    for (std::size_t i = a.size(); i-- > 0;)
        for (std::size_t j = b.size(); j-- > 0;)
            common[i][j] = a[i] == b[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    STRING text;
    for (std::size_t i = 0, j = 0; i < a.size() || j < b.size();) {
        if (i < a.size() && j < b.size() && a[i] == b[j]) {
            text += "  " + a[i] + "\n";
            ++i;
            ++j;
        } else if (i < a.size() && (j == b.size() || common[i + 1][j] >= common[i][j + 1])) {
            text += "- " + a[i++] + "\n";
        } else {
            text += "+ " + b[j++] + "\n";
        }
    }
    return text;
}

} // namespace kinloom_test
