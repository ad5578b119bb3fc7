// SPDX-License-Identifier: MIT
/// \file The scripted HTTP client of libwhost_fake: what tests tell it and ask it.
#ifndef WHOST_FAKECLIENT_H
#define WHOST_FAKECLIENT_H

#include "W/Http.h"

#include <chrono>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace W {

/// libwhost_fake is the host framework with a client that never touches the network. Requests are answered from a script, at once
/// or when the test says so, and their completions run one at a time on a worker thread of the fake's own. Everything else is as
/// W/Http.h describes it: who owns a request when, what a flush does, what a cancel does, where a body with a path goes.
///
/// One client serves the process. Tests begin with reset(). All functions may be called from any thread; those that wait return
/// false after the given patience, so that a test fails instead of hanging.
namespace fake {

constexpr std::chrono::milliseconds PATIENCE{20'000};

/// One part of a multipart form.
struct FormPart {
    STRING name;
    STRING contents;             ///< of a part given as text
    STRING file;                 ///< the path of a part given as a file, else empty
    STRING contentType;          ///< as given, else empty
    std::vector<STRING> headers; ///< the lines of the part's content header
};

/// A request as it was when it reached the client.
struct Seen {
    /// Place in the order of arrival, counted from 0, executed requests included, refused ones not; it names the request below.
    std::size_t number = 0;
    HTTP_REQUEST_TYPE type = HTTP_REQUEST_GET;
    STRING url;
    std::vector<std::pair<STRING, STRING>> header;
    STRING body;
    STRING path;
    unsigned long long id = 0;
    bool executed = false; ///< HttpRequest::execute brought it, not the delegator
    bool hasForm = false;
    std::vector<FormPart> form;
    /// What the plugin set on the easy handle as CURLOPT_POSTFIELDS, up to its first NUL, and as CURLOPT_POSTFIELDSIZE; nothing
    /// when it did not. Seen only when the program is linked with libwhost_fake before libcurl, as CMake does.
    std::optional<STRING> postFields;
    std::optional<long long> postFieldsSize;

    /// The value of the first header field of that name, or nothing.
    std::optional<STRING> field(const STRING& name) const;
};

/// How a request ends.
struct Answer {
    SESSION_STATUS status = SESSION_DONE;
    UINT32 code = 200; ///< with SESSION_DONE only, like the rest
    STRING contentType = "text/xml";
    STRING payload;    ///< goes to the request's file when it is a GET with a path and the code is 2xx
    bool held = false; ///< the request waits until answer() is called for it
    /// What getProgressStatus tells when the request ends; without it the payload's size.
    std::optional<std::pair<double, double>> progress;
};

/// A reply with a body.
Answer reply(const STRING& payload, UINT32 code = 200);
/// A reply without a body.
Answer reply(UINT32 code);
/// A transfer that fails.
Answer failure(SESSION_STATUS status);
/// The request waits.
Answer held();

/// Back to the beginning: every request is answered with an empty 200 at once, nothing is refused, all counts are 0. Requests that
/// wait are deleted without their completions; the one that completes is waited for.
void reset();

/// The answer to every request that no other rule is for.
void answerAll(const Answer& answer);
/// The answer to the next request that arrives; several line up. Goes before answerWith and answerAll.
void answerNext(const Answer& answer);
/// Has a function answer, on the thread that brings the request, with no lock held. Goes before answerAll; null ends it.
void answerWith(std::function<Answer(const Seen&)> rule);

/// Has addRequest and execute refuse the next requests with a negative status.
void refuseNext(WSTATUS status, std::size_t times = 1);
/// Has them refuse every request until the status is 0 again.
void refuseAll(WSTATUS status);
/// Whether requests that the real client refuses (URL, header fields, a path that cannot be written) are refused; they are, at
/// first.
void checkRequests(bool check);
/// Has the constructor of HttpRequest throw std::bad_alloc: the next one, or the one after so many others.
void failConstruction(std::size_t after = 0);

/// What a flush does with the requests that it is asked to drop.
enum class Flush {
    DELETES, ///< deletes them, and waits for the completion that runs, as W/Http.h has it
    KEEPS,   ///< leaves them where they are, and waits for nothing
    DEFERS,  ///< takes them out, leaves their deletion to deleteDropped(), and waits for nothing
};
/// Has every flush do that; at first they delete.
void flushWith(Flush flush);
/// Deletes on the calling thread what flushes have taken out and not deleted. \return how many.
std::size_t deleteDropped();

/// Ends a request that waits. \return false when it does not wait (any more).
bool answer(std::size_t number, const Answer& answer);
/// Lets all requests that wait end, in their order. \return how many.
std::size_t answerHeld(const Answer& answer);
/// What getProgressStatus tells of a request that waits. \return false when it does not wait.
bool setProgress(std::size_t number, double done, double total);

/// Requests that arrived and were not refused.
std::size_t requestCount();
std::vector<Seen> requests();
/// One of them; throws std::out_of_range when there is none with that number.
Seen request(std::size_t number);
/// Requests that were refused, in their order; their numbers mean nothing.
std::vector<Seen> refusals();
/// Requests that wait for answer().
std::size_t heldCount();
/// Completions that have returned.
std::size_t completionCount();
/// The identifiers that flushHttpRequests was called with.
std::vector<unsigned long long> flushes();
/// HttpRequest objects that exist, whoever has them.
std::size_t liveRequests();
/// True on the client's worker thread.
bool onWorker();

/// Waits until so many requests have arrived since reset().
bool waitForRequests(std::size_t count, std::chrono::milliseconds patience = PATIENCE);
/// Waits until so many completions have returned since reset().
bool waitForCompletions(std::size_t count, std::chrono::milliseconds patience = PATIENCE);
/// Waits until no completion runs or is due; requests that wait may remain.
bool waitUntilIdle(std::chrono::milliseconds patience = PATIENCE);

} // namespace fake

} // namespace W

#endif
