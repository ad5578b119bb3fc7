// SPDX-License-Identifier: MIT
/// \file Who may talk to this program.
#ifndef KINLOOM_TV_API_GATE_H
#define KINLOOM_TV_API_GATE_H

#include "httpd/Reply.h"
#include "httpd/Request.h"

#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tv {

/// Lets in who has the key. The address that the program prints carries it; it is given for a cookie, and nothing is answered
/// without that, neither to other programs of this computer nor to pages of other sites that are open in the same browser. All
/// members may be called from any thread.
class Gate {
public:
    /// \param address "ADDR:PORT" that is listened on
    Gate(std::string address, bool onLoopback);

    /// The key of the address that is printed; it may be used by several browsers.
    const std::string& key() const { return m_key; }
    /// A key that is good for one browser, once.
    std::string oneTimeKey();

    /// The reply to a request that must not come in, or that comes with a key; nothing for one that may.
    std::optional<httpd::Reply> stop(const httpd::RequestHead& head);

private:
    bool isOwnHost(const httpd::RequestHead& head) const;
    bool isOwnOrigin(const httpd::RequestHead& head) const;
    bool hasCookie(const httpd::RequestHead& head) const;
    httpd::Reply welcome(bool once) const;

    const std::string m_key;
    const std::string m_cookie;
    const std::string m_address;
    std::string m_localhost; ///< the address by name; empty where this computer itself does not reach it
    std::mutex m_mutex;
    std::vector<std::string> m_oneTimeKeys; // guarded by m_mutex
};

} // namespace tv

#endif
