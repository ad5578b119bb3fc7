// SPDX-License-Identifier: MIT
/// \file Where a service keeps its data.
#ifndef KINLOOMD_CORE_DATAPLACE_H
#define KINLOOMD_CORE_DATAPLACE_H

#include <string>
#include <utility>

namespace kinloomd {

/// A folder, and perhaps a database beside it.
struct DataPlace {
    DataPlace() = default;
    DataPlace(std::string inFolder) : folder(std::move(inFolder)) {} // a folder is a place of its own

    std::string folder;
    std::string database; ///< its address; empty for one that lies in the folder
};

} // namespace kinloomd

#endif
