// SPDX-License-Identifier: MIT
/// \file What a piece of a test writes to standard output or standard error.
#ifndef SUPPORT_CAPTURESTDOUT_H
#define SUPPORT_CAPTURESTDOUT_H

#include <string>

namespace test {

/// Sends everything that the process writes to a descriptor into a file, from construction to take(), whoever writes it and by
/// whatever means. One at a time for each descriptor.
class CaptureDescriptor {
public:
    /// \throw std::runtime_error
    explicit CaptureDescriptor(int descriptor);
    /// Restores the descriptor, if take() was not called.
    ~CaptureDescriptor();
    CaptureDescriptor(const CaptureDescriptor&) = delete;
    CaptureDescriptor& operator=(const CaptureDescriptor&) = delete;

    /// What was written so far; capturing goes on.
    std::string text();
    /// What was written; capturing ends.
    std::string take();

private:
    void restore();

    int m_descriptor;
    int m_original = -1; ///< a duplicate of what the descriptor was; -1 once it is restored
    int m_file = -1;
};

/// Captures descriptor 1.
class CaptureStdout : public CaptureDescriptor {
public:
    CaptureStdout() : CaptureDescriptor(1) {}
};

/// Captures descriptor 2.
class CaptureStderr : public CaptureDescriptor {
public:
    CaptureStderr() : CaptureDescriptor(2) {}
};

} // namespace test

#endif
