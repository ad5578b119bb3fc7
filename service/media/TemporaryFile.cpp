// SPDX-License-Identifier: MIT
#include "media/TemporaryFile.h"

#include "core/Digest.h"

namespace kinloomd {

TemporaryFile::TemporaryFile(const std::string& folder)
    : m_path(folder + "/" + toHex(randomBytes(16))), m_fd(createPrivateFile(m_path))
{
}

TemporaryFile::~TemporaryFile()
{
    if (!m_moved)
        removeFile(m_path);
}

void TemporaryFile::moveTo(const std::string& folder, const std::string& name)
{
    syncFile(m_fd.get(), m_path);
    renameTo(folder + "/" + name);
    syncFolder(folder);
}

void TemporaryFile::renameTo(const std::string& path)
{
    renameFile(m_path, path);
    m_moved = true;
}

} // namespace kinloomd
