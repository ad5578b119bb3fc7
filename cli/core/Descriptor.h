// SPDX-License-Identifier: MIT
/// \file An owned file descriptor.
#ifndef KINLOOM_CORE_DESCRIPTOR_H
#define KINLOOM_CORE_DESCRIPTOR_H

#include <unistd.h>
#include <utility>

namespace kinloom {

/// Closes a file descriptor at the end of its scope.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    Descriptor(Descriptor&& other) noexcept : m_fd(other.m_fd) { other.m_fd = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }

private:
    int m_fd;
};

} // namespace kinloom

#endif
