// SPDX-License-Identifier: MIT
#include "fake/Stage.h"

#include "W/WStatus.h"
#include "fake/HandleSpy.h"
#include "http/RequestCheck.h"
#include "http/SignalBlock.h"
#include "http/StatusMap.h"

#include <algorithm>
#include <new>
#include <thread>

namespace W {
namespace fake {

namespace {

thread_local bool t_onWorker = false;

STRING textOf(const char* text, long length)
{
    if (!text)
        return {};
    return length > 0 ? STRING(text, static_cast<std::size_t>(length)) : STRING(text);
}

FormPart describe(const curl_httppost& part)
{
    FormPart result;
    result.name = textOf(part.name, part.namelength);
    const bool isFile = (part.flags & (CURL_HTTPPOST_FILENAME | CURL_HTTPPOST_READFILE)) != 0;
    const auto length = static_cast<long>((part.flags & CURL_HTTPPOST_LARGE) != 0 ? part.contentlen : part.contentslength);
    (isFile ? result.file : result.contents) = isFile ? textOf(part.contents, 0) : textOf(part.contents, length);
    result.contentType = textOf(part.contenttype, 0);
    for (const curl_slist* line = part.contentheader; line; line = line->next)
        result.headers.emplace_back(line->data);
    return result;
}

Seen describe(const HttpRequest& request, bool executed)
{
    const HttpRequest::Impl& impl = request.impl();
    Seen seen;
    seen.type = impl.type;
    seen.url = impl.url;
    seen.header = impl.header.fields();
    seen.body = impl.body;
    seen.path = impl.path;
    seen.id = impl.id;
    seen.executed = executed;
    seen.hasForm = impl.form != nullptr;
    for (const curl_httppost* part = impl.form.get(); part; part = part->next)
        seen.form.push_back(describe(*part));
    if (impl.easy) {
        PostFields post = postFieldsOf(impl.easy->curl);
        seen.postFields = std::move(post.fields);
        seen.postFieldsSize = post.size;
    }
    return seen;
}

bool writeFile(const STRING& path, const STRING& content)
{
    http::FileSink file;
    return file.open(path) && file.write(content.data(), content.size()) && file.publish();
}

/// Gives a request its end: response, file, progress.
SESSION_STATUS play(HttpRequest& request, const Answer& answer)
{
    HttpRequest::Impl& impl = request.impl();
    if (answer.progress) {
        impl.bytesDone.store(answer.progress->first);
        impl.bytesTotal.store(answer.progress->second);
    } else if (answer.status == SESSION_DONE) {
        impl.bytesDone.store(static_cast<double>(answer.payload.size()));
        impl.bytesTotal.store(static_cast<double>(answer.payload.size()));
    }
    impl.response = HttpResponse();
    if (impl.cancelled.load())
        return SESSION_CANCELLED;
    if (answer.status != SESSION_DONE)
        return answer.status;
    const bool toFile = impl.type == HTTP_REQUEST_GET && !impl.path.empty() && answer.code >= 200 && answer.code < 300;
    if (toFile && !writeFile(impl.path, answer.payload))
        return SESSION_FILE_ERROR;
    impl.response.setHttpResponseCode(static_cast<HTTP_RESPONSE_CODE>(answer.code));
    impl.response.setContentType(answer.contentType);
    if (!toFile)
        impl.response.setPayload(answer.payload);
    return SESSION_DONE;
}

} // namespace

Stage& Stage::instance()
{
    static Stage* const stage = new Stage;
    return *stage;
}

bool Stage::onWorker() { return t_onWorker; }

void Stage::requestIsMade()
{
    const MutexLock lock(m_mutex);
    std::optional<std::size_t>& left = m_script.constructionsUntilFailure;
    if (left && (*left)-- == 0) {
        left.reset();
        throw std::bad_alloc();
    }
    ++m_live;
}

void Stage::requestIsGone() noexcept
{
    const MutexLock lock(m_mutex);
    --m_live;
    m_changed.notifyAll();
}

/// The status to refuse a request with, or 0. Notes it when it is refused.
WSTATUS Stage::refusal(HttpRequest& request, const Seen& seen)
{
    WSTATUS status = m_script.refusal;
    if (status == 0 && m_script.checks)
        status = std::min(http::checkRequest(request), WSTATUS(0));
    else if (m_script.refusalsLeft > 0 && --m_script.refusalsLeft == 0)
        m_script.refusal = 0;
    if (status != 0)
        m_script.refused.push_back(seen);
    return status;
}

Answer Stage::choose(const Seen& seen)
{
    if (!m_script.next.empty()) {
        Answer answer = m_script.next.front();
        m_script.next.pop_front();
        return answer;
    }
    if (!m_script.rule)
        return m_script.usual;
    const auto rule = m_script.rule;
    const MutexUnlock unlocked(m_mutex);
    return ask(rule, seen);
}

/// A rule is the test's code, so no lock is held.
Answer Stage::ask(const std::function<Answer(const Seen&)>& rule, const Seen& seen) { return rule(seen); }

WSTATUS Stage::add(HttpRequest* request)
{
    if (!request || !request->impl().completion)
        return WSTATUS_INVALID_ARGUMENT;
    Seen seen = describe(*request, false);
    const MutexLock lock(m_mutex);
    if (const WSTATUS refused = refusal(*request, seen))
        return refused;
    startWorker();
    seen.number = m_script.seen.size();
    m_script.seen.push_back(seen);
    Answer answer = choose(seen);
    request->impl().sequence = m_nextSequence++;
    Job& job = m_jobs[request];
    job.number = seen.number;
    m_held.append(request);
    if (!answer.held || request->impl().cancelled.load())
        makeReady(*request, job, answer);
    m_changed.notifyAll();
    return WSTATUS_OK;
}

WSTATUS Stage::execute(HttpRequest& request)
{
    Seen seen = describe(request, true);
    Answer answer;
    {
        const MutexLock lock(m_mutex);
        if (const WSTATUS refused = refusal(request, seen))
            return refused;
        seen.number = m_script.seen.size();
        m_script.seen.push_back(seen);
        answer = choose(seen);
        Job& job = m_jobs[&request];
        job.number = seen.number;
        job.executed = true;
        job.answer = answer;
        job.ready = !answer.held;
        m_changed.notifyAll();
        while (!job.ready && !request.impl().cancelled.load())
            m_changed.wait(m_mutex);
        answer = job.answer;
        m_jobs.erase(&request);
    }
    return http::statusOf(play(request, answer));
}

/// Fixes the end of a request that waits.
void Stage::makeReady(HttpRequest& request, Job& job, const Answer& answer)
{
    job.answer = answer;
    job.ready = true;
    if (!job.executed) {
        m_held.remove(&request);
        m_ready.append(&request);
    }
    m_changed.notifyAll();
}

void Stage::cancel(HttpRequest& request) noexcept
{
    const MutexLock lock(m_mutex);
    const auto found = m_jobs.find(&request);
    if (found != m_jobs.end() && !found->second.ready)
        makeReady(request, found->second, failure(SESSION_CANCELLED));
}

void Stage::startWorker()
{
    if (m_started)
        return;
    const http::AllSignalsBlocked blocked;
    // Like the stage, the worker lives as long as the process: nobody joins it.
    std::thread([this] { run(); }).detach();
    m_started = true;
}

void Stage::run()
{
    t_onWorker = true;
    const MutexLock lock(m_mutex);
    for (;;) {
        while (m_ready.empty())
            m_changed.wait(m_mutex);
        HttpRequest* const request = m_ready.takeFirst();
        const Answer answer = m_jobs[request].answer;
        m_jobs.erase(request);
        HttpRequest::Impl& impl = request->impl();
        m_completing = true;
        m_completingID = impl.id;
        m_completingSequence = impl.sequence;
        {
            const MutexUnlock unlocked(m_mutex);
            complete(request, answer);
        }
        m_completing = false;
        ++m_script.completions;
        m_changed.notifyAll();
    }
}

/// Hands a request to its callee, to whom it belongs from here on.
void Stage::complete(HttpRequest* request, const Answer& answer)
{
    const HttpRequest::Impl& impl = request->impl();
    const SESSION_STATUS status = play(*request, answer);
    impl.completion(status, request, impl.context);
}

} // namespace fake
} // namespace W
