// SPDX-License-Identifier: MIT
/// \file A client of the service that shares nothing with it or with the plugin: raw sockets, a signer and an XML reader of its
/// own.
#ifndef TESTS_SERVICE_SERVICECLIENT_H
#define TESTS_SERVICE_SERVICECLIENT_H

#include "KinloomdProcess.h"
#include "TestPictures.h"           // IWYU pragma: export
#include "support/HttpConnection.h" // IWYU pragma: export

#include <string>
#include <string_view>
#include <vector>

namespace kinloomd_test {

using test::HttpReply;

/// One connection to a service on this computer.
class Wire : public test::HttpConnection {
public:
    explicit Wire(unsigned short port) : HttpConnection("127.0.0.1:" + std::to_string(port)) {}
};

using Headers = std::vector<std::pair<std::string, std::string>>;

/// The Authorization header of a device, as the plugin writes it.
std::string authorizationOf(const DeviceCredentials& device, bool firstOfSession = false);

/// A device that makes requests, each on a connection of its own unless told otherwise.
class ServiceClient {
public:
    ServiceClient(unsigned short port, DeviceCredentials device) : m_port(port), m_device(std::move(device)) {}

    const DeviceCredentials& device() const { return m_device; }

    HttpReply get(const std::string& path);
    HttpReply post(const std::string& path, const std::string& body, const Headers& headers = {});
    /// "auth" with the first signature of a session.
    HttpReply signIn();

    // Paths below are relative to the service's base path.
    static std::string path(const std::string& rest) { return "/openapi/service/kinloom/" + rest; }

    std::string createGroup(const std::string& name, const std::string& description = {});
    std::vector<std::string> groupNames(const std::string& query);
    HttpReply reserve(const std::string& group, const std::string& form);
    /// Sends the file to the address that a reservation gave.
    HttpReply sendFile(const std::string& uploadUrl, const TestPicture& picture);
    /// Both steps. \return the reply to the second, or to the first when that failed.
    HttpReply upload(const std::string& group, const TestPicture& picture, const std::string& description = {});
    /// The same, for an upload that must succeed. \return the content's identifier.
    std::string uploadPhoto(const std::string& group, const TestPicture& picture, const std::string& description = {});
    /// A comment, unsigned as the plugin sends it, after a signed look at the content on the same connection.
    HttpReply comment(const std::string& content, const std::string& text);
    std::string commentId(const std::string& content, const std::string& text);

private:
    unsigned short m_port;
    DeviceCredentials m_device;
};

/// One request on a connection of its own, with nothing added but Host and Content-Length.
HttpReply request(unsigned short port, const std::string& method, const std::string& target, const std::string& body = {},
                  const Headers& headers = {});
/// A number among the metrics of a service, by its name and labels; 0 where there is none yet.
unsigned long metric(unsigned short port, const std::string& name);
/// A comment that nothing on its connection was signed before.
HttpReply lonelyComment(unsigned short port, const std::string& content, const std::string& text);
/// The bytes of an unsigned comment.
std::string commentBytes(const std::string& content, const std::string& text);
/// The bytes of such a request.
std::string requestBytes(const std::string& method, const std::string& target, const std::string& body, const Headers& headers);

/// A multipart body with one file.
std::string multipartBody(const TestPicture& picture, const std::string& boundary);

/// What is left of an address after scheme and host.
std::string targetOf(const std::string& url);

std::string formEncode(std::string_view text);

/// An XML document, read by another parser than the plugin's walk.
class Xml {
public:
    explicit Xml(const std::string& document);
    ~Xml();
    Xml(const Xml&) = delete;
    Xml& operator=(const Xml&) = delete;

    bool wellFormed() const { return m_document != nullptr; }
    /// The text of the first match of an XPath expression; empty when there is none.
    std::string text(const std::string& path) const;
    std::vector<std::string> texts(const std::string& path) const;
    std::size_t count(const std::string& path) const { return texts(path).size(); }

private:
    void* m_document;
};

/// The value of a field in a reply, in either shape: the first element or attribute of that name.
std::string field(const HttpReply& reply, const std::string& name);

} // namespace kinloomd_test

#endif
