// SPDX-License-Identifier: MIT
#include "tv/service/GuestSender.h"

#include "tv/core/Log.h"

#include <optional>

namespace tv {

namespace {

constexpr std::pair<Trouble, GuestResult> RESULTS[] = {
    {Trouble::NOT_FOUND, GuestResult::REFUSED},
    {Trouble::REFUSED, GuestResult::REFUSED},
};

GuestResult resultOf(Trouble trouble)
{
    for (const auto& [kind, result] : RESULTS)
        if (kind == trouble)
            return result;
    return GuestResult::AWAY;
}

} // namespace

void GuestSender::send(const GuestPhoto& photo, Progress progress, Done done)
{
    kinloom::UploadPhoto order;
    order.group = photo.group;
    order.path = photo.path;
    order.mimeType = photo.mimeType;
    kinloom::CallOptions options;
    options.progress = std::move(progress);
    // The service answers an upload that it has already with the content that it became.
    options.retries.count = 2;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_underWay[photo.id]; // may be cancelled from here on
    }
    std::optional<kinloom::Call<W::WContent>> call;
    try {
        call = m_connection.lanes(Connection::Lane::GUEST)->submit(std::move(order), options);
    } catch (const CallTrouble& trouble) {
        end(photo.id);
        done(resultOf(trouble.trouble()));
        return;
    }
    bool cancelled = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Upload& upload = m_underWay[photo.id];
        upload.call = *call;
        cancelled = upload.cancelled;
    }
    if (cancelled)
        call->cancel();
    call->onEnd([this, id = photo.id, call = *call, done = std::move(done)] {
        end(id);
        const auto outcome = call.outcome();
        if (!outcome && outcome.failure().kind != kinloom::FailureKind::CANCELLED)
            log(outcome.failure().text());
        done(outcome ? GuestResult::DONE : resultOf(m_connection.noteFailure(outcome.failure())));
    });
}

void GuestSender::end(const std::string& id)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_underWay.erase(id);
}

void GuestSender::cancel(const std::string& id)
{
    std::optional<kinloom::Call<W::WContent>> call;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_underWay.find(id);
        if (found == m_underWay.end())
            return;
        found->second.cancelled = true;
        call = found->second.call;
    }
    if (call)
        call->cancel();
}

} // namespace tv
