// SPDX-License-Identifier: MIT
/// \file Transport and session of the Kinloom service.
#ifndef KLSERVICE_KLSERVICE_H
#define KLSERVICE_KLSERVICE_H

#include "KLService/KLServiceCMD.h"
#include "KLService/Lock.h"
#include "KLService/ServiceLink.h"
#include "KLService/Session.h"
#include "W/Http.h"
#include "W/WException.h"

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <set>

namespace xmlpp {
class Node;
}

namespace W {

class KLService;
class ServiceRequest;

/// The service's own status: 0 is success, 1 to 142 index the status table, 255 stands for what has no mapping.
enum GSTATUS : UINT32 {
    GSTATUS_OK = 0,
    GSTATUS_BAD_ARGUMENT = 1,
    GSTATUS_LOGIN_REFUSED = 21,
    GSTATUS_CHALLENGE = 24,
    GSTATUS_SERVER_ERROR = 43,
    GSTATUS_CONFLICT = 44,
    GSTATUS_NOT_FOUND = 45,
    GSTATUS_GENERAL = 101,
    GSTATUS_REJECTED = 141,
    GSTATUS_NOT_LOGGED_IN = 142,
    GSTATUS_UNMAPPED = 255,
};

/// The context of one queued request: whose it is, and what it is for. Owns the command while the request lives.
struct KLServiceArgs {
    /// \p owner must live now; it may end before the context does.
    KLServiceArgs(KLService* owner, KLServiceCMD* cmd);

    std::shared_ptr<ServiceLink> link; // to the service
    KLServiceCMD* command;
};

/// The transport's completion, run by the host on its worker: hands the reply and the command to the routine that was registered
/// with the service, then frees request, context and command. When the service has ended, it only frees them.
/// \param context the request's KLServiceArgs; null does nothing at all.
void cbKLFnCallback(SESSION_STATUS status, HttpRequest* request, VOID* context);

/// The plugin's one transport object: builds, signs, queues and tracks requests, and keeps the session.
///
/// Ownership: every call that takes a command consumes it, whether the request is accepted or refused; the caller must not touch
/// the command afterwards. Threads: all members may be called from any thread.
class KLService {
public:
    using Headers = std::map<STRING, STRING>;
    using CompletionRoutine = VOID (*)(SESSION_STATUS, const HttpResponse&, KLServiceCMD*);
    using DropNotice = VOID (*)(KLServiceCMD*);

    /// \param name the service's name, which nothing needs.
    /// \param provider whose identifier tags every request.
    KLService(const STRING& name, const WContentProvider& provider);
    virtual ~KLService();
    KLService(const KLService&) = delete;
    KLService& operator=(const KLService&) = delete;

    /// The scheme and host that all operations go to, without a trailing slash.
    static const STRING& getBaseURL();

    // ---- Completion ----

    /// The routine that every completed request is handed to. Set before the first request.
    void setFnCallbackPtr(CompletionRoutine completion) { m_completion = completion; }
    CompletionRoutine getFnCallbackPtr() const { return m_completion; }

    /// The routine told of a command that is about to be freed without a completion: refused, or dropped in a flush.
    void setFnDropPtr(DropNotice notice) { m_dropNotice = notice; }
    DropNotice getFnDropPtr() const { return m_dropNotice; }

    // ---- Requests (each consumes the command) ----

    /// Queues a GET. \return 0, -3 when the request cannot be created, or the delegator's refusal.
    WSTATUS getDataRequest(const STRING& url, const Headers& headers, const STRING& body, KLServiceCMD* command);
    /// Queues a POST with a body. Statuses as for getDataRequest.
    WSTATUS postDataRequest(const STRING& url, const Headers& headers, const STRING& body, KLServiceCMD* command);
    /// Queues the multipart upload of one file, which becomes the current transfer when none is tracked.
    /// \param params one entry: the name of the file's form part, and the file's MIME type.
    /// \param size the size announced for the post fields, in bytes.
    /// \return -1 when path or params are missing or the path is no regular file, else as for getDataRequest.
    WSTATUS postDataRequest(const STRING& url, const Headers& params, const Headers& headers, KLServiceCMD* command,
                            const STRING& path, long size);
    /// Queues a multipart upload of text parts, the size of the file, and the file.
    /// \param params the text parts, in map order. \param extra as params of the other upload.
    WSTATUS postDataRequest(const STRING& url, const Headers& params, const Headers& headers, const Headers& extra,
                            KLServiceCMD* command, const STRING& path);
    /// Queues a GET whose body is written to a file, which becomes the current transfer when none is tracked.
    /// \return -1 when the path is empty, else as for getDataRequest.
    WSTATUS retrieveFData(const STRING& url, const STRING& unused, KLServiceCMD* command, const STRING& path);

    /// GET on the calling thread. \return 0 with the response in \p out, or the failure of the exchange.
    WSTATUS retrieveFData(const STRING& url, const STRING& unused, HttpResponse& out);
    /// POST of a form body on the calling thread.
    WSTATUS postFData(const STRING& url, const Headers& headers, const STRING& body, HttpResponse& out);

