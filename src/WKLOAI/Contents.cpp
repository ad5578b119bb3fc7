// SPDX-License-Identifier: MIT
// One content: view, delete, MIME types.
#include "WKLOAI/Completion.h"
#include "WKLOAI/Operation.h"

namespace W {

namespace {

class ContentView : public ListCompletion<ContentViewCMD, WContent> {
public:
    using ListCompletion::ListCompletion;

    void deliver(WSTATUS result)
    {
        const WContent nothing;
        cmd.callback(result, provider(), first() ? *first() : nothing, cmd.userData);
    }
};

class ContentDeletion : public ListCompletion<ContentDeletionCMD, WContent> {
public:
    using ListCompletion::ListCompletion;

    void deliver(WSTATUS result) { cmd.callback(result, provider(), cmd.content, cmd.userData); }
};

class ContentUpdate : public ListCompletion<ContentUpdateCMD, WContent> {
public:
    using ListCompletion::ListCompletion;

    void deliver(WSTATUS result) { cmd.callback(result, provider(), cmd.content, cmd.update, cmd.userData); }
};

WSTATUS setMIMETypeFrom(const HttpResponse& response, WMediaResource& resource)
{
    if (response.getHttpResponseCode() != http_code::OK)
        return KLService::getWlibSTATUS(KLService::getKLSTATUS(response.getHttpResponseCode()));
    resource.setMIMEType(response.getContentType());
    return wstatus::OK;
}

// A reply of any code is an answer: only a failed exchange is a failure.
template <class Resource>
WSTATUS retrieveMIMEType(WKLOAI& oai, WSTATUS (WKLOAI::*done)(const HttpResponse&, Resource&), Resource& resource,
                         int line = __builtin_LINE())
{
    KLService& service = Operation(oai).service();
    return guarded(
        [&] {
            HttpResponse response;
            const WSTATUS status = service.retrieveFData(resource.getResourceURL(), "", response);
            if (status < 0)
                return logFailure(status, line);
            (oai.*done)(response, resource);
            return wstatus::OK;
        },
        line);
}

} // namespace

WSTATUS WKLOAI::viewContent(const WContent& content, KLContentCallback callback, VOID* userData)
{
    return Operation(*this).run(!content.getUID().empty(), [&](const Operation& operation) {
        auto command = operation.command<ContentViewCMD>(CMD_CONTENT_VIEW, callback, userData);
        command->content = content;
        return operation.get(std::move(command), ApiRequest(content.getUID() + "/view").sign(operation.session()));
    });
}

WSTATUS WKLOAI::deleteContent(const WContent& content, KLContentCallback callback, VOID* userData)
{
    return Operation(*this).run(!content.getUID().empty(), [&](const Operation& operation) {
        auto command = operation.command<ContentDeletionCMD>(CMD_CONTENT_DELETION, callback, userData);
        command->content = content;
        return operation.post(std::move(command), ApiRequest(content.getUID() + "/delete").sign(operation.session()));
    });
}

WSTATUS WKLOAI::updateContent(const WContent&, const STRING&, KLContentUpdateCallback, VOID*)
{
    return logFailure(wstatus::NOT_SUPPORTED);
}

WSTATUS WKLOAI::retrieveContentMIMEType(WContent& content)
{
    return retrieveMIMEType(*this, &WKLOAI::contentMIMETypeDone, content);
}

WSTATUS WKLOAI::retrieveThumbMIMEType(WMediaResource& resource)
{
    return retrieveMIMEType(*this, &WKLOAI::thumbMIMETypeDone, resource);
}

WSTATUS WKLOAI::contentMIMETypeDone(const HttpResponse& response, WContent& content) { return setMIMETypeFrom(response, content); }

WSTATUS WKLOAI::thumbMIMETypeDone(const HttpResponse& response, WMediaResource& resource)
{
    return setMIMETypeFrom(response, resource);
}

void WKLOAI::cbContentViewDone(SESSION_STATUS status, const HttpResponse& response, ContentViewCMD* command)
{
    complete<ContentView>(status, response, command);
}

void WKLOAI::cbContentDeletionDone(SESSION_STATUS status, const HttpResponse& response, ContentDeletionCMD* command)
{
    complete<ContentDeletion>(status, response, command);
}

void WKLOAI::cbContentUpdateDone(SESSION_STATUS status, const HttpResponse& response, ContentUpdateCMD* command)
{
    complete<ContentUpdate>(status, response, command);
}

} // namespace W
