// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "common/Program.h"
#include "core/Log.h"
#include "httpd/Server.h"
#include "operations/HttpHandler.h"
#include "operations/Service.h"
#include "operations/page/WebFiles.h"
#include "pictures/PictureProgram.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace kinloomd {

namespace {

/// Scheme and host that others reach the service at, as far as it can tell by itself.
std::string addressFor(const Options& options, const httpd::Listener& listener, bool encrypted)
{
    if (!options.publicUrl.empty())
        return options.publicUrl;
    const std::string scheme = encrypted ? "https://" : "http://";
    const std::string& address = listener.address();
    const auto port = address.rfind(':');
    const std::string host = address.substr(0, port);
    if (host != "0.0.0.0" && host != "[::]")
        return scheme + address;
    char name[HOST_NAME_MAX + 1] = "";
    ::gethostname(name, sizeof name - 1);
    const std::string own = scheme + name + address.substr(port);
    writeLog(Priority::NOTICE, "invitations and codes of devices lead to " + own + "; --public-url names another address");
    return own;
}

/// The folder of the page that is to be served.
std::string webFolderFor(const Options& options)
{
    if (options.webFolder == "none")
        return {};
    return options.webFolder.empty() ? webFolderBesideProgram() : options.webFolder;
}

/// What can be read again while the service runs.
void reload(httpd::Server& server)
{
    try {
        if (server.reloadTls())
            writeLog(Priority::INFO, "certificate and key have been read again; new connections use them");
        else
            writeLog(Priority::INFO, "there is nothing to be read again without a certificate");
    } catch (const std::exception& error) {
        writeLog(Priority::FAILURE, std::string("certificate and key stay as they were: ") + error.what());
    }
}

} // namespace

int serve(const ServeArguments& arguments)
{
    const sigset_t signals = common::blockSignals({SIGTERM, SIGINT, SIGHUP});
    // Writing to a closed connection, or beyond the limit of file sizes, must fail in the call and not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    common::raiseFileLimit();
    if (arguments.http.tls)
        httpd::requireUsable(*arguments.http.tls);
    // The address first: a service that cannot be reached leaves the data folder alone.
    httpd::Listener listener(arguments.listenAddress);
    Options options = arguments.service;
    options.ownAddress = addressFor(options, listener, arguments.http.tls.has_value());
    options.webFolder = webFolderFor(options);
    // Half of the connections is left to those who do not only listen.
    options.limits.eventStreams = std::max(arguments.http.limits.connections / 2, 1U);
    options.limits.eventStreamsPerAddress = std::max(arguments.http.limits.connectionsPerAddress / 2, 1U);
    if (pictures::programBesideThis().empty())
        writeLog(Priority::WARNING, std::string(pictures::NO_PROGRAM_BESIDE_THIS) + ": photos have no thumbnails until it is");
    Service service(std::move(options));
    HttpHandler handler(service);
    httpd::Settings settings = arguments.http;
    settings.limits.chunkedBytes = static_cast<std::int64_t>(arguments.service.limits.formBytes);
    if (!settings.tls && !listener.isOnPrivateNetwork())
        writeLog(Priority::WARNING, "what devices send to " + listener.address() +
                                        " is not encrypted, and their Authorization headers are passwords: give the service a "
                                        "certificate (--tls-certificate, --tls-key), or a proxy that has one");
    const char* const scheme = settings.tls ? "https" : "http";
    httpd::Server server(std::move(listener), std::move(settings), handler);
    std::printf("kinloomd listening on %s://%s\n", scheme, server.address().c_str());
    std::fflush(stdout);
    for (;;) {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0)
            continue;
        if (signal != SIGHUP)
            return EXIT_DONE;
        reload(server);
    }
}

} // namespace kinloomd
