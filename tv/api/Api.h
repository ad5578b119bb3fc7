// SPDX-License-Identifier: MIT
/// \file What the page asks for, as JSON.
#ifndef KINLOOM_TV_API_API_H
#define KINLOOM_TV_API_API_H

#include "httpd/Connection.h"
#include "httpd/Reply.h"
#include "httpd/Request.h"
#include "tv/core/Json.h"

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tv {

class CommentsInDoubt;
class Television;
class ShowLists;

/// Why the page does not get what it asks for.
enum class Refusal : std::uint8_t { FORBIDDEN, NOT_FOUND, BAD_REQUEST, AWAY, REFUSED, BUSY, GONE, DISK_FULL, FAILED, TOO_LONG };

class ApiError : public std::runtime_error {
public:
    ApiError(Refusal refusal, const std::string& sentence) : std::runtime_error(sentence), m_refusal(refusal) {}
    Refusal refusal() const { return m_refusal; }

private:
    Refusal m_refusal;
};

/// A request of the page.
struct ApiRequest {
    const httpd::RequestHead& head;
    httpd::Connection& connection;
    std::vector<std::string> pieces;          ///< of the path, where its pattern has "*", decoded
    std::map<std::string, std::string> query; ///< decoded
    std::string body;

    /// A parameter; empty when it is not there.
    const std::string& parameter(const std::string& name) const;
    /// Throws BAD_REQUEST for what is no number within the bounds.
    std::int64_t number(const std::string& name, std::int64_t fallback, std::int64_t least, std::int64_t most) const;
    /// Where in a list of contents to begin, and how many are asked for: "index" and "count". Throw as number() does.
    std::int64_t index() const { return number("index", 0, 0, INT64_MAX); }
    std::int64_t count() const { return number("count", 100, 1, 1000); }
    /// The object that the body is. Throws BAD_REQUEST for anything else, and for a body that is not said to be JSON.
    Json object() const;
};

/// Members of an object that the page has sent. Throw BAD_REQUEST when they are not there or none.
std::string textOf(const Json& object, const char* name);
bool flagOf(const Json& object, const char* name);

httpd::Reply jsonReply(const Json& document, unsigned status = 200);
httpd::Reply failureReply(Refusal refusal, const std::string& sentence);

/// Headers that keep a browser from doing with a reply what it is not meant for.
void addDataHeaders(httpd::Reply& reply);

/// The pieces of a path, or nothing when the pattern ("/api/groups/*/months") is another one.
std::optional<std::vector<std::string>> piecesOf(std::string_view pattern, std::string_view path);

/// A query's parameters, decoded; the first of each name counts.
std::map<std::string, std::string> parametersOf(std::string_view query);

/// What the handlers have to do with.
struct ApiContext {
    Television& television;
    ShowLists& shows;
    CommentsInDoubt& doubts;
};

using ApiHandler = httpd::Reply (*)(ApiContext& context, ApiRequest& request);

struct Route {
    const char* method;
    const char* pattern;
    ApiHandler handler;
};

/// The route of a request. \param otherMethod set when the path is there for another method.
const Route* routeOf(std::string_view method, std::string_view path, std::vector<std::string>& pieces, bool& otherMethod);

/// Answers a request whose route is known; what goes wrong becomes a failure.
httpd::Reply answer(const Route& route, ApiContext& context, ApiRequest& request);

// One for each route; see Routes.cpp.
httpd::Reply getState(ApiContext& context, ApiRequest& request);
httpd::Reply postPairing(ApiContext& context, ApiRequest& request);
httpd::Reply postSignOut(ApiContext& context, ApiRequest& request);
httpd::Reply getGroups(ApiContext& context, ApiRequest& request);
httpd::Reply getMonths(ApiContext& context, ApiRequest& request);
httpd::Reply getContents(ApiContext& context, ApiRequest& request);
httpd::Reply getContent(ApiContext& context, ApiRequest& request);
httpd::Reply postComment(ApiContext& context, ApiRequest& request);
httpd::Reply putMark(ApiContext& context, ApiRequest& request);
httpd::Reply putHide(ApiContext& context, ApiRequest& request);
httpd::Reply getHidden(ApiContext& context, ApiRequest& request);
httpd::Reply getMarked(ApiContext& context, ApiRequest& request);
httpd::Reply getShow(ApiContext& context, ApiRequest& request);
httpd::Reply getSettings(ApiContext& context, ApiRequest& request);
httpd::Reply putSettings(ApiContext& context, ApiRequest& request);
httpd::Reply postGuests(ApiContext& context, ApiRequest& request);
httpd::Reply deleteGuests(ApiContext& context, ApiRequest& request);
httpd::Reply postWatching(ApiContext& context, ApiRequest& request);
httpd::Reply getEvents(ApiContext& context, ApiRequest& request);

} // namespace tv

#endif
