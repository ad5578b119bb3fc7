// SPDX-License-Identifier: MIT
// The program's command line.
#include "Administration.h"
#include "commandline/Command.h"
#include "commandline/Mistake.h"
#include "commands/Commands.h"
#include "commands/Migrate.h"
#include "core/Text.h"
#include "core/TimeZone.h"
#include "httpd/Listener.h"
#include "operations/Faults.h"
#include "pictures/PictureProcess.h"
#include "pictures/PictureProgram.h"
#include "store/postgresql/PostgresqlEngine.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace kinloomd;
using commandline::Command;

std::string checkFault(const std::string& text)
{
    try {
        parseFault(text);
        return {};
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

std::string checkAddresses(const std::string& text)
{
    return httpd::AddressRange::parse(text) ? "" : "needs an address, or several as in 10.0.0.0/8";
}

std::vector<httpd::AddressRange> rangesOf(const std::vector<std::string>& texts)
{
    std::vector<httpd::AddressRange> ranges;
    ranges.reserve(texts.size());
    for (const std::string& text : texts)
        ranges.push_back(*httpd::AddressRange::parse(text));
    return ranges;
}

/// What people look for in vain.
const std::vector<commandline::Elsewhere>& elsewhere()
{
    static const std::vector<commandline::Elsewhere> all = {
        {{"group", "create"}, "people make groups: 'kinloom group create', from a device of the master's"},
        {{"group", "rename"}, "a group keeps its name and description"},
        {{"group", "delete"}, "people delete groups: 'kinloom group delete', from a device of the master's"},
        {{"group", "remove"}, "people delete groups: 'kinloom group delete', from a device of the master's"},
        {{"content", "list"}, "'kinloom feed GROUP' lists contents"},
        {{"content", "delete"}, "people delete contents: 'kinloom content delete'"},
        {{"comment"}, "people write and delete comments: 'kinloom comment --help' tells how"},
        {{"help"}, "'kinloomd --help' shows all commands, 'kinloomd COMMAND --help' tells of one, 'man kinloomd' of everything"},
        {{"version"}, "'kinloomd --version' prints it"},
    };
    return all;
}

struct Arguments {
    ServeArguments serve;
    httpd::TlsFiles tls;
    std::vector<std::string> trustedProxies;
    std::vector<std::string> metricsFrom;
    EventArguments event;
    ContentArguments content;
    std::string backup; ///< its folder
    MoveTarget moveTo;
    bool cancelMove = false;
    int replyShape = static_cast<int>(ReplyShape::ELEMENTS);
    std::uint64_t idleMs = 0;
    std::uint64_t headerMs = 0;
    std::uint64_t slotSeconds = 0;
    std::uint64_t collectSeconds = std::chrono::seconds(COLLECTED_AGE).count();

    DataPlace& data() { return serve.service.data; }
};

int serveAsAsked(Arguments& arguments)
{
    const httpd::TlsFiles& tls = arguments.tls;
    if (tls.certificate.empty() != tls.key.empty()) {
        std::fprintf(stderr, "kinloomd: --tls-certificate and --tls-key belong together: %s is missing\n",
                     tls.key.empty() ? "--tls-key" : "--tls-certificate");
        return EXIT_USAGE;
    }
    if (!tls.key.empty())
        arguments.serve.http.tls = tls;
    if (const std::string complaint = checkMediaPlace(arguments.serve.service.media); !complaint.empty())
        throw UsageError(complaint);
    return serve(arguments.serve);
}

/// \return the exit code.
int complain(const std::exception& error, int exitCode)
{
    std::fprintf(stderr, "kinloomd: %s\n", visibleSentence(error.what()).c_str());
    return exitCode;
}

std::string checkTimeZone(const std::string& name)
{
    if (name.empty())
        return "needs a name such as Europe/Berlin";
    try {
        const TimeZone zone(name);
        return {};
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

void timeZoneOption(Command app, std::string& name)
{
    app.option("--time-zone", name, "where pictures were taken whose camera did not note it, such as Europe/Berlin [the system's]")
        .typeName("ZONE")
        .check(checkTimeZone);
}

/// A bucket, and what must be known of its store. \param name what the bucket's option is called
void bucketOptions(Command app, const char* name, MediaPlace& media, const char* description)
{
    app.option(name, media.media, description).typeName("s3://BUCKET[/PREFIX]");
    app.option("--s3-endpoint", media.endpoint, "where the store is").typeName("URL");
    app.option("--s3-region", media.region, "the store's region [us-east-1]").typeName("NAME");
    app.option("--s3-credentials", media.credentialsFile,
               "a file with the keys to the store [AWS_ACCESS_KEY_ID and AWS_SECRET_ACCESS_KEY]")
        .typeName("FILE");
}

void defineServe(Command program, Arguments& arguments, Action& action)
{
    const Command app = program.command("serve", "serve until SIGTERM or SIGINT; SIGHUP reads the certificate again");
    Options& options = arguments.serve.service;
    Limits& limits = options.limits;
    httpd::Limits& http = arguments.serve.http.limits;
    dataOption(app, arguments.data());
    MediaPlace& media = options.media;
    bucketOptions(app, "--media", media, "a bucket of an object store for photos and thumbnails [the folder]");
    app.option("--s3-public-endpoint", media.publicEndpoint, "where devices reach the store [--s3-endpoint]").typeName("URL");
    app.flag("--media-redirect", media.redirect, "send devices to the store for media");
    app.option("--listen", arguments.serve.listenAddress, "where to listen; port 0 takes a free one")
        .typeName("ADDR:PORT")
        .check(httpd::Listener::complaintAbout)
        .showDefault();
    app.option("--public-url", options.publicUrl, "scheme and host of addresses in replies [the host that each request names]")
        .typeName("URL")
        .check(checkPublicUrl);
    app.option("--web", options.webFolder, "the folder of the family's page; 'none' goes without [what is installed]")
        .typeName("DIR");
    app.option("--reply-shape", arguments.replyShape, "how replies hold their fields")
        .typeName("elements|attributes")
        .among({{"elements", static_cast<int>(ReplyShape::ELEMENTS)}, {"attributes", static_cast<int>(ReplyShape::ATTRIBUTES)}});
    app.option("--fault", options.faults, "misbehave, for tests: OPERATION:WHAT[,WHAT...][*TIMES]; may be repeated")
        .typeName("RULE")
        .check(checkFault)
        .oneAtATime();
    app.flag("--control", options.control, "let programs on this computer set faults and read hit counts under /control/");
    app.flag("--log-requests", options.logRequests, "write a line for each request on standard error");
    app.option("--tls-certificate", arguments.tls.certificate,
               "speak https with the certificate in this file, and those that lead to it")
        .typeName("FILE");
    app.option("--tls-key", arguments.tls.key, "the key of the certificate").typeName("FILE");
    app.option("--trusted-proxy", arguments.trustedProxies, "take a proxy's word on its clients; may be repeated")
        .typeName("ADDR[/BITS]")
        .check(checkAddresses)
        .oneAtATime();
    app.option("--metrics-from", arguments.metricsFrom,
               "who may ask for /healthz and /metrics beside this computer; may be repeated")
        .typeName("ADDR[/BITS]")
        .check(checkAddresses)
        .oneAtATime();
    timeZoneOption(app, options.timeZone);
    app.option("--max-upload", limits.uploadBytes, "largest file").typeName("BYTES").showDefault();
    app.option("--max-form", limits.formBytes, "largest other body").typeName("BYTES").showDefault();
    app.option("--max-headers", http.headerBytes, "largest headers").typeName("BYTES").showDefault();
    app.option("--max-pixels", limits.pixels, "largest picture").typeName("PIXELS").showDefault();
    app.option("--max-connections", http.connections, "connections in all").typeName("N").showDefault();
    app.option("--max-connections-per-address", http.connectionsPerAddress, "connections from one address")
        .typeName("N")
        .showDefault();
    app.option("--max-rate", http.requestsPerSecond, "requests a second from one address [no limit on loopback, else 500]")
        .typeName("N");
    app.option("--idle-timeout", arguments.idleMs, "time without a byte before a connection is closed [30000]").typeName("MS");
    app.option("--request-timeout", arguments.headerMs, "time for the headers of a request [60000]").typeName("MS");
    app.option("--min-rate", http.bytesPerSecond, "slowest transfer that is put up with, in bytes a second")
        .typeName("N")
        .positive()
        .showDefault();
    app.option("--max-slots", limits.slots, "places for uploads that a person can have open").typeName("N").showDefault();
    app.option("--max-groups", limits.groups, "groups that a person can be the master of").typeName("N").showDefault();
    app.option("--quota", limits.quotaBytes, "room for the files of a person's contents together [no limit]")
        .typeName("BYTES")
        .within(0.0, 1e18);
    app.option("--slot-lifetime", arguments.slotSeconds, "time to keep a place for an upload that was announced [3600]")
        .typeName("SECONDS");
    app.whenChosen([&] {
        options.replyShape = static_cast<ReplyShape>(arguments.replyShape);
        if (arguments.idleMs != 0)
            http.idleTime = std::chrono::milliseconds(arguments.idleMs);
        if (arguments.headerMs != 0)
            http.headerTime = std::chrono::milliseconds(arguments.headerMs);
        if (arguments.slotSeconds != 0)
            limits.slotTime = std::chrono::seconds(arguments.slotSeconds);
        options.metricsFrom = rangesOf(arguments.metricsFrom);
        arguments.serve.http.trustedProxies = rangesOf(arguments.trustedProxies);
        action = [&arguments] { return serveAsAsked(arguments); };
    });
}

void defineContent(Command program, Arguments& arguments, Action& action)
{
    const Command content = program.command("content", "contents of groups").needsCommand();
    const Command add = content.command("add", "put a picture into a group without an upload");
    dataOption(add, arguments.data());
    add.option("--group", arguments.content.group, "name or number").required().typeName("GROUP");
    add.option("--person", arguments.content.person, "who it comes from").required().typeName("PERSON");
    add.option("--desc", arguments.content.description, "its description").typeName("TEXT");
    add.option("--copies", arguments.content.copies, "how many contents to make of it").typeName("N").positive();
    timeZoneOption(add, arguments.content.timeZone);
    add.option("FILE", arguments.content.file, "a JPEG, PNG, WebP, GIF or HEIC file").required();
    add.whenChosen([&] { action = done([&] { addContent(arguments.serve.service.data, arguments.content); }); });
}

void defineEvent(Command program, Arguments& arguments, Action& action)
{
    const Command event = program.command("event", "events linked to contents").needsCommand();
    const Command add = event.command("add", "link an event to a content");
    EventArguments& values = arguments.event;
    dataOption(add, arguments.data());
    add.option("CONTENT", values.content, "the content's number").required();
    add.option("--person", values.person, "who enters it").required().typeName("PERSON");
    add.option("--title", values.title, "its title").required().typeName("TEXT");
    add.option("--type", values.type, "its type").typeName("TEXT");
    add.option("--desc", values.description, "its description").typeName("TEXT");
    add.option("--start", values.starts, "when it begins").required().typeName("TIME");
    add.option("--end", values.ends, "when it ends [when it begins]").typeName("TIME");
    add.whenChosen([&] { action = done([&] { addEvent(arguments.serve.service.data, values); }); });
}

void defineCheck(Command program, Arguments& arguments, Action& action)
{
    const Command app = program.command("check", "compare records, files and totals, and find pictures that cannot be decoded");
    dataOption(app, arguments.data());
    app.whenChosen([&] { action = [&arguments] { return check(arguments.serve.service.data); }; });
}

void defineCollect(Command program, Arguments& arguments, Action& action)
{
    const Command app = program.command("collect", "remove media that have no record, as the service does once a day");
    dataOption(app, arguments.data());
    app.option("--older-than", arguments.collectSeconds, "only what is so old; 0 takes all, while no service takes uploads")
        .typeName("SECONDS")
        .showDefault();
    app.whenChosen(
        [&] { action = done([&] { collect(arguments.serve.service.data, std::chrono::seconds(arguments.collectSeconds)); }); });
}

void defineBackup(Command program, Arguments& arguments, Action& action)
{
    DataPlace& data = arguments.data();
    const Command keep = program.command("backup", "bring a backup up to date, while the service goes on");
    dataOption(keep, data);
    keep.option("--to", arguments.backup, "the folder of the backup, the same each time").required().typeName("DIR");
    keep.whenChosen([&] { action = [&] { return backup(data, arguments.backup); }; });

    const Command fetch = program.command("restore", "make a service's folder of a backup");
    fetch.option("--from", arguments.backup, "the folder of the backup").required().typeName("DIR");
    fetch.option("--data", data.folder, "a new or empty folder").required().typeName("DIR");
    fetch.whenChosen([&] { action = [&] { return restore(arguments.backup, data.folder); }; });
}

int moveAsAsked(Arguments& arguments)
{
    const DataPlace& from = arguments.data();
    const MoveTarget& to = arguments.moveTo;
    if (const std::string complaint = checkMediaPlace(to.media, "--to-media"); !complaint.empty())
        throw UsageError(complaint);
    if (arguments.cancelMove)
        return cancelMove(from, to);
    if (!to.isNamed())
        throw UsageError("migrate needs --to, --to-database or --to-media: where to");
    return migrate(from, to);
}

void defineMigrate(Command program, Arguments& arguments, Action& action)
{
    const Command app = program.command("migrate", "move records and media to another place, while the service shows them");
    DataPlace& from = arguments.data();
    MoveTarget& to = arguments.moveTo;
    app.option("--from", from.folder, "the folder of the service").required().typeName("DIR");
    databaseOption(app, "--from-database", from.database,
                   "its PostgreSQL database, where that holds the records [the folder does]");
    app.option("--to", to.folder, "the folder that all is moved to which no other option names a place for [the same one]")
        .typeName("DIR");
    databaseOption(app, "--to-database", to.database, "the PostgreSQL database that the records are moved to");
    bucketOptions(app, "--to-media", to.media, "the bucket that photos and thumbnails are moved to");
    app.flag("--cancel", arguments.cancelMove, "give a move up: what is at the source can be changed again");
    app.whenChosen([&] { action = [&arguments] { return moveAsAsked(arguments); }; });
}

} // namespace

int main(int argc, char** argv)
{
    pictures::usePictureProgram(pictures::programBesideThis());
    commandline::Program program("A Kinloom service of one's own", "kinloomd");
    program.needsCommand();
    program.version("kinloomd " KINLOOM_VERSION);
    program.footer("\nExamples:\n"
                   "  kinloomd device add --data /srv/photos --person Anna\n"
                   "  kinloomd serve --data /srv/photos\n"
                   "  kinloomd backup --data /srv/photos --to /mnt/backup/photos\n"
                   "\nExit codes: 0 done, 1 failed, 2 wrong command line or nobody to ask, 3 'check' or 'backup' found something.");
    Arguments arguments;
    Action action;
    Administration administration(arguments.data(), action);
    const Command top = program.at("");
    defineServe(top, arguments, action);
    administration.define(program);
    defineContent(top, arguments, action);
    defineEvent(top, arguments, action);
    defineCheck(top, arguments, action);
    defineCollect(top, arguments, action);
    defineBackup(top, arguments, action);
    defineMigrate(top, arguments, action);
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        const commandline::Reading reading = program.read(words);
        if (reading.outcome == commandline::Reading::Outcome::MISTAKE)
            throw UsageError(commandline::explainMistake(program.describe(), words, reading.text, elsewhere(), visibleText));
        if (reading.outcome != commandline::Reading::Outcome::UNDERSTOOD) {
            std::printf("%s\n", reading.text.c_str());
            requirePrinted();
            return EXIT_DONE;
        }
        administration.requireFormOfList();
        if (holdsPassword(arguments.data().database) || holdsPassword(arguments.moveTo.database))
            std::fprintf(stderr, "kinloomd: every user of this computer can read the password of the database; PGPASSWORD or a "
                                 "password file keep it\n");
        const int status = action();
        requirePrinted();
        return status;
    } catch (const UsageError& error) {
        return complain(error, EXIT_USAGE);
    } catch (const std::exception& error) {
        return complain(error, EXIT_FAILED);
    }
}
