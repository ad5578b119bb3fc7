// SPDX-License-Identifier: MIT
#include "KLService/FileSize.h"

#include <cstdio>
#include <memory>
#include <sys/stat.h>

namespace W {

bool existsButIsNoFile(const STRING& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode);
}

long fileSize(const STRING& path)
{
    if (existsButIsNoFile(path))
        return 0;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file || std::fseek(file.get(), 0, SEEK_END) != 0)
        return 0;
    const long size = std::ftell(file.get());
    return size > 0 ? size : 0;
}

} // namespace W
