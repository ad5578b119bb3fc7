// SPDX-License-Identifier: MIT
// What happens while a page is open.
#include "core/Text.h"
#include "httpd/Address.h"
#include "operations/Service.h"
#include "operations/page/PageHandlers.h"
#include "operations/page/PageRecords.h"
#include "store/Changes.h"

#include <algorithm>

namespace kinloomd {

namespace {

constexpr std::chrono::seconds BEAT{15}; ///< after which something is sent when nothing happens, so that a dead line is noticed
constexpr std::chrono::milliseconds RETURN{30'000}; ///< after which who gave way to others may come back
constexpr int MOST_CHANGES = 1000; ///< that are told one by one; behind more of them everything is better read again

struct ChangeName {
    ChangeKind kind;
    const char* event;
};

constexpr ChangeName NAMES[] = {
    {ChangeKind::CONTENT, "content"},
    {ChangeKind::COMMENT, "comment"},
    {ChangeKind::CONTENT_DELETED, "deleted"},
    {ChangeKind::COMMENT_DELETED, "deleted"},
};

std::string eventText(Id id, const char* name, const Json& data)
{
    return "id: " + std::to_string(id) + "\nevent: " + name +
           "\ndata: " + data.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n\n";
}

/// \param id from which who returns goes on
std::string eventText(Id id, const Change& change)
{
    Json data = {{"group", std::to_string(change.group)}, {"content_id", std::to_string(change.content)}};
    if (change.comment != 0)
        data["comment_id"] = std::to_string(change.comment);
    for (const ChangeName& name : NAMES) {
        if (name.kind == change.kind)
            return eventText(id, name.event, data);
    }
    return {};
}

/// Follows the changes in a person's groups, from one change on. It ends with the sign-in, and for who gives way to other
/// followers; memberships are looked at each time.
class ChangeSource : public httpd::BodySource {
public:
    ChangeSource(Service& service, const Caller& caller, const std::string& network, std::optional<Id> after)
        : m_database(service.database()),
          m_caller(caller),
          m_bell(service.changes(), {caller.session, caller.person.id, network}),
          m_changes(begin(after))
    {
        m_text = eventText(m_changes.settled(), "version", {{"version", service.web().version()}}) + m_text;
    }

    std::int64_t read(char* buffer, std::size_t size, httpd::Connection& connection) override
    {
        while (m_sent == m_text.size()) {
            m_sent = 0;
            m_text.clear();
            m_bell.hush();
            if (m_bell.gaveWay()) {
                if (m_parting)
                    return END;
                m_parting = true;
                m_text = "retry: " + std::to_string(RETURN.count()) + "\n\n";
                break;
            }
            if (!follow())
                return END;
            if (!m_text.empty())
                break;
            switch (connection.wait(m_bell.fd(), BEAT)) {
            case httpd::Connection::Event::CLOSING:
                return END;
            case httpd::Connection::Event::HUNG_UP:
                return BROKEN;
            case httpd::Connection::Event::TIMED_OUT:
                m_text = ": \n\n";
                break;
            case httpd::Connection::Event::READABLE:
                break;
            }
        }
        const std::size_t count = m_text.copy(buffer, size, m_sent);
        m_sent += count;
        return static_cast<std::int64_t>(count);
    }

private:
    /// Goes on from a change that is known, or begins with what comes from now on.
    ChangeReader begin(std::optional<Id> after)
    {
        const auto connection = m_database.read();
        const Snapshot snapshot(connection);
        if (after && knowsChangesSince(connection, *after))
            return {m_database.longestChange(), *after};
        ChangeReader changes = fromNowOn(connection);
        if (after)
            m_text = eventText(changes.settled(), "reset", Json::object());
        return changes;
    }

    ChangeReader fromNowOn(DatabaseConnection& connection) const
    {
        ChangeReader changes(m_database.longestChange(), settledChange(connection, m_database.longestChange()));
        changes.skip(connection, m_caller.person.id);
        return changes;
    }

    /// Writes down what has changed. \return false when the sign-in has ended.
    bool follow()
    {
        const auto connection = m_database.readInTurn();
        const Snapshot snapshot(connection);
        if (!isLiveSession(connection, m_caller.session))
            return false;
        const auto changes = m_changes.read(connection, m_caller.person.id, MOST_CHANGES);
        if (changes.size() >= MOST_CHANGES) {
            m_changes = fromNowOn(connection);
            m_text = eventText(m_changes.settled(), "reset", Json::object());
            return true;
        }
        for (const Change& change : changes)
            m_text += eventText(std::min(change.id, m_changes.settled()), change);
        return true;
    }

    Database& m_database;
    Caller m_caller;
    ChangeWatch::Bell m_bell;
    std::string m_text;
    std::size_t m_sent = 0;
    ChangeReader m_changes; ///< writes into the text when it begins
    bool m_parting = false; ///< what is sent is the last of it
};

/// The last change that the client has seen, as far as it tells.
std::optional<Id> lastSeen(const Request& request)
{
    const auto header = request.header("Last-Event-ID");
    const std::string_view text = header ? std::string_view(*header) : request.query.get("after");
    return text.empty() ? std::nullopt : parseDecimal<Id>(text);
}

} // namespace

Reply handlePageEvents(Service& service, Request& request)
{
    Reply reply;
    reply.contentType = "text/event-stream; charset=utf-8";
    // Who gives way gives the connection back at once.
    reply.headers = {{"Cache-Control", "no-store"}, {"X-Accel-Buffering", "no"}, {"Connection", "close"}};
    auto changes =
        std::make_unique<ChangeSource>(service, request.caller, httpd::networkOf(request.head.address), lastSeen(request));
    reply.body = httpd::StreamBody{std::move(changes), std::nullopt};
    return reply;
}

} // namespace kinloomd