    // ---- The current transfer ----

    /// Bytes done and expected: the current transfer's, or the last ones known.
    void getProgressStatus(double& done, double& total) KLSERVICE_EXCLUDES(m_transferMutex);
    /// A finished transfer reports all of what was expected.
    void updateProgressStatus() KLSERVICE_EXCLUDES(m_transferMutex);
    void resetProgressStatus() KLSERVICE_EXCLUDES(m_transferMutex);
    void resetReqStatus() KLSERVICE_EXCLUDES(m_transferMutex);
    /// Asks the current transfer to stop; once.
    void setCancel() KLSERVICE_EXCLUDES(m_transferMutex);
    /// Drops every request of this service but one that is completing on this very thread, and forgets the current transfer.
    /// Drops by the provider's identifier, which two plugin objects of one process share. \return the client's status.
    WSTATUS flushHttpRequests() KLSERVICE_EXCLUDES(m_listMutex, m_transferMutex);
    /// Ends the traffic for good: refuses every further request with -3 and drops those in flight. When it returns, no completion
    /// of this service runs or can start. Not to be called from inside one.
    ///
    /// A host may keep requests although it is asked to drop them. Such a request is cut off from the service, which may end then:
    /// whenever the host completes or deletes it, its command is freed and nobody is called. The code that does so stays in the
    /// process for that, even if the host unloads the plugin.
    void close() KLSERVICE_EXCLUDES(m_listMutex, m_transferMutex);

    // ---- Live requests ----

    void addARGS(KLServiceArgs* args) KLSERVICE_EXCLUDES(m_listMutex);
    /// Unlinks a context and, only if it was linked, frees its command and itself.
    void cleanupARGS(KLServiceArgs* args) KLSERVICE_EXCLUDES(m_listMutex);
    /// What every context of this service holds.
    const std::shared_ptr<ServiceLink>& link() const { return m_link; }

    // ---- Statuses: pure functions ----

    static GSTATUS getKLSTATUS(HTTP_RESPONSE_CODE code);
    /// Maps a status code that the service wrote into a reply; compared byte for byte.
    static GSTATUS getKLSTATUS(STRING code);
    static WSTATUS getWlibSTATUS(GSTATUS status);
    /// A session status is numbered as a service status.
    static WSTATUS getWlibSTATUS(SESSION_STATUS status) { return getWlibSTATUS(static_cast<GSTATUS>(status)); }

    // ---- Signing ----

    /// Appends the HMAC-SHA1 of \p message and its zero terminator under \p key, as 40 lower-case hexadecimal digits.
    static void getAPISignature(STRING key, STRING message, STRING& out);
    /// The DATE header's value for the current time.
    static STRING getGMTTime();
    static STRING int2str(unsigned int number);
    /// Replaces every blank by "+" in place, and returns a copy of the result.
    static STRING space2Char(STRING& text);
    /// The Authorization header's value. Nothing in it is escaped.
    static STRING getAuthorization(const STRING& appID, const STRING& authToken, const STRING& duid, const STRING& signature);

    // ---- Reply envelope ----

    static STRING getReponseStatus(const xmlpp::Node* node);
    static STRING extractRespInfo(const xmlpp::Node* node, STRING& status);
    static STRING extractErrorString(const xmlpp::Node* node, STRING& code);
    /// Reads the code of a plain-text error. \throw std::out_of_range when a body without "Error=" is shorter than five bytes.
    static STRING extractErrorString(const STRING& body);
    /// The same, for bodies off the wire: one that is too short reads as empty.
    static STRING plainErrorCode(const STRING& body);
    /// The attribute \p name of an element, else the text of its first child element of that name, else empty.
    static STRING getEntryContent(STRING name, xmlpp::Node* node);

    // ---- Session ----

    /// The session as it is now, in one piece: what an operation signs with stays together whatever other threads do.
    std::shared_ptr<const Session> session() const { return std::atomic_load_explicit(&m_session, std::memory_order_acquire); }

    bool isLoggedIn() const;
    // The references show the session as it was at the call. They are valid until it has changed another KEPT_SESSIONS times, or
    // the service ends.
    static constexpr std::size_t KEPT_SESSIONS = 16;
    const STRING& getUserID() const;
    const STRING& getAppID() const;
    const STRING& getAuthToken() const;
    const STRING& getAppToken() const;
    const STRING& getDUID() const;
    void setUserID(const STRING& userID);
    /// Fills the session from the provider's options after a sign-in that the service agreed to, or clears it.
    /// \param node the reply's "result" element; null clears the session, one without children changes nothing.
    void setUserCredential(const xmlpp::Node* node, const WContentProvider& provider);

    WSTATUS login(const STRING& url, const Headers& headers, const STRING& body, KLServiceCMD* command);
    /// The form that answers a challenge. The four texts are the challenge's; the body already carries them.
    WSTATUS login(const STRING& user, const STRING& secret, const STRING& challenge, const STRING& answer, const STRING& url,
                  const Headers& headers, const STRING& body, KLServiceCMD* command);
    /// Ends the session here and now; the service is not contacted. The completion follows on the worker like any other.
    WSTATUS logout(KLServiceCMD* command);

