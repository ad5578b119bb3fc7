// SPDX-License-Identifier: MIT
#include "tv/core/Keeping.h"

#include "common/Digest.h"
#include "common/Files.h"
#include "tv/core/Log.h"

#include <filesystem>

namespace tv {

Json readKept(const std::string& path)
{
    try {
        if (!std::filesystem::is_regular_file(path))
            return nullptr;
        Json document = Json::parse(common::readFile(path), nullptr, false);
        if (!document.is_discarded())
            return document;
        log(path + " is damaged, and passed over");
    } catch (const std::exception& error) {
        log(error.what());
    }
    return nullptr;
}

void keep(const std::string& path, const Json& document)
{
    // A name of its own, so that two programs do not write into one file, and nothing that lies there is followed.
    const std::string temporary = path + "." + common::toHex(common::randomBytes(8));
    try {
        {
            const common::UniqueFd file = common::createPrivateFile(temporary);
            common::writeAll(file.get(), textOf(document), temporary);
            common::syncFile(file.get(), temporary);
        }
        common::renameFile(temporary, path);
    } catch (...) {
        common::removeFile(temporary);
        throw;
    }
    common::syncFolder(std::filesystem::path(path).parent_path().string());
}

} // namespace tv
