// SPDX-License-Identifier: MIT
/// \file The one way in which every request completes. What differs per operation is a small handler class.
#ifndef WKLOAI_COMPLETION_H
#define WKLOAI_COMPLETION_H

#include "KLService/Failure.h"
#include "WKLOAI/ReadingFor.h"
#include "WKLOAI/replies/Replies.h"

#include <cassert>

namespace W {

/// The usual completion of a command; an operation derives its own, supplies accept and deliver, and hides what it does
/// differently. complete() calls the members in this order.
template <class CMD> class Completion {
public:
    using Command = CMD;

    Completion(CMD& command, const HttpResponse& response) : cmd(command), oai(*command.owner), reply(response) {}

    /// Before anything else.
    void begin() {}

    /// HTTP 200 and no cancel pending: reads the reply.
    /// WSTATUS accept();

    /// Any other HTTP code, or a cancel is pending. One request that failed or was cancelled takes the others with it.
    WSTATUS reject(HTTP_RESPONSE_CODE code, bool /*cancelled*/)
    {
        const WSTATUS status = mapped(code);
        service().flushHttpRequests();
        return status;
    }

    /// The outcome is known, whichever way it came about.
    void settle() {}

    /// The command has no callback.
    void reportToNobody() { oai.cancelFlagReset(); }

    /// A cancel was pending; it has been taken.
    void reportCancel() { oai.cbCancelDone(wstatus::OK, cmd.userData); }

    /// Calls the command's callback.
    /// void deliver(WSTATUS result);

    /// After everything else.
    void end() {}

protected:
    static WSTATUS mapped(HTTP_RESPONSE_CODE code) { return KLService::getWlibSTATUS(KLService::getKLSTATUS(code)); }

    KLService& service() const { return *oai.service(); }
    const WContentProvider& provider() const { return oai.getContentProvider(); }

    CMD& cmd;
    WKLOAI& oai;
    const HttpResponse& reply;
};

/// A completion whose reply is a list of records.
template <class CMD, class Record> class ListCompletion : public Completion<CMD> {
public:
    using Completion<CMD>::Completion;

    WSTATUS accept()
    {
        const WSTATUS status = replies::parseReply(readingFor(this->oai), this->reply.getPayload(), records, total);
        if (status < 0)
            records.data().clear();
        return status;
    }

protected:
    const Record* first() const { return records.getData().empty() ? nullptr : &records.getData().front(); }

    WContainer<Record> records;
    unsigned int total = 0;
};

/// The outcome of a request, by session status, HTTP code and pending cancel.
template <class Handler> WSTATUS outcomeOf(Handler& handler, SESSION_STATUS status, const HttpResponse& response, bool cancelled)
{
    if (status != session_status::DONE)
        return KLService::getWlibSTATUS(status);
    const HTTP_RESPONSE_CODE code = response.getHttpResponseCode();
    if (code == http_code::OK && !cancelled)
        return handler.accept();
    return handler.reject(code, cancelled);
}

/// Completes a command. Runs on the host's HTTP worker; no lock is held while a callback runs.
template <class Handler> void complete(SESSION_STATUS status, const HttpResponse& response, typename Handler::Command* command)
{
    WKLOAI* const pOAI = command->owner;
    assert(pOAI != __null);
    struct Unlink { // also when a callback throws
        WKLOAI& oai;
        KLServiceCMD* command;
        ~Unlink() { oai.cleanupCMD(command); }
    } unlink{*pOAI, command};

    Handler handler(*command, response);
    handler.begin();
    const WSTATUS result = guarded([&] { return outcomeOf(handler, status, response, pOAI->isCancelRequested()); });
    handler.settle();
    if (!command->callback)
        handler.reportToNobody();
    else if (pOAI->takeCancel())
        handler.reportCancel();
    else
        handler.deliver(result);
    handler.end();
}

} // namespace W

#endif
