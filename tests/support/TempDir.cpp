// SPDX-License-Identifier: MIT
#include "support/TempDir.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace test {

namespace fs = std::filesystem;

TempDir::TempDir()
{
    m_path = (fs::temp_directory_path() / "kinloom-test-XXXXXX").string();
    if (!mkdtemp(m_path.data()))
        throw std::runtime_error("cannot make a folder like " + m_path);
}

TempDir::~TempDir()
{
    std::error_code ignored;
    // A test may have taken the rights to a folder away.
    for (fs::recursive_directory_iterator entry(m_path, ignored), end; entry != end; entry.increment(ignored))
        if (entry->is_directory(ignored) && !entry->is_symlink(ignored))
            fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(m_path, ignored);
}

std::vector<std::string> TempDir::entries() const
{
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_path))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TempRoot::TempRoot()
{
    if (const char* const before = std::getenv("TMPDIR"))
        m_before = before;
    setenv("TMPDIR", m_dir.path().c_str(), 1);
}

TempRoot::~TempRoot()
{
    if (m_before.empty())
        unsetenv("TMPDIR");
    else
        setenv("TMPDIR", m_before.c_str(), 1);
}

std::string readFile(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path);
}

bool exists(const std::string& path)
{
    std::error_code ignored;
    return fs::symlink_status(path, ignored).type() != fs::file_type::not_found;
}

} // namespace test
