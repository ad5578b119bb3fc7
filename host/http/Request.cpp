// SPDX-License-Identifier: MIT
#include "http/RequestImpl.h"

namespace W {

namespace WHOST_INTERNAL http {

EasyHandle* easyOf(HttpRequest::Impl& impl) noexcept
{
    if (!impl.easy)
        impl.easy = takeEasy();
    return impl.easy.get();
}

} // namespace http

HttpRequest::HttpRequest(HTTP_REQUEST_TYPE type, const STRING& url, const HttpHeader& header, const STRING& body,
                         HttpCompletion completion, VOID* context)
    : m_impl(std::make_unique<Impl>(type, url, header, body, completion, context, STRING()))
{
    http::requestIsMade();
}

HttpRequest::HttpRequest(HTTP_REQUEST_TYPE type, const STRING& url, const HttpHeader& header, HttpCompletion completion,
                         VOID* context, const STRING& path)
    : m_impl(std::make_unique<Impl>(type, url, header, STRING(), completion, context, path))
{
    http::requestIsMade();
}

HttpRequest::~HttpRequest() { http::requestIsGone(); }

void HttpRequest::setID(unsigned long long id) { m_impl->id = id; }
unsigned long long HttpRequest::getID() const { return m_impl->id; }

HttpResponse& HttpRequest::getResponse() { return m_impl->response; }
const HttpResponse& HttpRequest::response() const { return m_impl->response; }

void HttpRequest::getProgressStatus(double& done, double& total) const
{
    done = m_impl->bytesDone.load(std::memory_order_acquire);
    total = m_impl->bytesTotal.load(std::memory_order_relaxed);
}

void HttpRequest::setCancel()
{
    m_impl->cancelled.store(true);
    http::requestIsCancelled(*this);
}

VOID* HttpRequest::getHandle()
{
    // No loop may be using the handle while its settings change.
    const bool unused = !m_impl->easy || !m_impl->loop.load();
    http::EasyHandle* const easy = http::easyOf(*m_impl);
    if (!easy)
        return nullptr;
    const bool isFirst = !easy->touched;
    easy->touched = true;
    if (isFirst && unused)
        http::handleIsGiven(*this);
    return easy->curl;
}

curl_slist* HttpRequest::getHeaderList()
{
    // Form parts take their fields literally, so an empty value stands behind its colon here.
    if (!m_impl->partHeader.get())
        m_impl->partHeader.assign(m_impl->header.fields(), http::HeaderList::Empty::AS_COLON);
    return m_impl->partHeader.get();
}

void HttpRequest::setFormPost(VOID* form) { m_impl->form.reset(static_cast<curl_httppost*>(form)); }

} // namespace W
