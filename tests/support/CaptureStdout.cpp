// SPDX-License-Identifier: MIT
#include "support/CaptureStdout.h"

#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace test {

namespace {

void flushStreams()
{
    std::cout.flush();
    std::fflush(stdout);
    std::fflush(stderr);
}

} // namespace

CaptureDescriptor::CaptureDescriptor(int descriptor) : m_descriptor(descriptor)
{
    flushStreams();
    // A file, not a pipe, since a full pipe would stop the writer.
    m_file = memfd_create("captured", MFD_CLOEXEC);
    m_original = fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
    if (m_file < 0 || m_original < 0 || dup2(m_file, descriptor) < 0)
        throw std::runtime_error("cannot capture a descriptor");
}

CaptureDescriptor::~CaptureDescriptor()
{
    restore();
    if (m_file >= 0)
        close(m_file);
}

std::string CaptureDescriptor::text()
{
    flushStreams();
    std::string all;
    char piece[4096];
    for (ssize_t got; (got = pread(m_file, piece, sizeof piece, static_cast<off_t>(all.size()))) > 0;)
        all.append(piece, static_cast<std::size_t>(got));
    return all;
}

std::string CaptureDescriptor::take()
{
    std::string all = text();
    restore();
    return all;
}

void CaptureDescriptor::restore()
{
    if (m_original < 0)
        return;
    flushStreams();
    dup2(m_original, m_descriptor);
    close(m_original);
    m_original = -1;
}

} // namespace test
