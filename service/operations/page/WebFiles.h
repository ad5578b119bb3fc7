// SPDX-License-Identifier: MIT
/// \file The files of the family's page.
#ifndef KINLOOMD_OPERATIONS_PAGE_WEBFILES_H
#define KINLOOMD_OPERATIONS_PAGE_WEBFILES_H

#include "httpd/Reply.h"
#include "httpd/Request.h"
#include "httpd/StaticFiles.h"

#include <optional>
#include <string>

namespace kinloomd {

/// Everything that a browser needs of the page, read once and kept in memory, compressed too. Safe for several threads.
class WebFiles {
public:
    /// \param folder holds the page in its folder "family"; empty for a service without a page. Throws std::runtime_error, with a
    /// sentence, when there is no page in it, or it cannot be read.
    explicit WebFiles(const std::string& folder);

    /// The reply to a request for the page or one of its files; nothing for anything else. Without a page its addresses say so.
    std::optional<httpd::Reply> answer(const httpd::RequestHead& head) const;

    /// Tells builds of the page apart.
    const std::string& version() const { return m_version; }

    /// \return whether a browser asks for the page, at one of its addresses, or for one of the files that the page is made of.
    static bool isOfPage(const httpd::RequestHead& head);

private:
    void load(const std::string& root);

    httpd::StaticFiles m_files;
    std::string m_version = "none";
};

/// The folder of the page that was installed or built together with the program; empty when there is none.
std::string webFolderBesideProgram();

} // namespace kinloomd

#endif
