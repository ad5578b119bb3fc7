// SPDX-License-Identifier: MIT
#include "kinloom/Lane.h"

#include "core/Retrying.h"
#include "core/Turn.h"
#include "helper/HelperLane.h"
#include "kinloom/Route.h"
#include "plugin/Execute.h"
#include "plugin/LocalLane.h"

namespace kinloom {

namespace {

std::unique_ptr<LaneEngine> makeEngine(const Settings& settings, const std::string& address, Lane::Place place)
{
    if (place == Lane::Place::HERE)
        return std::make_unique<LocalLane>(settings, address);
    return std::make_unique<HelperLane>(settings, address);
}

} // namespace

struct Lane::Impl {
    Settings settings;
    std::string address;
    Place place;
    Turn turn; ///< of the threads that call
    std::unique_ptr<LaneEngine> engine;
};

Lane::Lane(Settings settings, Place place) : m_impl(std::make_unique<Impl>())
{
    m_impl->settings = std::move(settings);
    m_impl->address = addressOf(m_impl->settings.client);
    m_impl->place = place;
    m_impl->engine = makeEngine(m_impl->settings, m_impl->address, place);
}

Lane::~Lane() = default;

CallResult Lane::run(Operation operation, const CallOptions& options)
{
    const auto state = std::make_shared<CallState>(attemptOf(operation), m_impl->address, options);
    CallState::listen(state);
    if (!m_impl->turn.take(*state)) {
        state->finish(state->granted());
        return state->result();
    }
    runAgainAndAgain(*m_impl->engine, operation, *state);
    m_impl->turn.give();
    CallResult result = state->result();
    // A record from here is as one from a helper: without the function that fetches its file, which belongs to a plugin object
    // that the lane makes anew when it has to.
    if (auto* const value = std::get_if<CallValue>(&result); value && m_impl->place == Place::HERE)
        *value = message::crossed(*value);
    return result;
}

const std::string& Lane::address() const { return m_impl->address; }
const Settings& Lane::settings() const { return m_impl->settings; }

} // namespace kinloom
