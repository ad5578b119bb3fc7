// SPDX-License-Identifier: MIT
#include "http/EasyHandle.h"

#include "Mutex.h"

#include <array>
#include <new>
#include <type_traits>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// The most handles that the pool keeps.
constexpr std::size_t MAX_KEPT = 64;

struct Pool {
    Mutex mutex;
    std::array<EasyHandle*, MAX_KEPT> kept GUARDED_BY(mutex){};
    std::size_t count GUARDED_BY(mutex) = 0;
};

/// Stands in static memory, so that giving a handle back cannot fail.
Pool& pool() noexcept
{
    static Pool instance;
    // Requests may be released while the process exits.
    static_assert(std::is_trivially_destructible_v<Pool>);
    return instance;
}

void destroy(EasyHandle* easy)
{
    curl_easy_cleanup(easy->curl);
    curl_url_cleanup(easy->originUrl);
    delete easy;
}

} // namespace

bool initialiseCurl() noexcept
{
    static const bool done = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return done;
}

EasyPointer takeEasy() noexcept
{
    if (!initialiseCurl())
        return nullptr;
    Pool& all = pool();
    {
        const MutexLock lock(all.mutex);
        if (all.count > 0)
            return EasyPointer(all.kept[--all.count]);
    }
    auto* const easy = new (std::nothrow) EasyHandle;
    if (!easy)
        return nullptr;
    easy->curl = curl_easy_init();
    if (!easy->curl) {
        delete easy;
        return nullptr;
    }
    return EasyPointer(easy);
}

void EasyReturn::operator()(EasyHandle* easy) const noexcept
{
    easy->request = nullptr;
    easy->lastSocket = CURL_SOCKET_BAD;
    if (easy->touched) {
        curl_easy_reset(easy->curl);
        easy->settings.reset();
        easy->connections = nullptr;
        easy->kind = TransferKind::UNKNOWN;
        easy->origin.clear();
        easy->touched = false;
    }
    // What a caller wrote into them stays no longer than the request.
    curl_easy_setopt(easy->curl, CURLOPT_HTTPHEADER, nullptr);
    easy->header.clear();
    Pool& all = pool();
    {
        const MutexLock lock(all.mutex);
        if (all.count < MAX_KEPT) {
            all.kept[all.count++] = easy;
            return;
        }
    }
    destroy(easy);
}

} // namespace http
} // namespace W
