// SPDX-License-Identifier: MIT
// The challenges that the service puts to the user before it lets a device in.
#include "KLService/Dispatch.h"

#include <algorithm>
#include <new>

namespace W {

WSTATUS KLService::setException(const WContentProvider& provider, ExceptionType_enum type, const STRING& user, const STRING& secret,
                                const HttpResponse& response)
{
    if (type != exception_type::CAPTCHA)
        return logServiceError(wstatus::FAILED, log_line::EXCEPTION_BAD_TYPE);
    try {
        auto exception = std::make_unique<WCaptchaException>();
        exception->setContentProvider(provider);
        // The host names the four texts; they are known by their order.
        auto& [asker, password, challenge, answer] = exception->data();
        asker = user;
        password = secret;
        challenge = plainErrorCode(response.getPayload());
        Lock lock(m_listMutex);
        m_exceptions.push_back(exception.get());
        exception.release();
    } catch (const std::bad_alloc&) {
        return logServiceError(wstatus::OUT_OF_MEMORY, log_line::EXCEPTION_NOT_CREATED);
    }
    return wstatus::OK;
}

WException* KLService::getException()
{
    Lock lock(m_listMutex);
    return m_exceptions.empty() ? nullptr : m_exceptions.back();
}

void KLService::flushException(WException* exception)
{
    {
        Lock lock(m_listMutex);
        const auto found = std::find(m_exceptions.begin(), m_exceptions.end(), exception);
        if (found == m_exceptions.end())
            return;
        m_exceptions.erase(found);
    }
    delete exception;
}

WSTATUS KLService::resolveException(WException* exception, const STRING& url, const Headers& headers, const STRING& body,
                                    KLServiceCMD* command)
{
    auto* const captcha = dynamic_cast<WCaptchaException*>(exception);
    if (!captcha || exception->getExceptionType() != exception_type::CAPTCHA) {
        CommandGuard dropped(*this, command);
        logServiceError(wstatus::INVALID_ARGUMENT, log_line::RESOLVE_BAD_TYPE);
        return wstatus::OK;
    }
    const auto& [user, secret, challenge, answer] = captcha->data();
    const WSTATUS status = login(user, secret, challenge, answer, url, headers, body, command);
    if (status < 0)
        logServiceError(status, log_line::RESOLVE_FAILED);
    return wstatus::OK;
}

} // namespace W
