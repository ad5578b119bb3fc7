// SPDX-License-Identifier: MIT
#include "operations/page/Json.h"

#include "core/Text.h"
#include "operations/Parameters.h"

namespace kinloomd {

namespace {

constexpr std::string_view JSON_TYPE = "application/json";

} // namespace

Reply jsonReply(const Json& document, unsigned status)
{
    Reply reply;
    reply.status = status;
    reply.contentType = std::string(JSON_TYPE) + "; charset=utf-8";
    reply.headers.emplace_back("Cache-Control", "no-store");
    reply.body = document.dump(-1, ' ', false, Json::error_handler_t::replace);
    return reply;
}

Reply pageFailure(const ServiceError& error)
{
    const FailureEntry& entry = describe(error.failure());
    return jsonReply({{"error", entry.word}, {"message", error.what()}}, entry.httpStatus);
}

Json bodyOf(const Request& request)
{
    const std::string type = request.header("Content-Type").value_or("");
    if (!equalsIgnoringCase(trim(std::string_view(type).substr(0, type.find(';'))), JSON_TYPE))
        throw ServiceError(Failure::BAD_PARAMETER, "The body must be JSON, and say so.");
    Json body = Json::parse(request.body, nullptr, false);
    if (!body.is_object())
        throw ServiceError(Failure::BAD_PARAMETER, "The body must be a JSON object.");
    return body;
}

std::string textMember(const Json& object, const char* name, std::size_t maximum)
{
    const auto member = object.find(name);
    if (member == object.end() || member->is_null())
        return {};
    if (!member->is_string())
        throw ServiceError(Failure::BAD_PARAMETER, std::string(name) + " is not a text.");
    return checkedText(member->get_ref<const std::string&>(), name, maximum);
}

} // namespace kinloomd
