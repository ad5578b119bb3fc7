// SPDX-License-Identifier: MIT
/// \file Names of files that a browser saves.
#ifndef KINLOOMD_OPERATIONS_PAGE_FILENAMES_H
#define KINLOOMD_OPERATIONS_PAGE_FILENAMES_H

#include <map>
#include <string>

namespace kinloomd {

/// The Content-Disposition of a file that is to be saved under a name.
std::string attachmentNamed(const std::string& name);

/// The name as every file system takes it and every reader sees it: "_" stands for what some of them cannot have, for what cannot
/// be seen, and before names that stand for devices.
std::string portableName(const std::string& name);

/// Gives each file of a folder a name of its own, on file systems that do not tell upper and lower case apart too.
class NamesOfFolder {
public:
    /// The name itself, or with a number before its extension: "a (2).jpg".
    std::string unique(const std::string& name);

private:
    std::map<std::string, int> m_taken; ///< with the number that is tried next: many cameras have one name for everything
};

} // namespace kinloomd

#endif
