// SPDX-License-Identifier: MIT
// The table of the HTTP client's options, walked whole.
#include "support/TempDir.h"
#include "whost/ConfigFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

using namespace W;
using namespace test;
using ::testing::HasSubstr;

namespace {

/// All members of a set of options as texts, in their order. A member that is added does not compile until it is named here, and
/// then it needs a row in the table.
std::vector<std::string> membersOf(const HttpOptions& options)
{
    const auto& [connectTo, connectTimeoutMs, stallTimeoutMs, stallBytesPerSecond, totalTimeoutMs, maxRedirects, maxMemoryBody,
                 maxFileBody, maxHeaderBytes, maxTransfers, maxConnectionsPerHost, maxRequests, downloadBufferBytes,
                 uploadBufferBytes, userAgent, proxy, leadTo, caFile] = options;
    const auto joined = [](const std::vector<std::string>& all) {
        std::string lines;
        for (const std::string& line : all)
            lines += (lines.empty() ? "" : ",") + line;
        return lines;
    };
    return {joined(connectTo),
            std::to_string(connectTimeoutMs),
            std::to_string(stallTimeoutMs),
            std::to_string(stallBytesPerSecond),
            std::to_string(totalTimeoutMs),
            std::to_string(maxRedirects),
            std::to_string(maxMemoryBody),
            std::to_string(maxFileBody),
            std::to_string(maxHeaderBytes),
            std::to_string(maxTransfers),
            std::to_string(maxConnectionsPerHost),
            std::to_string(maxRequests),
            std::to_string(downloadBufferBytes),
            std::to_string(uploadBufferBytes),
            userAgent,
            proxy,
            joined(leadTo),
            caFile};
}

constexpr char NUMBER_0[] = "a whole number, 0 or more";
constexpr char NUMBER_1[] = "a whole number, 1 or more";
constexpr char TEXT[] = "a text on one line";
constexpr char LEADS[] = "a list of texts http[s]://HOST[:PORT]=https://HOST[:PORT]";
constexpr char LINES[] = "a list of texts HOST:PORT:CONNECT-TO-HOST:CONNECT-TO-PORT";

/// What must hold for an option, in the order of the members.
struct Expected {
    const char* key;
    const char* kind;
    std::vector<std::string> fits;        ///< none of them the default
    std::vector<std::string> fitsNot;     ///< as texts
    std::vector<std::string> fitsNotToml; ///< as values in the file
};

const std::vector<std::string> NO_NUMBERS = {"", "x", "1x", " 1", "1 ", "1.5", "-1", "99999999999999999999", "1\n"};
const std::vector<std::string> NO_TOML_NUMBERS = {"\"1\"", "1.5", "-1", "true", "[1]"};
const std::vector<std::string> NO_TEXTS = {"a\nb", "a\rb", "\a", "\x7f", std::string("\0", 1)};
const std::vector<std::string> NO_TOML_TEXTS = {"1", "[\"a\"]", R"("a\r\nb")", R"("\u0007")", "false"};

std::vector<std::string> with(std::vector<std::string> values, const std::string& another)
{
    values.push_back(another);
    return values;
}

Expected number(const char* key, const char* kind, const std::vector<std::string>& fits)
{
    return {key, kind, fits, NO_NUMBERS, NO_TOML_NUMBERS};
}
Expected number(const char* key, const char* kind, const std::vector<std::string>& fits, const std::string& tooSmall)
{
    return {key, kind, fits, with(NO_NUMBERS, tooSmall), with(NO_TOML_NUMBERS, tooSmall)};
}

const std::vector<Expected>& expectations()
{
    static const std::vector<Expected> all = {
        {"connect_to",
         LINES,
         {"a:1:b:2", "a:1:b:2,:80:[::1]:8080", "::127.0.0.1:8750"},
         {"nonsense", "a:1:b", "a:1:b:2 ", "a:1:b:2:3", "[a:1:b:2", ",a:1:b:2", "a:1:b:2,", ",", "a:1:b:2,,a:1:b:2", "a:1:b:\x7f"},
         {"\"a:1:b:2\"", "[1]", "[\"a:1:b\"]", "[\"a:1:b:2 \"]", "[\"a,b:1:c:2\"]", "1", "[[\"a:1:b:2\"]]"}},
        number("connect_timeout_ms", NUMBER_1, {"1", "9223372036854775807"}, "0"),
        number("stall_timeout_ms", NUMBER_0, {"0", "9223372036854775807"}),
        number("stall_bytes_per_second", NUMBER_0, {"0", "9223372036854775807"}),
        number("total_timeout_ms", NUMBER_0, {"1", "9223372036854775807"}),
        number("max_redirects", NUMBER_0, {"0", "9223372036854775807"}),
        number("max_memory_body", NUMBER_1, {"1", "9223372036854775807"}, "0"),
        number("max_file_body", NUMBER_0, {"1", "9223372036854775807"}),
        number("max_header_bytes", NUMBER_1, {"1", "9223372036854775807"}, "0"),
        number("max_transfers", NUMBER_1, {"1", "9223372036854775807"}, "0"),
        number("max_connections_per_host", NUMBER_0, {"1", "9223372036854775807"}),
        number("max_requests", NUMBER_1, {"1", "9223372036854775807"}, "0"),
        number("download_buffer_bytes", "a whole number, 1024 or more", {"1024", "9223372036854775807"}, "1023"),
        number("upload_buffer_bytes", "a whole number, 16384 or more", {"16384", "9223372036854775807"}, "16383"),
        {"user_agent", TEXT, {"", "agent", "\"it's\" \xc3\xbc"}, NO_TEXTS, NO_TOML_TEXTS},
        {"proxy", TEXT, {"http://p:1", "user:p@ss@proxy:3128"}, NO_TEXTS, NO_TOML_TEXTS},
        {"lead_to",
         LEADS,
         {"http://a=https://b", "http://a:8080=https://b:8443,https://a=https://[::1]:8443"},
         {"nonsense", "http://a", "http://a=", "=https://b", "http://a=http://b", "https://a=http://b", "ftp://a=https://b",
          "http://a=https://b/", "http://a/x=https://b", "http://u@a=https://b", "http://a=https://b:0", "http://a=https://b=c",
          "http://a=https://b,", "http://a =https://b"},
         {"\"http://a=https://b\"", "[1]", "[\"http://a=http://b\"]", "[\"http://a=https://b,\"]", "1"}},
        {"ca_file", TEXT, {"/etc/ssl/certs/ca-certificates.crt", "a file"}, NO_TEXTS, NO_TOML_TEXTS},
    };
    return all;
}

class ClientOptionsTest : public ::testing::Test {
protected:
    std::string path() const { return dir.file("host.toml"); }
    TempDir dir;
};

TEST_F(ClientOptionsTest, HaveARowForEachMember)
{
    const std::vector<ClientOption>& table = clientOptions();
    ASSERT_EQ(table.size(), membersOf(HttpOptions()).size()) << "a member has no row, or a row no member";
    ASSERT_EQ(table.size(), expectations().size());
    std::vector<std::string> texts;
    std::set<std::string> keys;
    for (const ClientOption& option : table) {
        texts.push_back(option.text(HttpOptions()));
        keys.insert(option.key);
    }
    EXPECT_EQ(texts, membersOf(HttpOptions())) << "the rows stand in the order of the members";
    EXPECT_EQ(keys.size(), table.size());
}

TEST_F(ClientOptionsTest, TellTheirKeysAndKinds)
{
    for (std::size_t i = 0; i < expectations().size(); ++i) {
        EXPECT_STREQ(clientOptions().at(i).key, expectations()[i].key);
        EXPECT_EQ(clientOptions().at(i).kind, expectations()[i].kind) << expectations()[i].key;
    }
}

TEST_F(ClientOptionsTest, AreWrittenReadBackAndShown)
{
    for (std::size_t i = 0; i < expectations().size(); ++i)
        for (const std::string& value : expectations()[i].fits) {
            SCOPED_TRACE(expectations()[i].key + (" = " + value));
            ConfigFile file(path());
            file.setClientOption(expectations()[i].key, value);
            file.save();
            ConfigFile again(path());
            again.load();
            // The one member changes, and no other.
            std::vector<std::string> members = membersOf(HttpOptions());
            ASSERT_NE(members.at(i), value) << "the test must change something";
            members[i] = value;
            EXPECT_EQ(membersOf(file.httpOptions()), members);
            EXPECT_EQ(membersOf(again.httpOptions()), members);
            EXPECT_EQ(clientOptions().at(i).text(again.httpOptions()), value);
        }
}

TEST_F(ClientOptionsTest, ReadTheirOwnTexts)
{
    ConfigFile file(path());
    HttpOptions options;
    options.connectTo = {"a:1:b:2", ":80:[::1]:8080"};
    options.maxFileBody = 7;
    options.leadTo = {"http://a=https://b", "http://c=https://d"};
    for (const ClientOption& option : clientOptions())
        file.setClientOption(option.key, option.text(options));
    EXPECT_EQ(membersOf(file.httpOptions()), membersOf(options));
}

TEST_F(ClientOptionsTest, RefuseTextsThatDoNotFit)
{
    for (const Expected& expected : expectations())
        for (const std::string& value : expected.fitsNot) {
            SCOPED_TRACE(expected.key + (" = " + value));
            ConfigFile file(path());
            file.setClientOption(expected.key, expected.fits.front());
            const std::vector<std::string> before = membersOf(file.httpOptions());
            try {
                file.setClientOption(expected.key, value);
                ADD_FAILURE() << "accepted";
            } catch (const ConfigError& error) {
                EXPECT_THAT(error.what(), HasSubstr(path() + ": "));
                EXPECT_THAT(error.what(), HasSubstr(expected.key));
                // A text with a line break is refused before anybody asks what it is for.
                if (value.find_first_of(std::string("\r\n\0", 3)) == std::string::npos) {
                    EXPECT_THAT(error.what(), HasSubstr(std::string("\" must be ") + expected.kind));
                }
            }
            EXPECT_EQ(membersOf(file.httpOptions()), before) << "a refusal changes nothing";
        }
}

TEST_F(ClientOptionsTest, RefuseValuesInTheFileThatDoNotFit)
{
    for (const Expected& expected : expectations())
        for (const std::string& value : expected.fitsNotToml) {
            SCOPED_TRACE(expected.key + (" = " + value));
            writeFile(path(), std::string("[client]\n") + expected.key + " = " + value + "\n");
            ConfigFile file(path());
            try {
                file.load();
                ADD_FAILURE() << "accepted";
            } catch (const ConfigError& error) {
                EXPECT_EQ(error.line(), 2U);
                EXPECT_THAT(error.what(), HasSubstr(std::string("\"") + expected.key + "\" must be " + expected.kind));
            }
        }
}

TEST_F(ClientOptionsTest, AreNoOthers)
{
    ConfigFile file(path());
    EXPECT_THROW(file.setClientOption("no_such", "1"), ConfigError);
    EXPECT_THROW(file.setClientOption("", "1"), ConfigError);
    file.setClientOption("connect_to", "a:1:b:2");
    file.setClientOption("connect_to", "");
    EXPECT_TRUE(file.httpOptions().connectTo.empty()) << "an empty text is an empty list";
}

} // namespace
