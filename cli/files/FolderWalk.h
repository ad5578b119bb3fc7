// SPDX-License-Identifier: MIT
/// \file What lies in a folder and below it.
#ifndef KINLOOM_FILES_FOLDERWALK_H
#define KINLOOM_FILES_FOLDERWALK_H

#include "core/Errors.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kinloom {

/// What a walk has passed by, by its reason. A folder counts as one, whatever is in it.
struct LeftOut {
    std::size_t hidden = 0;   ///< names that begin with a dot
    std::size_t links = 0;    ///< symbolic links, also to files
    std::size_t special = 0;  ///< pipes, sockets, devices
    std::size_t excluded = 0; ///< by a pattern
};

/// The regular files in a folder and in all folders below it, in the order of their names.
struct FolderWalk {
    struct File {
        std::string path; ///< begins with the folder's path as it was given
        std::uint64_t size = 0;
    };
    std::vector<File> files;
    LeftOut leftOut;
    std::vector<Failure> failures; ///< folders that cannot be read

    /// Adds what is in a folder. Nothing is thrown; links are not followed but for the folder itself.
    /// \param excludes patterns as the shell has them: one without "/" is for names, one with it for paths inside the folder.
    void add(const std::string& folder, const std::vector<std::string>& excludes);
};

} // namespace kinloom

#endif
