// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "httpd/Server.h"
#include "media/Pictures.h"
#include "operations/HttpHandler.h"
#include "operations/Service.h"

#include <csignal>
#include <cstdio>

namespace kinloomd {

namespace {

/// The signals that end the service. They are blocked in every thread, and waited for in one.
sigset_t blockEndSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

} // namespace

int serve(const ServeArguments& arguments)
{
    const sigset_t signals = blockEndSignals();
    // Writing to a closed connection, or beyond the limit of file sizes, must fail in the call and not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    startPictures();
    // The address first: a service that cannot be reached leaves the data folder alone.
    httpd::Listener listener(arguments.listenAddress);
    Service service(arguments.service);
    HttpHandler handler(service);
    httpd::Limits limits = arguments.http;
    limits.chunkedBytes = static_cast<std::int64_t>(arguments.service.limits.formBytes);
    const httpd::Server server(std::move(listener), limits, handler);
    std::printf("kinloomd listening on http://%s\n", server.address().c_str());
    std::fflush(stdout);
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    return EXIT_DONE;
}

} // namespace kinloomd
