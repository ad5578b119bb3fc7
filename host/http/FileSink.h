// SPDX-License-Identifier: MIT
/// \file Where the body of a download goes.
#ifndef HTTP_FILESINK_H
#define HTTP_FILESINK_H

#include "Internal.h"
#include "W/WTypes.h"

#include <cstdint>
#include <memory>
#include <string>

namespace W {
namespace WHOST_INTERNAL http {

/// A file that appears under its name whole or not at all.
///
/// The bytes go to a temporary file in the target's folder, made for the owner only, exclusively and without following links. It
/// takes the target's name when it is published, in place of a regular file or of a link with that name (of the link itself, not
/// of what it leads to), and is removed when it is not. The folder is held open, so that renaming it meanwhile redirects nothing.
class FileSink {
public:
    FileSink() = default;
    /// Removes what was not published.
    ~FileSink() { discard(); }
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;

    /// Tells whether a file may be put at a path: its folder is there and writable, and the name is free, a regular file or a link.
    /// \return 0, WSTATUS_INVALID_ARGUMENT for what cannot be a path, or WSTATUS_FILE_ERROR.
    static WSTATUS check(const std::string& path);

    /// Makes the temporary file. False: nothing was made. \throw std::bad_alloc
    bool open(const std::string& path);
    /// Appends; false when something, this or what came before, could not be written.
    bool write(const char* data, std::size_t size);
    /// Writes the rest and gives the file its name; false: there is no file, and what had the name before has it still.
    bool publish();
    /// Removes the temporary file, if there is one.
    void discard();

private:
    bool writeOut();
    void closeFolder();

    int m_folder = -1;
    int m_file = -1;
    unsigned int m_mode = 0; ///< the mode that the file gets with its name
    std::string m_name;      ///< the target's, without its folder
    std::string m_temporary; ///< of the file that m_file writes; empty when there is none

    std::unique_ptr<char[]> m_buffer; ///< what is not written yet
    std::size_t m_buffered = 0;
    std::uint64_t m_written = 0;
    bool m_replaces = false; ///< a file has the name already
};

} // namespace http
} // namespace W

#endif
