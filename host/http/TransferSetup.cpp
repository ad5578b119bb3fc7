// SPDX-License-Identifier: MIT
#include "http/TransferSetup.h"

#include "http/Connections.h"
#include "http/Options.h"
#include "http/Reception.h"
#include "http/Url.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <sys/stat.h>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// Smaller bodies fit libcurl's own buffers.
constexpr std::size_t LARGE_BODY = 64u << 10;

/// How long libcurl remembers the system's authorities without reading them again, in seconds: its own default.
constexpr long REMEMBERED_AUTHORITIES = 24 * 60 * 60;

TransferKind kindOf(const HttpRequest::Impl& impl)
{
    if (impl.form || impl.body.size() > LARGE_BODY)
        return TransferKind::UPLOAD;
    return impl.type == HTTP_REQUEST_GET && !impl.path.empty() ? TransferKind::FILE : TransferKind::MEMORY;
}

void setKind(EasyHandle& easy, TransferKind kind)
{
    if (easy.kind == kind)
        return;
    const HttpOptions& options = easy.settings->values();
    // Large buffers are worth their memory for large bodies only.
    curl_easy_setopt(easy.curl, CURLOPT_BUFFERSIZE,
                     kind == TransferKind::FILE ? options.downloadBufferBytes : static_cast<long>(CURL_MAX_WRITE_SIZE));
    if (kind == TransferKind::UPLOAD)
        curl_easy_setopt(easy.curl, CURLOPT_UPLOAD_BUFFERSIZE, options.uploadBufferBytes);
    // A file is stored as it is; asking for it encoded would save nothing, since media are compressed already.
    curl_easy_setopt(easy.curl, CURLOPT_ACCEPT_ENCODING, kind == TransferKind::FILE ? nullptr : ClientOptions::ENCODINGS);
    easy.kind = kind;
}

/// True when there is a field of that name; a caller's field goes before the client's own.
bool names(const std::vector<std::pair<STRING, STRING>>& fields, std::string_view name)
{
    return std::any_of(fields.begin(), fields.end(), [name](const auto& field) {
        return field.first.size() == name.size() && curl_strequal(field.first.c_str(), name.data());
    });
}

/// True when a URL has this scheme and authority, word for word; false when they are empty.
bool hasOrigin(const STRING& url, const std::string& origin)
{
    const std::size_t length = origin.size();
    return length > 0 && url.compare(0, length, origin) == 0 && (url.size() == length || url[length] == '/' || url[length] == '?');
}

/// Gives the handle a URL's scheme and authority, unless it has them. libcurl takes a URL apart, puts it together again and copies
/// it, character by character, for each request; that is a quarter of what a short request costs. False: the
/// URL has to be set whole.
bool setOrigin(EasyHandle& easy, const STRING& url)
{
    if (hasOrigin(url, easy.origin))
        return true;
    const std::size_t length = originLength(url);
    // libcurl would lose the zone of an IPv6 address.
    if (url.find('%') < length)
        return false;
    if (!easy.originUrl && !(easy.originUrl = curl_url()))
        return false;
    std::string origin(url, 0, length);
    // Takes effect at the next transfer of the handle, which is not in use now.
    if (curl_url_set(easy.originUrl, CURLUPART_URL, (origin + '/').c_str(), 0) != CURLUE_OK ||
        curl_easy_setopt(easy.curl, CURLOPT_CURLU, easy.originUrl) != CURLE_OK)
        return false;
    easy.origin = std::move(origin);
    return true;
}

/// Sets who is trusted. The default of a handle that its caller may have changed is the caller's.
void setAuthorities(EasyHandle& easy, const ClientOptions& options)
{
    const std::string& file = options.values().caFile;
    if (file.empty()) {
        if (!easy.touched)
            forgetAuthorities(easy);
        return;
    }
    curl_easy_setopt(easy.curl, CURLOPT_CAINFO, file.c_str());
    curl_easy_setopt(easy.curl, CURLOPT_CAPATH, nullptr);
    // A file that is replaced counts from the next connection on; libcurl would remember the old one for a day.
    curl_easy_setopt(easy.curl, CURLOPT_CA_CACHE_TIMEOUT, 0L);
    // A session that is resumed shows no certificate, so nobody would look into the file.
    curl_easy_setopt(easy.curl, CURLOPT_SSL_SESSIONID_CACHE, 0L);
    curl_easy_setopt(easy.curl, CURLOPT_CRLFILE, options.hasRevocations() ? file.c_str() : nullptr);
}

} // namespace

void setOptions(EasyHandle& easy, const std::shared_ptr<const ClientOptions>& options, Connections& connections)
{
    if (easy.touched || easy.connections != &connections) {
        curl_easy_setopt(easy.curl, CURLOPT_CLOSESOCKETFUNCTION, Connections::close);
        curl_easy_setopt(easy.curl, CURLOPT_CLOSESOCKETDATA, &connections);
        easy.connections = &connections;
    }
    if (!easy.touched && easy.settings == options)
        return;
    CURL* const curl = easy.curl;
    const HttpOptions& values = options->values();

    // A library may not rely on the process's signal handlers.
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    // A transfer that ends during a name look-up does not wait for it; the look-up ends by itself.
    curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    // Redirects are followed here, hop by hop, since libcurl takes the caller's header fields along to other hosts.
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(curl, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 0L);
    curl_easy_setopt(curl, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, easy.errorText);
    setAuthorities(easy, *options);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, values.connectTimeoutMs);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, values.totalTimeoutMs);
    curl_easy_setopt(curl, CURLOPT_CONNECT_TO, options->connectTo());
    // User-Agent is one of the lines of ClientOptions::fields.
    curl_easy_setopt(curl, CURLOPT_USERAGENT, nullptr);
    // libcurl would take unset ones from the environment.
    curl_easy_setopt(curl, CURLOPT_PROXY, values.proxy.c_str());
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "");

    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &easy);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, onHeaderLine);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &easy);
    curl_easy_setopt(curl, CURLOPT_HEADER, 0L);
    curl_easy_setopt(curl, CURLOPT_SOCKOPTFUNCTION, onSocket);
    curl_easy_setopt(curl, CURLOPT_SOCKOPTDATA, &easy);
    curl_easy_setopt(curl, CURLOPT_PREREQFUNCTION, onConnected);
    curl_easy_setopt(curl, CURLOPT_PREREQDATA, &easy);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, onProgress);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &easy);
    curl_easy_setopt(curl, CURLOPT_PRIVATE, &easy);

    easy.settings = options;
    easy.kind = TransferKind::UNKNOWN;
}

