// SPDX-License-Identifier: MIT
// The device's account: registration and sign-in. The service knows no user names, so the other account operations refuse.
#include "W/WConfigManager.h"
#include "WKLOAI/Completion.h"
#include "WKLOAI/Operation.h"

namespace W {

namespace {

/// What the host's configuration says of this device.
struct DeviceOptions {
    STRING authToken;
    STRING appID;
    STRING duid;

    static DeviceOptions read(const WContentProvider& provider)
    {
        WConfigManager* const config = WConfigManager::getInstance();
        DeviceOptions options;
        options.authToken = config->getCPOption(provider, "AuthToken").toString();
        options.appID = config->getCPOption(provider, "app_id").toString();
        options.duid = config->getCPOption(provider, "duid").toString();
        return options;
    }
};

bool isConfigured(const WContentProvider& provider)
{
    for (const char* const key : {"app_id", "AuthToken", "duid"})
        if (WConfigManager::getInstance()->getCPOption(provider, key).toString().empty())
            return false;
    return true;
}

/// Sends an account request. It is signed with what the session holds, which is nothing before the first sign-in, but carries the
/// options as they are now.
template <class CMD>
WSTATUS sendAccountRequest(WKLOAI& oai, std::string_view name, CommandKey key, WStatusCallback callback, VOID* userData,
                           int line = __builtin_LINE())
{
    const Operation operation(oai);
    return guarded(
        [&] {
            if (!isConfigured(oai.getContentProvider()))
                return logFailure(wstatus::INVALID_ARGUMENT, line);
            if (oai.service()->getException())
                return logFailure(wstatus::EXCEPTION_PENDING, line);
            auto command = operation.command<CMD>(key, callback, userData);
            const DeviceOptions options = DeviceOptions::read(oai.getContentProvider());
            command->authToken = options.authToken;
            command->appID = options.appID;
            command->duid = options.duid;

            ApiRequest request(name);
            request
                .header("Authorization",
                        KLService::getAuthorization(options.appID, options.authToken, options.duid, operation.session().signature))
                .header("DATE", KLService::getGMTTime());
            return operation.post(std::move(command), request, line);
        },
        line);
}

/// Who asked: what a challenge keeps of the refused request.
struct Asker {
    STRING user;
    STRING secret;
};

Asker askerOf(const AuthKLCMD& command) { return {command.authToken, command.appID}; }
Asker askerOf(const RegisterKLCMD& command) { return {command.authToken, command.appID}; }
Asker askerOf(const KLLoginCMD& command) { return {command.user, command.password}; }
Asker askerOf(const KLExceptionResolveCMD& command)
{
    const auto* const captcha = dynamic_cast<const WCaptchaException*>(command.exception);
    if (!captcha)
        return {};
    // The host names the four texts; they are known by their order.
    const auto& [user, secret, challenge, answer] = captcha->data();
    return {user, secret};
}

/// Every reply to an account request that arrived drops the other requests: they belong to a session that has just ended.
template <class CMD> class AccountCompletion : public Completion<CMD> {
public:
    using Completion<CMD>::Completion;

protected:
    /// Raises a service exception when the refusal asks for a challenge. \return the refusal's status.
    WSTATUS raiseChallenge()
    {
        const GSTATUS refusal = KLService::getKLSTATUS(KLService::plainErrorCode(this->reply.getPayload()));
        const WSTATUS status = KLService::getWlibSTATUS(refusal);
        if (status == wstatus::CHALLENGE_REQUIRED && refusal == GSTATUS_CHALLENGE) {
            const Asker asker = askerOf(this->cmd);
            this->service().setException(this->provider(), exception_type::CAPTCHA, asker.user, asker.secret, this->reply);
        }
        return status;
    }
};

/// Sign-in, by whichever operation: a parsable reply may fill the session, a completion that nobody waits for empties it.
template <class CMD> class SignIn : public AccountCompletion<CMD> {
public:
    using AccountCompletion<CMD>::AccountCompletion;

    // With HTTP 200 the reply's own verdict decides whether the session is signed in, not what is reported.
    WSTATUS accept()
    {
        parse();
        this->service().flushHttpRequests();
        return this->mapped(http_code::OK);
    }

    WSTATUS reject(HTTP_RESPONSE_CODE code, bool cancelled)
    {
        WSTATUS status = this->mapped(code);
        if (code == http_code::FORBIDDEN)
            this->raiseChallenge();
        else if (code == http_code::INTERNAL_SERVER_ERROR && !cancelled)
            status = parse();
        this->service().flushHttpRequests();
        return status;
    }

    void reportToNobody()
    {
        this->service().setUserCredential(nullptr, this->provider());
        this->oai.cancelFlagReset();
    }

protected:
    WSTATUS parse();
};

class Auth : public SignIn<AuthKLCMD> {
public:
    using SignIn::SignIn;
    void deliver(WSTATUS result) { cmd.callback(result, provider(), cmd.userData); }
};

class Login : public SignIn<KLLoginCMD> {
public:
    using SignIn::SignIn;
    void deliver(WSTATUS result)
    {
        const std::shared_ptr<const Session> session = service().session();
        cmd.callback(result, provider(), session->userID, session->authToken, cmd.userData);
    }
};

class ExceptionResolve : public SignIn<KLExceptionResolveCMD> {
public:
    using SignIn::SignIn;
    void deliver(WSTATUS result) { cmd.callback(result, cmd.exception, cmd.userData); }
    void end() { service().flushException(cmd.exception); }
};

class Registering : public AccountCompletion<RegisterKLCMD> {
public:
    using AccountCompletion::AccountCompletion;

