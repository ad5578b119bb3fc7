// SPDX-License-Identifier: MIT
#include "tv/api/Api.h"

namespace tv {

namespace {

constexpr Route ROUTES[] = {
    {"GET", "/api/state", getState},
    {"POST", "/api/pairing", postPairing},
    {"POST", "/api/signout", postSignOut},
    {"GET", "/api/groups", getGroups},
    {"GET", "/api/groups/*/months", getMonths},
    {"GET", "/api/groups/*/contents", getContents},
    {"GET", "/api/contents/*", getContent},
    {"POST", "/api/contents/*/comments", postComment},
    {"PUT", "/api/contents/*/mark", putMark},
    {"PUT", "/api/contents/*/hide", putHide},
    {"GET", "/api/hidden", getHidden},
    {"GET", "/api/marked", getMarked},
    {"GET", "/api/show", getShow},
    {"GET", "/api/settings", getSettings},
    {"PUT", "/api/settings", putSettings},
    {"POST", "/api/guests", postGuests},
    {"DELETE", "/api/guests", deleteGuests},
    {"POST", "/api/watching", postWatching},
    {"GET", "/api/events", getEvents},
};

} // namespace

const Route* routeOf(std::string_view method, std::string_view path, std::vector<std::string>& pieces, bool& otherMethod)
{
    otherMethod = false;
    for (const Route& route : ROUTES) {
        auto found = piecesOf(route.pattern, path);
        if (!found)
            continue;
        if (method == route.method || (method == "HEAD" && std::string_view(route.method) == "GET")) {
            pieces = std::move(*found);
            return &route;
        }
        otherMethod = true;
    }
    return nullptr;
}

} // namespace tv
