// SPDX-License-Identifier: MIT
// Multipart uploads: forms built on libcurl's form interface and handed to the host's request.

// The host takes forms of this interface, which libcurl keeps although it recommends another.
#define CURL_DISABLE_DEPRECATION
#include "KLService/Dispatch.h"
#include "KLService/FileSize.h"

#include <curl/curl.h>
#include <new>

namespace W {

namespace {

/// A curl form while it is being built; freed unless a request takes it over.
class Form {
public:
    Form() = default;
    ~Form() { curl_formfree(m_first); }
    Form(const Form&) = delete;
    Form& operator=(const Form&) = delete;

    void addText(const STRING& name, const STRING& value, curl_slist* header)
    {
        check(curl_formadd(&m_first, &m_last, CURLFORM_COPYNAME, name.c_str(), CURLFORM_COPYCONTENTS, value.c_str(),
                           CURLFORM_CONTENTHEADER, header, CURLFORM_END));
    }

    void addFile(const STRING& name, const STRING& path, const STRING& mimeType)
    {
        check(curl_formadd(&m_first, &m_last, CURLFORM_COPYNAME, name.c_str(), CURLFORM_FILE, path.c_str(), CURLFORM_CONTENTTYPE,
                           mimeType.c_str(), CURLFORM_END));
    }

    void handTo(HttpRequest& request)
    {
        request.setFormPost(m_first);
        m_first = nullptr;
    }

private:
    static void check(CURLFORMcode code)
    {
        if (code != CURL_FORMADD_OK)
            throw std::bad_alloc();
    }

    curl_httppost* m_first = nullptr;
    curl_httppost* m_last = nullptr;
};

} // namespace

/// \param filePart one entry, the name of the file's part and its type. \param fill adds what stands before the file, and sets the
/// options of the handle that a kind of upload wants.
template <class FillForm>
WSTATUS KLService::upload(const STRING& url, const Headers& headers, KLServiceCMD* command, const Headers& filePart,
                          const STRING& path, FillForm&& fill)
{
    if (path.empty() || filePart.empty() || existsButIsNoFile(path)) {
        CommandGuard dropped(*this, command);
        return logServiceError(wstatus::INVALID_ARGUMENT, log_line::UPLOAD_INPUT_MISSING);
    }
    const LogLines lines{log_line::UPLOAD_NOT_CREATED, log_line::UPLOAD_REFUSED};
    return dispatch(command, lines, Tracking::TRANSFER, [&](KLServiceArgs* args) {
        auto request = std::make_unique<ServiceRequest>(http_method::POST, url, makeHeader(headers), args, path);
        Form form;
        fill(form, *request);
        const auto& [name, mimeType] = *filePart.begin();
        form.addFile(name, path, mimeType);
        form.handTo(*request);
        return request;
    });
}

WSTATUS KLService::postDataRequest(const STRING& url, const Headers& params, const Headers& headers, KLServiceCMD* command,
                                   const STRING& path, long size)
{
    return upload(url, headers, command, params, path, [&](Form&, HttpRequest& request) {
        auto* const handle = static_cast<CURL*>(request.getHandle());
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "");
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, size);
    });
}

WSTATUS KLService::postDataRequest(const STRING& url, const Headers& params, const Headers& headers, const Headers& extra,
                                   KLServiceCMD* command, const STRING& path)
{
    return upload(url, headers, command, extra, path, [&](Form& form, HttpRequest& request) {
        for (const auto& [name, value] : params)
            form.addText(name, value, request.getHeaderList());
        form.addText("file_size", std::to_string(fileSize(path)), request.getHeaderList());
        curl_easy_setopt(static_cast<CURL*>(request.getHandle()), CURLOPT_POSTFIELDS, "");
    });
}

} // namespace W
