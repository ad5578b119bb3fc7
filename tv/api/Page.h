// SPDX-License-Identifier: MIT
/// \file The files of the television's page.
#ifndef KINLOOM_TV_API_PAGE_H
#define KINLOOM_TV_API_PAGE_H

#include "httpd/StaticFiles.h"

#include <optional>
#include <string>

namespace tv {

/// Everything that a browser needs of the page, in memory. Safe for several threads.
class Page {
public:
    /// \param web holds the page in its folder "tv"; empty for a program without a page. Throws std::runtime_error, with a
    /// sentence, when there is no page in it, or it cannot be read.
    explicit Page(const std::string& web);

    /// The reply to a request for the page or one of its files; nothing for anything else.
    std::optional<httpd::Reply> answer(const httpd::RequestHead& head) const;
    /// Tells builds of the page apart.
    const std::string& version() const { return m_version; }

private:
    httpd::StaticFiles m_files;
    std::string m_version = "none";
};

/// The folder of the pages that were installed or built together with the program; empty when there is none.
std::string webFolderBesideProgram();

} // namespace tv

#endif
