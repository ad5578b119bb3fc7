// SPDX-License-Identifier: MIT
/// \file What people have set by remote control.
#ifndef KINLOOM_TV_CORE_PREFERENCES_H
#define KINLOOM_TV_CORE_PREFERENCES_H

#include "tv/core/Json.h"

#include <mutex>
#include <stdexcept>
#include <string>

namespace tv {

/// A value that cannot be set; what() says why.
class BadValue : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How the show goes: its seconds, its order, its night and the like, kept in a file. All members may be called from any thread.
class Preferences {
public:
    /// \param path of the file; a missing or damaged one is that of a new television
    explicit Preferences(std::string path);

    Json all() const;
    /// Changes what the object names, all of it or nothing. Throws BadValue; std::system_error where it cannot be kept, though it
    /// holds until the end of the program then.
    Json change(const Json& object);

private:
    const std::string m_path;
    mutable std::mutex m_mutex;
    Json m_values; // guarded by m_mutex
};

} // namespace tv

#endif
