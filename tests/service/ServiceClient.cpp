// SPDX-License-Identifier: MIT
#include "ServiceClient.h"

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <openssl/hmac.h>
#include <stdexcept>

namespace kinloomd_test {

namespace {

constexpr const char* BOUNDARY = "------------------------0123456789abcdef";

std::string signatureOf(const std::string& key, const std::string& token)
{
    unsigned char digest[20];
    unsigned length = 0;
    HMAC(EVP_sha1(), key.c_str(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(token.c_str()),
         token.size() + 1, digest, &length);
    std::string hex;
    for (const unsigned char byte : digest) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", byte);
        hex += two;
    }
    return hex;
}

} // namespace

std::string authorizationOf(const DeviceCredentials& device, bool firstOfSession)
{
    const std::string signature = firstOfSession ? signatureOf("", "") : signatureOf(device.appId, device.token);
    return R"( auth_identifier="KL_AUTH_V1", app_id=")" + device.appId + R"(", app_type="dtv", token=")" + device.token +
           R"(", token_type="user", duid=")" + device.duid + "\", signature=\"" + signature + "\"";
}

std::string requestBytes(const std::string& method, const std::string& target, const std::string& body, const Headers& headers)
{
    // Only under a name of this computer does the service let itself be controlled.
    const bool control = target.compare(0, 9, "/control/") == 0;
    std::string bytes =
        method + " " + target + " HTTP/1.1\r\nHost: " + (control ? "localhost" : "openapi.kinloom.example") + "\r\n";
    for (const auto& [name, value] : headers)
        bytes += name + ": " + value + "\r\n";
    if (method == "POST" || !body.empty())
        bytes += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    return bytes + "\r\n" + body;
}

HttpReply request(unsigned short port, const std::string& method, const std::string& target, const std::string& body,
                  const Headers& headers)
{
    Wire wire(port);
    wire.send(requestBytes(method, target, body, headers));
    return wire.receive(method == "HEAD");
}

unsigned long metric(unsigned short port, const std::string& name)
{
    Wire wire(port);
    wire.send("GET /metrics HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    const std::string text = wire.receive().body;
    const auto place = text.find("\n" + name + " ");
    return place == std::string::npos ? 0 : std::stoul(text.substr(place + name.size() + 2));
}

HttpReply ServiceClient::get(const std::string& target)
{
    return request(m_port, "GET", target, {},
                   {{"Authorization", authorizationOf(m_device)}, {"DATE", "Wed, 5 May 2010 7:4:9 GMT"}});
}

HttpReply ServiceClient::post(const std::string& target, const std::string& body, const Headers& headers)
{
    Headers all = {{"Authorization", authorizationOf(m_device)}, {"DATE", ", 20  2010 7:4:9 GMT"}};
    all.insert(all.end(), headers.begin(), headers.end());
    return request(m_port, "POST", target, body, all);
}

HttpReply ServiceClient::signIn()
{
    return request(m_port, "POST", path("auth"), {}, {{"Authorization", authorizationOf(m_device, true)}});
}

std::string ServiceClient::createGroup(const std::string& name, const std::string& description)
{
    std::string form = "group_name=" + formEncode(name);
    if (!description.empty())
        form += "&group_desc=" + formEncode(description);
    return field(post(path("me/group.create"), form), "groupId");
}

std::vector<std::string> ServiceClient::groupNames(const std::string& query)
{
    return Xml(get(path("me/group.list?" + query)).body).texts("//groupName|//@groupName");
}

HttpReply ServiceClient::reserve(const std::string& group, const std::string& form) { return post(path(group + "/upload"), form); }

HttpReply ServiceClient::sendFile(const std::string& uploadUrl, const TestPicture& picture)
{
    return post(targetOf(uploadUrl), multipartBody(picture, BOUNDARY),
                {{"Content-Type", std::string("multipart/form-data; boundary=") + BOUNDARY}});
}

HttpReply ServiceClient::upload(const std::string& group, const TestPicture& picture, const std::string& description)
{
    std::string form = "type=photo&";
    if (!description.empty())
        form += "description=" + formEncode(description) + "&";
    HttpReply slot = reserve(group, form + "file_size=" + std::to_string(picture.bytes.size()));
    if (slot.status != 200)
        return slot;
    return sendFile(field(slot, "uploadUrl"), picture);
}

std::string ServiceClient::uploadPhoto(const std::string& group, const TestPicture& picture, const std::string& description)
{
    const HttpReply reply = upload(group, picture, description);
    if (reply.status != 200)
        throw std::runtime_error("the upload failed: " + reply.body);
    return field(reply, "contentId");
}

HttpReply ServiceClient::comment(const std::string& content, const std::string& text)
{
    Wire wire(m_port);
    wire.send(requestBytes("GET", path(content + "/view"), {}, {{"Authorization", authorizationOf(m_device)}}));
    wire.receive();
    wire.send(commentBytes(content, text));
    return wire.receive();
}

std::string commentBytes(const std::string& content, const std::string& text)
{
    return requestBytes("POST", ServiceClient::path(content + "/comment"), "commentText=" + formEncode(text), {{"appToken", ""}});
}

HttpReply lonelyComment(unsigned short port, const std::string& content, const std::string& text)
{
    Wire wire(port);
    wire.send(commentBytes(content, text));
    return wire.receive();
}

std::string ServiceClient::commentId(const std::string& content, const std::string& text)
{
    return field(comment(content, text), "commentId");
}

std::string multipartBody(const TestPicture& picture, const std::string& boundary)
{
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"filename\"; filename=\"" + picture.fileName +
           "\"\r\nContent-Type: " + picture.mimeType + "\r\n\r\n" + picture.bytes + "\r\n--" + boundary + "--\r\n";
}

std::string targetOf(const std::string& url)
{
    const auto slash = url.find('/', url.find("//") + 2);
    return slash == std::string::npos ? std::string() : url.substr(slash);
}

std::string formEncode(std::string_view text)
{
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0) {
            encoded += c;
        } else {
            char escape[4];
            std::snprintf(escape, sizeof escape, "%%%02X", byte);
            encoded += escape;
        }
    }
    return encoded;
}

Xml::Xml(const std::string& document)
    : m_document(xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, nullptr,
                               XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING))
{
}

Xml::~Xml() { xmlFreeDoc(static_cast<xmlDoc*>(m_document)); }

std::string Xml::text(const std::string& path) const
{
    const auto all = texts(path);
    return all.empty() ? std::string() : all.front();
}

std::vector<std::string> Xml::texts(const std::string& path) const
{
    std::vector<std::string> values;
    if (m_document == nullptr)
        return values;
    xmlXPathContext* const context = xmlXPathNewContext(static_cast<xmlDoc*>(m_document));
    xmlXPathObject* const found = xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(path.c_str()), context);
    if (found != nullptr && found->nodesetval != nullptr) {
        for (int i = 0; i < found->nodesetval->nodeNr; ++i) {
            xmlChar* const content = xmlNodeGetContent(found->nodesetval->nodeTab[i]);
            values.emplace_back(reinterpret_cast<const char*>(content));
            xmlFree(content);
        }
    }
    xmlXPathFreeObject(found);
    xmlXPathFreeContext(context);
    return values;
}

std::string field(const HttpReply& reply, const std::string& name) { return Xml(reply.body).text("//" + name + "|//@" + name); }

} // namespace kinloomd_test
