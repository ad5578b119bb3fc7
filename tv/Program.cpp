// SPDX-License-Identifier: MIT
#include "tv/Program.h"

#include "commandline/Command.h"
#include "common/Digest.h"
#include "common/Files.h"
#include "common/Program.h"
#include "httpd/Server.h"
#include "kinloom/Route.h"
#include "kinloom/Warning.h"
#include "tv/Browser.h"
#include "tv/api/Gate.h"
#include "tv/api/Handler.h"
#include "tv/api/Page.h"
#include "tv/core/Log.h"
#include "tv/core/Options.h"
#include "tv/guests/LanAddress.h"
#include "tv/service/Television.h"
#include "whost/ConfigFile.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>

namespace tv {

namespace {

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr double SHORTEST_POLL = 0.1;
constexpr double LONGEST_POLL = 3600;

/// A folder of this user's, by the variable that names it, else below the home folder.
std::string userFolder(const char* variable, const char* belowHome)
{
    const char* const named = std::getenv(variable);
    if (named != nullptr && *named == '/')
        return named;
    const std::string home = W::homeFolder();
    if (home.empty())
        throw std::runtime_error(std::string("there is no home folder: ") + variable + " must name a folder");
    return home + belowHome;
}

std::string absolute(const std::string& path) { return std::filesystem::absolute(path).lexically_normal().string(); }

void makePrivateFolders(const std::string& path)
{
    const std::filesystem::path folder(path);
    if (!folder.parent_path().empty() && folder.parent_path() != folder)
        std::filesystem::create_directories(folder.parent_path());
    common::makePrivateFolder(path);
}

/// Settings and marks belong to one television, which is what its configuration makes it.
std::string stateFolderOf(const std::string& config)
{
    constexpr std::size_t DIGITS = 16;
    return userFolder("XDG_STATE_HOME", "/.local/state") + "/kinloom-tv/" + common::toHex(common::sha256(config)).substr(0, DIGITS);
}

/// Fills in what the command line left open.
void complete(Options& options)
{
    options.config =
        absolute(options.config.empty() ? userFolder("XDG_CONFIG_HOME", "/.config") + "/kinloom/tv.toml" : options.config);
    options.cache = absolute(options.cache.empty() ? userFolder("XDG_CACHE_HOME", "/.cache") + "/kinloom-tv" : options.cache);
    options.state = stateFolderOf(options.config);
    if (options.web.empty())
        options.web = webFolderBesideProgram();
    makePrivateFolders(options.cache);
    makePrivateFolders(options.state);
    if (options.service.empty()) {
        W::ConfigFile file(options.config);
        file.load();
        options.service = kinloom::addressOf(file.httpOptions());
    } else {
        options.service = kinloom::ServiceUrl::parse(options.service).text();
    }
}

std::string complaintAboutService(const std::string& url)
{
    try {
        kinloom::ServiceUrl::parse(url);
        return {};
    } catch (const kinloom::CallError& error) {
        return error.failure().detail;
    }
}

/// Waits until the program is to end. With a browser it ends with that, too.
void waitForEnd(const sigset_t& signals, Browser* browser)
{
    for (;;) {
        int signal = 0;
        if (sigwait(&signals, &signal) != 0)
            continue;
        if (signal != SIGCHLD)
            return;
        if (browser != nullptr && browser->hasEnded()) {
            log("the browser has ended");
            return;
        }
    }
}

void show(Options options)
{
    const sigset_t signals = common::blockSignals({SIGTERM, SIGINT, SIGHUP, SIGCHLD});
    // Writing to a closed connection, or beyond the limit of file sizes, must fail in the call and not end the program.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    common::raiseFileLimit();
    complete(options);
    kinloom::onWarning([](const std::string& sentence) { log(sentence); });
    httpd::Listener listener(options.listen);
    if (!listener.isOnLoopback())
        log("whoever reaches " + listener.address() + " and has the key sees this family's photos, and nothing is encrypted");
    Gate gate(listener.address(), listener.isOnLoopback());
    const Page page(options.web);
    Television television(options);
    television.setVersion(page.version());
    Handler handler(television, gate, page, options.cache);
    const httpd::Server server(std::move(listener), httpd::Limits(), handler);
    const std::string address = "http://" + lanAuthority(server.address()) + "/?key=";
    std::printf("kinloom-tv showing on %s%s\n", address.c_str(), gate.key().c_str());
    std::fflush(stdout);
    std::unique_ptr<Browser> browser;
    if (options.open)
        browser = std::make_unique<Browser>(address + gate.oneTimeKey(), options.cache);
    waitForEnd(signals, browser.get());
}

} // namespace

int runProgram(int argc, char** argv)
{
    commandline::Program program("Kinloom on a television: shows a family's photos in a browser on this computer", "kinloom-tv");
    program.version("kinloom-tv " KINLOOM_VERSION);
    Options options;
    program.option("--config", options.config, "what this television signs in with [~/.config/kinloom/tv.toml]").typeName("FILE");
    program.option("--service", options.service, "where the family's service is [where the configuration leads]")
        .typeName("URL")
        .check(complaintAboutService);
    program.option("--listen", options.listen, "where the page is; port 0 takes a free one")
        .typeName("ADDR:PORT")
        .check(httpd::Listener::complaintAbout)
        .showDefault();
    program.option("--cache", options.cache, "the folder for pictures and the index [~/.cache/kinloom-tv]").typeName("DIR");
    program.option("--cache-size", options.cacheSize, "how much of the disk pictures may take").typeName("BYTES").showDefault();
    program.option("--lan", options.lan, "where guests' telephones find a page to add photos on; without it there is none")
        .typeName("ADDR:PORT")
        .check(httpd::Listener::complaintAbout);
    std::optional<double> poll;
    program.option("--poll", poll, "how many seconds lie between two looks at what is new [20]")
        .typeName("SECONDS")
        .within(SHORTEST_POLL, LONGEST_POLL);
    program.flag("--open", options.open, "open the page in chromium, over the whole screen, and end with it");
    program.option("--web", options.web, "the folder of the pages [what is installed]").typeName("DIR");
    program.footer("\nThe first line that it prints is the page's address, with a key.\n"
                   "\nExamples:\n"
                   "  kinloom-tv --service http://photos.example:8750 --open\n"
                   "  kinloom-tv --service https://photos.example --lan 0.0.0.0:8760");
    if (const auto explained = program.readOrExplain(argc, argv))
        return *explained;
    if (poll)
        options.lookEvery(std::chrono::milliseconds(static_cast<std::int64_t>(*poll * 1000)));
    try {
        show(std::move(options));
        return EXIT_DONE;
    } catch (const std::exception& error) {
        log(error.what());
        return EXIT_FAILED;
    }
}

} // namespace tv
