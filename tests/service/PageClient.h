// SPDX-License-Identifier: MIT
/// \file A browser with the family's page open, as far as the service can tell: it keeps a cookie, says which page its requests
/// come from, and speaks JSON.
#ifndef TESTS_SERVICE_PAGECLIENT_H
#define TESTS_SERVICE_PAGECLIENT_H

#include "ServiceFixture.h"

#include <nlohmann/json.hpp>

namespace kinloomd_test {

using Json = nlohmann::json;

/// The JSON of a reply; null for what is none.
Json jsonOf(const HttpReply& reply);
/// The word of a failure, with its status: "404 not_found"; the status alone for what is none.
std::string failureOf(const HttpReply& reply);

class PageClient {
public:
    explicit PageClient(unsigned short port) : m_port(port) {}

    HttpReply get(const std::string& target, const Headers& more = {}) { return send("GET", target, {}, more); }
    HttpReply post(const std::string& target, const Json& body = Json::object())
    {
        return send("POST", target, body.dump(), {{"Content-Type", "application/json"}});
    }
    HttpReply erase(const std::string& target) { return send("DELETE", target, {}, {}); }
    /// Sends a file.
    HttpReply upload(const std::string& group, const std::string& bytes, const std::string& query = {})
    {
        return send("POST", "/page/groups/" + group + "/contents" + (query.empty() ? "" : "?" + query), bytes, {});
    }
    /// A request as the page sends it; what is not GET says where it comes from.
    HttpReply send(const std::string& method, const std::string& target, const std::string& body, const Headers& more);
    /// The headers that each of its requests has.
    Headers headers(const std::string& method) const;

    /// Uses an invitation up. \param url as it was printed
    HttpReply enter(const std::string& url);

    const std::string& cookie() const { return m_cookie; }
    void setCookie(const std::string& value) { m_cookie = value; }
    unsigned short port() const { return m_port; }

private:
    unsigned short m_port;
    std::string m_cookie; ///< the value of kinloom_session
};

/// A service with a page; the browsers of people are signed in by invitations.
class PageFixture : public ServiceFixture {
protected:
    /// Starts the service with a page of a few files.
    void SetUp() override;
    /// A further argument of the service, before it starts.
    void with(const std::string& option, const std::string& value)
    {
        m_settings.arguments.insert(m_settings.arguments.end(), {option, value});
    }

    /// The address of a new invitation.
    std::string invitation(const std::string& person, const std::string& group = {});
    PageClient browserOf(const std::string& person, const std::string& group = {});
    PageClient stranger() { return PageClient(port()); }
    /// Runs SQL on the database of the running service.
    void sql(const std::string& statement);

    std::string m_web = m_folder / "web";
};

} // namespace kinloomd_test

#endif
