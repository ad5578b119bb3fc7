// SPDX-License-Identifier: MIT
#include "http/EasyHandle.h"

#include "http/Options.h"

#include <mutex>
#include <new>
#include <vector>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// Handles kept for later; more than that many at once are rare.
constexpr std::size_t MAX_KEPT = 64;

struct Pool {
    Pool() { kept.reserve(MAX_KEPT); }
    std::mutex mutex;
    std::vector<EasyHandle*> kept;
};

/// Never destroyed: requests may be released while the process exits.
Pool& pool()
{
    static Pool* const instance = new Pool;
    return *instance;
}

void destroy(EasyHandle* easy)
{
    curl_easy_cleanup(easy->curl);
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
        const std::lock_guard<std::mutex> lock(all.mutex);
        if (!all.kept.empty()) {
            EasyPointer easy(all.kept.back());
            all.kept.pop_back();
            return easy;
        }
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
        easy->touched = false;
    }
    Pool& all = pool();
    {
        const std::lock_guard<std::mutex> lock(all.mutex);
        if (all.kept.size() < MAX_KEPT) {
            all.kept.push_back(easy);
            return;
        }
    }
    destroy(easy);
}

} // namespace http
} // namespace W
