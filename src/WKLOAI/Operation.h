// SPDX-License-Identifier: MIT
/// \file The one way in which every operation becomes a request.
#ifndef WKLOAI_OPERATION_H
#define WKLOAI_OPERATION_H

#include "KLService/Failure.h"
#include "KLService/Session.h"
#include "WKLOAI/WKLOAI.h"

#include <string_view>

namespace W {

/// One call of the service's Open API while it is being put together. Values are written as they are: whoever calls an operation
/// encodes what could be mistaken for punctuation.
struct ApiRequest {
    /// \param path what follows the service's own path, without a leading slash.
    explicit ApiRequest(std::string_view path);

    /// Adds \p separator, the name, "=" and the value to the URL.
    ApiRequest& query(std::string_view separator, std::string_view name, std::string_view value);
    /// Adds a field to the body; fields are joined by "&".
    ApiRequest& field(std::string_view name, std::string_view value);
    /// Adds the two headers of a signed request, all from one state of the session.
    ApiRequest& sign(const Session& session);
    ApiRequest& header(const STRING& name, const STRING& value);

    STRING url;
    KLService::Headers headers;
    STRING body;
};

/// What an operation goes through: is the session signed in, are the arguments good, then a command and a request.
class Operation {
public:
    /// \p oai must have a service; a facade without one is a programming error.
    explicit Operation(WKLOAI& oai);

    /// Admits the operation and runs its step with this object.
    /// \return the step's status; without running it -202 when the session is not signed in, else -1 when the arguments are bad.
    /// What the step throws becomes a status. Failures are logged with the caller's line.
    template <class Step> WSTATUS run(bool argumentsGood, Step&& step, int line = __builtin_LINE()) const
    {
        if (m_session->authToken.empty())
            return logFailure(wstatus::NOT_LOGGED_IN, line);
        if (!argumentsGood)
            return logFailure(wstatus::INVALID_ARGUMENT, line);
        return guarded([&] { return step(*this); }, line);
    }

    /// The state of the session that the whole operation works with.
    const Session& session() const { return *m_session; }

    KLService& service() const { return *m_oai.service(); }

    /// A cancel left over from an earlier operation ends here.
    void begin() const { m_oai.cancelFlagReset(); }

    /// Begins, and makes the command.
    template <class CMD, class Callback> std::unique_ptr<CMD> command(CommandKey key, Callback callback, VOID* userData) const
    {
        begin();
        return makeCommand<CMD>(key, callback, userData);
    }

    /// A new command of the facade.
    template <class CMD, class Callback> std::unique_ptr<CMD> makeCommand(CommandKey key, Callback callback, VOID* userData) const
    {
        auto command = std::make_unique<CMD>(m_oai.getContentProvider());
        command->setCMDKey(key);
        command->callback = callback;
        command->userData = userData;
        command->owner = &m_oai;
        return command;
    }

    /// Registers the command and sends the request. \return 0, or the refusal, which is logged.
    WSTATUS get(std::unique_ptr<KLServiceCMD> command, const ApiRequest& request, int line = __builtin_LINE()) const;
    WSTATUS post(std::unique_ptr<KLServiceCMD> command, const ApiRequest& request, int line = __builtin_LINE()) const;

private:
    WKLOAI& m_oai;
    const std::shared_ptr<const Session> m_session;
};

/// Wire text of an option value.
struct OptionText {
    UINT32 value;
    std::string_view text;
};

template <std::size_t N> std::string_view textOf(const OptionText (&table)[N], UINT32 value, std::string_view otherwise)
{
    for (const OptionText& option : table)
        if (option.value == value)
            return option.text;
    return otherwise;
}

/// Number as text, with a default for 0.
inline STRING countText(UINT32 count, UINT32 whenZero) { return KLService::int2str(count ? count : whenZero); }

} // namespace W

#endif
