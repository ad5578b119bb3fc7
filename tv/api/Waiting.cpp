// SPDX-License-Identifier: MIT
#include "tv/api/Waiting.h"

#include "common/UniqueFd.h"

#include <memory>
#include <sys/eventfd.h>

namespace tv {

httpd::Connection::Event waitForCall(kinloom::AnyCall& call, const httpd::Connection& page, std::chrono::milliseconds patience)
{
    const auto bell = std::make_shared<common::UniqueFd>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    call.onEnd([bell] { ::eventfd_write(bell->get(), 1); });
    const auto event = page.wait(bell->get(), patience);
    if (event != httpd::Connection::Event::READABLE)
        call.cancel();
    return event;
}

CallTrouble troubleOfWait(httpd::Connection::Event event)
{
    const bool late = event == httpd::Connection::Event::TIMED_OUT;
    kinloom::CallFailure failure;
    failure.kind = late ? kinloom::FailureKind::TIMED_OUT : kinloom::FailureKind::CANCELLED;
    failure.unsettled = true;
    return {late ? Trouble::AWAY : Trouble::ENDED, std::move(failure)};
}

} // namespace tv
