// SPDX-License-Identifier: MIT
#include "plugin/support/Golden.h"

#include "support/TempDir.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <regex>
#include <unistd.h>
#include <utility>
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

/// A file's two parts: what stands before the separator and what stands behind it.
std::optional<std::pair<STRING, STRING>> partsOf(const STRING& path)
{
    const STRING separator = GoldenExchange::SEPARATOR;
    const STRING text = test::readFile(path);
    const std::size_t at = text.find(separator);
    if (at == STRING::npos)
        return std::nullopt;
    return std::make_pair(text.substr(0, at), text.substr(at + separator.size()));
}

/// Exchanges are used by several tests at once, so a file is never to be seen half written.
void replaceFile(const STRING& path, const STRING& content)
{
    const STRING fresh = path + "." + std::to_string(getpid());
    test::writeFile(fresh, content);
    std::filesystem::rename(fresh, path);
}

} // namespace

STRING GoldenExchange::path() const { return STRING(GOLDEN_DIR) + "/" + family + "/" + name + ".txt"; }

STRING GoldenExchange::request() const
{
    const auto parts = partsOf(path());
    return parts ? parts->first : "";
}

STRING GoldenExchange::response() const
{
    const auto parts = partsOf(path());
    EXPECT_TRUE(parts) << path() << " has no reply";
    return parts ? parts->second : "";
}

testing::AssertionResult matchesGolden(const GoldenExchange& exchange, const STRING& request)
{
    const STRING actual = masked(request);
    const char* const update = std::getenv("KINLOOM_UPDATE_GOLDEN");
    if (update && *update && STRING(update) != "0") {
        replaceFile(exchange.path(), actual + GoldenExchange::SEPARATOR + exchange.response());
        return testing::AssertionSuccess();
    }
    if (!test::exists(exchange.path()))
        return testing::AssertionFailure() << "there is no " << exchange.path() << "; what came:\n" << differenceOf("", actual);
    const STRING expected = exchange.request();
    if (expected == actual)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "not as in " << exchange.path() << ":\n" << differenceOf(expected, actual);
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
