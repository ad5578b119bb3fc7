// SPDX-License-Identifier: MIT
#include "objects/Payload.h"

#include "common/Digest.h"
#include "common/Files.h"

#include <algorithm>
#include <array>
#include <memory>
#include <openssl/evp.h>
#include <stdexcept>

namespace objects {

namespace {

constexpr std::size_t BLOCK = std::size_t{64} * 1024;

void require(bool outcome)
{
    if (!outcome)
        throw std::runtime_error("cannot compute a digest");
}

std::string base64(std::string_view bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int length = ::EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                         reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

} // namespace

std::size_t Payload::read(char* buffer, std::size_t size, std::int64_t place) const
{
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(size), m_size - place));
    if (wanted == 0)
        return 0;
    if (m_file < 0)
        return m_bytes.copy(buffer, wanted, static_cast<std::size_t>(place));
    return common::readAt(m_file, buffer, wanted, m_offset + place, "what is to be stored");
}

PayloadDigests digestsOf(const Payload& payload)
{
    common::Sha256 sha256;
    const std::unique_ptr<EVP_MD_CTX, decltype(&::EVP_MD_CTX_free)> md5(::EVP_MD_CTX_new(), &::EVP_MD_CTX_free);
    require(md5 && ::EVP_DigestInit_ex(md5.get(), ::EVP_md5(), nullptr) == 1);
    std::string block(static_cast<std::size_t>(std::min<std::int64_t>(BLOCK, payload.size())), '\0');
    for (std::int64_t done = 0; done < payload.size();) {
        const std::size_t count = payload.read(block.data(), block.size(), done);
        sha256.add(std::string_view(block.data(), count));
        require(::EVP_DigestUpdate(md5.get(), block.data(), count) == 1);
        done += static_cast<std::int64_t>(count);
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
    unsigned length = 0;
    require(::EVP_DigestFinal_ex(md5.get(), value.data(), &length) == 1);
    const std::string_view bytes(reinterpret_cast<const char*>(value.data()), length);
    return {common::toHex(sha256.finish()), common::toHex(bytes), base64(bytes)};
}

} // namespace objects
