// SPDX-License-Identifier: MIT
#include "objects/Credentials.h"

#include "common/Files.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <sys/stat.h>

namespace objects {

namespace {

/// One of the keys: where it goes and what it is called.
struct Key {
    std::string Credentials::*member;
    const char* variable;
    const char* name;
    bool needed;
};

constexpr Key KEYS[] = {
    {&Credentials::accessKey, "AWS_ACCESS_KEY_ID", "aws_access_key_id", true},
    {&Credentials::secretKey, "AWS_SECRET_ACCESS_KEY", "aws_secret_access_key", true},
    {&Credentials::sessionToken, "AWS_SESSION_TOKEN", "aws_session_token", false},
};

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view BLANKS = " \t\r";
    const auto begin = text.find_first_not_of(BLANKS);
    return begin == std::string_view::npos ? std::string_view() : text.substr(begin, text.find_last_not_of(BLANKS) - begin + 1);
}

void takeLine(std::string_view line, Credentials& credentials)
{
    const auto equals = line.find('=');
    const std::string_view name = trimmed(line.substr(0, equals));
    const auto* const key = std::find_if(std::begin(KEYS), std::end(KEYS), [&](const Key& each) { return name == each.name; });
    if (equals != std::string_view::npos && key != std::end(KEYS))
        credentials.*key->member = std::string(trimmed(line.substr(equals + 1)));
}

} // namespace

Credentials takeCredentialsFromEnvironment()
{
    Credentials credentials;
    for (const Key& key : KEYS) {
        const char* const value = std::getenv(key.variable);
        if (value != nullptr)
            credentials.*key.member = value;
        if (key.needed && (credentials.*key.member).empty())
            throw std::runtime_error(std::string("the keys to the object store are missing: ") + key.variable +
                                     " is not set, and no file with keys is named");
    }
    for (const Key& key : KEYS)
        ::unsetenv(key.variable);
    return credentials;
}

Credentials credentialsFromFile(const std::string& path)
{
    const common::UniqueFd file = common::openForReading(path);
    if (!file)
        throw std::runtime_error(path + ", which is to hold the keys to the object store, is not there");
    struct stat info {};
    if (::fstat(file.get(), &info) != 0)
        common::throwSystemError("look at", path);
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw std::runtime_error(path + " holds keys, and others than its owner may use it: 'chmod 600' helps");
    return parseCredentials(common::readFile(path), path);
}

Credentials parseCredentials(std::string_view text, const std::string& path)
{
    Credentials credentials;
    bool ours = true;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty() || line.front() == '#' || line.front() == ';')
            continue;
        if (line.front() == '[')
            ours = line == "[default]";
        else if (ours)
            takeLine(line, credentials);
    }
    for (const Key& key : KEYS) {
        if (key.needed && (credentials.*key.member).empty())
            throw std::runtime_error(path + " has no line '" + key.name + " = ...'");
    }
    return credentials;
}

} // namespace objects
