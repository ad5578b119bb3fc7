// SPDX-License-Identifier: MIT
#include "tv/api/Api.h"

#include "httpd/Text.h"
#include "kinloom/Encode.h"
#include "tv/core/Log.h"
#include "tv/core/Preferences.h"
#include "tv/index/Index.h"
#include "tv/service/Connection.h"

#include <system_error>

namespace tv {

namespace {

constexpr std::string_view JSON_TYPE = "application/json";

struct RefusalEntry {
    Refusal refusal;
    unsigned status;
    const char* word;
};

constexpr RefusalEntry REFUSALS[] = {
    {Refusal::FORBIDDEN, 403, "forbidden"}, {Refusal::NOT_FOUND, 404, "not_found"}, {Refusal::BAD_REQUEST, 400, "bad_request"},
    {Refusal::AWAY, 503, "away"},           {Refusal::REFUSED, 403, "refused"},     {Refusal::BUSY, 503, "busy"},
    {Refusal::GONE, 404, "gone"},           {Refusal::DISK_FULL, 507, "disk_full"}, {Refusal::FAILED, 500, "failed"},
    {Refusal::TOO_LONG, 400, "too_long"},
};

struct TroubleEntry {
    Trouble trouble;
    Refusal refusal;
    const char* sentence; ///< null: the failure's own
};

constexpr TroubleEntry TROUBLES[] = {
    {Trouble::AWAY, Refusal::AWAY, "The service does not answer."},
    {Trouble::STRANGER, Refusal::REFUSED, "The service does not know this television any more."},
    {Trouble::NOT_FOUND, Refusal::GONE, "It is not there any more."},
    {Trouble::REFUSED, Refusal::REFUSED, nullptr},
    {Trouble::ENDED, Refusal::AWAY, "This television belongs to nobody, or is being switched off."},
};

httpd::Reply failureReply(const CallTrouble& trouble)
{
    for (const TroubleEntry& entry : TROUBLES)
        if (entry.trouble == trouble.trouble())
            return failureReply(entry.refusal, entry.sentence != nullptr ? entry.sentence : trouble.what());
    return failureReply(Refusal::FAILED, trouble.what());
}

} // namespace

const std::string& ApiRequest::parameter(const std::string& name) const
{
    static const std::string none;
    const auto found = query.find(name);
    return found == query.end() ? none : found->second;
}

std::int64_t ApiRequest::number(const std::string& name, std::int64_t fallback, std::int64_t least, std::int64_t most) const
{
    const std::string& text = parameter(name);
    if (text.empty())
        return fallback;
    const auto value = httpd::parseDecimal<std::int64_t>(text);
    if (!value || *value < least || *value > most)
        throw ApiError(Refusal::BAD_REQUEST,
                       name + " must be a number from " + std::to_string(least) + " to " + std::to_string(most) + ".");
    return *value;
}

Json ApiRequest::object() const
{
    const std::string type = head.header("Content-Type").value_or("");
    if (!httpd::equalsIgnoringCase(httpd::trim(std::string_view(type).substr(0, type.find(';'))), JSON_TYPE))
        throw ApiError(Refusal::BAD_REQUEST, "The body must be JSON, and say so.");
    Json object = Json::parse(body, nullptr, false);
    if (!object.is_object())
        throw ApiError(Refusal::BAD_REQUEST, "The body must be a JSON object.");
    return object;
}

std::string textOf(const Json& object, const char* name)
{
    const auto member = object.find(name);
    if (member == object.end() || !member->is_string())
        throw ApiError(Refusal::BAD_REQUEST, std::string(name) + " must be a text.");
    return member->get<std::string>();
}

bool flagOf(const Json& object, const char* name)
{
    const auto member = object.find(name);
    if (member == object.end() || !member->is_boolean())
        throw ApiError(Refusal::BAD_REQUEST, std::string(name) + " must be true or false.");
    return member->get<bool>();
}

void addDataHeaders(httpd::Reply& reply)
{
    reply.headers.emplace_back("Cache-Control", "no-store");
    reply.headers.emplace_back("X-Content-Type-Options", "nosniff");
    reply.headers.emplace_back("Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'");
    reply.headers.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
    reply.headers.emplace_back("Referrer-Policy", "no-referrer");
}

httpd::Reply jsonReply(const Json& document, unsigned status)
{
    httpd::Reply reply;
    reply.status = status;
    reply.contentType = std::string(JSON_TYPE) + "; charset=utf-8";
    addDataHeaders(reply);
    reply.body = textOf(document);
    return reply;
}

httpd::Reply failureReply(Refusal refusal, const std::string& sentence)
{
    for (const RefusalEntry& entry : REFUSALS) {
        if (entry.refusal != refusal)
            continue;
        httpd::Reply reply = jsonReply({{"error", entry.word}, {"message", onOneLine(sentence)}}, entry.status);
        if (refusal == Refusal::AWAY || refusal == Refusal::BUSY)
            reply.headers.emplace_back("Retry-After", "5");
        return reply;
    }
    return jsonReply({{"error", "failed"}, {"message", onOneLine(sentence)}}, 500);
}

std::optional<std::vector<std::string>> piecesOf(std::string_view pattern, std::string_view path)
{
    std::vector<std::string> pieces;
    while (!pattern.empty() && !path.empty()) {
        const std::string_view wanted = pattern.substr(1, pattern.substr(1).find('/'));
        const std::string_view piece = path.substr(1, path.substr(1).find('/'));
        if (path[0] != '/')
            return std::nullopt;
        if (wanted == "*") {
            if (piece.empty())
                return std::nullopt;
            pieces.push_back(kinloom::percentDecode(piece));
        } else if (wanted != piece) {
            return std::nullopt;
        }
        pattern.remove_prefix(wanted.size() + 1);
        path.remove_prefix(piece.size() + 1);
    }
    if (!pattern.empty() || !path.empty())
        return std::nullopt;
    return pieces;
}

std::map<std::string, std::string> parametersOf(std::string_view query)
{
    std::map<std::string, std::string> parameters;
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(pair.size() + 1, query.size()));
        const auto sign = pair.find('=');
        if (!pair.empty())
            parameters.emplace(kinloom::percentDecode(pair.substr(0, sign)),
                               sign == std::string_view::npos ? std::string() : kinloom::percentDecode(pair.substr(sign + 1)));
    }
    return parameters;
}

httpd::Reply answer(const Route& route, ApiContext& context, ApiRequest& request)
{
    try {
        return route.handler(context, request);
    } catch (const ApiError& error) {
        return failureReply(error.refusal(), error.what());
    } catch (const CallTrouble& trouble) {
        return failureReply(trouble);
    } catch (const BadValue& error) {
        return failureReply(Refusal::BAD_REQUEST, error.what());
    } catch (const NoRoom& lack) {
        return failureReply(Refusal::DISK_FULL, lack.what());
    } catch (const std::system_error& error) {
        log(error.what());
        const bool full = error.code() == std::errc::no_space_on_device || error.code() == std::errc::file_too_large;
        return failureReply(full ? Refusal::DISK_FULL : Refusal::FAILED, "It cannot be kept on this television's disk.");
    } catch (const std::exception& error) {
        log(error.what());
        return failureReply(Refusal::FAILED, "Something has gone wrong in this television.");
    }
}

} // namespace tv
