// SPDX-License-Identifier: MIT
#include "objects/Payload.h"

#include "common/Files.h"

#include <algorithm>
#include <array>
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

EVP_MD_CTX* contextOf(void* pointer) { return static_cast<EVP_MD_CTX*>(pointer); }

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

PayloadDigester::PayloadDigester() : m_md5(::EVP_MD_CTX_new(), [](void* context) { ::EVP_MD_CTX_free(contextOf(context)); })
{
    begin();
}

void PayloadDigester::begin()
{
    m_sha256.emplace();
    require(m_md5 && ::EVP_DigestInit_ex(contextOf(m_md5.get()), ::EVP_md5(), nullptr) == 1);
}

void PayloadDigester::add(std::string_view bytes)
{
    m_sha256->add(bytes);
    require(::EVP_DigestUpdate(contextOf(m_md5.get()), bytes.data(), bytes.size()) == 1);
}

PayloadDigests PayloadDigester::finish()
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> value{};
    unsigned length = 0;
    require(::EVP_DigestFinal_ex(contextOf(m_md5.get()), value.data(), &length) == 1);
    const std::string_view md5(reinterpret_cast<const char*>(value.data()), length);
    PayloadDigests digests{common::toHex(m_sha256->finish()), common::toHex(md5), base64(md5)};
    begin();
    return digests;
}

PayloadDigests digestsOf(const Payload& payload)
{
    PayloadDigester digester;
    std::string block(static_cast<std::size_t>(std::min<std::int64_t>(BLOCK, payload.size())), '\0');
    for (std::int64_t done = 0; done < payload.size();) {
        const std::size_t count = payload.read(block.data(), block.size(), done);
        digester.add(std::string_view(block.data(), count));
        done += static_cast<std::int64_t>(count);
    }
    return digester.finish();
}

} // namespace objects
