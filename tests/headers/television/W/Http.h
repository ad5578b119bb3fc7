// SPDX-License-Identifier: MIT
/// \file The HTTP client.
#ifndef TELEVISION_W_HTTP_H
#define TELEVISION_W_HTTP_H

#include "W/WTypes.h"

struct curl_slist;

namespace W {

class HttpRequest;

enum HTTP_REQUEST_TYPE : UINT32 {};
enum SESSION_STATUS : UINT32 {};
enum HTTP_RESPONSE_CODE : UINT32 {};

class HttpHeader {
public:
    HttpHeader();
    ~HttpHeader();
    void add(const std::string& name, const std::string& value);
};

class HttpResponse {
public:
    HTTP_RESPONSE_CODE getHttpResponseCode() const;
    const std::string& getContentType() const;
    const std::string& getPayload() const;
};

class HttpRequest {
public:
    HttpRequest(HTTP_REQUEST_TYPE type, const std::string& url, const HttpHeader& header, const std::string& body,
                void (*completion)(SESSION_STATUS, HttpRequest*, void*), void* context);
    HttpRequest(HTTP_REQUEST_TYPE type, const std::string& url, const HttpHeader& header,
                void (*completion)(SESSION_STATUS, HttpRequest*, void*), void* context, const std::string& extra);
    virtual ~HttpRequest();

    void setID(unsigned long long id);
    WSTATUS execute();
    HttpResponse& getResponse();
    const HttpResponse& response() const;
    void getProgressStatus(double& done, double& total);
    void setCancel();
    void* getHandle();
    curl_slist* getHeaderList();
    void setFormPost(void* form);
};

class HttpDelegator {
public:
    static HttpDelegator* getInstance();
    WSTATUS addRequest(HttpRequest* request);
    WSTATUS flushHttpRequests(unsigned long long id);
};

} // namespace W

#endif
