// SPDX-License-Identifier: MIT
/// \file The options in force, ready for libcurl.
#ifndef HTTP_OPTIONS_H
#define HTTP_OPTIONS_H

#include "Internal.h"
#include "http/HeaderList.h"
#include "http/Leads.h"
#include "whost/HttpOptions.h"

#include <memory>

namespace W {
namespace WHOST_INTERNAL http {

/// A set of options that does not change any more; requests keep the one that was in force when they were queued.
class ClientOptions {
public:
    /// The encoding of bodies that the client asks for.
    static constexpr char ENCODINGS[] = "gzip";

    explicit ClientOptions(const HttpOptions& options);

    const HttpOptions& values() const { return m_values; }
    const Leads& leads() const { return m_leads; }
    /// True when the file of authorities holds revocation lists too.
    bool hasRevocations() const { return m_hasRevocations; }
    /// The connect-to lines as libcurl wants them; owned by this object.
    curl_slist* connectTo() const { return m_connectTo.get(); }
    /// The header fields that the client adds of its own accord, in the same form; owned by this object. They are given to libcurl
    /// as lines, since it puts what is set by options together more slowly, character by character and more than once.
    /// \param agent,encodings whether these fields are among them. \param posts whether they are for a POST.
    curl_slist* fields(bool agent, bool encodings, bool posts) const { return m_fields[agent][encodings][posts].get(); }

private:
    HttpOptions m_values;
    Leads m_leads;
    bool m_hasRevocations;
    // libcurl's functions take lists that are not constant, and only read them.
    mutable HeaderList m_connectTo;
    mutable HeaderList m_fields[2][2][2];
};

/// The options in force; never null. Any thread.
std::shared_ptr<const ClientOptions> currentOptions();

} // namespace http
} // namespace W

#endif
