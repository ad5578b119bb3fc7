// SPDX-License-Identifier: MIT
#include "files/FileHash.h"

#include "core/Descriptor.h"
#include "core/Errors.h"

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <new>
#include <openssl/evp.h>
#include <vector>

namespace kinloom {

namespace {

class Hash {
public:
    Hash() : m_context(EVP_MD_CTX_new(), EVP_MD_CTX_free)
    {
        if (!m_context || EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr) != 1)
            throw std::bad_alloc();
    }
    void add(const void* bytes, std::size_t size) { EVP_DigestUpdate(m_context.get(), bytes, size); }
    std::string text()
    {
        constexpr char DIGITS[] = "0123456789abcdef";
        unsigned char value[EVP_MAX_MD_SIZE];
        unsigned int size = 0;
        EVP_DigestFinal_ex(m_context.get(), value, &size);
        std::string text;
        for (unsigned int i = 0; i < size; ++i)
            text.append({DIGITS[value[i] >> 4], DIGITS[value[i] & 15]});
        return text;
    }

private:
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> m_context;
};

} // namespace

std::string hashOfFile(const std::string& path)
{
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file)
        throw fileFailure(path, "cannot be read", errno);
    Hash hash;
    std::vector<char> block(256 << 10);
    while (true) {
        const ssize_t count = read(file.get(), block.data(), block.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw fileFailure(path, "cannot be read", errno);
        if (count == 0)
            return hash.text();
        hash.add(block.data(), static_cast<std::size_t>(count));
    }
}

std::string hashOf(std::string_view text)
{
    Hash hash;
    hash.add(text.data(), text.size());
    return hash.text();
}

} // namespace kinloom