bool setUrl(HttpRequest::Impl& impl, const STRING& url)
{
    EasyHandle& easy = *impl.easy;
    // A proxy is sent the whole URL. On a handle that its caller may have changed, libcurl puts the request line together.
    if (easy.touched || !impl.transfer.options->values().proxy.empty() || !setOrigin(easy, url)) {
        forgetOrigin(easy);
        return curl_easy_setopt(easy.curl, CURLOPT_URL, url.c_str()) == CURLE_OK;
    }
    const std::size_t length = easy.origin.size();
    if (length < url.size() && url[length] == '/')
        return curl_easy_setopt(easy.curl, CURLOPT_REQUEST_TARGET, url.c_str() + length) == CURLE_OK;
    const std::string target = "/" + url.substr(length);
    return curl_easy_setopt(easy.curl, CURLOPT_REQUEST_TARGET, target.c_str()) == CURLE_OK;
}

void forgetOrigin(EasyHandle& easy) noexcept
{
    if (easy.origin.empty())
        return;
    easy.origin.clear();
    curl_easy_setopt(easy.curl, CURLOPT_CURLU, nullptr);
    curl_easy_setopt(easy.curl, CURLOPT_REQUEST_TARGET, nullptr);
}

void forgetAuthorities(EasyHandle& easy) noexcept
{
    if (!easy.settings || easy.settings->values().caFile.empty())
        return;
    const char* text = nullptr;
    curl_easy_getinfo(easy.curl, CURLINFO_CAINFO, &text);
    curl_easy_setopt(easy.curl, CURLOPT_CAINFO, text);
    text = nullptr;
    curl_easy_getinfo(easy.curl, CURLINFO_CAPATH, &text);
    curl_easy_setopt(easy.curl, CURLOPT_CAPATH, text);
    curl_easy_setopt(easy.curl, CURLOPT_CRLFILE, nullptr);
    curl_easy_setopt(easy.curl, CURLOPT_CA_CACHE_TIMEOUT, REMEMBERED_AUTHORITIES);
    curl_easy_setopt(easy.curl, CURLOPT_SSL_SESSIONID_CACHE, 1L);
}

void setMethod(HttpRequest::Impl& impl)
{
    EasyHandle& easy = *impl.easy;
    CURL* const curl = easy.curl;
    setKind(easy, kindOf(impl));
    const bool posts = impl.type == HTTP_REQUEST_POST;
    // libcurl repeats a request when a reused connection turns out to be closed. A GET may be repeated; a POST may have had its
    // effect, so it gets a connection that is certain to be open. One that comes with an application's token and without a
    // signature is known by what was signed before it on its connection, so it goes on a kept one; onConnected lets nothing repeat
    // it.
    const auto& fields = impl.header.fields();
    impl.transfer.mustConnect = posts && (isSigned(impl) || !names(fields, "appToken"));
    if (!posts) {
        curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
        return;
    }
    if (impl.form) {
        // Set last, since post fields that are set later would win. The handle must forget the form before it is freed.
        easy.touched = true;
        curl_easy_setopt(curl, CURLOPT_HTTPPOST, impl.form.get());
        return;
    }
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    // Without a body of the request's own, the fields that a caller set on the handle are the body.
    if (easy.touched && impl.body.empty())
        return;
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(impl.body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, impl.body.c_str());
}

bool setHeader(HttpRequest::Impl& impl)
{
    TransferState& transfer = impl.transfer;
    static const std::vector<std::pair<STRING, STRING>> none;
    const auto& fields = transfer.foreign ? none : impl.header.fields();
    const bool agent = !names(fields, "User-Agent");
    const bool encodings = impl.easy->kind != TransferKind::FILE && !names(fields, "Accept-Encoding");
    curl_slist* const own = transfer.options->fields(agent, encodings, impl.type == HTTP_REQUEST_POST);
    impl.easy->header.assign(fields, HeaderList::Empty::AS_SEMICOLON, own);
    return curl_easy_setopt(impl.easy->curl, CURLOPT_HTTPHEADER, impl.easy->header.get()) == CURLE_OK;
}

bool formFilesAreRegular(const curl_httppost* form)
{
    constexpr long NAMES_FILE = CURL_HTTPPOST_FILENAME | CURL_HTTPPOST_READFILE;
    for (; form; form = form->next)
        for (const curl_httppost* file = form; file; file = file->more) {
            struct stat info {};
            if ((file->flags & NAMES_FILE) == 0)
                continue;
            if (std::strcmp(file->contents, "-") == 0 || stat(file->contents, &info) != 0 || !S_ISREG(info.st_mode))
                return false;
        }
    return true;
}

} // namespace http
} // namespace W
