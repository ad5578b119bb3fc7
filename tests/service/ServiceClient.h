// SPDX-License-Identifier: MIT
/// \file A client of the service that shares nothing with it or with the plugin: raw sockets, a signer and an XML reader of its
/// own.
#ifndef TESTS_SERVICE_SERVICECLIENT_H
#define TESTS_SERVICE_SERVICECLIENT_H

#include "KinloomdProcess.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kinloomd_test {

/// A reply as it stood on the wire.
struct HttpReply {
    int status = 0;                             ///< 0 when there was none
    std::map<std::string, std::string> headers; ///< names in lower case
    std::string body;
    bool whole = false; ///< as many bytes came as were announced

    std::string header(const std::string& name) const
    {
        const auto found = headers.find(name);
        return found == headers.end() ? std::string() : found->second;
    }
};

/// One TCP connection.
class Wire {
public:
    explicit Wire(unsigned short port);
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;
    ~Wire();

    int socket() const { return m_socket; }
    /// Sends all of it. \return false when the other end does not take it.
    bool send(std::string_view bytes);
    void shutdownSending();
    /// Reads one reply. \param headOnly there is no body, whatever the headers say.
    HttpReply receive(bool headOnly = false);
    /// Reads until the other end closes. \return false when it did not within that time.
    bool waitForClose(std::chrono::milliseconds time);
    /// The error that ended the last read: 0 for a close, ECONNRESET for a reset, ETIMEDOUT when nothing came for ten seconds.
    int lastError() const { return m_error; }

private:
    bool fill();

    int m_socket = -1;
    int m_error = 0;
    std::string m_buffer;
};

using Headers = std::vector<std::pair<std::string, std::string>>;

/// The Authorization header of a device, as the plugin writes it.
std::string authorizationOf(const DeviceCredentials& device, bool firstOfSession = false);

/// A picture made for a test, and what it is.
struct TestPicture {
    std::string bytes;
    std::string mimeType;
    std::string fileName;
};

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
    /// A comment, unsigned as the plugin sends it.
    HttpReply comment(const std::string& content, const std::string& text);
    std::string commentId(const std::string& content, const std::string& text);

private:
    unsigned short m_port;
    DeviceCredentials m_device;
};

/// One request on a connection of its own, with nothing added but Host and Content-Length.
HttpReply request(unsigned short port, const std::string& method, const std::string& target, const std::string& body = {},
                  const Headers& headers = {});
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