    WSTATUS accept()
    {
        oai.parseRegisterStatus(reply.getPayload(), &cmd);
        service().flushHttpRequests();
        return wstatus::OK;
    }

    WSTATUS reject(HTTP_RESPONSE_CODE code, bool)
    {
        const WSTATUS status = code == http_code::FORBIDDEN ? raiseChallenge() : mapped(code);
        service().flushHttpRequests();
        return status;
    }

    void deliver(WSTATUS result) { cmd.callback(result, provider(), cmd.userData); }
};

class Logout : public Completion<KLLogoutCMD> {
public:
    using Completion::Completion;

    // Signing out happens here and now; what became of the request does not matter.
    WSTATUS accept() { return wstatus::OK; }
    WSTATUS reject(HTTP_RESPONSE_CODE, bool) { return wstatus::OK; }
    void settle() { service().setUserCredential(nullptr, provider()); }
    void deliver(WSTATUS) { cmd.callback(wstatus::OK, provider(), cmd.userData); }
};

template <> WSTATUS SignIn<AuthKLCMD>::parse() { return oai.parseAuthStatus(reply.getPayload(), &cmd); }
template <> WSTATUS SignIn<KLLoginCMD>::parse() { return oai.parseLoginStatus(reply.getPayload(), &cmd); }
template <> WSTATUS SignIn<KLExceptionResolveCMD>::parse() { return oai.parseLoginStatus(reply.getPayload(), nullptr); }

} // namespace

WSTATUS WKLOAI::login(const STRING&, const STRING&, WLoginCallback, VOID*) { return logFailure(wstatus::NOT_SUPPORTED); }
WSTATUS WKLOAI::logout(WStatusCallback, VOID*) { return logFailure(wstatus::NOT_SUPPORTED); }
WSTATUS WKLOAI::retrieveExceptions(std::list<WException*>&) { return logFailure(wstatus::NOT_SUPPORTED); }
WSTATUS WKLOAI::resolveException(WException*, WExceptionCallback, VOID*) { return logFailure(wstatus::NOT_SUPPORTED); }
WSTATUS WKLOAI::unregisterKL(WStatusCallback, VOID*) { return logFailure(wstatus::NOT_SUPPORTED); }

WSTATUS WKLOAI::registerKL(WStatusCallback callback, VOID* userData)
{
    return sendAccountRequest<RegisterKLCMD>(*this, "register", CMD_REGISTER, callback, userData);
}

WSTATUS WKLOAI::authKL(WStatusCallback callback, VOID* userData)
{
    return sendAccountRequest<AuthKLCMD>(*this, "auth", CMD_AUTH, callback, userData);
}

void WKLOAI::cbLoginDone(SESSION_STATUS status, const HttpResponse& response, KLLoginCMD* command)
{
    complete<Login>(status, response, command);
}

void WKLOAI::cbLogoutDone(SESSION_STATUS status, const HttpResponse& response, KLLogoutCMD* command)
{
    complete<Logout>(status, response, command);
}

void WKLOAI::cbExceptionResolveDone(SESSION_STATUS status, const HttpResponse& response, KLExceptionResolveCMD* command)
{
    complete<ExceptionResolve>(status, response, command);
}

void WKLOAI::cbRegisterDone(SESSION_STATUS status, const HttpResponse& response, RegisterKLCMD* command)
{
    complete<Registering>(status, response, command);
}

void WKLOAI::cbAuthDone(SESSION_STATUS status, const HttpResponse& response, AuthKLCMD* command)
{
    complete<Auth>(status, response, command);
}

} // namespace W
