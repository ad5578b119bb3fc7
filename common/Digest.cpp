// SPDX-License-Identifier: MIT
#include "common/Digest.h"

#include <array>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <stdexcept>

namespace common {

namespace {

const unsigned char* bytesOf(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

std::string hmac(const EVP_MD* digest, std::string_view key, std::string_view message)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
    unsigned length = 0;
    // A null key pointer would mean "the key of the last call"; an empty key must stay an empty key.
    const char* const keyBytes = key.empty() ? "" : key.data();
    if (HMAC(digest, keyBytes, static_cast<int>(key.size()), bytesOf(message), message.size(), value.data(), &length) == nullptr)
        throw std::runtime_error("cannot compute a message authentication code");
    return {reinterpret_cast<const char*>(value.data()), length};
}

} // namespace

std::string randomBytes(std::size_t count)
{
    std::string bytes(count, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count)) != 1)
        throw std::runtime_error("the system's random source gives nothing");
    return bytes;
}

std::string toHex(std::string_view bytes)
{
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        text += DIGITS[static_cast<unsigned char>(c) >> 4];
        text += DIGITS[static_cast<unsigned char>(c) & 0x0F];
    }
    return text;
}

std::string toBase64Url(std::string_view bytes)
{
    static constexpr char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string text;
    unsigned bits = 0;
    unsigned count = 0;
    for (const char c : bytes) {
        bits = (bits << 8 | static_cast<unsigned char>(c)) & 0xFFFF;
        for (count += 8; count >= 6; count -= 6)
            text += DIGITS[bits >> (count - 6) & 0x3F];
    }
    if (count > 0)
        text += DIGITS[bits << (6 - count) & 0x3F];
    return text;
}

std::string sha256(std::string_view message)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
    unsigned length = 0;
    if (EVP_Digest(bytesOf(message), message.size(), value.data(), &length, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("cannot compute a digest");
    return {reinterpret_cast<const char*>(value.data()), length};
}

namespace {

EVP_MD_CTX* contextOf(const std::shared_ptr<void>& context) { return static_cast<EVP_MD_CTX*>(context.get()); }

void require(int outcome)
{
    if (outcome != 1)
        throw std::runtime_error("cannot compute a digest");
}

} // namespace

Sha256::Sha256() : m_context(EVP_MD_CTX_new(), [](void* context) { EVP_MD_CTX_free(static_cast<EVP_MD_CTX*>(context)); })
{
    require(m_context ? EVP_DigestInit_ex(contextOf(m_context), EVP_sha256(), nullptr) : 0);
}

void Sha256::add(std::string_view bytes) { require(EVP_DigestUpdate(contextOf(m_context), bytes.data(), bytes.size())); }

std::string Sha256::finish()
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
    unsigned length = 0;
    require(EVP_DigestFinal_ex(contextOf(m_context), value.data(), &length));
    return {reinterpret_cast<const char*>(value.data()), length};
}

std::string hmacSha256(std::string_view key, std::string_view message) { return hmac(EVP_sha256(), key, message); }

std::string hmacSha1(std::string_view key, std::string_view message) { return hmac(EVP_sha1(), key, message); }

bool equalsInConstantTime(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

} // namespace common
