// SPDX-License-Identifier: MIT
#include "core/Failure.h"
#include "core/Text.h"
#include "operations/Handlers.h"
#include "operations/Service.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace kinloomd {

namespace {

Reply jsonReply(const nlohmann::json& json)
{
    Reply reply;
    reply.contentType = "application/json";
    reply.body = json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    return reply;
}

} // namespace

Reply handleFaultsList(Service& service, Request&)
{
    nlohmann::json list = nlohmann::json::array();
    for (const FaultRule& rule : service.faults().list())
        list.push_back({{"operation", rule.operation}, {"text", rule.text}, {"times", rule.times}});
    return jsonReply(list);
}

Reply handleFaultsAdd(Service& service, Request& request)
{
    std::vector<FaultRule> rules;
    std::string_view lines = request.body;
    try {
        while (!lines.empty()) {
            const auto end = lines.find('\n');
            std::string_view line = lines.substr(0, end);
            lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
            if (!line.empty() && line.back() == '\r')
                line.remove_suffix(1);
            if (!trim(line).empty())
                rules.push_back(parseFault(trim(line)));
        }
    } catch (const std::invalid_argument& error) {
        throw ServiceError(Failure::BAD_PARAMETER, error.what());
    }
    for (const FaultRule& rule : rules)
        service.faults().add(rule);
    return jsonReply({{"added", rules.size()}});
}

Reply handleFaultsClear(Service& service, Request&)
{
    service.faults().clear();
    return jsonReply(nlohmann::json::object());
}

Reply handleHits(Service& service, Request&) { return jsonReply(service.faults().hits()); }

Reply handleHitsClear(Service& service, Request&)
{
    service.faults().clearHits();
    return jsonReply(nlohmann::json::object());
}

} // namespace kinloomd
