// SPDX-License-Identifier: MIT
#include "WKLOAI/Operation.h"

#include <cassert>

namespace W {

ApiRequest::ApiRequest(std::string_view path)
{
    static constexpr std::string_view SERVICE_PATH = "/openapi/service/kinloom/";
    const STRING& base = KLService::getBaseURL();
    url.reserve(base.size() + SERVICE_PATH.size() + path.size() + 128);
    url.append(base).append(SERVICE_PATH).append(path);
}

ApiRequest& ApiRequest::query(std::string_view separator, std::string_view name, std::string_view value)
{
    url.append(separator).append(name).append("=").append(value);
    return *this;
}

ApiRequest& ApiRequest::field(std::string_view name, std::string_view value)
{
    if (!body.empty())
        body += '&';
    body.append(name).append("=").append(value);
    return *this;
}

ApiRequest& ApiRequest::sign(const Session& session)
{
    return header("Authorization", session.authorization).header("DATE", KLService::getGMTTime());
}

ApiRequest& ApiRequest::header(const STRING& name, const STRING& value)
{
    headers.emplace(name, value);
    return *this;
}

namespace {

KLService& serviceOf(const WKLOAI& oai)
{
    KLService* const m_pService = oai.service();
    assert(m_pService != __null);
    return *m_pService;
}

using Send = WSTATUS (KLService::*)(const STRING&, const KLService::Headers&, const STRING&, KLServiceCMD*);

WSTATUS send(WKLOAI& oai, Send via, std::unique_ptr<KLServiceCMD> command, const ApiRequest& request, int line)
{
    oai.addCMD(command.get());
    // A refused command is unlinked by the service's drop notice before it is freed: its address may be another command's by the
    // time the call returns.
    const WSTATUS status = (serviceOf(oai).*via)(request.url, request.headers, request.body, command.release());
    return status < 0 ? logFailure(status, line) : wstatus::OK;
}

} // namespace

Operation::Operation(WKLOAI& oai) : m_oai(oai), m_session(serviceOf(oai).session()) {}

WSTATUS Operation::get(std::unique_ptr<KLServiceCMD> command, const ApiRequest& request, int line) const
{
    return send(m_oai, &KLService::getDataRequest, std::move(command), request, line);
}

WSTATUS Operation::post(std::unique_ptr<KLServiceCMD> command, const ApiRequest& request, int line) const
{
    return send(m_oai, static_cast<Send>(&KLService::postDataRequest), std::move(command), request, line);
}

} // namespace W
