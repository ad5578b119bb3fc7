// SPDX-License-Identifier: MIT
/// \file Files that a page is made of.
#ifndef HTTPD_STATICFILES_H
#define HTTPD_STATICFILES_H

#include "httpd/Reply.h"
#include "httpd/Request.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace httpd {

/// Everything that a browser needs of a page, read once and kept in memory, compressed too. Safe for several threads once it is
/// filled.
class StaticFiles {
public:
    /// Adds the files of a folder, under their paths in it ("/index.html"); links, and what no page is made of, are left out. What
    /// lies in its folder "assets" has names that change with the bytes: browsers keep it. Nothing is added where there is no such
    /// folder. Throws std::exception with a text when it cannot be read, or is larger than a page can be.
    void addFolder(const std::string& folder);
    /// Adds one file. Throws like \c addFolder.
    void addFile(const std::string& path, const std::string& file);

    bool has(std::string_view path) const { return m_files.find(path) != m_files.end(); }
    /// The bytes of a file; empty when it is not there. They live as long as this object.
    std::string_view bytesOf(std::string_view path) const;
    /// What tells the bytes of a file from others; empty when it is not there.
    std::string_view tagOf(std::string_view path) const;

    /// The reply to a request for a file, whatever the request's own path is: 200 or 304, with what is needed for caching and
    /// compression and no other headers. Nothing for other methods than GET and HEAD, and for a file that is not there.
    std::optional<Reply> answer(std::string_view path, const RequestHead& head) const;

private:
    struct File {
        std::string type;
        std::string bytes;
        std::string compressed; ///< empty where that is not smaller
        std::string tag;
        bool lasts = false; ///< its name changes with its bytes
    };

    std::map<std::string, File, std::less<>> m_files; ///< by path
};

} // namespace httpd

#endif
