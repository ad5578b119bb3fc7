// SPDX-License-Identifier: MIT
// Uploads: a slot first, on the caller's thread; then the file, in the background.
#include "KLService/FileSize.h"
#include "WKLOAI/Completion.h"
#include "WKLOAI/Operation.h"
#include "WKLOAI/OptionValues.h"

namespace W {

namespace {

class ContentCreation : public ListCompletion<ContentCreationCMD, WContent> {
public:
    using ListCompletion::ListCompletion;

    void begin() { service().resetReqStatus(); }
    WSTATUS accept()
    {
        // An upload that ended ends everything else, also when it went well.
        service().flushHttpRequests();
        return ListCompletion::accept();
    }
    void deliver(WSTATUS result)
    {
        const WContent& content = result >= 0 && first() ? *first() : cmd.content;
        cmd.callback(result, provider(), cmd.group, content, cmd.filePath, cmd.userData);
    }
    void end() { service().resetProgressStatus(); }
};

/// A command that is in the facade's list although no request carries it yet.
class Registration {
public:
    Registration(WKLOAI& oai, std::unique_ptr<KLServiceCMD> command) : m_oai(oai), m_command(std::move(command))
    {
        m_oai.addCMD(m_command.get());
    }
    ~Registration()
    {
        if (m_command)
            m_oai.cleanupCMD(m_command.get());
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    KLServiceCMD* release() { return m_command.release(); }

private:
    WKLOAI& m_oai;
    std::unique_ptr<KLServiceCMD> m_command;
};

STRING slotForm(const WContent& content, long size)
{
    STRING form = "type=photo&";
    if (!content.getDescription().empty())
        form.append("description=").append(content.getDescription()).append("&");
    if (size != 0)
        form.append("file_size=").append(std::to_string(size));
    return form;
}

} // namespace

WSTATUS WKLOAI::createContent(const WGroup& group, const WContent& content, KL_CONTENT_TYPE type, const STRING& filePath,
                              KLContentCreationCallback callback, VOID* userData)
{
    const bool good = !filePath.empty() && !group.getUID().empty() && !content.getMIMEType().empty();
    return Operation(*this).run(good, [&](const Operation& operation) {
        auto command = operation.command<ContentCreationCMD>(CMD_CONTENT_CREATION, callback, userData);
        command->group = group;
        command->content = content;
        command->filePath = filePath;
        if (type != content_type::PHOTO)
            return logFailure(wstatus::INVALID_ARGUMENT);

        ApiRequest request(group.getUID() + "/upload");
        request.sign(operation.session());
        const long size = fileSize(filePath);
        const KLService::Headers filePart = {{"filename", content.getMIMEType()}};

        Registration registration(*this, std::move(command));
        HttpResponse response;
        if (const WSTATUS status = m_pService->postFData(request.url, request.headers, slotForm(content, size), response);
            status < 0)
            return logFailure(status);
        WContent slot;
        getUploadUrlDone(response, slot);
        if (slot.getUID().empty() || slot.getResourceURL().empty())
            return logFailure(wstatus::INVALID_ARGUMENT);

        const WSTATUS status =
            m_pService->postDataRequest(slot.getResourceURL(), filePart, request.headers, registration.release(), filePath, size);
        return status < 0 ? logFailure(status) : wstatus::OK;
    });
}

WSTATUS WKLOAI::getUploadUrlDone(const HttpResponse& response, WContent& target)
{
    if (response.getHttpResponseCode() == http_code::OK)
        return parseString(response.getPayload(), target);
    return KLService::getWlibSTATUS(KLService::getKLSTATUS(response.getHttpResponseCode()));
}

void WKLOAI::cbContentCreationDone(SESSION_STATUS status, const HttpResponse& response, ContentCreationCMD* command)
{
    complete<ContentCreation>(status, response, command);
}

} // namespace W
