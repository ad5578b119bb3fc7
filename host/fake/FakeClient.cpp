// SPDX-License-Identifier: MIT
/// \file HttpDelegator on the scripted client, and what a request asks of its client.
#include "fake/Stage.h"

namespace W {

HttpDelegator::HttpDelegator() = default;
HttpDelegator::~HttpDelegator() = default;

HttpDelegator* HttpDelegator::getInstance()
{
    static HttpDelegator* const instance = new HttpDelegator;
    return instance;
}

WSTATUS HttpDelegator::addRequest(HttpRequest* request) { return fake::Stage::instance().add(request); }

WSTATUS HttpDelegator::flushHttpRequests(unsigned long long id)
{
    fake::Stage::instance().flush(id);
    return 0;
}

WSTATUS HttpRequest::execute() { return fake::Stage::instance().execute(*this); }

namespace WHOST_INTERNAL http {

void requestIsMade() { fake::Stage::instance().requestIsMade(); }
void requestIsGone() noexcept { fake::Stage::instance().requestIsGone(); }
void requestIsCancelled(HttpRequest& request) noexcept { fake::Stage::instance().cancel(request); }
void handleIsGiven(HttpRequest&) {}

} // namespace http

namespace fake {

std::optional<STRING> Seen::field(const STRING& name) const
{
    for (const auto& [fieldName, value] : header)
        if (fieldName == name)
            return value;
    return std::nullopt;
}

Answer reply(const STRING& payload, UINT32 code)
{
    Answer answer;
    answer.payload = payload;
    answer.code = code;
    return answer;
}

Answer reply(UINT32 code) { return reply(STRING(), code); }

Answer failure(SESSION_STATUS status)
{
    Answer answer;
    answer.status = status;
    return answer;
}

Answer held()
{
    Answer answer;
    answer.held = true;
    return answer;
}

void reset() { Stage::instance().reset(); }
void answerAll(const Answer& answer) { Stage::instance().answerAll(answer); }
void answerNext(const Answer& answer) { Stage::instance().answerNext(answer); }
void answerWith(std::function<Answer(const Seen&)> rule) { Stage::instance().answerWith(std::move(rule)); }
void refuseNext(WSTATUS status, std::size_t times) { Stage::instance().refuseNext(status, times); }
void refuseAll(WSTATUS status) { Stage::instance().refuseAll(status); }
void checkRequests(bool check) { Stage::instance().checkRequests(check); }
void failConstruction(std::size_t after) { Stage::instance().failConstruction(after); }
void flushWith(Flush flush) { Stage::instance().flushWith(flush); }
std::size_t deleteDropped() { return Stage::instance().deleteDropped(); }
bool answer(std::size_t number, const Answer& answer) { return Stage::instance().answer(number, answer); }
std::size_t answerHeld(const Answer& answer) { return Stage::instance().answerHeld(answer); }
bool setProgress(std::size_t number, double done, double total) { return Stage::instance().setProgress(number, done, total); }
std::size_t requestCount() { return requests().size(); }
std::vector<Seen> requests() { return Stage::instance().requests(); }
Seen request(std::size_t number) { return requests().at(number); }
std::vector<Seen> refusals() { return Stage::instance().refusals(); }
std::size_t heldCount() { return Stage::instance().heldCount(); }
std::size_t completionCount() { return Stage::instance().completionCount(); }
std::vector<unsigned long long> flushes() { return Stage::instance().flushes(); }
std::size_t liveRequests() { return Stage::instance().liveRequests(); }
bool onWorker() { return Stage::onWorker(); }

bool waitForRequests(std::size_t count, std::chrono::milliseconds patience)
{
    return Stage::instance().waitForRequests(count, patience);
}

bool waitForCompletions(std::size_t count, std::chrono::milliseconds patience)
{
    return Stage::instance().waitForCompletions(count, patience);
}

bool waitUntilIdle(std::chrono::milliseconds patience) { return Stage::instance().waitUntilIdle(patience); }

} // namespace fake

} // namespace W
