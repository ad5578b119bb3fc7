// SPDX-License-Identifier: MIT
/// \file A list of requests that never allocates.
#ifndef HTTP_REQUESTLIST_H
#define HTTP_REQUESTLIST_H

#include "http/RequestImpl.h"

namespace W {
namespace WHOST_INTERNAL http {

/// Requests in the order in which they were appended; each is in one list at most. Does not own them.
class RequestList {
public:
    bool empty() const { return m_first == nullptr; }
    HttpRequest* first() const { return m_first; }
    HttpRequest* last() const { return m_last; }
    static HttpRequest* after(const HttpRequest* request) { return request->impl().next; }

    void append(HttpRequest* request)
    {
        HttpRequest::Impl& impl = request->impl();
        impl.previous = m_last;
        impl.next = nullptr;
        (m_last ? m_last->impl().next : m_first) = request;
        m_last = request;
    }

    void prepend(HttpRequest* request)
    {
        HttpRequest::Impl& impl = request->impl();
        impl.previous = nullptr;
        impl.next = m_first;
        (m_first ? m_first->impl().previous : m_last) = request;
        m_first = request;
    }

    void remove(HttpRequest* request)
    {
        HttpRequest::Impl& impl = request->impl();
        (impl.previous ? impl.previous->impl().next : m_first) = impl.next;
        (impl.next ? impl.next->impl().previous : m_last) = impl.previous;
        impl.previous = impl.next = nullptr;
    }

    /// Takes the first one out; null when there is none.
    HttpRequest* takeFirst()
    {
        HttpRequest* const request = m_first;
        if (request)
            remove(request);
        return request;
    }

    /// Takes the last one out; null when there is none.
    HttpRequest* takeLast()
    {
        HttpRequest* const request = m_last;
        if (request)
            remove(request);
        return request;
    }

    /// Moves all of another list behind this one's.
    void splice(RequestList& other)
    {
        if (other.empty())
            return;
        other.m_first->impl().previous = m_last;
        (m_last ? m_last->impl().next : m_first) = other.m_first;
        m_last = other.m_last;
        other.m_first = other.m_last = nullptr;
    }

    /// Moves those that a condition picks to another list, in their order.
    template <class Condition> void moveTo(RequestList& other, Condition picks)
    {
        for (HttpRequest* request = m_first; request;) {
            HttpRequest* const next = after(request);
            if (picks(*request)) {
                remove(request);
                other.append(request);
            }
            request = next;
        }
    }

private:
    HttpRequest* m_first = nullptr;
    HttpRequest* m_last = nullptr;
};

} // namespace http
} // namespace W

#endif
