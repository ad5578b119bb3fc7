// SPDX-License-Identifier: MIT
/// \file Replies on their way out. Of the library alone.
#ifndef HTTPD_SENDING_H
#define HTTPD_SENDING_H

#include "httpd/ConnectionWatch.h"
#include "httpd/Reply.h"

#include <microhttpd.h>

namespace httpd {

/// Hands one reply to the HTTP library.
class Sender {
public:
    Sender(MHD_Connection* mhd, Connection& connection, ConnectionWatch& watch)
        : m_mhd(mhd), m_connection(connection), m_watch(watch)
    {
    }

    /// Takes text or file out of the reply; the source of a stream stays there, and must stay until the request ends.
    /// \param close the connection is closed after the reply. \return the library's verdict.
    MHD_Result send(Reply& reply, bool close);

private:
    MHD_Response* responseOf(std::string& text);
    MHD_Response* responseOf(FileBody& body);
    MHD_Response* responseOf(StreamBody& body);

    MHD_Connection* m_mhd;
    Connection& m_connection;
    ConnectionWatch& m_watch;
};

} // namespace httpd

#endif