    // ---- Service exceptions ----

    /// Records a challenge. \return 0, -16 for a type other than exception_type::CAPTCHA, -4 when it cannot be allocated.
    WSTATUS setException(const WContentProvider& provider, ExceptionType_enum type, const STRING& user, const STRING& secret,
                         const HttpResponse& response) KLSERVICE_EXCLUDES(m_listMutex);
    /// The newest pending exception, or null. Owned by the service until flushException.
    WException* getException() KLSERVICE_EXCLUDES(m_listMutex);
    /// Removes and deletes a pending exception; one that is not pending is left alone.
    void flushException(WException* exception) KLSERVICE_EXCLUDES(m_listMutex);
    /// Answers a challenge by signing in again. \return 0, always: a failure is only logged.
    WSTATUS resolveException(WException* exception, const STRING& url, const Headers& headers, const STRING& body,
                             KLServiceCMD* command);

private:
    friend class ServiceRequest;
    friend void cbKLFnCallback(SESSION_STATUS status, HttpRequest* request, VOID* context);
    struct LogLines {
        int notCreated;
        int refused;
    };
    enum class Tracking { NONE, TRANSFER };
    enum class TransferPhase {
        RUNNING,
        COMPLETING, ///< its completion has begun
        YIELDING,   ///< and has nothing more to show or to cancel: the next transfer takes its place
    };

    static HttpHeader makeHeader(const Headers& headers);
    template <class MakeRequest>
    WSTATUS dispatch(KLServiceCMD* command, const LogLines& lines, Tracking tracking, MakeRequest&& make);
    template <class FillForm>
    WSTATUS upload(const STRING& url, const Headers& headers, KLServiceCMD* command, const Headers& filePart, const STRING& path,
                   FillForm&& fill);
    WSTATUS execute(HTTP_REQUEST_TYPE type, const STRING& url, const Headers& headers, const STRING& body, int logLine,
                    HttpResponse& out);
    template <class Change> void changeSession(Change&& change) KLSERVICE_EXCLUDES(m_listMutex);
    void clearSession() KLSERVICE_EXCLUDES(m_listMutex);
    void trackTransfer(HttpRequest* request) KLSERVICE_EXCLUDES(m_transferMutex);
    void forgetTransfer() KLSERVICE_EXCLUDES(m_transferMutex);
    void beginCompletion(const HttpRequest* request) KLSERVICE_EXCLUDES(m_transferMutex);
    void endTransfer(const HttpRequest* request) KLSERVICE_EXCLUDES(m_transferMutex);
    bool hasLiveRequests() KLSERVICE_EXCLUDES(m_listMutex);
    std::uint64_t removals() KLSERVICE_EXCLUDES(m_listMutex);
    void dropRequests() KLSERVICE_EXCLUDES(m_listMutex, m_transferMutex);

    const std::shared_ptr<ServiceLink> m_link; // shared with every context
    const std::shared_ptr<const Session> m_signedOut;
    std::shared_ptr<const Session> m_session; // read and replaced atomically
    CompletionRoutine m_completion = nullptr;
    DropNotice m_dropNotice = nullptr;
    HttpDelegator* const m_delegator;
    const std::uint64_t m_requestID;
    std::atomic<bool> m_closed{false};

    Mutex m_listMutex;
    // A multiset, not a list: a flush takes out one context after the other, and each would have to be looked for among all. Like a
    // list it keeps a context that is entered twice, and gives up one entry at a time.
    std::multiset<KLServiceArgs*> m_liveArgs KLSERVICE_GUARDED_BY(m_listMutex);
    std::uint64_t m_removals KLSERVICE_GUARDED_BY(m_listMutex) = 0; // from m_liveArgs, ever
    std::list<WException*> m_exceptions KLSERVICE_GUARDED_BY(m_listMutex);
    // The last states, newest first. Every change of m_session is made under the mutex too.
    std::list<std::shared_ptr<const Session>> m_sessions KLSERVICE_GUARDED_BY(m_listMutex);

    Mutex m_transferMutex;
    UINT32 m_requestInProgress KLSERVICE_GUARDED_BY(m_transferMutex) = 0;
    // Borrowed from the delegator; forgotten before the request dies.
    HttpRequest* m_currentTransfer KLSERVICE_GUARDED_BY(m_transferMutex) = nullptr;
    std::uint64_t m_transferNumber KLSERVICE_GUARDED_BY(m_transferMutex) = 0; // of the current transfer: addresses come again
    TransferPhase m_transferPhase KLSERVICE_GUARDED_BY(m_transferMutex) = TransferPhase::RUNNING;
    double m_transferred KLSERVICE_GUARDED_BY(m_transferMutex) = 0.0;
    double m_expected KLSERVICE_GUARDED_BY(m_transferMutex) = 0.0;
};

} // namespace W

#endif
