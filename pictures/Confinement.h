// SPDX-License-Identifier: MIT
/// \file What a process that decodes strangers' files may do.
#ifndef KINLOOM_PICTURES_CONFINEMENT_H
#define KINLOOM_PICTURES_CONFINEMENT_H

#include <cstdint>

namespace pictures {

/// Whether this build watches itself with a sanitizer, which needs more memory, time and system calls than a confined process has.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool SANITIZED = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool SANITIZED = true;
#else
inline constexpr bool SANITIZED = false;
#endif
#else
inline constexpr bool SANITIZED = false;
#endif

/// The memory of such a process, in bytes.
inline constexpr std::uint64_t PICTURE_MEMORY = std::uint64_t{512} << 20;

/// How many threads such a process may have. The system has no such limit for one process: whoever started it looks after it.
inline constexpr unsigned PICTURE_THREADS = 32;

/// Confines the process for the rest of its life: bounded memory, files, threads' time and core; and only the system calls that
/// decoding needs. It can open no file and no connection, start no program and make no memory that can be run; any other call ends
/// it with SIGSYS. Under a sanitizer memory and system calls stay as they are. Throws std::runtime_error or std::system_error.
void confine();

} // namespace pictures

#endif
