// SPDX-License-Identifier: MIT
/// \file A folder for one test.
#ifndef SUPPORT_TEMPDIR_H
#define SUPPORT_TEMPDIR_H

#include <string>
#include <vector>

namespace test {

/// A fresh, empty folder that is removed with all it holds when the object ends.
class TempDir {
public:
    /// \throw std::runtime_error
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// The folder's path, without a slash at its end.
    const std::string& path() const { return m_path; }
    /// The path of an entry of the folder.
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    /// Names of the folder's entries, hidden ones included, in the order of their bytes.
    std::vector<std::string> entries() const;

private:
    std::string m_path;
};

/// As long as one of these lives, temporary folders are made inside it, by child processes too, and are gone with it: for tests
/// whose child processes die, which removes nothing.
class TempRoot {
public:
    TempRoot();
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

private:
    std::string m_before; ///< TMPDIR, or empty when it was not set
    TempDir m_dir;
};

/// A file's whole content; empty when it cannot be read.
std::string readFile(const std::string& path);
/// Writes a file. \throw std::runtime_error
void writeFile(const std::string& path, const std::string& content);
/// True when there is anything of that name, be it a dangling link.
bool exists(const std::string& path);

} // namespace test

#endif
